#include "audio/chrono.h"

#include <gtest/gtest.h>

#include <thread>

#include "tests/support/fakeclock.h"

namespace tonara {
namespace {

TEST(Chrono, ComparesWholeSeconds) {
  constexpr struct {
    uint32_t dwMs;
    uint64_t llAdvance;
    bool bFini;
  } kCas[] = {{0, 0, true}, {999, 0, true}, {1000, 99, false}, {1000, 100, true}, {1999, 100, true}};
  for (const auto& cas : kCas) {
    test::CFakeClock clock;
    clock.Advance(900);  // 100 ms before a full second: 1000 ms may be over after 100
    CChrono chrono(clock);
    EXPECT_TRUE(chrono.Start(cas.dwMs));
    clock.Advance(cas.llAdvance);
    while (!chrono.Tick()) std::this_thread::yield();
    EXPECT_EQ(chrono.IsFini(), cas.bFini) << cas.dwMs << " ms after " << cas.llAdvance;
  }
}

}  // namespace
}  // namespace tonara
