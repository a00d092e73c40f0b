// The manager of the audio programmes and the looped file, on the real mixer over a device played by
// hand.
#include "programmes/audioprogram.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstring>
#include <thread>
#include <utility>
#include <vector>

#include "audio/mixout.h"
#include "core/appcfg.h"
#include "core/historique.h"
#include "tests/support/fakeclock.h"
#include "tests/support/fakewave.h"
#include "tests/support/mediafiles.h"
#include "tests/support/tempdir.h"

namespace tonara::test {
namespace {

constexpr int kTailleMs = 50;
constexpr int kBloc = 44100 * kTailleMs / 1000 * 2;  // samples, both channels

class AudioProgramTest : public ::testing::Test {
 protected:
  void SetUp() override {
    g_szAppDir = m_dir.Dir();
    g_Appcfg = CAppcfg();
    g_Appcfg.m_szIniPath = m_dir / "tonara.ini";
    g_Historique.SetPath(m_dir.Dir());
    g_Historique.SetClock(m_horloge);
    g_Historique.Enable(true);
    ASSERT_TRUE(g_Mixout.StartSansThread(0, 4, kTailleMs, 0));
    g_Mixout.AddGroupe("MUSIQUE", g_Appcfg.Music, g_Appcfg.AutoFade);
  }
  void TearDown() override {
    StopAudioProgram();
    g_Mixout.StopAll();
    g_Mixout.Stop();
    g_Historique.Enable(false);
  }
  /// A loop whose PCM tells where in it a sample stands.
  void EcritBoucle(const std::string& szNom, uint32_t dwMs = 130) {
    m_dir.Write(szNom, MakeWav({}, MakeNoise(44100, 2, 16, dwMs)));
  }
  std::vector<int16_t> Joue(int nBlocs) {
    std::vector<int16_t> sortie;
    for (int i = 0; i < nBlocs; ++i) {
      EXPECT_EQ(m_wave.Play(1), 1);
      g_Mixout.Tick();
    }
    return m_wave.TakePlayed16();
  }
  std::string Historique() { return m_dir.Read("Historique.txt"); }

