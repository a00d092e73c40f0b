// The playlist's settings, and its life with its own worker.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

#include "programmes/audioplaylistprogram.h"
#include "tests/integration/musicshop.h"

namespace tonara::test {
namespace {

TEST(PlaylistReglages, SectionIsReadAndWrittenWithoutTouchingTheRest) {
  CTempDir dir;
  g_szAppDir = dir.Dir();
  const std::string szIni = dir.Write("tonara.ini", "; magasin\n[Mix]\nDeviceOut=X\n[audioplaylist]\nrandom=7\n");
  CAudioPlaylistProgram pgm(szIni);
  EXPECT_EQ(pgm.m_szPath, dir.Dir() + "Musiques");
  EXPECT_FALSE(pgm.m_bSousRep);
  EXPECT_TRUE(pgm.m_bRandom);
  EXPECT_TRUE(pgm.m_bFondus);
  pgm.m_szPath = "/srv/été";
  pgm.m_bSousRep = true;
  pgm.m_bFondus = false;
  ASSERT_TRUE(pgm.Save(szIni));
  EXPECT_EQ(dir.Read("tonara.ini"),
            "; magasin\n[Mix]\nDeviceOut=X\n[audioplaylist]\nrandom=1\nPath=/srv/été\nIncludeSubFolders=1\nFondus=0\n");
  // Without a settings file nothing is read, and nothing plays.
  EXPECT_TRUE(CAudioPlaylistProgram("").m_szPath.empty());
}

// The worker, the mixer's thread, a device that runs ten times too fast, somebody who asks for the
// title all the time, and an operator who starts and stops.
TEST(PlaylistThreads, StartsAndStopsWhileItPlays) {
  CTempDir dir;
  CFakeWave wave;
  CAppcfg cfg;
  CHistorique historique;
  CMixout mixout;
  mixout.AddGroupe("MUSIQUE", 0.0F, -12.0F);
  ASSERT_TRUE(mixout.Start(0, 10, 50, 0));
  for (const char* szNom : {"a.wav", "b.wav"}) dir.Write(std::string("m/") + szNom, WavTone(8000, 15000, 440));
  const std::string szIni = dir.Write("p.ini", "[AudioPlaylist]\nPath=" + dir / "m" + "\nRandom=1\n");
  CAudioPlaylistProgram pgm(szIni, cfg, historique, mixout, SystemClock());
  std::atomic<bool> bFin{false};
  std::thread temps([&] {
    std::string szTitre;
    while (!bFin.load()) {
      wave.Play(1);
      pgm.GetTitre(&szTitre);
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  });
  for (int tour = 0; tour < 3; ++tour) {
    EXPECT_TRUE(pgm.Start());
    EXPECT_TRUE(pgm.Start());
    EXPECT_TRUE(Attends([&] { return mixout.NbTranchesPrises() == 1; }));
    if (tour == 0) {
      EXPECT_TRUE(Attends([&] { return mixout.NbTranchesPrises() == 2; }));
    }
    EXPECT_TRUE(pgm.Stop());
    EXPECT_EQ(mixout.NbTranchesPrises(), 0);
  }
  bFin.store(true);
  temps.join();
  mixout.Stop();
}

}  // namespace
}  // namespace tonara::test
