#include "audio/wavefile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/mediafiles.h"
#include "tests/support/tempdir.h"

namespace tonara {
namespace {

using test::CTempDir;
using test::CWavShape;
using test::MakeChunk;
using test::MakeNoise;
using test::MakeWav;

constexpr uint32_t kBloc = 8820;

/// Everything a source gives, block by block; gives up after 64 MB.
std::string ReadAll(CMedia& media, uint32_t dwBloc = kBloc) {
  std::string pcm;
  std::vector<uint8_t> bloc(dwBloc);
  for (;;) {
    uint32_t dwGiven = 0;
    const bool bGood = media.Read(bloc.data(), dwBloc, &dwGiven);
    EXPECT_LE(dwGiven, dwBloc);
    if (!bGood || dwGiven == 0 || pcm.size() > (64U << 20)) return pcm;
    pcm.append(reinterpret_cast<const char*>(bloc.data()), dwGiven);
  }
}

uint32_t Duree(CMedia& media, const PCMWAVEFORMAT* pReference = nullptr) {
  uint32_t dwMs = 12345678;
  EXPECT_TRUE(media.GetDuree(&dwMs, pReference));
  return dwMs;
}

TEST(WaveFile, GivesTheSamplesOfEachFormat) {
  const CTempDir dir;
  for (const auto& [wBits, wChannels] : {std::pair<uint16_t, uint16_t>{8, 1}, {24, 6}}) {
    const std::string pcm = MakeNoise(22050, wChannels, wBits, 1500);
    const CWavShape shape{.dwFreq = 22050, .wChannels = wChannels, .wBits = wBits};
    const std::string path = dir.Write("a.wav", MakeWav(shape, pcm));
    // Block lengths that are no multiple of the frame, in and above the reader's own buffer: channels must
    // stay in place.
    for (const uint32_t dwBloc : {1001U, 20001U}) {
      CWaveFile media;
      PCMWAVEFORMAT format;
      ASSERT_TRUE(media.Open(path, 0, 0, &format));
      EXPECT_EQ(format, MakePcmFormat(22050, wChannels, wBits));
      EXPECT_EQ(ReadAll(media, dwBloc), pcm);
      EXPECT_EQ(Duree(media), 1500U);
      // The bus's width and channels don't matter, its rate does.
      const PCMWAVEFORMAT bus = MakePcmFormat(44100, 2, 16);
      EXPECT_EQ(Duree(media, &bus), 750U);
    }
  }
}

TEST(WaveFile, PlaysFromInToOut) {
  const CTempDir dir;
  const std::string pcm = MakeNoise(44100, 2, 16, 10000);
  const std::string path = dir.Write("a.wav", MakeWav({}, pcm));
  struct Cas {
    uint32_t dwIn, dwOut, dwDebut, dwFin;  // ms, ms, bytes, bytes
  };
  for (const Cas& cas : {Cas{5000, 8000, 882000, 1411200}, Cas{5000, 0, 882000, 1764000},
                         Cas{5000, 20000, 882000, 1764000},    // out point beyond the data
                         Cas{11000, 0, 0, 0},                  // in point beyond it
                         Cas{8000, 5000, 0, 0},                // out before in
                         Cas{4000000000U, 4100000000U, 0, 0},  // far beyond 32 bits of bytes
                         Cas{3, 0, 528, 1764000}}) {           // 132.3 frames: whole ones
    CWaveFile media;
    ASSERT_TRUE(media.Open(path, cas.dwIn, cas.dwOut, nullptr));
    EXPECT_EQ(Duree(media), static_cast<uint32_t>((cas.dwFin - cas.dwDebut) / 176.4));
    EXPECT_EQ(ReadAll(media), pcm.substr(cas.dwDebut, cas.dwFin - cas.dwDebut)) << cas.dwIn << " " << cas.dwOut;
  }
}

TEST(WaveFile, ReadsEveryLayoutOfChunks) {
  const CTempDir dir;
  const std::string pcm = MakeNoise(44100, 2, 16, 200);
  std::vector<CWavShape> shapes(6);
  shapes[0].avantFmt = MakeChunk("bext", std::string(603, 'b')) + MakeChunk("JUNK", std::string(27, 'j'));
  shapes[1].avantData = MakeChunk("LIST", std::string(33, 'l')) + MakeChunk("fact", "abcd") + MakeChunk("PEAK", "");
  shapes[2].fmtExtra = std::string(101, '\0');
  shapes[3].apresData = MakeChunk("id3 ", std::string(5000, 'i'));
  shapes[4].wTag = 0xFFFE;
  shapes[4].fmtExtra = std::string("\x16\0\x10\0\x03\0\0\0\x01\0\0\0\0\0\x10\0\x80\0\0\xAA\0\x38\x9B\x71", 24);
  shapes[5].llRiffSize = 0;
  for (size_t i = 0; i < shapes.size(); ++i) {
    CWaveFile media;
    PCMWAVEFORMAT format;
    const std::string path = dir.Write("a.wav", MakeWav(shapes[i], pcm));
    ASSERT_TRUE(media.Open(path, 0, 0, &format)) << i;
    EXPECT_EQ(ReadAll(media), pcm) << i;
    EXPECT_EQ(format, MakePcmFormat(44100, 2, 16)) << i;
  }
}

TEST(WaveFile, RefusesWhatTheMixerCannotRead) {
  const CTempDir dir;
  const std::string pcm(4000, '\0');
  std::vector<CWavShape> shapes(9);
  shapes[0].wTag = 3;  // float
  shapes[1].wTag = 0xFFFE;
  shapes[1].fmtExtra = std::string("\x16\0\x20\0\x03\0\0\0\x03\0\0\0\0\0\x10\0\x80\0\0\xAA\0\x38\x9B\x71", 24);
  shapes[2].wChannels = 0;
  shapes[3].wChannels = 33;
  shapes[4].dwFreq = 0;
  shapes[5].dwFreq = 384001;
  shapes[6].wBits = 12;
  shapes[7].wBits = 32;
  shapes[8].iBlockAlign = 3;
  for (size_t i = 0; i < shapes.size(); ++i) {
    CWaveFile media;
    PCMWAVEFORMAT format;
    const std::string path = dir.Write("a.wav", MakeWav(shapes[i], pcm));
    EXPECT_FALSE(media.Open(path, 0, 0, &format)) << i;
  }
}

TEST(WaveFile, EveryCutOfTheHeaderIsRefusedAndEveryCutOfTheDataPlaysWhatThereIs) {
  const CTempDir dir;
  const std::string pcm = MakeNoise(44100, 2, 16, 1);
  CWavShape shape;
  shape.avantFmt = MakeChunk("LIST", "abc");
  const std::string file = MakeWav(shape, pcm);
  const size_t nHeader = file.size() - pcm.size();
  for (size_t n = 0; n <= file.size(); ++n) {
    CWaveFile media;
    const bool bOpen = media.Open(dir.Write("a.wav", file.substr(0, n)), 0, 0, nullptr);
    ASSERT_EQ(bOpen, n >= nHeader) << n;
    if (bOpen) {
      ASSERT_EQ(ReadAll(media), pcm.substr(0, (n - nHeader) / 4 * 4)) << n;
    }
  }
}

TEST(WaveFile, HeaderThatClaimsFourGigabytesLastsAsLongAsItsData) {
  const CTempDir dir;
  const std::string pcm = MakeNoise(44100, 2, 16, 1000);
  for (const int64_t llClaim : {0xFFFFFFFFLL, static_cast<long long>(pcm.size()) + 2}) {
    const CWavShape shape{.llRiffSize = 0xFFFFFFFF, .llDataSize = llClaim};
    CWaveFile media;
    ASSERT_TRUE(media.Open(dir.Write("a.wav", MakeWav(shape, pcm)), 0, 0, nullptr));
    EXPECT_EQ(Duree(media), 1000U);
    EXPECT_EQ(ReadAll(media), pcm);
  }
}

TEST(WaveFile, HostileFilesAndThingsThatAreNoFilesFailAtOnce) {
  const CTempDir dir;
  ASSERT_EQ(mkfifo((dir / "fifo.wav").c_str(), 0600), 0);
  std::filesystem::create_directory(dir / "dossier.wav");
  std::filesystem::create_symlink("/dev/zero", dir / "zero.wav");
  std::filesystem::create_symlink("boucle.wav", dir / "boucle.wav");
  dir.Write("texte.wav", "Bonjour, ceci n'est pas un son.");
  dir.Write("rifx.wav", "RIFX" + MakeWav({}, "abcd").substr(4));
  dir.Write("avi.wav", std::string("RIFF\x40\0\0\0AVI LIST", 16) + std::string(100, 'x'));
  const std::string file = MakeWav({}, std::string(400, 'x'));
  dir.Write("fmt-apres.wav", file.substr(0, 12) + file.substr(36) + file.substr(12, 24));
  // 4 GB of empty chunks, in a file with holes.
  std::string riff("RIFF\xFF\xFF\xFF\xFFWAVE", 12);
  std::filesystem::resize_file(dir.Write("trous.wav", riff), 4000000000U);
  for (const char* szName : {"fifo.wav", "dossier.wav", "zero.wav", "boucle.wav", "texte.wav", "rifx.wav", "avi.wav",
                             "fmt-apres.wav", "trous.wav", "absent.wav"}) {
    EXPECT_FALSE(CWaveFile().Open(dir / szName, 0, 0, nullptr)) << szName;
  }
}

}  // namespace
}  // namespace tonara
