// Whole files: read with a limit, and replaced so that after a kill or a power cut there is the old
// file or the new one, whole.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tonara {

/// The bytes of a regular file, or nothing if it can't be opened, isn't a regular file (a FIFO, a
/// device node and a folder are refused without blocking) or is larger than nLimit. Any thread.
std::optional<std::string> ReadWholeFile(const std::string& szPath, size_t nLimit = size_t{16} << 20);

/// Replaces szPath by these bytes: temporary file in the same folder, flushed to disk, renamed over
/// the old one, folder synced. Permissions of an existing file are kept, else 0644; a symbolic link
/// is followed. On failure false, the old file untouched, no temporary file left, *pError (nullable)
/// the cause. Any thread; blocks on the disk.
bool WriteFileAtomic(const std::string& szPath, std::string_view bytes, std::string* pError = nullptr);

}  // namespace tonara
