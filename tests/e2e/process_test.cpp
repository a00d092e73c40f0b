// The real program as a process: first start, one instance, ways to end.
#include <gtest/gtest.h>

#include <signal.h>

#include <filesystem>
#include <string>

#include "tests/e2e/sortie.h"
#include "tests/support/mediafiles.h"
#include "tests/support/program.h"

namespace tonara::test {
namespace {

constexpr double kDelai = 20.0;  // for conditions that are met at once on a machine at rest

void EcritBoucle(const CTempDir& dir) {
  dir.Write("Demo/Loop.wav", MakeWav({}, MakeTone(44100, 2, 16, 1000, 500.0)));
}
uintmax_t Taille(const CTempDir& dir, const char* szNom) {
  std::error_code ignored;
  const uintmax_t nTaille = std::filesystem::file_size(dir / szNom, ignored);
  return ignored ? 0 : nTaille;
}
bool Joue(const CTempDir& dir) {
  return Taille(dir, "out-001.wav") > 10000;
}
size_t Compte(const std::string& szTexte, const std::string& szQuoi) {
  size_t nFois = 0;
  for (size_t n = szTexte.find(szQuoi); n != std::string::npos; n = szTexte.find(szQuoi, n + 1)) ++nFois;
  return nFois;
}

TEST(Process, FirstStartWritesSettingsAndRulesAndNothingElse) {
  CProgram programme;
  const CTempDir& dir = programme.Dir();
  ASSERT_TRUE(programme.Start(TONARA_PROGRAM));
  ASSERT_TRUE(programme.Attend(kDelai, [&] { return Compte(dir.Read("Regles.ini"), "[Rule_2]") == 1; }));
  programme.Signal(SIGTERM);
  EXPECT_EQ(programme.Resultat(2.0), 1);
  const std::string szReglages = dir.Read("tonara.ini");
  for (const char* szCle : {"\nVersion=20400\n", "\nMusicSource=3\n", "\nAutoFade=-12.0\n", "\nDeviceOut=File\n"}) {
    EXPECT_EQ(Compte(szReglages, szCle), 1U) << szCle;
  }
  EXPECT_EQ(Compte(szReglages, "ActiverTraces"), 0U);
  EXPECT_EQ(Compte(dir.Read("Regles.ini"), "Path=" + dir.Dir() + "Demo/tonara."), 2U);
  // Log and history are off; there was no file to play, so the device was never opened.
  EXPECT_FALSE(dir.Exists("tonara.log"));
  EXPECT_FALSE(dir.Exists("Historique.txt"));
  EXPECT_FALSE(dir.Exists("out-001.wav"));
}

TEST(Process, SecondInstanceEndsSilentlyAndDisturbsNothing) {
  CProgram premier;
  EcritBoucle(premier.Dir());
  premier.Dir().Write("tonara.ini", "[General]\nActiverTraces=1\nActiverHistorique=1\n");
  ASSERT_TRUE(premier.Start(TONARA_PROGRAM));
  ASSERT_TRUE(premier.Attend(kDelai, [&] { return Joue(premier.Dir()); }));

  CProgram second;
  second.Partage(premier);
  EcritBoucle(second.Dir());
  second.Dir().Write("tonara.ini", "[General]\nActiverTraces=1\nActiverHistorique=1\n");
  ASSERT_TRUE(second.Start(TONARA_PROGRAM));
  EXPECT_EQ(second.Resultat(kDelai), 0);
  EXPECT_EQ(Compte(second.Dir().Read("tonara.ini"), "\nVersion=20400\n"),
            1U);  // it has read and rewritten its settings
  for (const char* szNom : {"tonara.log", "Historique.txt", "Regles.ini", "out-001.wav"}) {
    EXPECT_FALSE(second.Dir().Exists(szNom)) << szNom;
  }
  EXPECT_EQ(Compte(second.Dir().Read("stderr.txt"), "tonara_MUTEX"), 0U);

  // The first plays on, in the same stream.
  const uintmax_t nTaille = Taille(premier.Dir(), "out-001.wav");
  EXPECT_TRUE(premier.Attend(kDelai, [&] { return Taille(premier.Dir(), "out-001.wav") > nTaille; }));
  EXPECT_FALSE(premier.Dir().Exists("out-002.wav"));
  EXPECT_EQ(Compte(premier.Dir().Read("Historique.txt"), "DEMARRAGE"), 1U);
  premier.Signal(SIGTERM);
  EXPECT_EQ(premier.Resultat(2.0), 1);

  // The lock went with the process: the second may start now.
  ASSERT_TRUE(second.Start(TONARA_PROGRAM));
  EXPECT_TRUE(second.Attend(kDelai, [&] { return Joue(second.Dir()); }));
}

TEST(Process, EverySignalThatEndsASessionEndsInOrderAndSaves) {
  for (const int nSignal : {SIGTERM, SIGINT, SIGHUP}) {
    CProgram programme;
    const CTempDir& dir = programme.Dir();
    EcritBoucle(dir);
    dir.Write("tonara.ini", "; kept\n[General]\nActiverTraces=1\n[Interface]\nPosMain_Left=120\nPosMain_Top=90\n");
    ASSERT_TRUE(programme.Start(TONARA_PROGRAM));
    ASSERT_TRUE(programme.Attend(kDelai, [&] { return Joue(dir); }));
    // So that the save at the end can be told from the one at the start.
    dir.Write("tonara.ini", "; kept\n[General]\nActiverTraces=1\n");
    programme.Signal(nSignal);
    EXPECT_EQ(programme.Resultat(2.0), 1) << nSignal;
    const std::string szLog = dir.Read("tonara.log");
    EXPECT_EQ(Compte(szLog, " : *************** Fin session *******************\n"), 1U) << szLog;
    const std::string szReglages = dir.Read("tonara.ini");
    EXPECT_TRUE(szReglages.starts_with("; kept\n[General]\nActiverTraces=1\n")) << szReglages;
    EXPECT_EQ(Compte(szReglages, "\nPosMain_Left=120\nPosMain_Top=90\n"), 1U) << szReglages;
  }
}

TEST(Process, DeadNetworkDriveDoesNotHoldUpTheEnd) {
  CProgram programme;
  const CTempDir& dir = programme.Dir();
  dir.Write("tonara.ini", "[General]\nActiverTraces=1\n[Interface]\nPosMain_Left=120\n[LoopFile]\nPathLoopFile=" +
                              dir.Dir() + "disque mort/musique.wav\n");
  programme.Precharge(TONARA_DEADDISK);
  ASSERT_TRUE(programme.Start(TONARA_PROGRAM));
  // The music's file is being opened, and never is.
  ASSERT_TRUE(
      programme.Attend(kDelai, [&] { return Compte(dir.Read("tonara.log"), "Démarrage des programmes") == 1; }));
  ASSERT_TRUE(programme.Attend(kDelai, [&] { return Compte(dir.Read("tonara.log"), "Play Fichier") == 1; }));
  dir.Write("tonara.ini", "[General]\nActiverTraces=1\n");
  programme.Signal(SIGTERM);
  EXPECT_EQ(programme.Resultat(2.0), 1);
  const std::string szLog = dir.Read("tonara.log");
  EXPECT_EQ(Compte(szLog, "un disque ne répond pas"), 1U) << szLog;
  EXPECT_EQ(Compte(szLog, "Fin session"), 1U) << szLog;
  EXPECT_EQ(Compte(dir.Read("tonara.ini"), "\nPosMain_Left=120\n"), 1U);
}

TEST(Process, DeadNetworkDriveCostsItsOwnRulesOnly) {
  CProgram programme;
  const CTempDir& dir = programme.Dir();
  EcritBoucle(dir);
  EcritTon(dir, "annonce.wav", kMessageHz, 500);
  dir.Write("tonara.ini", "[General]\nActiverTraces=1\nActiverHistorique=1\n");
  dir.Write("Regles.ini", RegleFixe(1, dir / "disque mort/annonce.mp3", 1000) +
                              RegleFixe(2, dir / "disque mort/autre.mp3", 1000) +
                              RegleFixe(3, dir / "annonce.wav", 1000));
  programme.Precharge(TONARA_DEADDISK);
  programme.SetHeure({2026, 3, 2, 9, 59, 47});
  ASSERT_TRUE(programme.Start(TONARA_PROGRAM));
  EXPECT_TRUE(programme.Attend(kDelai,
                               [&] {
                                 return Compte(dir.Read("Historique.txt"),
                                               "10:00:00 - " + dir.Dir() + "annonce.wav (Message audio)\n") == 1;
                               }))
      << dir.Read("Historique.txt") << dir.Read("tonara.log");
  EXPECT_EQ(Compte(dir.Read("tonara.log"), "le disque ne répond pas"), 2U);
  programme.Signal(SIGTERM);
  EXPECT_EQ(programme.Resultat(2.0), 1);
}

// A process group is signalled as a whole, and a script in it passes the signal on.
TEST(Process, TwoSignalsAtOnceAreOneRequest) {
  CProgram programme;
  EcritBoucle(programme.Dir());
  programme.Dir().Write("tonara.ini", "[General]\nActiverTraces=1\n");
  ASSERT_TRUE(programme.Start(TONARA_PROGRAM));
  ASSERT_TRUE(programme.Attend(kDelai, [&] { return Joue(programme.Dir()); }));
  // Stopped, so that both have come before it can begin to close.
  programme.Signal(SIGSTOP);
  programme.Signal(SIGTERM);
  programme.Signal(SIGINT);
  programme.Signal(SIGCONT);
  EXPECT_EQ(programme.Resultat(2.0), 1);
  EXPECT_EQ(Compte(programme.Dir().Read("tonara.log"), " : *************** Fin session *******************\n"), 1U);
}

TEST(Process, StartsWithoutAFileToPlayAndWithBrokenSettings) {
  CProgram programme;
  const CTempDir& dir = programme.Dir();
  dir.Write("tonara.ini", std::string(4096, '\0'));  // what a power cut may leave
  dir.Write("Regles.ini", "[Rule_1]\nPath=" + dir.Dir() + "nulle part.mp3\nTimeFrequency=0\n");
  ASSERT_TRUE(programme.Start(TONARA_PROGRAM));
  ASSERT_TRUE(programme.Attend(kDelai, [&] { return Compte(dir.Read("tonara.ini"), "\nVersion=20400\n") == 1; }));
  EXPECT_TRUE(dir.Exists("tonara.ini.bad"));
  EXPECT_EQ(programme.Resultat(1.0), std::nullopt);  // it lives
  programme.Signal(SIGTERM);
  EXPECT_EQ(programme.Resultat(2.0), 1);
}

}  // namespace
}  // namespace tonara::test
