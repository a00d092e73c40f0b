#include "audio/waveram.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
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
  void SetUp() override { ASSERT_TRUE(media.Open(MakeRamPath(&ram), 0, 0, &format)); }
  void Fill(uint32_t dwOctets) {
    const std::vector<uint8_t> pcm(dwOctets, 5);
    CGuard guard(ram.m_Lock);
    ASSERT_EQ(ram.m_pFifo->Ecrit(pcm.data(), dwOctets), dwOctets);
  }
  uint32_t Read() {
    uint32_t dwGiven = 12345;
    media.Read(bloc.data(), kBloc, &dwGiven);
    return dwGiven;
  }
  CRAMAudio ram{2, 44100, 16, 45328};
  CScriptClock clock;
  CWaveRAM media{clock};
  PCMWAVEFORMAT format;
  std::vector<uint8_t> bloc = std::vector<uint8_t>(kBloc);
};

TEST_F(WaveRam, TakesItsFormatFromTheRecord) {
  EXPECT_EQ(format, MakePcmFormat(44100, 2, 16));
  PCMWAVEFORMAT again;
  EXPECT_TRUE(media.GetFormat(&again));
  EXPECT_EQ(again, format);
  uint32_t dwMs = 1;
  EXPECT_TRUE(media.GetDuree(&dwMs, &format));
  EXPECT_EQ(dwMs, 0U);
  EXPECT_FALSE(media.ReadFormat(MakeRamPath(&ram), &again));
  media.Close();
  EXPECT_FALSE(media.GetFormat(&again));
  EXPECT_EQ(Read(), 0U);
}

TEST_F(WaveRam, GivesWholeBlocksOnly) {
  Fill(3 * kBloc + 10);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(Read(), kBloc);
  EXPECT_EQ(bloc[0], 5);
  // 10 bytes are left: the read waits for the rest, which comes 7 ms later.
  clock.m_llSlept = 0;
  clock.m_fnStep = [this](uint64_t ms) {
    if (ms == 7) Fill(kBloc);
  };
  EXPECT_EQ(Read(), kBloc);
  EXPECT_EQ(clock.m_llSlept, 7U);
  CGuard guard(ram.m_Lock);
  EXPECT_EQ(ram.m_pFifo->GetCount(), 10U);
}

TEST_F(WaveRam, GivesUpAfterFiveSecondsWithoutNewData) {
  EXPECT_EQ(Read(), 0U);
  EXPECT_GT(clock.m_llSlept, 4000U);
  EXPECT_LE(clock.m_llSlept, 5000U);

  // A trickle that never fills a block keeps it waiting; when that stops, so does the wait.
  clock.m_llSlept = 0;
  clock.m_fnStep = [this](uint64_t ms) {
    if (ms % 3000 == 0 && ms <= 12000) Fill(4);
  };
  EXPECT_EQ(Read(), 0U);
  EXPECT_GT(clock.m_llSlept, 12000U + 4000U);
  EXPECT_LE(clock.m_llSlept, 12000U + 5000U);
}

TEST_F(WaveRam, TimeOfDayDoesNotCutTheWait) {
  clock.m_fnStep = [this](uint64_t ms) {
    if (ms == 10) clock.m_Clock.JumpSeconds(3600);
    if (ms == 20) Fill(kBloc);
  };
  EXPECT_EQ(Read(), kBloc);
}

TEST_F(WaveRam, BlockLargerThanTheRingEndsAtOnce) {
  uint32_t dwGiven = 1;
  std::vector<uint8_t> grand(45332);
  EXPECT_FALSE(media.Read(grand.data(), 45332, &dwGiven));
  EXPECT_EQ(dwGiven, 0U);
  EXPECT_EQ(clock.m_llSlept, 0U);
}

TEST_F(WaveRam, AbortBreaksTheWait) {
  clock.m_fnStep = [this](uint64_t ms) {
    if (ms == 3) media.Abort();
  };
  EXPECT_EQ(Read(), 0U);
  EXPECT_EQ(clock.m_llSlept, 3U);
  // Opening again clears the flag.
  clock.m_fnStep = nullptr;
  media.Close();
  ASSERT_TRUE(media.Open(MakeRamPath(&ram), 0, 0, nullptr));
  Fill(kBloc);
  EXPECT_EQ(Read(), kBloc);
}

TEST(WaveRamThreads, CaptureAbortAndReadMeet) {
  CRAMAudio ram(2, 44100, 16, 45328);
  CWaveRAM media;
  ASSERT_TRUE(media.Open(MakeRamPath(&ram), 0, 0, nullptr));
  constexpr int kBlocs = 40;
  std::thread capture([&ram] {
    std::vector<uint8_t> pcm(4410);
    for (uint32_t i = 0; i < kBlocs * 2;) {
      for (size_t k = 0; k < pcm.size(); ++k) pcm[k] = static_cast<uint8_t>((i * pcm.size() + k) % 251);
      bool bTaken = false;
      {
        CGuard guard(ram.m_Lock);
        bTaken = ram.m_pFifo->Ecrit(pcm.data(), static_cast<uint32_t>(pcm.size())) > 0;
      }
      if (bTaken) {
        ++i;
      } else {
        std::this_thread::yield();
      }
    }
  });
  std::vector<uint8_t> bloc(kBloc);
  size_t nSeen = 0;
  for (int i = 0; i < kBlocs; ++i) {
    uint32_t dwGiven = 0;
    ASSERT_TRUE(media.Read(bloc.data(), kBloc, &dwGiven));
    for (const uint8_t octet : bloc) ASSERT_EQ(octet, nSeen++ % 251);
  }
  capture.join();
  std::atomic<bool> bEnded{false};
  std::thread reader([&] {
    uint32_t dwGiven = 0;
    media.Read(bloc.data(), kBloc, &dwGiven);
    bEnded = true;
  });
  media.Abort();
  reader.join();
  EXPECT_TRUE(bEnded);
}

TEST(RamPath, RoundTrip) {
  CRAMAudio ram(2, 44100, 16, 1000);
  const std::string path = MakeRamPath(&ram);
  EXPECT_EQ(path.size(), 12U);
  EXPECT_EQ(RamFromPath(path), &ram);
  EXPECT_EQ(RamFromPath("@"), nullptr);
  EXPECT_EQ(RamFromPath("@bcdefghijkl"), nullptr);
  CWaveRAM media;
  PCMWAVEFORMAT format;
  EXPECT_FALSE(media.Open("@", 0, 0, &format));
  EXPECT_TRUE(media.Close());
}

}  // namespace
}  // namespace tonara
