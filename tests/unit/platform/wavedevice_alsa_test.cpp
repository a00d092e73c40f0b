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

const PCMWAVEFORMAT kFormat = MakePcmFormat(44100, 2, 16);

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
  std::string szName;
  ASSERT_EQ(pBackend->OutCount(), 1u);
  ASSERT_TRUE(pBackend->OutName(0, &szName));
  EXPECT_EQ(szName, "null");
  std::string szError;
  auto pOut = pBackend->OpenOut(0, kFormat, true, CTestBlocks::OnDone, &szError);
  ASSERT_NE(pOut, nullptr) << szError;
  CTestBlocks blocks(std::vector<uint32_t>(40, 2205 * 4));  // 2 s
  blocks.WriteAll(*pOut);
  const double dSec = SecondsOf([&] {
    pOut->Restart();
    ASSERT_TRUE(blocks.WaitDone(40));
  });
  // It takes its buffer and a little more before it is found out; the rest is in time.
  EXPECT_GT(dSec, 1.9);
  EXPECT_LT(dSec, 2.1);
  EXPECT_TRUE(blocks.InOrder());
  EXPECT_LT(SecondsOf([&] { pOut.reset(); }), 0.5);
}

TEST(WaveAlsa, TheFilePcmGetsEveryByte) {
  const CTempDir dir;
  const CChosenPcm chosen("file:'" + dir / "x.raw" + "',raw");
  const auto pBackend = MakeWaveBackend("alsa");
  std::string szError;
  auto pOut = pBackend->OpenOut(kWaveMapper, kFormat, true, CTestBlocks::OnDone, &szError);
  ASSERT_NE(pOut, nullptr) << szError;
  CTestBlocks blocks(std::vector<uint32_t>(20, 2205 * 4));
  blocks.WriteAll(*pOut);
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_EQ(blocks.Done(), 0) << "comes up paused";
  pOut->Restart();
  ASSERT_TRUE(blocks.WaitDone(5));
  pOut->Pause();
  const int nDone = blocks.Done();
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  EXPECT_EQ(blocks.Done(), nDone) << "paused";
  pOut->Restart();
  ASSERT_TRUE(blocks.WaitDone(20));
  pOut.reset();
  const std::string raw = dir.Read("x.raw");
  ASSERT_EQ(raw.size(), 20u * 2205 * 4);
  for (size_t n = 0; n < 20; ++n) EXPECT_EQ(raw[n * 2205 * 4 + 5], static_cast<char>(n + 1)) << n;
}

TEST(WaveAlsa, RefusalAndAbsence) {
  std::string szError;
  {
    const CChosenPcm chosen("null");
    const auto pBackend = MakeWaveBackend("alsa");
    EXPECT_EQ(pBackend->OpenOut(0, MakePcmFormat(44100, 2, 12), true, CTestBlocks::OnDone, &szError), nullptr);
    EXPECT_FALSE(szError.empty());
  }
  const CChosenPcm chosen("hw:CARD=Absente");
  const auto pBackend = MakeWaveBackend("alsa");
  SetWaveNotice(KeepNotice);
  auto pOut = pBackend->OpenOut(0, kFormat, true, CTestBlocks::OnDone, &szError);
  ASSERT_NE(pOut, nullptr) << szError;
  CTestBlocks blocks(std::vector<uint32_t>(30, 2205 * 4));
  blocks.WriteAll(*pOut);
  const double dSec = SecondsOf([&] {
    pOut->Restart();
    ASSERT_TRUE(blocks.WaitDone(30));
  });
  EXPECT_GE(dSec, 1.5);
  EXPECT_LT(dSec, 1.65) << "a missing card keeps time";
  pOut.reset();
  SetWaveNotice(nullptr);
  std::lock_guard lock(g_mutex);
  EXPECT_EQ(g_lines, std::vector<std::string>{"Périphérique audio perdu : hw:CARD=Absente"});
}

TEST(WaveAlsa, ComesAliveWhenThePcmAppears) {
  const CTempDir dir;
  // A PCM that the configuration doesn't know yet.
  dir.Write("asound.conf", "");
  setenv("ALSA_CONFIG_PATH", (dir / "asound.conf").c_str(), 1);
  const CChosenPcm chosen("magasin");
  const auto pBackend = MakeWaveBackend("alsa");
  std::string szError;
  auto pOut = pBackend->OpenOut(0, kFormat, true, CTestBlocks::OnDone, &szError);
  ASSERT_NE(pOut, nullptr) << szError;
  CTestBlocks blocks(std::vector<uint32_t>(60, 2205 * 4));
  blocks.WriteAll(*pOut);
  pOut->Restart();
  ASSERT_TRUE(blocks.WaitDone(5));
  dir.Write("next.conf",
            "pcm.magasin { type file slave.pcm { type null } file \"" + dir / "x.raw" + "\" format raw }\n");
  // Another file: within the same second ALSA would take a rewritten one for the old.
  std::filesystem::rename(dir / "next.conf", dir / "asound.conf");
  ASSERT_TRUE(blocks.WaitDone(60));
  pOut.reset();
  unsetenv("ALSA_CONFIG_PATH");
  EXPECT_GT(dir.Read("x.raw").size(), size_t{10} * 2205 * 4);
}

TEST(WaveAuto, TakesAlsaWhereNoServerAnswers) {
  const CTempDir dir;
  const char* szOld = getenv("PULSE_SERVER");
  const std::string szServer = szOld == nullptr ? "" : szOld;
  setenv("PULSE_SERVER", ("unix:" + dir / "nobody").c_str(), 1);
  {
    const CChosenPcm chosen("null");
    for (const char* szChoice : {"", "auto", "inconnu"}) {
      const auto pBackend = MakeWaveBackend(szChoice);
      std::string szName;
      EXPECT_EQ(pBackend->FindOut("null"), 0) << szChoice;
      EXPECT_EQ(pBackend->InCount(), 1u);
      EXPECT_TRUE(pBackend->OutName(0, &szName));
      const auto pOut = pBackend->OpenOut(0, kFormat, true, CTestBlocks::OnDone, nullptr);
      ASSERT_NE(pOut, nullptr);
      CTestBlocks blocks({441 * 4, 441 * 4});
      blocks.WriteAll(*pOut);
      pOut->Restart();
      EXPECT_TRUE(blocks.WaitDone(2));
    }
  }
  if (szOld != nullptr) {
    setenv("PULSE_SERVER", szServer.c_str(), 1);
  } else {
    unsetenv("PULSE_SERVER");
  }
}

TEST(WaveAlsa, RecordsInTime) {
  const CChosenPcm chosen("null");
  const auto pBackend = MakeWaveBackend("alsa");
  ASSERT_EQ(pBackend->InCount(), 1u);
  std::string szError;
  const auto pIn = pBackend->OpenIn(0, kFormat, true, CTestBlocks::OnDone, &szError);
  ASSERT_NE(pIn, nullptr) << szError;
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
