// The line input's chain on a capture and an output played by hand, and the programme that watches
// over it.
#include "programmes/linesource.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "programmes/audioligneprogram.h"
#include "tests/integration/musicshop.h"

namespace tonara::test {
namespace {

constexpr uint32_t kBloc = 35280;

// An input that gives a steady tone, with the capture's and the mixer's rounds run on the spot.
class Ligne : public testing::Test {
 protected:
  Ligne() {
    ligne.SetSansThread();
    ligne.SetRecordBox([this](const std::string&, const std::string&) { ++nBoites; });
    shop.cfg.DeviceIn = "FakeIn";
    bloc.resize(kBloc / 2, 8192);
  }
  // Feeds the input from another thread while fn waits for its sound.
  void Nourrit(const std::function<void()>& fn) {
    std::atomic<bool> bFin{false};
    std::thread pilote([&] {
      while (!bFin.load()) {
        if (!ligne.IsPret() && shop.wave.Record(bloc.data(), kBloc)) ligne.TickCapture();
        std::this_thread::yield();
      }
    });
    fn();
    bFin.store(true);
    pilote.join();
  }
  bool Start(const char* szDevice = "FakeIn") {
    bool bOk = false;
    Nourrit([&] { bOk = ligne.Start(szDevice, &shop.mixout, "MUSIQUE", 0.0F); });
    return bOk;
  }

  CMusicShop shop;
  CLineSource ligne;
  std::vector<int16_t> bloc;
  int nBoites = 0;
};

TEST_F(Ligne, StartPutsTheInputOnTheMixerOnceAndStopTakesAllBack) {
  ASSERT_TRUE(Start());
  EXPECT_TRUE(shop.wave.IsInOpen());
  EXPECT_EQ(shop.mixout.NbTranchesPrises(), 1);
  EXPECT_EQ(shop.wave.Queued(), 10);
  EXPECT_TRUE(ligne.Start("autre chose", &shop.mixout, nullptr, 0.0F)) << "active: nothing happens";
  EXPECT_EQ(shop.mixout.NbTranchesPrises(), 1);
  shop.wave.Play(1);
  EXPECT_EQ(shop.wave.TakePlayed16()[0], 8191);
  float niveaux[2];
  ASSERT_TRUE(ligne.GetNiveaux(niveaux, nullptr));
  EXPECT_NEAR(niveaux[0], -13.863, 0.01);  // 10 ln 0.25
  ligne.Stop();
  EXPECT_FALSE(shop.wave.IsInOpen());
  EXPECT_EQ(shop.mixout.NbTranchesPrises(), 0);
  ligne.Stop();
  EXPECT_TRUE(Start()) << "and again";
}

TEST_F(Ligne, FailuresTakeAllBack) {
  EXPECT_FALSE(ligne.Start("FakeIn", nullptr, nullptr, 0.0F));
  EXPECT_EQ(nBoites, 0);
  const auto Depart = [&](const char* szDevice) { return ligne.Start(szDevice, &shop.mixout, "MUSIQUE", 0.0F); };
  EXPECT_FALSE(Depart("Absente"));
  EXPECT_EQ(nBoites, 1);
  shop.wave.RefuseAll(true);
  EXPECT_FALSE(Depart("FakeIn"));
  EXPECT_EQ(nBoites, 2);
  shop.wave.RefuseAll(false);
  // No place in the mixer.
  const std::string szWav = shop.dir.Write("x.wav", WavTone(44100, 1000, 440));
  for (int n = 0; n < NB_TRANCHES; ++n) {
    ASSERT_NE(shop.mixout.PlayFichier(szWav, kPlayMixe, 0, 0, 0, 0, 0, false, 0, 0, nullptr), 0);
  }
  EXPECT_FALSE(Depart("FakeIn"));
  EXPECT_FALSE(shop.wave.IsInOpen());
  EXPECT_FALSE(ligne.IsOuvert());
  shop.mixout.StopAll();
  EXPECT_TRUE(Start());
}

// The input opens and gives nothing: the start waits inside the mixer, and a stop must not wait with it.
TEST_F(Ligne, StopFreesAStartThatWaitsForSound) {
  std::atomic<int> nResultat{-1};
  std::thread depart([&] { nResultat.store(ligne.Start("FakeIn", &shop.mixout, nullptr, 0.0F) ? 1 : 0); });
  const auto debut = std::chrono::steady_clock::now();
  ASSERT_TRUE(Attends([&] { return shop.mixout.IsActif(); }));  // the mixer has the source
  // Nor do the meters wait, which the window draws twenty times a second.
  float niveaux[2];
  EXPECT_TRUE(shop.mixout.GetNiveaux(niveaux, niveaux, 2));
  shop.mixout.ResetNiveauxMax();
  ligne.Stop();
  depart.join();
  EXPECT_LT(std::chrono::steady_clock::now() - debut, std::chrono::seconds(4)) << "the mixer's own wait is 5 s";
  EXPECT_EQ(nResultat.load(), 0);
  EXPECT_EQ(shop.mixout.NbTranchesPrises(), 0);
  EXPECT_FALSE(shop.wave.IsInOpen());
}

// The programme in fake time: an input whose life the test decides.
class LigneProgramme : public Ligne {
 protected:
  LigneProgramme() : pgm("", shop.cfg, shop.historique, shop.mixout, ligne, shop.clock) {}

