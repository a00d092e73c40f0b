#include "audio/chrono.h"

#include <gtest/gtest.h>

#include <thread>

#include "tests/support/fakeclock.h"
#include "tests/support/waitfor.h"

namespace tonara {
namespace {

using test::CFakeClock;

TEST(Chrono, ComparesWholeSeconds) {
  constexpr struct {
    uint32_t dwMs;
    uint64_t llAdvance;
    bool bFini;
  } kCas[] = {{0, 0, true},      {999, 0, true},      {1000, 99, false}, {1000, 100, true},
              {1999, 100, true}, {2000, 1099, false}, {2000, 1100, true}};
  for (const auto& cas : kCas) {
    CFakeClock clock;
    clock.Advance(900);  // 100 ms before a full second: 1000 ms may be over after 100
    CChrono chrono(clock);
    EXPECT_TRUE(chrono.Start(cas.dwMs));
    clock.Advance(cas.llAdvance);
    while (!chrono.Tick()) std::this_thread::yield();
    EXPECT_EQ(chrono.IsFini(), cas.bFini) << cas.dwMs << " ms after " << cas.llAdvance;
  }
}

TEST(Chrono, ThreadEndsWhenItIsStoppedOrItsTimeIsUp) {
  CFakeClock clock;
  CChrono chrono(clock);
  chrono.Start(60000);
  chrono.Stop();
  clock.Advance(120000);
  EXPECT_FALSE(chrono.IsFini());
  chrono.Start(3000);
  clock.Advance(3000);
  EXPECT_TRUE(test::WaitFor([&] { return chrono.IsFini(); }));
  chrono.Stop();
  EXPECT_TRUE(chrono.IsFini());
}

}  // namespace
}  // namespace tonara
