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
#include "tests/support/tempdir.h"
#include "tests/unit/platform/wavedevice_testblocks.h"

namespace tonara::test {
namespace {

const PCMWAVEFORMAT kFormat = MakePcmFormat(44100, 2, 16);

uint32_t U32(const std::string& bytes, size_t nAt) {
  uint32_t dw = 0;
  if (bytes.size() >= nAt + 4) std::memcpy(&dw, bytes.data() + nAt, 4);
  return dw;
}

std::string Wav(uint32_t dwRate, const std::string& data) {
  const auto put = [](uint32_t dw) { return std::string(reinterpret_cast<const char*>(&dw), 4); };
  return "RIFF" + put(static_cast<uint32_t>(44 + data.size())) + "WAVE" + "LIST" + put(3) + std::string("abc\0", 4) +
         "fmt " + put(16) + put(0x00020001) + put(dwRate) + put(dwRate * 4) + put(0x00100004) + "data" +
         put(static_cast<uint32_t>(data.size())) + data;
}

std::atomic<int> g_nNotices;
void CountNotice(const char*) {
  ++g_nNotices;
}

TEST(WaveFile, EachOpeningWritesTheNextFile) {
  const CTempDir dir;
  dir.Write("out-002.wav", "mine");
  const auto pBackend = MakeWaveBackend("file:" + dir.Dir());
  std::string szName;
  ASSERT_TRUE(pBackend->OutName(0, &szName));
  EXPECT_EQ(szName, "File");
  for (int n = 0; n < 2; ++n) {
    auto pOut = pBackend->OpenOut(0, kFormat, true, CTestBlocks::OnDone, nullptr);
    ASSERT_NE(pOut, nullptr);
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
    struct stat st {};
    ASSERT_EQ(stat((dir / szFile).c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777u, 0644u);
  }
}

TEST(WaveFile, IsWholeAfterAKill) {
  const CTempDir dir;
  const pid_t pid = fork();
  if (pid == 0) {
    const auto pBackend = MakeWaveBackend("file:" + dir.Dir());
    auto pOut = pBackend->OpenOut(0, kFormat, true, CTestBlocks::OnDone, nullptr);
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

TEST(WaveFile, KeepsTimeWithoutADirectory) {
  const CTempDir dir;
  g_nNotices = 0;
  SetWaveNotice(CountNotice);
  const auto pBackend = MakeWaveBackend("file:" + dir / "nulle part");
  auto pOut = pBackend->OpenOut(0, kFormat, true, CTestBlocks::OnDone, nullptr);
  ASSERT_NE(pOut, nullptr);
  CTestBlocks blocks(std::vector<uint32_t>(10, 882 * 4));
  blocks.WriteAll(*pOut);
  EXPECT_GE(SecondsOf([&] {
              pOut->Restart();
              ASSERT_TRUE(blocks.WaitDone(10));
            }),
            0.2);
  EXPECT_EQ(g_nNotices, 1);
  // It appears: the next file begins within a second or so.
  ASSERT_EQ(mkdir((dir / "nulle part").c_str(), 0755), 0);
  for (int n = 0; n < 15 && !dir.Exists("nulle part/out-001.wav"); ++n) {
    blocks.WriteAll(*pOut);
    ASSERT_TRUE(blocks.WaitDone(20 + 10 * n));
  }
  EXPECT_TRUE(dir.Exists("nulle part/out-001.wav"));
  SetWaveNotice(nullptr);
}

TEST(WaveFile, KeepsTimeOnAFullDisk) {
  const CTempDir dir;
  g_nNotices = 0;
  SetWaveNotice(CountNotice);
  // A limit on the size of files stands in for the disk: writes end short, then fail.
  rlimit old{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
  signal(SIGXFSZ, SIG_IGN);
  const rlimit small{44 + 4 * 882 * 4 + 100, old.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  const auto pBackend = MakeWaveBackend("file:" + dir.Dir());
  auto pOut = pBackend->OpenOut(0, kFormat, true, CTestBlocks::OnDone, nullptr);
  ASSERT_NE(pOut, nullptr);
  CTestBlocks blocks(std::vector<uint32_t>(10, 882 * 4));
  blocks.WriteAll(*pOut);
  EXPECT_GE(SecondsOf([&] {
              pOut->Restart();
              EXPECT_TRUE(blocks.WaitDone(10));
            }),
            0.2);
  setrlimit(RLIMIT_FSIZE, &old);
  signal(SIGXFSZ, SIG_DFL);
  SetWaveNotice(nullptr);
  EXPECT_EQ(g_nNotices, 1);
  const std::string wav = dir.Read("out-001.wav");
  EXPECT_EQ(U32(wav, 40), 4u * 882 * 4) << "the header counts whole blocks";
}

TEST(WaveFile, HearsAFileInALoop) {
  const CTempDir dir;
  std::string data;
  for (int n = 0; n < 300 * 4; ++n) data.push_back(static_cast<char>(n / 4 % 100 + 1));
  dir.Write("in.wav", Wav(44100, data));
  const auto pBackend = MakeWaveBackend("file:" + dir.Dir());
  const auto pIn = pBackend->OpenIn(0, kFormat, true, CTestBlocks::OnDone, nullptr);
  ASSERT_NE(pIn, nullptr);
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
    const auto pIn = pBackend->OpenIn(0, kFormat, true, CTestBlocks::OnDone, nullptr);
    ASSERT_NE(pIn, nullptr) << one.szWhat;
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
