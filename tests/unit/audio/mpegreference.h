// libmpg123 by itself, with its own reader: what our decoding is compared with.
#pragma once

#include <string>
#include <vector>

namespace tonara::test {

/// The frames of a clean stream, by libmpg123's own parser.
std::vector<std::string> SplitFrames(const std::string& stream);
/// libmpg123's own reading and decoding of a stream to 16-bit stereo: its own frame search, no gapless
/// trimming; the info frame is decoded like any other if bInfoFrame.
std::string ReferencePcm(const std::string& stream, bool bInfoFrame = true);

}  // namespace tonara::test
