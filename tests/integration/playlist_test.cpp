// The playlist on the real mixer, sources, list and folder watch, in fake time: what is heard, when,
// and for how long nothing is.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "programmes/audioplaylistprogram.h"
#include "schedule/event.h"
#include "tests/integration/musicshop.h"
#include "tests/support/testlog.h"

namespace tonara::test {
namespace {

namespace fs = std::filesystem;

class Playlist : public testing::Test {
 protected:
  void Ouvre(bool bFondus, bool bRandom = false, bool bSousRep = false) {
    shop.dir.Write("p.ini", "[AudioPlaylist]\nPath=" + shop.dir / "m" +
                                "\nIncludeSubFolders=" + (bSousRep ? "1" : "0") + "\nRandom=" + (bRandom ? "1" : "0") +
                                "\nFondus=" + (bFondus ? "1" : "0") + "\n");
    // The watch takes files as old as the kernel's clock tick for changes of this moment.
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    SemerAleatoire(7);
    pgm =
        std::make_unique<CAudioPlaylistProgram>(shop.dir / "p.ini", shop.cfg, shop.historique, shop.mixout, shop.clock);
    pgm->StartSansThread();
    shop.fnRonde = [this] {
      if (pgm) pgm->Tick();
      // The scan has a thread of its own; half a second is plenty for it, so fake time waits.
      if (bAttendScan && pgm) {
        ASSERT_TRUE(Attends([this] { return pgm->IsListePrete(); }));
      }
      nMaxPrises = std::max(nMaxPrises, shop.mixout.NbTranchesPrises());
    };
    shop.fnRonde();
  }
  std::string Ecrit(const std::string& szNom, uint32_t dwFreq, uint32_t dwMs, double dHz = 440) {
    // Written beside the folder and moved in: one change of the folder, not one for its birth and another for
    // its end, of which the second may be seen at any later round.
    const std::string szNeuf = shop.dir.Write("neuf", WavTone(dwFreq, dwMs, dHz));
    const std::string szPath = shop.dir / ("m/" + szNom);
    fs::create_directories(fs::path(szPath).parent_path());
    fs::rename(szNeuf, szPath);
    return szPath;
  }
  // The folder changes, and the watch has seen it: that takes real time.
  void Change(const std::function<void()>& fn) {
    fn();
    ASSERT_TRUE(Attends([this] { return pgm->VoitChangement(); }));
  }
  [[nodiscard]] std::vector<std::string> Joues() const {
    std::vector<std::string> noms;
    for (const std::string& ligne : shop.Lignes(" (Playlist)")) {
      noms.push_back(ligne.substr(shop.dir.Dir().size() + 1, ligne.rfind(" (Playlist)") - shop.dir.Dir().size() - 1));
    }
    return noms;
  }

  [[nodiscard]] int Compte(const std::string& szNom) const {
    const std::vector<std::string> noms = Joues();
    return static_cast<int>(std::count(noms.begin(), noms.end(), szNom));
  }

