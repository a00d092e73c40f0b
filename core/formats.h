// The operator's formats of durations and positions, and text formatting that no locale bends.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <string>

namespace tonara {

/// "1 h 1 mn 1 s"; parts that are 0 are left out, so 3600 gives "1 h " and 0 an empty text.
std::string FormatDuree(uint32_t dwSecondes);

/// "01:02:03", and with nMode 1 the tenths too: "01:02:03.4". Hours may pass 99.
std::string FormatTemps(uint32_t dwMs, int nMode);

/// printf into a text of any length. Numbers have a decimal point in whatever locale the process runs:
/// the toolkit switches it to the operator's, whose comma must not get into files. Any thread.
std::string FormatTexte(const char* szFormat, ...) __attribute__((format(printf, 1, 2)));
std::string FormatTexteV(const char* szFormat, va_list args) __attribute__((format(printf, 1, 0)));

}  // namespace tonara
