// The operator's formats of durations and positions.
#pragma once

#include <cstdint>
#include <string>

namespace tonara {

/// "1 h 1 mn 1 s"; parts that are 0 are left out, so 3600 gives "1 h " and 0 an empty text.
std::string FormatDuree(uint32_t dwSecondes);

/// "01:02:03", and with nMode 1 the tenths too: "01:02:03.4". Hours may pass 99.
std::string FormatTemps(uint32_t dwMs, int nMode);

}  // namespace tonara
