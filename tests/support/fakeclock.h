// A clock that stands still until a test moves it. Civil time follows the process's time zone (TZ), so
// summer time, leap days and clock jumps are the system's own. Thread-safe.
#pragma once

#include <mutex>

#include "platform/clock.h"

namespace tonara::test {

class CFakeClock final : public CClock {
 public:
  /// Stands at that local time (seconds since 1970 from mktime).
  explicit CFakeClock(int nYear = 2026, int nMonth = 3, int nDay = 2, int nHour = 9, int nMinute = 0, int nSecond = 0) {
    SetLocal(nYear, nMonth, nDay, nHour, nMinute, nSecond);
  }

  CCivilTime LocalTime() const override;
  int64_t CalendarSeconds() const override;
  uint64_t MonotonicMs() const override;
  void SleepMs(uint32_t) override {}

  /// Time passes: both the calendar and the monotonic clock move on.
  void Advance(uint64_t ms);
  /// Somebody sets the clock: only the calendar jumps.
  void SetLocal(int nYear, int nMonth, int nDay, int nHour, int nMinute, int nSecond);
  void JumpSeconds(int64_t nSeconds);

 private:
  mutable std::mutex m_mutex;
  int64_t m_llCalendarMs = 0;
  uint64_t m_llMonotonicMs = 1000;
};

/// Sets TZ for a scope ("Europe/Paris", "UTC0") and puts the old one back.
class CTimeZone {
 public:
  explicit CTimeZone(const char* szTz);
  ~CTimeZone();

 private:
  bool m_bHad;
  char m_szOld[128];
};

}  // namespace tonara::test
