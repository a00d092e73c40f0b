#include "audio/waveram.h"

#include <gtest/gtest.h>

#include <vector>

#include "audio/ramaudio.h"
#include "tests/support/fakeclock.h"

namespace tonara {
namespace {

constexpr uint32_t kBloc = 8820;

/// A clock on which every sleep runs a step of the other side, so that waits need no second thread.
class CScriptClock final : public CClock {
 public:
  CCivilTime LocalTime() const override { return m_Clock.LocalTime(); }
  int64_t CalendarSeconds() const override { return m_Clock.CalendarSeconds(); }
  uint64_t MonotonicMs() const override { return m_Clock.MonotonicMs(); }
  void SleepMs(uint32_t dwMs) override {
    m_Clock.Advance(dwMs);
    m_llSlept += dwMs;
    if (m_fnStep) m_fnStep(m_llSlept);
  }
  test::CFakeClock m_Clock;
  uint64_t m_llSlept = 0;
  std::function<void(uint64_t)> m_fnStep;
};

struct WaveRam : testing::Test {
  void SetUp() override { ASSERT_TRUE(media.Open(MakeRamPath(&ram), 0, 0, nullptr)); }
  void Fill(uint32_t dwOctets) {
    const std::vector<uint8_t> pcm(dwOctets, 5);
    CGuard guard(ram.m_Lock);
    ASSERT_EQ(ram.m_pFifo->Ecrit(pcm.data(), dwOctets), dwOctets);
  }
  /// Bytes given; fnStep runs at each sleep with the ms slept in this read.
  uint32_t Read(std::function<void(uint64_t)> fnStep = nullptr) {
    clock.m_llSlept = 0;
    clock.m_fnStep = std::move(fnStep);
    uint32_t dwGiven = 12345;
    media.Read(bloc.data(), kBloc, &dwGiven);
    return dwGiven;
  }
  CRAMAudio ram{2, 44100, 16, 45328};
  CScriptClock clock;
  CWaveRAM media{clock};
  std::vector<uint8_t> bloc = std::vector<uint8_t>(kBloc);
};

TEST_F(WaveRam, GivesWholeBlocksOnly) {
  Fill(3 * kBloc + 10);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(Read(), kBloc);
  EXPECT_EQ(bloc[0], 5);
  // 10 bytes are left: the read waits for the rest, which comes 7 ms later.
  EXPECT_EQ(Read([this](uint64_t ms) {
              if (ms == 7) Fill(kBloc);
            }),
            kBloc);
  EXPECT_EQ(clock.m_llSlept, 7U);
}

TEST_F(WaveRam, GivesUpAfterFiveSecondsWithoutNewData) {
  EXPECT_EQ(Read(), 0U);
  EXPECT_GT(clock.m_llSlept, 4000U);
  EXPECT_LE(clock.m_llSlept, 5000U);

  // A trickle that never fills a block keeps it waiting; when that stops, so does the wait.
  EXPECT_EQ(Read([this](uint64_t ms) {
              if (ms % 3000 == 0 && ms <= 12000) Fill(4);
            }),
            0U);
  EXPECT_GT(clock.m_llSlept, 12000U + 4000U);
  EXPECT_LE(clock.m_llSlept, 12000U + 5000U);
  const auto fnHourPasses = [this](uint64_t ms) {
    if (ms == 10) clock.m_Clock.JumpSeconds(3600);
    if (ms == 20) Fill(kBloc);
  };
  EXPECT_EQ(Read(fnHourPasses), kBloc) << "the time of day was set";
}

}  // namespace
}  // namespace tonara
