#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>

#include "platform/wavedevice.h"
#include "tests/support/mediafiles.h"
#include "tests/support/tempdir.h"
#include "tests/unit/platform/wavedevice_testblocks.h"

namespace tonara::test {
namespace {

uint32_t U32(const std::string& bytes, size_t nAt) {
  uint32_t dw = 0;
  if (bytes.size() >= nAt + 4) std::memcpy(&dw, bytes.data() + nAt, 4);
  return dw;
}

std::string Wav(uint32_t dwRate, const std::string& data) {
  return MakeWav({.dwFreq = dwRate, .avantFmt = MakeChunk("LIST", "abc")}, data);
}

std::atomic<int> g_nNotices;
void CountNotice(const char*) {
  ++g_nNotices;
}

TEST(WaveFile, EachOpeningWritesTheNextFile) {
  const CTempDir dir;
  dir.Write("out-002.wav", "mine");
  const auto pBackend = MakeWaveBackend("file:" + dir.Dir());
  for (int n = 0; n < 2; ++n) {
    auto pOut = OpenOut(*pBackend);
    CTestBlocks blocks({441 * 4, 3, 441 * 4 + 1, 441 * 4});
    blocks.WriteAll(*pOut);
    pOut->Restart();
    ASSERT_TRUE(blocks.WaitDone(3));
    pOut->Reset();
    ASSERT_TRUE(blocks.InOrder());
  }
  EXPECT_EQ(dir.Read("out-002.wav"), "mine");
  for (const char* szFile : {"out-001.wav", "out-003.wav"}) {
    const std::string wav = dir.Read(szFile);
    ASSERT_GE(wav.size(), 44u + 2 * 441 * 4 + 4) << szFile;
    EXPECT_EQ(wav.substr(0, 4), "RIFF");
    EXPECT_EQ(U32(wav, 4), wav.size() - 8);
    EXPECT_EQ(U32(wav, 24), 44100u);
    EXPECT_EQ(U32(wav, 28), 176400u);
    EXPECT_EQ(U32(wav, 40), wav.size() - 44);
    EXPECT_EQ(wav[44], 1);
    EXPECT_EQ(wav[44 + 441 * 4], 2);
    EXPECT_EQ(wav[44 + 441 * 4 + 3], 3);
  }
}

TEST(WaveFile, IsWholeAfterAKill) {
  const CTempDir dir;
  const pid_t pid = fork();
  if (pid == 0) {
    const auto pBackend = MakeWaveBackend("file:" + dir.Dir());
    auto pOut = OpenOut(*pBackend);
    CTestBlocks blocks(std::vector<uint32_t>(200, 220 * 4));
    blocks.WriteAll(*pOut);
    pOut->Restart();
    pause();
    _exit(0);
  }
  ASSERT_GT(pid, 0);
  for (int n = 0; n < 5000 && dir.Read("out-001.wav").size() < 44 + 20 * 880; ++n) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  kill(pid, SIGKILL);
  ASSERT_EQ(waitpid(pid, nullptr, 0), pid);
  const std::string wav = dir.Read("out-001.wav");
  const uint32_t dwData = U32(wav, 40);
  EXPECT_GE(dwData, 19u * 880);
  EXPECT_LE(dwData, wav.size() - 44) << "the header promises no more than there is";
  EXPECT_GE(dwData + 880, wav.size() - 44);
  EXPECT_EQ(dwData % 880, 0u);
}

/// Plays 200 ms that can't be written: time is kept, and one line tells of it.
std::unique_ptr<CWaveOutDevice> PlayUnwritten(CWaveBackend& backend, CTestBlocks& blocks) {
  g_nNotices = 0;
  SetWaveNotice(CountNotice);
  auto pOut = OpenOut(backend);
  blocks.WriteAll(*pOut);
  EXPECT_GE(SecondsOf([&] {
              pOut->Restart();
              EXPECT_TRUE(blocks.WaitDone(10));
            }),
            0.2);
  EXPECT_EQ(g_nNotices, 1);
  SetWaveNotice(nullptr);
  return pOut;
}

TEST(WaveFile, KeepsTimeWithoutADirectory) {
  const CTempDir dir;
  const auto pBackend = MakeWaveBackend("file:" + dir / "nulle part");
  CTestBlocks blocks(std::vector<uint32_t>(10, 882 * 4));
  const auto pOut = PlayUnwritten(*pBackend, blocks);
  // It appears: the next file begins within a second or so.
  ASSERT_EQ(mkdir((dir / "nulle part").c_str(), 0755), 0);
  for (int n = 0; n < 15 && !dir.Exists("nulle part/out-001.wav"); ++n) {
    blocks.WriteAll(*pOut);
    ASSERT_TRUE(blocks.WaitDone(20 + 10 * n));
  }
  EXPECT_TRUE(dir.Exists("nulle part/out-001.wav"));
}

// A limit on the size of files stands in for the full disk: writes end short, then fail.
TEST(WaveFile, KeepsTimeOnAFullDisk) {
  const CTempDir dir;
  rlimit old{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
  signal(SIGXFSZ, SIG_IGN);
  const rlimit small{44 + 4 * 882 * 4 + 100, old.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  const auto pBackend = MakeWaveBackend("file:" + dir.Dir());
  CTestBlocks blocks(std::vector<uint32_t>(10, 882 * 4));
  const auto pOut = PlayUnwritten(*pBackend, blocks);
  setrlimit(RLIMIT_FSIZE, &old);
  signal(SIGXFSZ, SIG_DFL);
  EXPECT_EQ(U32(dir.Read("out-001.wav"), 40), 4u * 882 * 4) << "the header counts whole blocks";
}

TEST(WaveFile, HearsAFileInALoop) {
  const CTempDir dir;
  std::string data;
  for (int n = 0; n < 300 * 4; ++n) data.push_back(static_cast<char>(n / 4 % 100 + 1));
  dir.Write("in.wav", Wav(44100, data + "zz"));  // half a frame more
  const auto pBackend = MakeWaveBackend("file:" + dir.Dir());
  const auto pIn = OpenIn(*pBackend);
  CTestBlocks blocks({400 * 4, 500 * 4});
  blocks.AddAll(*pIn);
  pIn->Start();
  ASSERT_TRUE(blocks.WaitDone(2));
  for (size_t n = 0; n < 900; ++n) {
    const WaveHeader& header = blocks.Header(n < 400 ? 0 : 1);
    ASSERT_EQ(header.pData[(n < 400 ? n : n - 400) * 4], n % 300 % 100 + 1) << n;
  }
}

TEST(WaveFile, HearsSilenceForWantOfAFitFile) {
  struct {
    const char* szWhat;
    std::string bytes;
    int nNotices;
  } const cases[] = {
      {"none", "", 0},
      {"another rate", Wav(48000, std::string(4000, 'x')), 1},
      {"no sound in it", Wav(44100, ""), 1},
      {"no wave file", "RIFFxxxx" + std::string(100, 'x'), 1},
      {"cut in the middle of a chunk", Wav(44100, "").substr(0, 30), 1},
  };
  SetWaveNotice(CountNotice);
  for (const auto& one : cases) {
    const CTempDir dir;
    if (!one.bytes.empty()) dir.Write("in.wav", one.bytes);
    g_nNotices = 0;
    const auto pBackend = MakeWaveBackend("file:" + dir.Dir());
    const auto pIn = OpenIn(*pBackend);
    CTestBlocks blocks({100 * 4});
    blocks.Header(0).pData[7] = 9;
    blocks.AddAll(*pIn);
    pIn->Start();
    ASSERT_TRUE(blocks.WaitDone(1)) << one.szWhat;
    EXPECT_EQ(blocks.Header(0).pData[7], 0) << one.szWhat;
    EXPECT_EQ(blocks.Header(0).dwRecorded, 400u) << one.szWhat;
    EXPECT_EQ(g_nNotices, one.nNotices) << one.szWhat;
  }
  SetWaveNotice(nullptr);
}

}  // namespace
}  // namespace tonara::test
