// Worker, event and the system's clock.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <thread>

#include "platform/clock.h"
#include "platform/event.h"
#include "platform/lock.h"
#include "platform/worker.h"
#include "tests/support/fakeclock.h"

namespace tonara {
namespace {

TEST(Worker, StopsWhileItsOwnerHoldsTheLock) {
  CLock lock;
  CWorker worker;
  CAutoEvent started;
  ASSERT_TRUE(worker.Start("a name that is too long", CWorker::Priority::AboveNormal, [&] {
    do {
      if (lock.TryLock()) lock.Unlock();
      started.Set();
    } while (worker.Sleep(1));
  }));
  EXPECT_FALSE(worker.Start("second", CWorker::Priority::Normal, [] {})) << "one thread at a time";
  EXPECT_TRUE(started.Wait(10000));
  const CGuard guard(lock);
  worker.Stop();
  EXPECT_FALSE(worker.IsRunning());
}

TEST(Worker, SleepEndsAtOnceAndThreadsThatEndedAreReplaced) {
  CWorker worker;
  for (int i = 0; i < 50; ++i) {
    CAutoEvent started;
    std::atomic<bool> bGoOn{true};
    ASSERT_TRUE(worker.Start("long", CWorker::Priority::Normal, [&] {
      started.Set();
      bGoOn = worker.Sleep(3600 * 1000);
    }));
    ASSERT_TRUE(started.Wait(10000));
    worker.RequestStop();
    if (i % 2 == 0) worker.Stop();
    while (worker.IsRunning()) std::this_thread::yield();
    EXPECT_FALSE(bGoOn);
  }
}

// Read around many full seconds' worth of instants: the whole seconds may never be behind the fields.
TEST(SystemClock, SecondsAndLocalTimeAgree) {
  const test::CTimeZone zone("UTC0");
  for (int i = 0; i < 200000; ++i) {
    const int nFields = SystemClock().LocalTime().SecondsOfDay();
    const int64_t llOfDay = SystemClock().CalendarSeconds() % 86400;
    if (llOfDay < 2) continue;  // midnight between the two readings
    ASSERT_GE(llOfDay, nFields);
    ASSERT_LE(llOfDay, nFields + 1);
  }
}

TEST(SystemClock, FollowsAChangeOfTheTimeZoneWithinASecond) {
  const test::CTimeZone zone("UTC0");
  static_cast<void>(SystemClock().LocalTime());  // looks for the zone
  setenv("TZ", "XXX-0:30", 1);                   // without tzset, as when the machine's setting changes
  bool bFollows = false;
  const uint64_t llLimit = SystemClock().MonotonicMs() + 5000;
  while (!bFollows && SystemClock().MonotonicMs() < llLimit) {
    SystemClock().SleepMs(20);
    const int64_t llUtc = SystemClock().CalendarSeconds() % 86400;
    const int64_t llAhead = (SystemClock().LocalTime().SecondsOfDay() - llUtc + 86400) % 86400;
    bFollows = llAhead >= 1799 && llAhead <= 1801;
  }
  EXPECT_TRUE(bFollows);
}

}  // namespace
}  // namespace tonara
