#include "audio/waverecorder.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "audio/media.h"
#include "audio/ramaudio.h"
#include "tests/support/fakewave.h"
#include "tests/support/tempdir.h"

namespace tonara::test {
namespace {

constexpr uint32_t kBloc = 35280;  // 200 ms at 44100 Hz, stereo, 16 bits

std::vector<int16_t> Bloc(int16_t nValeur) {
  return std::vector<int16_t>(kBloc / 2, nValeur);
}

uint32_t Lit32(const std::string& octets, size_t n) {
  uint32_t dw = 0;
  std::memcpy(&dw, octets.data() + n, 4);
  return dw;
}

uint32_t Rempli(CRAMAudio& ram) {
  CGuard guard(ram.m_Lock);
  return ram.m_pFifo->GetCount();
}

// True if the file is a RIFF/WAVE file whose sizes are right for its length.
testing::AssertionResult EnteteJuste(const std::string& octets, uint32_t dwDonnees) {
  if (octets.size() != 44 + size_t{dwDonnees}) return testing::AssertionFailure() << "length " << octets.size();
  const bool bStructure =
      octets.substr(0, 4) == "RIFF" && octets.substr(8, 8) == "WAVEfmt " && octets.substr(36, 4) == "data";
  const bool bTailles = Lit32(octets, 4) == octets.size() - 8 && Lit32(octets, 40) == dwDonnees;
  if (!bStructure || !bTailles || Lit32(octets, 24) != 44100 || Lit32(octets, 28) != 176400)
    return testing::AssertionFailure() << testing::PrintToString(octets.substr(0, 44));
  return testing::AssertionSuccess();
}

class WaveRecorder : public testing::Test {
 protected:
  WaveRecorder() {
    rec.SetSansThread();
    rec.SetRecordBox(
        [this](const std::string& szTexte, const std::string& szTitre) { boites.push_back(szTitre + "|" + szTexte); });
  }
  bool Ouvre(const std::string& szFichier) { return rec.Init(&szFichier, 0) && rec.Prepare() && rec.Demarre(true); }
  bool Enregistre(const std::vector<int16_t>& bloc) {
    return wave.Record(bloc.data(), static_cast<uint32_t>(bloc.size() * 2)) && rec.Tick();
  }

  CTempDir dir;
  CFakeWave wave;
  std::vector<std::string> boites;
  CWaveRecorder rec{44100, 2, 16};
};

TEST_F(WaveRecorder, HeaderIsTrueAfterEveryBlock) {
  dir.Write("x.wav", std::string(500000, 'v'));  // an older one, longer
  ASSERT_TRUE(Ouvre(dir / "x.wav"));
  for (uint32_t n = 1; n <= 5; ++n) {
    ASSERT_TRUE(Enregistre(Bloc(static_cast<int16_t>(n))));
    EXPECT_TRUE(EnteteJuste(dir.Read("x.wav"), n * kBloc)) << n;
  }
  rec.Arrete();
  rec.Ferme();
  EXPECT_TRUE(EnteteJuste(dir.Read("x.wav"), 5 * kBloc));
  EXPECT_EQ(dir.Read("x.wav")[44 + 4 * kBloc], 5);
}

// A limit on the size of files stands for the full disk: the write comes back short, then fails.
TEST_F(WaveRecorder, FullDiskStopsTheRecordingAndKeepsWhatWasWhole) {
  rlimit ancienne{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &ancienne), 0);
  const auto pAncien = std::signal(SIGXFSZ, SIG_IGN);
  ASSERT_TRUE(Ouvre(dir / "x.wav"));
  ASSERT_TRUE(Enregistre(Bloc(1)));
  rlimit limite = ancienne;
  limite.rlim_cur = 44 + 2 * kBloc + 1000;
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limite), 0);
  Enregistre(Bloc(2));
  EXPECT_TRUE(boites.empty());
  Enregistre(Bloc(3));
  const bool bEncore = wave.Record("abcd", 4);
  setrlimit(RLIMIT_FSIZE, &ancienne);
  std::signal(SIGXFSZ, pAncien);

  ASSERT_EQ(boites.size(), 1U);
  EXPECT_EQ(boites[0], "Record|Erreur écriture\nLe disque est peut-etre plein\nEnregistrement arreté");
  EXPECT_FALSE(bEncore) << "the device still takes sound";
  EXPECT_FALSE(rec.IsEnregistre());
  rec.Ferme();
  EXPECT_TRUE(EnteteJuste(dir.Read("x.wav"), 2 * kBloc));
  // And the object can record again.
  ASSERT_TRUE(Ouvre(dir / "z.wav"));
  ASSERT_TRUE(Enregistre(Bloc(4)));
  EXPECT_TRUE(EnteteJuste(dir.Read("z.wav"), kBloc));
}

