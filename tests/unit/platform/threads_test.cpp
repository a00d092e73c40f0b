// Worker, event, messages and the system's clock.
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <string>
#include <thread>

#include "platform/clock.h"
#include "platform/event.h"
#include "platform/lock.h"
#include "platform/messages.h"
#include "platform/worker.h"
#include "tests/support/fakeclock.h"
#include "tests/support/msgqueue.h"

namespace tonara {
namespace {

TEST(Worker, StopsWhileItsOwnerHoldsTheLock) {
  CLock lock;
  CWorker worker;
  CAutoEvent started;
  std::atomic<int> nRounds{0};
  ASSERT_TRUE(worker.Start("a name that is too long", CWorker::Priority::AboveNormal, [&] {
    char szName[16] = {};
    pthread_getname_np(pthread_self(), szName, sizeof szName);
    EXPECT_STREQ(szName, "a name that is ");
    do {
      if (lock.TryLock()) {
        ++nRounds;
        lock.Unlock();
      }
      started.Set();
    } while (worker.Sleep(1));
    EXPECT_TRUE(worker.StopRequested());
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
    if (i % 2 == 0) {
      worker.Stop();
    } else {
      worker.RequestStop();
      while (worker.IsRunning()) std::this_thread::yield();
    }
    EXPECT_FALSE(bGoOn);
  }
}

TEST(AutoEvent, OneSetOneWait) {
  CAutoEvent event;
  EXPECT_FALSE(event.Wait(1));
  event.Set();
  event.Set();
  EXPECT_TRUE(event.Wait(0));
  EXPECT_FALSE(event.Wait(0));
  event.Set();
  event.Reset();
  EXPECT_FALSE(event.Wait(0));
  std::thread setter([&] { event.Set(); });
  EXPECT_TRUE(event.Wait(10000));
  setter.join();
}

TEST(Messages, ReachTheSinkInForceOrAreLost) {
  const MsgTarget target = NewMsgTarget();
  EXPECT_NE(target, NewMsgTarget());
  EXPECT_FALSE(PostMsg(target, 1028, 0, 0)) << "no sink";
  {
    test::CMsgQueue queue;
    EXPECT_FALSE(PostMsg(0, 1028, 0, 0)) << "no target";
    EXPECT_TRUE(PostMsg(target, 1028, 1, -2));
    test::PostedMsg msg{};
    ASSERT_TRUE(queue.Take(&msg));
    EXPECT_EQ(msg.target, target);
    EXPECT_EQ(msg.uMsg, 1028U);
    EXPECT_EQ(msg.wParam, 1U);
    EXPECT_EQ(msg.lParam, -2);
    EXPECT_FALSE(queue.Take(&msg));
    std::thread poster([&] {
      for (int i = 0; i < 1000; ++i) PostMsg(target, 1027, 0, 0);
    });
    poster.join();
    EXPECT_EQ(queue.TakeAll(1027), 1000);
  }
  EXPECT_FALSE(PostMsg(target, 1028, 0, 0)) << "the sink has gone";
}

TEST(SystemClock, SecondsAndLocalTimeAgree) {
  const test::CTimeZone zone("UTC0");
  // Read around many full seconds' worth of instants: the whole seconds may never be behind the fields.
  for (int i = 0; i < 200000; ++i) {
    const CCivilTime t = SystemClock().LocalTime();
    const int64_t llSeconds = SystemClock().CalendarSeconds();
    const int64_t llOfDay = llSeconds % 86400;
    if (llOfDay < 2) continue;  // midnight between the two readings
    ASSERT_GE(llOfDay, t.SecondsOfDay());
    ASSERT_LE(llOfDay, t.SecondsOfDay() + 1);
  }
  const uint64_t llBefore = SystemClock().MonotonicMs();
  SystemClock().SleepMs(20);
  EXPECT_GE(SystemClock().MonotonicMs(), llBefore + 20);
}

TEST(SystemClock, FollowsAChangeOfTheTimeZone) {
  const test::CTimeZone zone("UTC0");
  const CCivilTime utc = SystemClock().LocalTime();
  setenv("TZ", "XXX-5", 1);  // without tzset, as when the machine's setting changes
  // Within the second in which the clock looks for it again.
  int nHours = 0;
  const uint64_t llLimit = SystemClock().MonotonicMs() + 5000;
  while (nHours == 0 && SystemClock().MonotonicMs() < llLimit) {
    SystemClock().SleepMs(20);
    const CCivilTime east = SystemClock().LocalTime();
    nHours = (east.wHour - utc.wHour + 24) % 24;
    if (nHours == 6 && east.wMinute == 0) nHours = 5;
  }
  EXPECT_EQ(nHours, 5);
}

}  // namespace
}  // namespace tonara
