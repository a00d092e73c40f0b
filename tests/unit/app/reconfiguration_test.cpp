// Edited settings: what each difference restarts, and the restart itself on the real mixer, programme
// and calendar.
#include "app/reconfiguration.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "audio/mixout.h"
#include "core/appcfg.h"
#include "core/historique.h"
#include "platform/profile.h"
#include "programmes/audioprogram.h"
#include "schedule/calendrier.h"
#include "tests/support/fakewave.h"
#include "tests/support/mediafiles.h"
#include "tests/support/msgqueue.h"
#include "tests/support/tempdir.h"

namespace tonara {
namespace {

using test::CTempDir;

TEST(Reconfiguration, EachDifferenceRestartsItsOwnAndNothingElse) {
  using Edit = std::function<void(CAppcfg&)>;
  struct Cas {
    const char* szNom;
    Edit fnEdit;
    Reconfiguration attendu;
  };
  const Reconfiguration rien;
  const Reconfiguration plan{.bPlan = true};
  const Reconfiguration video{.bVideo = true};
  const Reconfiguration planVideo{.bPlan = true, .bVideo = true};
  const Cas cas[] = {
      {"nothing", [](CAppcfg&) {}, rien},
      {"VirguleAvant", [](CAppcfg& c) { c.VirguleAvant = !c.VirguleAvant; }, plan},
      {"PathVirguleAvant, case", [](CAppcfg& c) { c.PathVirguleAvant = "/SON.mp3"; }, plan},
      {"VirguleEntre", [](CAppcfg& c) { c.VirguleEntre = !c.VirguleEntre; }, plan},
      {"PathVirguleEntre", [](CAppcfg& c) { c.PathVirguleEntre = "x"; }, plan},
      {"DeviceOut", [](CAppcfg& c) { c.DeviceOut = "B"; }, {.bProgramme = true, .bMixeur = true}},
      {"MusicSource", [](CAppcfg& c) { c.MusicSource = 4; }, {.bProgramme = true}},
      {"EnableVideo", [](CAppcfg& c) { c.EnableVideo = !c.EnableVideo; }, planVideo},
      {"Monitor", [](CAppcfg& c) { ++c.Monitor; }, planVideo},
      {"Video FondCoul", [](CAppcfg& c) { ++c.FondCoul; }, video},
      {"EnableLogo", [](CAppcfg& c) { c.EnableLogo = !c.EnableLogo; }, video},
      {"PathLogo", [](CAppcfg& c) { c.PathLogo = "x"; }, video},
      {"PctSizeLogo", [](CAppcfg& c) { ++c.PctSizeLogo; }, video},
      {"PctPosXLogo", [](CAppcfg& c) { ++c.PctPosXLogo; }, video},
      {"PctPosYLogo", [](CAppcfg& c) { ++c.PctPosYLogo; }, video},
      {"PctPosX", [](CAppcfg& c) { ++c.Synthe.PctPosX; }, video},
      {"PctPosY", [](CAppcfg& c) { ++c.Synthe.PctPosY; }, video},
      {"PctLarg", [](CAppcfg& c) { ++c.Synthe.PctLarg; }, video},
      {"PctHaut", [](CAppcfg& c) { ++c.Synthe.PctHaut; }, video},
      {"Vitesse", [](CAppcfg& c) { ++c.Synthe.Vitesse; }, video},
      {"PerfsMax", [](CAppcfg& c) { c.Synthe.PerfsMax = !c.Synthe.PerfsMax; }, video},
      {"Synthe FondCoul", [](CAppcfg& c) { ++c.Synthe.FondCoul; }, video},
      {"TextCoul", [](CAppcfg& c) { ++c.Synthe.TextCoul; }, video},
      {"PctAlpha", [](CAppcfg& c) { ++c.Synthe.PctAlpha; }, video},
      {"FontName", [](CAppcfg& c) { c.Synthe.FontName = "arial"; }, video},
      {"only saved",
       [](CAppcfg& c) {
         c.Music = -3.0F;
         c.DureeMsgImage = 1U;
         c.Renderer = 2;
         c.NbBuffers = 4;
         c.ModeVuMetres = 1;
         c.DeviceIn = "x";
         c.Synthe.Enable = false;
         c.Synthe.Path = "x";
         c.PgmVideoCourant = 2;
       },
       rien},
  };
  CAppcfg actuels;
  actuels.PathVirguleAvant = "/son.mp3";
  actuels.DeviceOut = "A";
  for (const Cas& c : cas) {
    SCOPED_TRACE(c.szNom);
    CAppcfg edites = actuels;
    c.fnEdit(edites);
    EXPECT_TRUE(CompareReglages(actuels, edites, true) == c.attendu);
    Reconfiguration sansProgramme = c.attendu;
    sansProgramme.bProgramme = false;
    EXPECT_TRUE(CompareReglages(actuels, edites, false) == sansProgramme) << "no programme runs";
  }
}

class AppliqueTest : public ::testing::Test {
 protected:
  void SetUp() override {
    g_szAppDir = m_dir.Dir();
    g_Appcfg = CAppcfg();
    g_Appcfg.m_szIniPath = m_dir / "tonara.ini";
    g_Appcfg.DeviceOut = "A";
    m_dir.Write("Demo/Loop.wav", test::MakeWav({}, test::MakeNoise(44100, 2, 16, 2000)));
    g_Historique.SetPath(m_dir.Dir());
    g_Historique.Enable(true);
    g_Mixout.Start(FindDeviceOut("A"), 4, 50, 0);
    g_Mixout.AddGroupe("MUSIQUE", 0.0F, -12.0F);
    g_Calendrier.SetNotify(1, kMsgTick);
    g_Calendrier.StartSansThread();
    ASSERT_TRUE(StartAudioProgram());
  }
  void TearDown() override {
    StopAudioProgram();
    g_Calendrier.StopThread();
    g_Mixout.StopAll();
    g_Mixout.Stop();
    g_Historique.Enable(false);
  }
  int Demarrages() {
    int n = 0;
    const std::string szLignes = m_dir.Read("Historique.txt");
    for (size_t i = 0; (i = szLignes.find("*** Start Programme", i)) != std::string::npos; ++i) ++n;
    return n;
  }
  int Generations() {
    g_Calendrier.Tick();
    const int n = m_queue.TakeAll(kMsgGeneration);
    if (n > 0) g_Calendrier.EndGeneration();
    return n;
  }

