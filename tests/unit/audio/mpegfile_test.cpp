#include "audio/mpegfile.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/mediafiles.h"
#include "tests/support/tempdir.h"
#include "tests/unit/audio/mpegreference.h"

namespace tonara {
namespace {

using test::CTempDir;
using test::EncodeLame;
using test::EncodeMp2;
using test::MakeNoise;
using test::ReferencePcm;
using test::SplitFrames;

constexpr uint32_t kBloc = 8820;

std::string ReadAll(CMedia& media, uint32_t dwBloc = kBloc) {
  std::string pcm;
  std::vector<uint8_t> bloc(dwBloc);
  for (;;) {
    uint32_t dwGiven = 0;
    const bool bGood = media.Read(bloc.data(), dwBloc, &dwGiven);
    EXPECT_EQ(bGood, dwGiven > 0);
    if (dwGiven == 0) return pcm;
    pcm.append(reinterpret_cast<const char*>(bloc.data()), dwGiven);
    // A short block comes only at the end.
    if (dwGiven < dwBloc) return pcm;
  }
}

std::string Noise(uint32_t dwMs = 700) {
  return MakeNoise(44100, 2, 16, dwMs);
}
std::string Clip() {
  return EncodeLame("-b 128 -m j -t", 44100, Noise());
}

/// A Layer II stream at low rate turned into "2.5" by its version bit; half the bit rate keeps the
/// frame's length.
std::string Layer2At25() {
  std::string out;
  for (std::string frame : SplitFrames(EncodeMp2("-b:a 64k -ar 22050", 44100, Noise()))) {
    frame[1] = static_cast<char>(frame[1] & 0xEF);
    frame[2] = static_cast<char>((frame[2] & 0x0F) | 0x40);  // 32 kbit/s
    out += frame;
  }
  return out;
}

TEST(MpegFile, DecodesWhatTheWorldEncodesSampleForSample) {
  struct Cas {
    const char* szName;
    std::string stream;
    uint32_t dwFreq;
    size_t nOctetsParFrame;
    bool bMono;
  };
  const std::vector<Cas> table = {
      {"MPEG-1 III CBR joint", Clip(), 44100, 4608, false},
      {"MPEG-1 III VBR, Xing and LAME header", EncodeLame("-V 2", 44100, Noise()), 44100, 4608, false},
      {"MPEG-1 III with CRC", EncodeLame("-b 160 -p", 44100, Noise()), 44100, 4608, false},
      {"MPEG-1 III 32 kHz dual", EncodeLame("-b 128 -m d --resample 32", 44100, Noise()), 32000, 4608, false},
      {"MPEG-2 III VBR mono", EncodeLame("-V 4 -m m --resample 24", 44100, Noise()), 24000, 2304, true},
      {"MPEG-2.5 III 8 kHz mono", EncodeLame("-b 16 -m m --resample 8", 44100, Noise()), 8000, 2304, true},
      {"MPEG-1 II 384", EncodeMp2("-b:a 384k", 44100, Noise()), 44100, 4608, false},
      {"MPEG-1 II mono 48 kHz", EncodeMp2("-b:a 96k -ac 1 -ar 48000", 44100, Noise()), 48000, 4608, true},
      {"MPEG-2 II", EncodeMp2("-b:a 64k -ar 22050", 44100, Noise()), 22050, 4608, false},
      {"MPEG-2.5 II", Layer2At25(), 11025, 4608, false},
  };
  const CTempDir dir;
  for (const Cas& cas : table) {
    ASSERT_FALSE(cas.stream.empty()) << cas.szName << ": the encoders lame and ffmpeg must be there";
    const std::string expected = ReferencePcm(cas.stream);
    ASSERT_EQ(expected.size(), SplitFrames(cas.stream).size() * cas.nOctetsParFrame) << cas.szName;
    const std::string path = dir.Write("a.mp3", cas.stream);
    CMpegFile media;
    PCMWAVEFORMAT format;
    ASSERT_TRUE(media.Open(path, 0, 0, &format)) << cas.szName;
    EXPECT_EQ(format, MakePcmFormat(cas.dwFreq, 2, 16)) << cas.szName;
    const std::string pcm = ReadAll(media);
    EXPECT_TRUE(pcm == expected) << cas.szName;
    if (cas.bMono) {
      for (size_t i = 0; i + 4 <= pcm.size(); i += 4) ASSERT_EQ(pcm.substr(i, 2), pcm.substr(i + 2, 2)) << cas.szName;
    }
  }
}

TEST(MpegFile, TagsAndJunkAroundTheSoundAreNotHeard) {
  const CTempDir dir;
  const std::string clip = Clip();
  const std::vector<std::string> frames = SplitFrames(clip);
  std::string sansPremiere;
  for (size_t i = 1; i < frames.size(); ++i) sansPremiere += frames[i];
  // A first frame found by searching is the witness of the second.
  const std::string tail = ReferencePcm(sansPremiere);
  const std::string whole = ReferencePcm(clip);
  std::string footer = test::MakeId3v2(100);
  footer[3] = 4;
  footer[5] = 0x10;
  footer += "3DI" + footer.substr(3, 7);
  std::string wrong = test::MakeId3v2(1000);
  wrong[6] = 0x7F;  // claims more than the file holds
  struct Cas {
    const char* szName;
    std::string file;
    const std::string& expected;
  };
  for (const Cas& cas :
       {Cas{"ID3v2 with a picture of 2 MB", test::MakeId3v2(2 << 20) + clip, tail},
        Cas{"ID3v2 with a footer", footer + clip, tail}, Cas{"ID3v2 of a wrong size", wrong + clip, tail},
        Cas{"ID3v2, then zeros", test::MakeId3v2(300) + std::string(1000, '\0') + clip, tail},
        Cas{"60 KB of text", std::string(60000, 't') + clip, tail},
        Cas{"APE and ID3v1", clip + test::MakeApeTag(3000) + test::MakeId3v1(), whole}}) {
    CMpegFile media;
    PCMWAVEFORMAT format;
    ASSERT_TRUE(media.Open(dir.Write("a.mp3", cas.file), 0, 0, &format));
    uint32_t dwMs = 0;
    EXPECT_TRUE(media.GetDuree(&dwMs, &format)) << cas.szName;
    EXPECT_EQ(dwMs, 1000U) << cas.szName;  // 0.7 s of sound, however big its tags
    EXPECT_TRUE(ReadAll(media) == cas.expected) << cas.szName;
  }
}

TEST(MpegFile, DurationFollowsTheMeanFrameSize) {
  const CTempDir dir;
  struct Cas {
    std::string stream;
    uint32_t dwMs, dwMsDouble;  // at its own rate, at twice the rate
  };
  for (const Cas& cas : {Cas{EncodeLame("-b 128 -t", 44100, Noise(6300)), 6000, 3000},
                         Cas{EncodeLame("-b 64 --resample 22.05 -t", 44100, Noise(6700)), 7000, 3000},
                         Cas{EncodeMp2("-b:a 192k", 44100, Noise(6000)), 6000, 3000}}) {
    CMpegFile media;
    PCMWAVEFORMAT format;
    uint32_t dwMs = 1;
    ASSERT_TRUE(media.Open(dir.Write("a.mp3", cas.stream), 0, 0, &format));
    EXPECT_TRUE(media.GetDuree(&dwMs, nullptr));
    EXPECT_EQ(dwMs, cas.dwMs);
    format.nSamplesPerSec *= 2;
    EXPECT_TRUE(media.GetDuree(&dwMs, &format));
    EXPECT_EQ(dwMs, cas.dwMsDouble);
  }
}

TEST(MpegFile, FileWithoutFramesOpensAndEndsAtOnce) {
  const CTempDir dir;
  dir.Write("texte.mp3", "Bonjour, ceci n'est pas un son.");
  dir.Write("vide.mp3", "");
  dir.Write("son.ogg", test::MakeWav({}, MakeNoise(44100, 2, 16, 200)));
  std::filesystem::resize_file(dir.Write("trous.mp3", "x"), 4000000000U);
  for (const char* szName : {"texte.mp3", "vide.mp3", "son.ogg", "trous.mp3"}) {
    CMpegFile media;
    PCMWAVEFORMAT format;
    EXPECT_TRUE(media.Open(dir / szName, 0, 0, &format)) << szName;
    EXPECT_EQ(format, MakePcmFormat(44100, 2, 16)) << szName;
    EXPECT_LE(media.Decoder().m_iLus, 17 << 20) << szName;
    std::vector<uint8_t> block(kBloc);
    uint32_t dwGiven = 1;
    EXPECT_FALSE(media.Read(block.data(), kBloc, &dwGiven)) << szName;
    EXPECT_EQ(dwGiven, 0U) << szName;
  }
}

}  // namespace
}  // namespace tonara
