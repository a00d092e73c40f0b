#include <gtest/gtest.h>

#include <cstring>
#include <string>

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

TEST(WaveFile, HearsAFileInALoop) {
  const CTempDir dir;
  std::string data;
  for (int n = 0; n < 300 * 4; ++n) data.push_back(static_cast<char>(n / 4 % 100 + 1));
  dir.Write("in.wav", MakeWav({.avantFmt = MakeChunk("LIST", "abc")}, data + "zz"));  // half a frame more
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

}  // namespace
}  // namespace tonara::test