  CMusicShop shop;
  std::unique_ptr<CAudioPlaylistProgram> pgm;
  int nMaxPrises = 0;
  bool bAttendScan = true;
};

TEST_F(Playlist, CrossFadeIsALineOfThirteenSecondsWithTheNextTrackBehindTheQueue) {
  Ecrit("a.wav", 44100, 60000, 400);
  Ecrit("b.wav", 44100, 60000, 1000);
  shop.bGarde = true;
  Ouvre(true);
  uint64_t llSon = 0;    // when each track was first heard
  uint64_t llOrdre = 0;  // when the second was ordered
  double aHz = 0;
  shop.fnBloc = [&] {
    if (llSon == 0 && shop.niveaux.back() > 0.01F) llSon = shop.llMs - CMusicShop::kBlocMs;
    if (llOrdre == 0 && shop.mixout.NbTranchesPrises() == 2) llOrdre = shop.llMs;
  };
  shop.Avance(75000);
  std::string szTitre;
  ASSERT_TRUE(pgm->GetTitre(&szTitre));
  ASSERT_EQ(Joues().size(), 2U);
  aHz = Joues()[0] == "/a.wav" ? 400 : 1000;
  const double bHz = 1400 - aHz;
  EXPECT_EQ(szTitre, Joues()[1]);

  ASSERT_GT(llSon, 0U);
  EXPECT_LE(llSon, 1500U);
  const uint64_t llFin = llSon + 60000;
  // The mixer's tranche appears with the block that follows the round.
  EXPECT_GE(llOrdre, llFin - 13000);
  EXPECT_LE(llOrdre, llFin - 12500 + CMusicShop::kBlocMs);

  const auto A = [&](uint64_t ms, double hz) { return Amplitude(shop.pcm, ms * 441 / 10, 4410, hz, 44100); };
  // Heard behind half a second of queue: the old track on its line, the new one at full level at once.
  uint64_t llDebut = llOrdre;
  while (A(llDebut, bHz) < 0.49) llDebut += 10;
  EXPECT_GE(llDebut, llOrdre + 350);
  EXPECT_LE(llDebut, llOrdre + 600);
  for (int s = 0; s <= 12; ++s) {
    const uint64_t ms = llDebut + static_cast<uint64_t>(s) * 1000;
    if (ms + 100 > llFin) break;
    EXPECT_NEAR(A(ms, aHz), 0.5 * (1 - (s + 0.05) / 13.0), 0.006) << s;
    EXPECT_NEAR(A(ms, bHz), 0.5, 0.006) << s;
  }
  // By its real end the old one is within half a second and the queue of nothing.
  EXPECT_LT(A(llFin - 100, aHz), 0.5 * 1.1 / 13.0);
  EXPECT_LT(A(llFin + 200, aHz), 0.002);

  // No step that the two tones at full level don't have in themselves, hence no click and no gap.
  const double dPente = 0.5 * 2 * std::numbers::pi * (400 + 1000) / 44100 + 3.0 / 32768;
  for (size_t i = llSon * 441 / 10 * 2 + 2; i < shop.pcm.size(); i += 2) {
    ASSERT_LE(std::abs(shop.pcm[i] - shop.pcm[i - 2]) / 32768.0, dPente) << i / 2 / 44.1 << " ms";
  }
  EXPECT_EQ(shop.Silence(llSon), 0U);
  EXPECT_EQ(shop.mixout.NbTranchesPrises(), 1);
}

TEST_F(Playlist, WithoutCrossFadesTracksAreWholeAndAtMostASecondApart) {
  for (const char* szNom : {"a.wav", "b.wav", "c.wav"}) Ecrit(szNom, 8000, 5000);
  Ouvre(false);
  std::vector<uint64_t> llDebuts;
  shop.fnBloc = [&] {
    while (llDebuts.size() < Joues().size()) llDebuts.push_back(shop.llMs);
  };
  shop.Avance(40000);
  const std::vector<std::string> noms = Joues();
  ASSERT_GE(noms.size(), 7U);
  EXPECT_EQ(std::set<std::string>(noms.begin(), noms.begin() + 3).size(), 3U);
  for (size_t i = 3; i < noms.size(); ++i) EXPECT_EQ(noms[i], noms[i - 3]);
  EXPECT_LE(shop.Silence(1500), 1000U);
  // Each track is heard to its end: the next one starts behind it.
  for (size_t i = 1; i < llDebuts.size(); ++i) {
    EXPECT_GE(llDebuts[i] - llDebuts[i - 1], 5000U);
    EXPECT_LE(llDebuts[i] - llDebuts[i - 1], 6000U);
  }
  EXPECT_EQ(nMaxPrises, 1);
}

TEST_F(Playlist, FiveHundredShortFilesNeverLoseATranche) {
  // Whole periods, so that a file's own end is no step.
  for (int i = 0; i < 5; ++i) {
    Ecrit("s" + std::to_string(i) + ".wav", 44100, 3000 + static_cast<uint32_t>(i) * 1000, 100.0 * (i + 1));
  }
  shop.bGarde = true;
  Ouvre(true, true);
  shop.Avance(2000);
  const uint64_t llDebut = shop.llMs;
  size_t n = 0;
  while (n < 500 && shop.llMs < 2'000'000) {
    shop.Avance(10000);
    // Two of these tones at most, at half scale each; a round's last file may be the next one's first.
    const double dPente = 0.5 * 2 * std::numbers::pi * (500 + 500) / 44100 + 4.0 / 32768;
    for (size_t i = 2; i < shop.pcm.size(); i += 2) {
      ASSERT_LE(std::abs(shop.pcm[i] - shop.pcm[i - 2]) / 32768.0, dPente) << shop.llMs << " " << i / 2 / 44.1 << " ms";
    }
    shop.pcm.erase(shop.pcm.begin(), shop.pcm.end() - 2);
    n = Joues().size();
  }
  EXPECT_GE(n, 500U);
  EXPECT_LE(nMaxPrises, 2);
  EXPECT_EQ(shop.Silence(llDebut), 0U);
  pgm->Stop();
  EXPECT_EQ(shop.mixout.NbTranchesPrises(), 0);
}

// The only files left have another rate than what plays: the mixer refuses them until the old track is
// gone, and then at the very next round there is music.
TEST_F(Playlist, ComesBackAtOnceAfterASilenceThatTheMixerForces) {
  Ecrit("a.wav", 8000, 20000);
  Ouvre(true);
  shop.Avance(3000);
  Change([&] {
    Ecrit("b.wav", 11025, 20000);
    fs::remove(shop.dir / "m/a.wav");
  });
  shop.Avance(60000);
  // The old track's line is inaudible before it is over: count from a threshold above that.
  EXPECT_LE(shop.Silence(3000, 0.005F), 1000U);
  EXPECT_EQ(Joues().back(), "/b.wav");
  // Attempts at two per round for 13 s, but not a line for each.
  EXPECT_LE(Joues().size(), 12U);
}

// The kernel doesn't tell the end of a folder of which a file is open, and a playing track is one.
TEST_F(Playlist, AFolderMadeAgainUnderAPlayingTrackIsWatched) {
  Ecrit("a.wav", 8000, 60000);
  Ouvre(true);
  shop.Avance(3000);
  Change([&] {
    fs::remove_all(shop.dir / "m");
    Ecrit("b.wav", 8000, 20000);
  });
  // Until all of that has been told.
  for (int nCalme = 0; nCalme < 20; nCalme = pgm->VoitChangement() ? 0 : nCalme + 1) {
    shop.Avance(500);
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  ASSERT_EQ(Joues().size(), 1U) << "the first track plays on";
  Change([&] { Ecrit("c.wav", 8000, 20000); });
  shop.Avance(80000);
  EXPECT_GE(Compte("/b.wav"), 1);
  EXPECT_GE(Compte("/c.wav"), 1);
  EXPECT_EQ(shop.Silence(1500), 0U);
}

TEST_F(Playlist, AFolderThatNeverStopsChangingStillGivesMusic) {
  Ecrit("a.wav", 8000, 16000);
  Ecrit("b.wav", 8000, 16000);
  Ouvre(true);
  const auto fnRonde = shop.fnRonde;
  int n = 0;
  shop.fnRonde = [&] {
    shop.dir.Write("m/copie.tmp", std::string(static_cast<size_t>(++n), 'x'));
    ASSERT_TRUE(Attends([this] { return pgm->VoitChangement(); }));
    fnRonde();
  };
  shop.Avance(120000);
  EXPECT_LE(shop.Silence(1500), 500U);
  EXPECT_GE(Joues().size(), 20U);
}

TEST_F(Playlist, DamagedFilesAmongGoodOnesAreStepped) {
  Ecrit("1.wav", 8000, 15000);
  shop.dir.Write("m/2.wav", "RIFFxxxxWAVE");
  shop.dir.Write("m/3.mp3", std::string(5000, 'z'));
  shop.dir.Write("m/4.wav", WavTone(8000, 60000, 440).substr(0, 8000 * 4 * 3));  // says 60 s, holds 3
  Ecrit("5.wav", 8000, 15000);
  Ouvre(true);
  shop.Avance(120000);
  // Each unreadable file costs half a round, and two stand in a row at most here.
  EXPECT_LE(shop.Silence(1500), 3000U);
  EXPECT_GE(Compte("/5.wav"), 1);
}

TEST_F(Playlist, NothingPlayableFillsNeitherHistoryNorLogAndAGoodFileIsHeard) {
  const CTestLog log(shop.dir);
  for (int i = 0; i < 4; ++i) shop.dir.Write("m/x" + std::to_string(i) + ".wav", "rien");
  Ouvre(true);
  shop.Avance(300000);
  EXPECT_LE(Joues().size(), 8U);
  // A minute of them at four a second, then one in 2.5 s.
  EXPECT_GE(log.Count("Play Fichier"), 300);
  EXPECT_LE(log.Count("Play Fichier"), 450);
  const uint64_t llAvant = shop.llMs;
  Change([&] { Ecrit("bon.wav", 8000, 30000); });
  shop.Avance(10000);
  EXPECT_EQ(Joues().back(), "/bon.wav");
  EXPECT_EQ(shop.Silence(llAvant + 3000), 0U);
}

TEST_F(Playlist, NamesAreBytesAndSubFoldersTenDeepShowInTheTitle) {
  const std::string szNom = "/\xe9t\xe9/2/3/4/5/6/7/8/9/\xf0\x9f\x8e\xb5/caf\xc3\xa9 \xff.wav";
  Ecrit(szNom.substr(1), 8000, 30000);
  Ouvre(true, false, true);
  shop.Avance(2000);
  std::string szTitre;
  ASSERT_TRUE(pgm->GetTitre(&szTitre));
  EXPECT_EQ(szTitre, szNom);
  EXPECT_EQ(Joues().back(), szNom);
  EXPECT_EQ(shop.Silence(1500), 0U);
}

// Tranche numbers are given again at once: when the mixer is restarted under a message, the music may get the
// message's own before the message has its next look.
TEST_F(Playlist, AMessageWhoseMixerIsRestartedLeavesTheMusicAlone) {
  const std::string szMusique = Ecrit("a.wav", 8000, 60000);
  EventContext contexte{&shop.cfg, &shop.mixout, &shop.historique};
  const std::unique_ptr<CEvent> pMessage = CreeEvent(kEventMsgAudio, contexte);
  pMessage->SetPath(shop.dir.Write("msg.wav", WavTone(8000, 5000, 300)).c_str());
  pMessage->Start(true);
  const int nTranche = pMessage->m_nTranche;
  shop.Avance(1000);
  EXPECT_FALSE(pMessage->CheckEnd());
  shop.mixout.StopAll();
  shop.mixout.Stop();
  shop.mixout.StartSansThread(0, 10, CMusicShop::kBlocMs, 0);
  ASSERT_EQ(shop.mixout.PlayFichier(szMusique, kPlayMixe, 0, 0, 0, 0, 0, false, 0, 0, "MUSIQUE"), nTranche);
  EXPECT_TRUE(pMessage->CheckEnd());
  EXPECT_EQ(shop.mixout.NbTranchesPrises(), 1);
  EXPECT_TRUE(shop.mixout.GetPosTranche(nTranche, nullptr, nullptr));
}

// Ten minutes in which things are killed, damaged and made again at random. Whenever the folder holds a
// playable file and the output stands, there is sound within three seconds.
TEST_F(Playlist, SurvivesTenMinutesOfFaultsWithoutAnUnforcedSilence) {
  for (const uint32_t nGraine : {1U, 2U, 3U, 4U}) {
    SCOPED_TRACE(nGraine);
    CMusicShop& s = shop;
    std::mt19937 hasard(nGraine);
    const auto Tire = [&](int n) { return static_cast<int>(hasard() % static_cast<unsigned>(n)); };
    fs::remove_all(s.dir / "m");
    int nFichiers = 0;
    const auto Ajoute = [&] {
      const uint32_t dwFreq = Tire(3) == 0 ? 11025 : 8000;
      Ecrit("f" + std::to_string(nFichiers++) + ".wav", dwFreq, 2000 + static_cast<uint32_t>(Tire(25)) * 1000);
    };
    for (int i = 0; i < 6; ++i) Ajoute();
    Ouvre(Tire(2) == 0, Tire(2) == 0);
    s.Avance(1000);

    const uint64_t llFin = s.llMs + 600000;
    uint64_t llPossible = s.llMs;  // since when it could play without a break
    uint64_t llSon = s.llMs;       // when it was last heard
    uint64_t llPire = 0;
    bool bSortie = true;  // the output takes devices
    bool bDossier = true;
    s.fnBloc = [&] {
      if (!s.niveaux.empty() && s.niveaux.back() > 0.005F) llSon = s.llMs;
      if (!bSortie || !bDossier) llPossible = s.llMs;
      llPire = std::max(llPire, s.llMs - std::max(llSon, llPossible));
    };
    while (s.llMs < llFin) {
      switch (Tire(9)) {
        case 0:  // the configuration was changed: the mixer goes down and comes up
          s.mixout.StopAll();
          s.mixout.Stop();
          s.mixout.StartSansThread(0, 10, CMusicShop::kBlocMs, 0);
          break;
        case 1:  // the device refuses for a while
          s.wave.RefuseAll(true);
          s.mixout.StopAll();
          s.mixout.Stop();
          s.mixout.StartSansThread(0, 10, CMusicShop::kBlocMs, 0);
          bSortie = false;
          s.Avance(500 + static_cast<uint32_t>(Tire(20)) * 500);
          s.wave.RefuseAll(false);
          bSortie = true;
          break;
        case 2:  // the folder goes and comes back
          bDossier = false;
          fs::remove_all(s.dir / "m");
          s.Avance(500 + static_cast<uint32_t>(Tire(40)) * 500);
          for (int i = 0; i < 4; ++i) Ajoute();
          bDossier = true;
          break;
        case 3:  // a file is damaged, or was never sound
          s.dir.Write("m/f" + std::to_string(Tire(nFichiers)) + ".wav", "RIFF");
          break;
        case 4:
          Ajoute();
          break;
        case 5:
          fs::remove(s.dir / ("m/f" + std::to_string(Tire(nFichiers)) + ".wav"));
          Ajoute();
          break;
        case 6:  // the device loses its position for a moment
          s.wave.FailPosition(true);
          s.Avance(100 + static_cast<uint32_t>(Tire(10)) * 50);
          s.wave.FailPosition(false);
          break;
        case 7:  // a message of another rate, or of the same
        {
          const std::string szMessage = s.dir.Write("msg.wav", WavTone(Tire(4) == 0 ? 11025 : 8000, 4000, 300));
          const int n = s.mixout.PlayFichier(szMessage, kPlayMixe, 0, 0, 0, 0, 0, false, 0, 0, "MESSAGE");
          s.Avance(5000);
          s.mixout.StopTranche(n);
          break;
        }
        default:  // the programme is stopped and started, as by the operator
          pgm->Stop();
          pgm->StartSansThread();
          s.fnRonde();
          break;
      }
      // With enough playable files for the claim to be about the programme, not about luck.
      int nBons = 0;
      for (const auto& f : fs::directory_iterator(s.dir / "m")) nBons += fs::file_size(f) > 1000 ? 1 : 0;
      if (nBons < 3) {
        for (int i = 0; i < 4; ++i) Ajoute();
      }
      s.Avance(static_cast<uint32_t>(Tire(30)) * 500);
    }
    std::printf("graine %u : plus long silence évitable %u ms, %zu fichiers joués\n", nGraine,
                static_cast<unsigned>(llPire), Joues().size());
    EXPECT_LE(llPire, 3000U);
    EXPECT_LE(nMaxPrises, 3);  // with a message
    s.fnBloc = nullptr;
    pgm->Stop();
    EXPECT_EQ(s.mixout.NbTranchesPrises(), 0);
    pgm.reset();
    s.Avance(1000);
  }
}

}  // namespace
}  // namespace tonara::test