  CTempDir m_dir;
  test::CFakeWave m_wave{{"A", "B"}};
  test::CMsgQueue m_queue;
};

TEST_F(AppliqueTest, NoChangeOnlyWritesTheFile) {
  const int nTranche = g_Mixout.NbTranchesPrises();
  AppliqueReglages(g_Appcfg);
  EXPECT_TRUE(m_dir.Exists("tonara.ini"));
  EXPECT_EQ(Demarrages(), 1);
  EXPECT_EQ(m_wave.Opens(), 1);
  EXPECT_EQ(g_Mixout.NbTranchesPrises(), nTranche);
  EXPECT_EQ(Generations(), 0);
}

TEST_F(AppliqueTest, AnotherDeviceTakesTheMusicAndDropsTheMessage) {
  const std::string szMessage = m_dir.Write("m.wav", test::MakeWav({}, test::MakeNoise(44100, 2, 16, 9000)));
  const int nMessage = g_Mixout.PlayFichier(szMessage, 2, 0, 0, 0, 0, 0.0F, false, 0, 0, nullptr);
  ASSERT_NE(nMessage, 0);
  CAppcfg edites = g_Appcfg;
  edites.DeviceOut = "B";
  edites.VirguleAvant = true;
  AppliqueReglages(edites);
  EXPECT_EQ(Demarrages(), 2);
  EXPECT_EQ(m_wave.Opens(), 2);
  EXPECT_TRUE(m_wave.IsOpen());
  EXPECT_EQ(g_Mixout.NbTranchesPrises(), 1) << "the music alone";
  EXPECT_FALSE(g_Mixout.GetPosTranche(nMessage, nullptr, nullptr)) << "its event ends at the next tick";
  EXPECT_EQ(ReadProfileString(g_Appcfg.m_szIniPath, "Mix", "DeviceOut", ""), "B");
  EXPECT_EQ(Generations(), 1);
}

TEST_F(AppliqueTest, MusicOffStaysOff) {
  StopAudioProgram();
  CAppcfg edites = g_Appcfg;
  edites.MusicSource = kPgmPlaylist;
  edites.DeviceOut = "B";
  AppliqueReglages(edites);
  EXPECT_FALSE(IsAudioProgramActif());
  EXPECT_EQ(Demarrages(), 1);
  EXPECT_EQ(g_Appcfg.MusicSource, kPgmPlaylist);
}

}  // namespace
}  // namespace tonara
