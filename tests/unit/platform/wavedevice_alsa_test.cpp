// The ALSA backend on ALSA's own null and file PCMs: no card needed.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>

#include "platform/wavedevice.h"
#include "tests/support/tempdir.h"
#include "tests/unit/platform/wavedevice_testblocks.h"

namespace tonara::test {
namespace {

/// Puts that PCM in the place of the cards for a scope.
class CChosenPcm {
 public:
  explicit CChosenPcm(const std::string& szPcm) { setenv("TONARA_ALSA_PCM", szPcm.c_str(), 1); }
  ~CChosenPcm() { unsetenv("TONARA_ALSA_PCM"); }
};

std::mutex g_mutex;
std::vector<std::string> g_lines;
void KeepNotice(const char* szText) {
  std::lock_guard lock(g_mutex);
  g_lines.emplace_back(szText);
}

TEST(WaveAlsa, AClocklessPcmGetsOurClock) {
  const CChosenPcm chosen("null");
  const auto pBackend = MakeWaveBackend("alsa");
  auto pOut = OpenOut(*pBackend);
  CTestBlocks blocks(std::vector<uint32_t>(24, 2205 * 4));  // 1.2 s
  blocks.WriteAll(*pOut);
  const double dSec = SecondsOf([&] {
    pOut->Restart();
    ASSERT_TRUE(blocks.WaitDone(24));
  });
  // It takes its buffer and a little more before it is found out; the rest is in time.
  EXPECT_GT(dSec, 1.1);
  EXPECT_LT(dSec, 1.3);
  EXPECT_TRUE(blocks.InOrder());
  EXPECT_LT(SecondsOf([&] { pOut.reset(); }), 0.5);
}

TEST(WaveAlsa, TheFilePcmGetsEveryByte) {
  const CTempDir dir;
  const CChosenPcm chosen("file:'" + dir / "x.raw" + "',raw");
  const auto pBackend = MakeWaveBackend("alsa");
  auto pOut = OpenOut(*pBackend, kWaveMapper);
  CTestBlocks blocks(std::vector<uint32_t>(12, 2205 * 4));
  blocks.WriteAll(*pOut);
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_EQ(blocks.Done(), 0) << "comes up paused";
  pOut->Restart();
  ASSERT_TRUE(blocks.WaitDone(3));
  pOut->Pause();
  const int nDone = blocks.Done();
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  EXPECT_EQ(blocks.Done(), nDone) << "paused";
  pOut->Restart();
  ASSERT_TRUE(blocks.WaitDone(12));
  pOut.reset();
  const std::string raw = dir.Read("x.raw");
  ASSERT_EQ(raw.size(), 12u * 2205 * 4);
  for (size_t n = 0; n < 12; ++n) EXPECT_EQ(raw[n * 2205 * 4 + 5], static_cast<char>(n + 1)) << n;
}

TEST(WaveAlsa, AMissingCardKeepsTimeAndComesAliveWhenItAppears) {
  const CTempDir dir;
  // A PCM that the configuration doesn't know yet.
  dir.Write("asound.conf", "");
  setenv("ALSA_CONFIG_PATH", (dir / "asound.conf").c_str(), 1);
  const CChosenPcm chosen("magasin");
  const auto pBackend = MakeWaveBackend("alsa");
  std::string szError;
  EXPECT_EQ(pBackend->OpenOut(0, MakePcmFormat(44100, 2, 12), true, CTestBlocks::OnDone, &szError), nullptr);
  EXPECT_FALSE(szError.empty()) << "no card would play that";
  SetWaveNotice(KeepNotice);
  auto pOut = OpenOut(*pBackend);
  CTestBlocks blocks(std::vector<uint32_t>(80, 2205 * 4));
  blocks.WriteAll(*pOut);
  const double dSec = SecondsOf([&] {
    pOut->Restart();
    ASSERT_TRUE(blocks.WaitDone(24));
  });
  EXPECT_GE(dSec, 1.2);
  EXPECT_LT(dSec, 1.35);
  {
    std::lock_guard lock(g_mutex);
    EXPECT_EQ(g_lines, std::vector<std::string>{"Périphérique audio perdu : magasin"});
  }
  // Another file: within the same second ALSA would take a rewritten one for the old.
  dir.Write("next.conf",
            "pcm.magasin { type file slave.pcm { type null } file \"" + dir / "x.raw" + "\" format raw }\n");
  std::filesystem::rename(dir / "next.conf", dir / "asound.conf");
  for (int n = 25; n <= 80 && dir.Read("x.raw").empty(); ++n) ASSERT_TRUE(blocks.WaitDone(n));
  pOut.reset();
  SetWaveNotice(nullptr);
  unsetenv("ALSA_CONFIG_PATH");
  EXPECT_GE(dir.Read("x.raw").size(), size_t{2205} * 4);
}

TEST(WaveAlsa, RecordsInTime) {
  const CChosenPcm chosen("null");
  const auto pBackend = MakeWaveBackend("alsa");
  const auto pIn = OpenIn(*pBackend);
  CTestBlocks blocks(std::vector<uint32_t>(10, 8820 * 4));  // 200 ms each
  blocks.AddAll(*pIn);
  const double dSec = SecondsOf([&] {
    pIn->Start();
    ASSERT_TRUE(blocks.WaitDone(5));
  });
  EXPECT_GT(dSec, 0.7);
  EXPECT_LT(dSec, 1.2);
  EXPECT_EQ(blocks.Header(0).dwRecorded, 8820u * 4);
  EXPECT_EQ(blocks.Header(0).pData[100], 0);
  pIn->Reset();
  EXPECT_EQ(blocks.Done(), 10);
  EXPECT_TRUE(blocks.InOrder());
}

}  // namespace
}  // namespace tonara::test
