// From a rule's times to the minutes of a day at which it has a slot.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

namespace tonara {

struct Rule;

/// Calls fnCreneau for each slot of the rule, in the rule's order, until it returns false; the result
/// tells whether all were handled. The first slot is handled even when TimeBegin is past TimeEnd; one on
/// TimeEnd counts. A minute past 59 in TimeBegin runs on into the next hours (899 is 9:39); a slot past
/// 23:59 is none. The step is TimeFrequency as a 16-bit number; a step of 0 gives one slot, and a trace
/// line with nRegle, the number of the rule in the list from 1.
bool ParcourirCreneaux(const Rule& rule, size_t nRegle,
                       const std::function<bool(uint16_t wHeure, uint16_t wMinute)>& fnCreneau);

}  // namespace tonara
