// Text is UTF-8 inside. Files from older machines are Windows-1252, now and then UTF-16 with a mark.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tonara {

/// True if the bytes are well-formed UTF-8 (no overlong forms, no surrogates).
bool IsUtf8(std::string_view bytes);

/// Bytes of a text file as UTF-8: a BOM is skipped, text with a UTF-16 BOM is converted; what isn't
/// valid UTF-8 as a whole is decoded as Windows-1252.
std::string DecodeText(std::string_view bytes);

/// Bytes as UTF-8: as they are if they are valid, else from Windows-1252. No BOM is looked for.
std::string ToUtf8(std::string_view bytes);

/// At most nMaxBytes of the text, cut on a character boundary.
std::string CutUtf8(std::string_view text, size_t nMaxBytes);

/// ASCII comparison and lowering without regard to case; other bytes as they are.
bool EqualNoCase(std::string_view a, std::string_view b);
std::string ToLowerAscii(std::string_view text);

}  // namespace tonara
