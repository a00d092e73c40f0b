// What each kind of event does to the mixer, the screen, the music and the history.
#include "schedule/event.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/dayharness.h"
#include "tests/support/fakescreen.h"
#include "tests/support/mediafiles.h"

namespace tonara::test {
namespace {

using ::testing::ElementsAre;

class Event : public ::testing::Test {
 protected:
  void SetUp() override { day.Demarre(); }
  std::unique_ptr<CEvent> Cree(int nType, const std::string& szPath) {
    std::unique_ptr<CEvent> pEvent = CreeEvent(nType, day.context);
    EXPECT_TRUE(pEvent->SetPath(szPath.c_str()));
    return pEvent;
  }
  /// Plays it to its end; false if it doesn't end.
  bool Joue(CEvent& event, bool bFin) {
    event.Start(bFin);
    return day.AvanceTantQue([&] { return !event.CheckEnd(); }, 10);
  }
  CDay day;
};

TEST_F(Event, EachClass) {
  const struct {
    int nType;
    const char* szTypeName;
    bool bCache;
    uint32_t dwDown, dwUp;
  } cas[] = {{kEventMsgAudio, "MESSAGE AUDIO", false, 1000, 2000},
             {kEventMsgVideo, "MESSAGE VIDEO", false, 1000, 2000},
             {kEventMsgImage, "MESSAGE IMAGE", false, 0, 2000},
             {kEventVirgule, "VIRGULE", true, 1000, 0},
             {kEventJingle, "JINGLE", false, 200, 500}};
  for (const auto& c : cas) {
    SCOPED_TRACE(c.szTypeName);
    const std::unique_ptr<CEvent> pEvent = Cree(c.nType, "C:\\Messages\\promo d'été.v2.mp3");
    EXPECT_EQ(pEvent->m_bCache, c.bCache);
    EXPECT_EQ(pEvent->m_dwFadeDown, c.dwDown);
    EXPECT_EQ(pEvent->m_dwFadeUp, c.dwUp);
    std::string text;
    EXPECT_TRUE(pEvent->GetTypeName(&text));
    EXPECT_EQ(text, c.szTypeName);
    EXPECT_EQ(pEvent->m_szNom, c.nType == kEventJingle ? "JINGLE" : "promo d'été.v2");
  }
}

TEST_F(Event, MusicThatStartsDuringAMessageIsLowAndBehindItFull) {
  const std::string szMusique =
      day.dir.Write("m.wav", MakeWav({.dwFreq = 8000, .wChannels = 1}, std::string(16000, '\x20')));  // 8224
  const auto niveau = [&] {
    const int n = day.mixout.PlayFichier(szMusique, kPlayMixe, 0, 0, 0, 0, 0.0F, false, 0, 0, "MUSIQUE");
    day.wave.TakePlayed();
    day.bGarderSon = true;
    day.Avance(1);
    day.bGarderSon = false;
    day.mixout.StopTranche(n);
    return day.wave.TakePlayed16().back();
  };
  const auto pEvent = Cree(kEventMsgAudio, day.Wav("a.wav", 3000));
  pEvent->Start(true);
  EXPECT_NEAR(niveau(), 8224 * 0.2512, 2);
  ASSERT_TRUE(Joue(*pEvent, true));
  EXPECT_NEAR(niveau(), 8223, 2);
}

TEST_F(Event, AFileThatCannotPlayEndsAtOnceAndIsInTheHistory) {
  const auto pEvent = Cree(kEventMsgAudio, day.dir / "absent.wav");
  EXPECT_TRUE(pEvent->Start(true));
  EXPECT_TRUE(g_bAutofadeActif);
  EXPECT_TRUE(pEvent->CheckEnd());
  EXPECT_FALSE(g_bAutofadeActif);
  EXPECT_THAT(day.Historique(), ElementsAre("09:00:00 absent.wav (Message audio)"));
}

TEST_F(Event, FilmsAndTheMusic) {
  CFakeScreen screen;
  const struct {
    float fNiveau;
    bool bBaisse;
  } cas[] = {{-59.9F, true}, {-60.0F, false}};
  for (const auto& c : cas) {
    day.cfg.MessageVideo = c.fNiveau;
    const auto pEvent = Cree(kEventMsgVideo, "f.mkv");
    pEvent->Start(true);
    EXPECT_EQ(g_bAutofadeActif, c.bBaisse) << c.fNiveau;
    screen.m_bDone = true;
    EXPECT_TRUE(pEvent->CheckEnd());
    EXPECT_FALSE(g_bAutofadeActif);
  }
  // A silent film behind an audio message of its chain brings the music back.
  day.cfg.MessageVideo = -60.0F;
  const auto pAudio = Cree(kEventMsgAudio, day.Wav("a.wav", 200));
  ASSERT_TRUE(Joue(*pAudio, false));
  EXPECT_TRUE(g_bAutofadeActif);
  const auto pFilm = Cree(kEventMsgVideo, "f.mkv");
  pFilm->Start(true);
  EXPECT_FALSE(g_bAutofadeActif);
}

TEST_F(Event, AFilmThatDoesNotOpenEndsAtOnce) {
  CFakeScreen screen;
  screen.m_bFilmsOuvrent = false;
  const auto pEvent = Cree(kEventMsgVideo, "f.mkv");
  pEvent->Start(true);
  EXPECT_FALSE(screen.IsVideoDone());
  EXPECT_TRUE(pEvent->CheckEnd());
  EXPECT_FALSE(screen.m_bSuspendu);
}

TEST_F(Event, ChainsOfImageAndAudio) {
  CFakeScreen screen;
  // Audio, then image: the music comes back while the image shows, the band only at its end.
  ASSERT_TRUE(Joue(*Cree(kEventMsgAudio, day.Wav("a.wav", 200)), false));
  EXPECT_TRUE(g_bAutofadeActif);
  const auto pImage = Cree(kEventMsgImage, "a.png");
  pImage->Start(true);
  EXPECT_FALSE(g_bAutofadeActif);
  EXPECT_FALSE(screen.m_bande.m_bVisible);
  screen.m_bDone = true;
  EXPECT_TRUE(pImage->CheckEnd());
  EXPECT_TRUE(screen.m_bande.m_bVisible);
  // Image, then audio: the programme stays suspended to the end of the audio message.
  const auto pPremiere = Cree(kEventMsgImage, "b.png");
  pPremiere->Start(false);
  screen.m_bDone = true;
  EXPECT_TRUE(pPremiere->CheckEnd());
  EXPECT_TRUE(screen.m_bSuspendu);
  ASSERT_TRUE(Joue(*Cree(kEventMsgAudio, day.dir / "a.wav"), true));
  EXPECT_FALSE(screen.m_bSuspendu);
}

}  // namespace
}  // namespace tonara::test
