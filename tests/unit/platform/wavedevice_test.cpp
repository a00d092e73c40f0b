#include "platform/wavedevice.h"

#include <gtest/gtest.h>

#include <thread>

#include "platform/wavedevice_backends.h"
#include "platform/wavedevice_queue.h"
#include "tests/unit/platform/wavedevice_testblocks.h"

namespace tonara::test {
namespace {

constexpr int64_t kSec = 1'000'000'000;

TEST(WavePace, AddsUpWithoutRounding) {
  // Blocks of 1102 frames at 44.1 kHz last 24.988662131... ms: in a day of them no nanosecond gets lost.
  constexpr uint32_t kRate = 44100 * 4;
  constexpr uint32_t kBlock = 1102 * 4;
  CWavePace pace(kRate);
  pace.Restart(5 * kSec);
  uint64_t llBytes = 0;
  for (int n = 0; n < 24 * 3600 * 40; ++n) {
    pace.Advance(kBlock);
    llBytes += kBlock;
  }
  const int64_t llWhole = 5 * kSec + static_cast<int64_t>(llBytes / kRate) * kSec;
  const auto llRest = static_cast<int64_t>((llBytes % kRate * kSec + kRate - 1) / kRate);
  EXPECT_EQ(pace.Due(0), llWhole + llRest);
}

TEST(WavePace, KnowsWhatIsDueAndForgives) {
  CWavePace pace(1000);
  pace.Restart(kSec);
  EXPECT_EQ(pace.BytesDue(kSec / 2), 0u);
  EXPECT_EQ(pace.BytesDue(kSec + kSec / 2), 500u);
  pace.Advance(400);
  EXPECT_EQ(pace.BytesDue(kSec + kSec / 2), 100u);
  EXPECT_EQ(pace.BytesDue(kSec + kSec / 4), 0u) << "ahead of time";
  EXPECT_EQ(pace.BytesDue(kSec * 40'000'000), uint64_t{1000} * 39'999'999 - 400) << "after more than a year";
  pace.Forgive(2 * kSec, kSec);
  EXPECT_EQ(pace.BytesDue(2 * kSec), 600u) << "within the tolerance";
  pace.Forgive(3 * kSec, kSec);
  EXPECT_EQ(pace.BytesDue(3 * kSec), 0u);
}

TEST(WaveNames, AreCutBetweenCharacters) {
  const auto x = [](size_t n) { return std::string(n, 'x'); };
  EXPECT_EQ(CutDeviceName(x(40)), x(31));
  EXPECT_EQ(CutDeviceName(x(29) + "éé"), x(29) + "é");
  EXPECT_EQ(CutDeviceName(x(29) + "€uro"), x(29));
}

TEST(WaveQueue, HandsOutRunsAcrossBlocks) {
  CTestBlocks blocks({8, 0, 4, 10});
  CWaveQueue queue(CTestBlocks::OnDone, 4);
  for (size_t n = 0; n < 4; ++n) EXPECT_EQ(queue.Push(&blocks.Header(n)), n == 0);
  std::vector<uint8_t> got;
  const auto take = [&](uint64_t llMax) {
    return queue.Take(llMax, [&](const uint8_t* pData, uint32_t dwLength) {
      got.insert(got.end(), pData, pData + dwLength);
      return true;
    });
  };
  EXPECT_EQ(take(6), 6u);
  EXPECT_EQ(blocks.Done(), 0);
  EXPECT_EQ(queue.Position(), 0u) << "whole blocks only";
  EXPECT_EQ(take(3), 3u);
  EXPECT_EQ(blocks.Done(), 2) << "an empty block goes with its neighbour";
  EXPECT_EQ(queue.Position(), 2u);
  EXPECT_EQ(take(100), 13u);
  EXPECT_EQ(got, (std::vector<uint8_t>{1, 1, 1, 1, 1, 1, 1, 1, 3, 3, 3, 3, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4}));
  EXPECT_EQ(queue.Position(), 5u) << "22 bytes are five frames and a half";
  EXPECT_TRUE(blocks.InOrder());

  queue.Push(&blocks.Header(0));
  EXPECT_EQ(queue.Take(8, [](const uint8_t*, uint32_t) { return false; }), 0u);
  EXPECT_EQ(blocks.Done(), 4) << "what the sink refuses stays";
  EXPECT_EQ(take(3), 3u);
  queue.GiveBack();
  EXPECT_EQ(blocks.Done(), 5);
  EXPECT_EQ(queue.Position(), 0u);
  queue.Push(&blocks.Header(0));
  EXPECT_EQ(take(100), 8u) << "from its beginning";
}

TEST(WaveNull, KeepsTimeWithOddBlocksPausesAndMakesNoBurst) {
  const auto pBackend = MakeWaveBackend("null");
  const auto pOut = OpenOut(*pBackend, kWaveMapper);
  // 250 ms in blocks of no round length.
  std::vector<uint32_t> sizes(10, 1102 * 4);
  sizes.push_back((11025 - 10 * 1102) * 4);
  CTestBlocks blocks(sizes);
  blocks.WriteAll(*pOut);
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_EQ(blocks.Done(), 0) << "comes up paused";
  double dSec = SecondsOf([&] {
    pOut->Restart();
    ASSERT_TRUE(blocks.WaitDone(3));
    pOut->Pause();
    const int nDone = blocks.Done();
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(blocks.Done(), nDone);
    pOut->Restart();
    ASSERT_TRUE(blocks.WaitDone(11));
  });
  EXPECT_GE(dSec, 0.45) << "never early";
  EXPECT_LT(dSec, 0.55);
  uint32_t dwFrames = 0;
  ASSERT_TRUE(pOut->GetPosition(&dwFrames));
  EXPECT_EQ(dwFrames, 11025u);

  std::this_thread::sleep_for(std::chrono::milliseconds(200));  // the writer is late
  dSec = SecondsOf([&] {
    blocks.WriteAll(*pOut);
    ASSERT_TRUE(blocks.WaitDone(22));
  });
  EXPECT_GE(dSec, 0.25) << "the time without blocks isn't made up for";
  EXPECT_TRUE(blocks.InOrder());
}

TEST(WaveNull, ResetGivesAllBlocksBackAndNoneAfter) {
  const auto pBackend = MakeWaveBackend("null");
  auto pOut = OpenOut(*pBackend);
  CTestBlocks blocks(std::vector<uint32_t>(10, 441 * 4));
  blocks.WriteAll(*pOut);
  pOut->Restart();
  ASSERT_TRUE(blocks.WaitDone(3));
  EXPECT_LT(SecondsOf([&] { pOut->Reset(); }), 0.1);
  EXPECT_EQ(blocks.Done(), 10);
  uint32_t dwFrames = 1;
  ASSERT_TRUE(pOut->GetPosition(&dwFrames));
  EXPECT_EQ(dwFrames, 0u);
  blocks.WriteAll(*pOut);  // goes on: reset is no pause
  ASSERT_TRUE(blocks.WaitDone(12));
  EXPECT_LT(SecondsOf([&] { pOut.reset(); }), 0.1);
  EXPECT_EQ(blocks.Done(), 20);
  EXPECT_TRUE(blocks.InOrder());
}

TEST(WaveNull, RecordsSilenceInTime) {
  const auto pBackend = MakeWaveBackend("null");
  const auto pIn = OpenIn(*pBackend);
  CTestBlocks blocks(std::vector<uint32_t>(4, 4410 * 4));
  blocks.AddAll(*pIn);
  const double dSec = SecondsOf([&] {
    pIn->Start();
    ASSERT_TRUE(blocks.WaitDone(2));
  });
  EXPECT_GE(dSec, 0.2);
  EXPECT_LT(dSec, 0.3);
  EXPECT_EQ(blocks.Header(0).dwRecorded, 4410u * 4);
  EXPECT_EQ(blocks.Header(0).pData[0], 0);
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  pIn->Reset();
  EXPECT_EQ(blocks.Done(), 4);
  EXPECT_GT(blocks.Header(2).dwRecorded, 0u) << "the block in progress keeps what it heard";
  EXPECT_LT(blocks.Header(2).dwRecorded, 4410u * 4);
  EXPECT_EQ(blocks.Header(2).dwRecorded % 4, 0u);
}

}  // namespace
}  // namespace tonara::test
