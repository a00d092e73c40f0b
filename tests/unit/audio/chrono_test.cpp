#include "audio/chrono.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <thread>

#include "audio/perfcounter.h"
#include "tests/support/fakeclock.h"

namespace tonara {
namespace {

using test::CFakeClock;

bool Attend(const std::function<bool()>& fnCondition) {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!fnCondition()) {
    if (std::chrono::steady_clock::now() > limit) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

TEST(Chrono, ComparesWholeSeconds) {
  struct Cas {
    uint32_t dwMs;
    uint64_t llAdvance;
    bool bFini;
  };
  // The clock stands 100 ms before a full second: 1000 ms may be over after 100.
  for (const Cas& cas : {Cas{0, 0, true}, Cas{999, 0, true}, Cas{1000, 99, false}, Cas{1000, 100, true},
                         Cas{1999, 100, true}, Cas{2000, 1099, false}, Cas{2000, 1100, true}}) {
    CFakeClock clock;
    clock.Advance(900);
    CChrono chrono(clock);
    EXPECT_TRUE(chrono.Start(cas.dwMs));
    clock.Advance(cas.llAdvance);
    while (!chrono.Tick()) std::this_thread::yield();
    EXPECT_EQ(chrono.IsFini(), cas.bFini) << cas.dwMs << " ms after " << cas.llAdvance;
  }
}

TEST(Chrono, ThreadFinishesByItselfAndStaysFinished) {
  CFakeClock clock;
  CChrono chrono(clock);
  EXPECT_FALSE(chrono.IsFini());
  chrono.Start(3000);
  clock.Advance(2999);
  while (!chrono.Tick()) std::this_thread::yield();
  EXPECT_FALSE(chrono.IsFini());
  clock.Advance(1);
  EXPECT_TRUE(Attend([&] { return chrono.IsFini(); }));
  chrono.Stop();
  EXPECT_TRUE(chrono.IsFini());
}

TEST(Chrono, StopEndsTheThreadBeforeItsTime) {
  CFakeClock clock;
  CChrono chrono(clock);
  chrono.Stop();
  chrono.Start(60000);
  chrono.Stop();
  clock.Advance(120000);
  EXPECT_FALSE(chrono.IsFini());
  chrono.Start(1000);  // may be started again as long as it hasn't finished
  clock.Advance(1000);
  EXPECT_TRUE(Attend([&] { return chrono.IsFini(); }));
}

TEST(PerfCounter, MeasuresMilliseconds) {
  CPerfCounter counter;
  EXPECT_EQ(counter.GetMs(), 0.0);
  const double dNow = CPerfCounter::GetNowMs();
  const auto debut = std::chrono::steady_clock::now();
  EXPECT_TRUE(counter.Start());
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  const double dMs = counter.GetMs();
  const std::chrono::duration<double, std::milli> passed = std::chrono::steady_clock::now() - debut;
  EXPECT_GE(dMs, 20.0);
  EXPECT_LE(dMs, passed.count());
  EXPECT_GE(CPerfCounter::GetNowMs() - dNow, dMs);
  EXPECT_EQ(CPerfCounter::GetFreq(), 1'000'000'000);
}

}  // namespace
}  // namespace tonara
