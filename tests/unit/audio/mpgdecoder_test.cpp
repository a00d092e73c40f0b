#include "audio/mpgdecoder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "tests/support/mediafiles.h"
#include "tests/unit/audio/mpegreference.h"

namespace tonara {
namespace {

using test::EncodeLame;
using test::MakeNoise;
using test::ReferencePcm;
using test::SplitFrames;

/// A stream in memory, given in pieces of at most nPiece bytes.
struct CStream {
  std::string bytes;
  int nPiece = 1 << 30;
  size_t nPos = 0;

  static int Lit(uint8_t* pDest, int iWanted, void* pUser) {
    auto& self = *static_cast<CStream*>(pUser);
    const size_t n =
        std::min({static_cast<size_t>(iWanted), static_cast<size_t>(self.nPiece), self.bytes.size() - self.nPos});
    std::memcpy(pDest, self.bytes.data() + self.nPos, n);
    self.nPos += n;
    return static_cast<int>(n);
  }
};

std::string DecodeAll(CMPGDecoder& decoder, CStream& stream) {
  std::string pcm;
  uint8_t frame[kMaxPcmFrame];
  for (;;) {
    const int iOctets = decoder.DecodeFrame(frame, &stream);
    EXPECT_EQ(iOctets, decoder.m_iPcmOctets);
    if (iOctets == 0) return pcm;
    pcm.append(reinterpret_cast<const char*>(frame), static_cast<size_t>(iOctets));
  }
}

std::string DecodeAll(const std::string& bytes) {
  CMPGDecoder decoder(&CStream::Lit);
  CStream stream{bytes};
  return DecodeAll(decoder, stream);
}

std::string Join(const std::vector<std::string>& frames, size_t nFrom = 0, size_t nTo = SIZE_MAX) {
  std::string out;
  for (size_t i = nFrom; i < std::min(nTo, frames.size()); ++i) out += frames[i];
  return out;
}

std::string Clip() {
  return EncodeLame("-b 128 -m j -t", 44100, MakeNoise(44100, 2, 16, 600));
}

TEST(MpgHeader, RefusesWhatIsNotPlayed) {
  CMPGHeader h;
  for (const uint32_t dwHeader : {
           0x00000000U, 0xFFFFFFFFU, 0x49443303U,
           0xFF7B9064U,  // ten sync bits
           0xFFF99064U,  // layer 0
           0xFFFB0064U,  // free format
           0xFFFBF064U,  // bit rate 15
           0xFFFB9C64U,  // sample rate 3
           0xFFF38CC0U,  // the same at low rates
           0xFFFBE864U,  // 320 kbit/s at 32 kHz: a body of 1436 bytes
           0xFFFDE804U,  // Layer II, 384 kbit/s at 32 kHz
           0xFFE3E804U,  // 160 kbit/s at 8 kHz
       }) {
    EXPECT_FALSE(ParseHeader(dwHeader, &h)) << std::hex << dwHeader;
  }
  EXPECT_TRUE(ParseHeader(0xFFFDE004, &h));  // Layer II, 384 kbit/s at 44.1 kHz: 1249 bytes
  EXPECT_EQ(h.iCorps, 1249);
}

// A candidate behind junk is confirmed by the next frame and not heard itself; the rest all is.
TEST(MpgDecoder, JunkCostsOneFrameAtMost) {
  const std::vector<std::string> frames = SplitFrames(Clip());
  ASSERT_GT(frames.size(), 20U);
  const std::string all = Join(frames);
  const std::string withoutFirst = ReferencePcm(Join(frames, 1));
  for (const size_t nJunk : {1U, 3U, 4U, 5U, 4096U}) {
    std::string junk = MakeNoise(8000, 1, 8, 1000, 3).substr(0, nJunk);
    std::replace(junk.begin(), junk.end(), '\xFF', '\x7F');
    EXPECT_EQ(DecodeAll(junk + all), withoutFirst) << nJunk;
  }
  // A header in the junk whose frame ends in the middle of nowhere: neither it nor what its body
  // swallowed is decoded, and the search goes on behind the two words read after it.
  EXPECT_EQ(DecodeAll("xyz\xFF\xFB\x90\x64" + std::string(413 + 8, 'j') + "more" + all), withoutFirst);
  EXPECT_EQ(DecodeAll(Join(frames, 0, 9) + std::string(777, '\0') + Join(frames, 9)),
            ReferencePcm(Join(frames, 0, 9) + Join(frames, 10)));
  CMPGDecoder decoder(&CStream::Lit);
  CStream pieces{all, 7};
  EXPECT_EQ(DecodeAll(decoder, pieces), ReferencePcm(all)) << "in pieces of seven bytes";
}

TEST(MpgDecoder, NobodyReadingStandardOutputHoldsNothingUp) {
  const std::string clip = Clip();
  const std::string whole = DecodeAll(clip);
  std::fflush(stdout);
  const int iStdout = dup(STDOUT_FILENO);
  for (const bool bClosed : {false, true}) {
    int pipe[2];
    ASSERT_EQ(pipe2(pipe, O_NONBLOCK), 0);
    while (write(pipe[1], "full", 4) > 0) {
    }
    fcntl(pipe[1], F_SETFL, 0);  // a write would now block, or raise SIGPIPE
    if (bClosed) close(pipe[0]);
    dup2(pipe[1], STDOUT_FILENO);
    const std::string pcm = DecodeAll(clip.substr(0, clip.size() - 1));
    dup2(iStdout, STDOUT_FILENO);
    close(pipe[1]);
    if (!bClosed) close(pipe[0]);
    EXPECT_EQ(pcm, whole.substr(0, whole.size() - 4608));
  }
  close(iStdout);
}

TEST(MpgDecoder, SearchIsBounded) {
  CMPGDecoder decoder(&CStream::Lit);
  CStream stream{std::string(300000, '\0') + Clip()};
  uint8_t pcm[kMaxPcmFrame];
  EXPECT_EQ(decoder.DecodeFrame(pcm, &stream), 0);
  EXPECT_EQ(decoder.m_iLus, 65536);
  decoder.SetLimiteRecherche(1 << 20);  // the next call goes on where the last one stopped
  EXPECT_EQ(decoder.DecodeFrame(pcm, &stream), 4608);
  EXPECT_GT(decoder.GetPassee(), 300000 - 65536);
}

}  // namespace
}  // namespace tonara