TEST_F(WaveRecorder, RingTakesWholeBlocksAndRefusesWhatDoesNotFit) {
  CRAMAudio ram(2, 44100, 16, 45328);
  const std::string szRam = MakeRamPath(&ram);
  ASSERT_TRUE(rec.Init(&szRam, 0));
  ASSERT_TRUE(rec.Prepare());
  ASSERT_TRUE(Enregistre(Bloc(1)));
  EXPECT_EQ(Rempli(ram), 0U) << "before Demarre nothing is handed on";
  ASSERT_TRUE(rec.Demarre(false));
  ASSERT_TRUE(Enregistre(Bloc(2)));
  ASSERT_TRUE(Enregistre(Bloc(3)));
  ASSERT_TRUE(Enregistre(Bloc(4)));
  EXPECT_EQ(Rempli(ram), kBloc);
  EXPECT_EQ(rec.NbRefus(), 2U);
  std::vector<uint8_t> lus(kBloc);
  {
    CGuard guard(ram.m_Lock);
    EXPECT_EQ(ram.m_pFifo->Lit(lus.data(), kBloc - 10048), kBloc - 10048);
  }
  EXPECT_EQ(lus[0], 2) << "the oldest stays";
  ASSERT_TRUE(Enregistre(Bloc(5)));
  EXPECT_EQ(Rempli(ram), 45328U);
  EXPECT_EQ(rec.NbRefus(), 0U);
  EXPECT_EQ(rec.NbBlocs(), 5U);
}

TEST_F(WaveRecorder, DeviceWithoutBlocksIsCountedOnceAndGetsThemAgain) {
  ASSERT_TRUE(Ouvre(dir / "x.wav"));
  int nQueue = 0;
  int nUnderruns = 0;
  const std::vector<int16_t> bloc = Bloc(1);
  for (int n = 0; n < 20; ++n) ASSERT_TRUE(wave.Record(bloc.data(), kBloc));
  EXPECT_FALSE(wave.Record(bloc.data(), kBloc)) << "all 20 are out";
  wave.FailWrites(true);
  ASSERT_TRUE(rec.Tick());
  EXPECT_FALSE(wave.Record(bloc.data(), kBloc));
  wave.FailWrites(false);
  ASSERT_TRUE(rec.Tick());
  rec.GetEtat(nullptr, &nQueue, &nUnderruns);
  EXPECT_EQ(nQueue, 20) << "what the device refused was offered again";
  EXPECT_EQ(nUnderruns, 1);
  ASSERT_TRUE(Enregistre(bloc));
  rec.GetEtat(nullptr, nullptr, &nUnderruns);
  EXPECT_EQ(nUnderruns, 1);
  EXPECT_TRUE(EnteteJuste(dir.Read("x.wav"), 21 * kBloc));
}

TEST_F(WaveRecorder, DeviceThatRefusesShowsItsBoxAndLeavesNothing) {
  wave.RefuseAll(true);
  EXPECT_FALSE(Ouvre(dir / "x.wav"));
  ASSERT_EQ(boites.size(), 1U);
  EXPECT_FALSE(dir.Exists("x.wav"));
  wave.RefuseAll(false);
  // No search result must not become some other input.
  EXPECT_FALSE(rec.Init(nullptr, kWaveMapper));
  EXPECT_FALSE(wave.IsInOpen());
}

// With its thread: closing while blocks arrive and somebody reads the levels neither blocks nor races.
TEST(WaveRecorderThread, ClosesWhileBlocksArrive) {
  CTempDir dir;
  CFakeWave wave;
  const std::vector<int16_t> bloc = Bloc(1000);
  std::atomic<bool> bFin{false};
  std::thread pilote([&] {
    while (!bFin.load()) {
      // Not without end: whoever closes the device waits for the hand that gives blocks to it.
      if (!wave.Record(bloc.data(), kBloc)) std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
  });
  for (int tour = 0; tour < 10; ++tour) {
    CWaveRecorder rec(44100, 2, 16);
    const std::string szFichier = dir / "t.wav";
    ASSERT_TRUE(rec.Init(&szFichier, 0) && rec.Prepare() && rec.Demarre(false));
    uint32_t dwMs = 0;
    while (rec.GetDureeFichier(&dwMs) && dwMs < 1000) {
      float niveaux[2];
      rec.GetNiveaux(niveaux, nullptr);
      std::this_thread::sleep_for(std::chrono::milliseconds(1));  // the capture thread only tries the lock
    }
    rec.Ferme();
    const auto nOctets = static_cast<uint32_t>(std::filesystem::file_size(szFichier));
    EXPECT_TRUE(EnteteJuste(dir.Read("t.wav"), nOctets - 44));
    EXPECT_GE(nOctets, 44 + 5 * kBloc);
  }
  bFin.store(true);
  pilote.join();
}

}  // namespace
}  // namespace tonara::test