  CTempDir m_dir;
  CFakeClock m_horloge;
  CFakeWave m_wave;
};

TEST_F(AudioProgramTest, DefaultPlaysTheDemonstrationLoopWithoutEnd) {
  EcritBoucle("Demo/Loop.wav");
  ASSERT_TRUE(StartAudioProgram());
  EXPECT_NE(Historique().find(" - *** Start Programme PAD audio (" + m_dir.Dir() + "Demo/Loop.wav)\n"),
            std::string::npos);
  // 130 ms of file, 1 s of sound: each sample is the file's, to within the mixer's rounding.
  const std::vector<int16_t> sortie = Joue(20);
  ASSERT_EQ(sortie.size(), 20U * kBloc);
  const std::string pcm = MakeNoise(44100, 2, 16, 130);
  const size_t nFichier = pcm.size() / 2;
  for (size_t i = 0; i < sortie.size(); ++i) {
    int16_t nAttendu = 0;
    std::memcpy(&nAttendu, pcm.data() + i % nFichier * 2, 2);
    ASSERT_LE(std::abs(sortie[i] - nAttendu), 1) << "sample " << i;
  }
}

TEST_F(AudioProgramTest, StartsAndStopsOnceHoweverOftenAsked) {
  EcritBoucle("Demo/Loop.wav");
  EXPECT_TRUE(StartAudioProgram());
  EXPECT_TRUE(StartAudioProgram());
  EXPECT_EQ(g_Mixout.NbTranchesPrises(), 1);
  StopAudioProgram();
  EXPECT_EQ(g_Mixout.NbTranchesPrises(), 0);
  EXPECT_EQ(GetAudioProgram(), nullptr);
  StopAudioProgram();
  EXPECT_TRUE(StartAudioProgram());
  EXPECT_EQ(g_Mixout.NbTranchesPrises(), 1);
}

TEST_F(AudioProgramTest, FileFromAnOlderMachineIsFoundAndPlaysAtTheMusicLevel) {
  EcritBoucle("Musiques/Calme.wav");
  m_dir.Write("tonara.ini", "[loopfile]\r\npathloopfile = \"" + m_dir.Dir() + "Musiques\\CALME.WAV\"\r\n");
  g_Appcfg.Music = -20.0F;  // a tenth
  g_Mixout.SetLevelGroupe("MUSIQUE", g_Appcfg.Music);
  ASSERT_TRUE(StartAudioProgram());
  const std::vector<int16_t> sortie = Joue(2);
  const std::string pcm = MakeNoise(44100, 2, 16, 130);
  for (size_t i = 0; i < 2U * kBloc; ++i) {
    int16_t nFichier = 0;
    std::memcpy(&nFichier, pcm.data() + i * 2, 2);
    ASSERT_NEAR(sortie[i], nFichier / 10.0, 2.0) << "sample " << i;
  }
}

TEST_F(AudioProgramTest, MissingFileLeavesSilenceAndTheNextStartTriesAnew) {
  EXPECT_FALSE(StartAudioProgram());
  EXPECT_EQ(g_Mixout.NbTranchesPrises(), 0);
  // The failed programme stays, so that the operator sees what should play; stopping passes over it.
  ASSERT_NE(GetAudioProgram(), nullptr);
  StopAudioProgram();
  ASSERT_NE(GetAudioProgram(), nullptr);

  EcritBoucle("Demo/Loop.wav");
  EXPECT_TRUE(StartAudioProgram());
  EXPECT_EQ(g_Mixout.NbTranchesPrises(), 1);
}

TEST_F(AudioProgramTest, NoProgrammeAndUnknownOnesAreSilence) {
  for (const int nType : {0, -1, 5, 99}) {
    EXPECT_EQ(CreateAudioProgram(nType, g_Appcfg.m_szIniPath), nullptr) << nType;
    g_Appcfg.MusicSource = nType;
    m_dir.Write("Historique.txt", "");
    EXPECT_FALSE(StartAudioProgram());
    EXPECT_NE(Historique().find(" - *** Aucun programme audio\n"), std::string::npos) << nType;
  }
  EXPECT_FALSE(m_wave.IsOpen());
}

// What the old programme left in the queue is heard to its end, and the new one follows with no silence between; only
// another rate opens the device anew, at once.
TEST_F(AudioProgramTest, SwitchingToThePlaylistAndBackLeavesNoSilence) {
  const std::pair<uint32_t, int> cas[] = {{44100, 1}, {48000, 3}};  // rate of the playlist, openings of the device
  for (const auto& [dwFreq, nOuvertures] : cas) {
    SCOPED_TRACE(dwFreq);
    EcritBoucle("Demo/Loop.wav");
    CWavShape forme;
    forme.dwFreq = dwFreq;
    m_dir.Write("Musiques/a.wav", MakeWav(forme, MakeNoise(dwFreq, 2, 16, 30000)));
    const int nAvant = m_wave.Opens();
    std::vector<int16_t> sortie;
    const auto Entend = [&] {
      const std::vector<int16_t> bloc = Joue(6);
      sortie.insert(sortie.end(), bloc.begin(), bloc.end());
    };
    for (const int nType : {kPgmLoopFile, kPgmPlaylist, kPgmLoopFile}) {
      StopAudioProgram();
      EXPECT_EQ(g_Mixout.NbTranchesPrises(), 0);
      g_Appcfg.MusicSource = nType;
      ASSERT_TRUE(StartAudioProgram());
      const auto fin = std::chrono::steady_clock::now() + std::chrono::seconds(10);
      while (g_Mixout.NbTranchesPrises() == 0 && std::chrono::steady_clock::now() < fin) std::this_thread::yield();
      ASSERT_EQ(g_Mixout.NbTranchesPrises(), 1);
      Entend();
    }
    EXPECT_EQ(m_wave.Opens() - nAvant, nOuvertures);
    int nMuets = 0;
    for (const int16_t ech : sortie) {
      nMuets = std::abs(ech) < 100 ? nMuets + 1 : 0;
      ASSERT_LT(nMuets, 50);
    }
    StopAudioProgram();
    g_Mixout.StopAll();
    while (m_wave.IsOpen()) {
      m_wave.Play(1);
      g_Mixout.Tick();
    }
    m_wave.TakePlayed();
  }
}

}  // namespace
}  // namespace tonara::test
