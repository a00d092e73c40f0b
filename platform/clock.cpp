#include "platform/clock.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <ctime>

namespace tonara {
namespace {

class CSystemClock final : public CClock {
 public:
  CCivilTime LocalTime() const override {
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    // Takes up a change of the machine's time zone, which localtime_r alone never looks at. Once a second:
    // each look asks the disk.
    if (m_llSeconde.exchange(ts.tv_sec, std::memory_order_relaxed) != ts.tv_sec) tzset();
    tm local{};
    localtime_r(&ts.tv_sec, &local);
    CCivilTime t;
    t.wYear = static_cast<uint16_t>(local.tm_year + 1900);
    t.wMonth = static_cast<uint16_t>(local.tm_mon + 1);
    t.wDayOfWeek = static_cast<uint16_t>(local.tm_wday);
    t.wDay = static_cast<uint16_t>(local.tm_mday);
    t.wHour = static_cast<uint16_t>(local.tm_hour);
    t.wMinute = static_cast<uint16_t>(local.tm_min);
    t.wSecond = static_cast<uint16_t>(local.tm_sec);
    t.wMilliseconds = static_cast<uint16_t>(ts.tv_nsec / 1000000);
    return t;
  }
  int64_t CalendarSeconds() const override {
    // Not time(): that runs up to a timer tick behind, so around a full second it would contradict LocalTime.
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    return static_cast<int64_t>(ts.tv_sec);
  }
  uint64_t MonotonicMs() const override {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000 + static_cast<uint64_t>(ts.tv_nsec) / 1000000;
  }
  void SleepMs(uint32_t dwMs) override {
    timespec left{static_cast<time_t>(dwMs / 1000), static_cast<long>(dwMs % 1000) * 1000000L};
    while (clock_nanosleep(CLOCK_MONOTONIC, 0, &left, &left) == EINTR) {
    }
  }

 private:
  mutable std::atomic<int64_t> m_llSeconde{-1};  // of the last look at the time zone
};

}  // namespace

CClock& SystemClock() {
  // Never destroyed: a thread that outlives main may still ask for the time while the globals go down.
  union Storage {
    CSystemClock clock;
    Storage() : clock() {}
    ~Storage() {}
  };
  static Storage storage;
  return storage.clock;
}

}  // namespace tonara