  void Avance(uint32_t dwMs) {
    for (uint32_t t = 0; t < dwMs; t += CMusicShop::kBlocMs) {
      shop.wave.Play(1);
      shop.niveaux.push_back(shop.wave.TakePlayed16().empty() ? 0.0F : 0.25F);
      shop.clock.Advance(CMusicShop::kBlocMs);
      shop.llMs += CMusicShop::kBlocMs;
      if (shop.llMs % 200 == 0 && bVivante) shop.wave.Record(bloc.data(), kBloc);
      ligne.TickCapture();
      // What the mixer lacks, it waits for in real time: then the input hurries. Of a dead input it
      // would wait for the end, so there it isn't asked, and the device runs dry.
      if (!ligne.IsOuvert() || (ligne.IsPret() && shop.wave.Queued() >= 6)) {
        shop.mixout.Tick();
      } else if (bVivante) {
        Nourrit([&] { shop.mixout.Tick(); });
      }
      if (shop.llMs % CMusicShop::kRondeMs == 0) Ronde();
    }
  }
  void Ronde() {
    if (bVivante && ligne.IsPret()) {
      Nourrit([&] { pgm.Tick(); });
    } else {
      pgm.Tick();
    }
  }

  CAudioLigneProgram pgm;
  bool bVivante = true;
};

TEST_F(LigneProgramme, MissingAtTheStartIsHeardOnceItIsThere) {
  shop.wave.RefuseAll(true);
  EXPECT_FALSE(pgm.StartSansThread());
  EXPECT_EQ(nBoites, 1);
  Avance(60000);
  EXPECT_EQ(nBoites, 1) << "the box belongs to the operator's own start";
  shop.wave.RefuseAll(false);
  const uint64_t llDebut = shop.llMs;
  Avance(6000);
  EXPECT_LE(shop.Silence(llDebut), 3500U);
  EXPECT_EQ(shop.Silence(llDebut + 3500), 0U);
}

TEST_F(LigneProgramme, AnInputThatStopsGivingAndGivesAgainIsHeardAgain) {
  ASSERT_TRUE(pgm.StartSansThread());
  Avance(3000);
  for (int tour = 0; tour < 3; ++tour) {
    bVivante = false;
    Avance(4000 + static_cast<uint32_t>(tour) * 13000);
    bVivante = true;
    const uint64_t llRetour = shop.llMs;
    Avance(6000);
    EXPECT_EQ(shop.Silence(llRetour + 3500), 0U) << tour;
    EXPECT_EQ(shop.mixout.NbTranchesPrises(), 1);
  }
  EXPECT_EQ(nBoites, 0);
}

TEST_F(LigneProgramme, ComesBackAfterTheMixerWasStoppedAndStarted) {
  ASSERT_TRUE(pgm.StartSansThread());
  Avance(3000);
  shop.mixout.StopAll();
  shop.mixout.Stop();
  ASSERT_TRUE(shop.mixout.StartSansThread(0, 10, 50, 0));
  const uint64_t llDebut = shop.llMs;
  Avance(6000);
  EXPECT_LE(shop.Silence(llDebut), 2500U);
  EXPECT_EQ(shop.Silence(llDebut + 3000), 0U);
}

// With its threads, in real time: stopped at any moment, it is gone at once.
TEST_F(Ligne, ProgrammeStopsAtOnceInAnyStateWithItsThreads) {
  CLineSource source;
  CMixout mixout;
  ASSERT_TRUE(mixout.Start(0, 10, 50, 0));
  std::atomic<bool> bFin{false};
  std::atomic<bool> bDonne{true};
  std::mutex device;        // a real device lets no callback run past its closing
  std::thread pilote([&] {  // ten times faster than life
    while (!bFin.load()) {
      if (bDonne.load()) {
        std::lock_guard lock(device);
        shop.wave.Record(bloc.data(), kBloc);
      }
      for (int i = 0; i < 4; ++i) {
        shop.wave.Play(1);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
      }
    }
  });
  CAudioLigneProgram pgm("", shop.cfg, shop.historique, mixout, source, SystemClock());
  for (int tour = 0; tour < 8; ++tour) {
    bDonne.store(tour % 2 == 0);
    EXPECT_TRUE(pgm.Start());
    if (tour % 4 == 0) {
      EXPECT_TRUE(Attends([&] { return source.IsEntendue(); }));
    } else {
      std::this_thread::sleep_for(std::chrono::milliseconds(37 * tour));
    }
    const auto debut = std::chrono::steady_clock::now();
    {
      std::lock_guard lock(device);
      pgm.Stop();
    }
    EXPECT_LT(std::chrono::steady_clock::now() - debut, std::chrono::seconds(3)) << tour;
    EXPECT_EQ(mixout.NbTranchesPrises(), 0);
    EXPECT_FALSE(source.IsOuvert());
  }
  bFin.store(true);
  pilote.join();
  mixout.StopAll();
  mixout.Stop();
}

}  // namespace
}  // namespace tonara::test
