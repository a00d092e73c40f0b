// Time as the program sees it: local civil time, whole calendar seconds, a monotonic millisecond
// counter and sleep. Injected everywhere, so that tests can own time (tests/support/fakeclock.h).
#pragma once

#include <cstdint>

namespace tonara {

/// A moment of local civil time, field by field. wDayOfWeek: 0 is Sunday.
struct CCivilTime {
  uint16_t wYear = 0;
  uint16_t wMonth = 0;
  uint16_t wDayOfWeek = 0;
  uint16_t wDay = 0;
  uint16_t wHour = 0;
  uint16_t wMinute = 0;
  uint16_t wSecond = 0;
  uint16_t wMilliseconds = 0;

  [[nodiscard]] bool SameDate(const CCivilTime& other) const {
    return wDay == other.wDay && wMonth == other.wMonth && wYear == other.wYear;
  }
  /// Seconds since local midnight, 0 to 86399 (86400 in a leap second).
  [[nodiscard]] int SecondsOfDay() const { return (wHour * 60 + wMinute) * 60 + wSecond; }
};

/// All operations may be called from any thread.
class CClock {
 public:
  virtual ~CClock() = default;
  /// Local civil time now. Jumps when the clock is set and at the changes of summer time.
  [[nodiscard]] virtual CCivilTime LocalTime() const = 0;
  /// Calendar time in whole seconds since 1970-01-01 UTC. Jumps when the clock is set.
  [[nodiscard]] virtual int64_t CalendarSeconds() const = 0;
  /// Milliseconds since an arbitrary origin; never runs backwards, never wraps.
  [[nodiscard]] virtual uint64_t MonotonicMs() const = 0;
  /// Blocks the caller for that long. Not interruptible: workers use CWorker::Sleep.
  virtual void SleepMs(uint32_t dwMs) = 0;
};

/// The machine's clock. Lives for the whole process.
CClock& SystemClock();

}  // namespace tonara
