// The firing thread's rounds on a fake clock, with real events on a real mixer.
#include "schedule/calendrier.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "tests/support/dayharness.h"
#include "tests/support/fakescreen.h"

namespace tonara::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

TEST(Calendrier, ChainOfStingAndMessageKeepsTheMusicDown) {
  CDay day(2026, 3, 2, 9, 59, 57);
  day.cfg.VirguleAvant = true;
  day.cfg.PathVirguleAvant = day.Wav("3 tons.wav", 1000);
  day.grille.Remplace({Fixe(day.Wav("promo.wav", 2000), 1000), Fixe(day.Wav("soir.wav", 1000), 1900)});
  day.Demarre();
  day.Pas();
  EXPECT_EQ(day.Statut(), "promo dans 3 s");

  day.AvanceJusqua(10, 0, 0);
  EXPECT_EQ(day.Statut(), "3 tons en cours\r\n(promo juste après)");
  EXPECT_TRUE(g_bAutofadeActif);
  EXPECT_EQ(day.nTicksPostes, 1);

  day.fnApresPas = [&] { ASSERT_TRUE(g_bAutofadeActif); };
  ASSERT_TRUE(day.AvanceTantQue([&] { return day.Statut() != "promo en cours"; }, 3));
  day.fnApresPas = nullptr;
  ASSERT_TRUE(day.AvanceTantQue([&] { return g_bAutofadeActif; }, 5));
  day.Pas();
  EXPECT_FALSE(day.calendrier.IsMessageEnCours());
  EXPECT_THAT(day.Statut(), HasSubstr("soir dans 8 h 59 mn "));
  EXPECT_THAT(day.Historique(),
              ElementsAre("10:00:00 3 tons.wav (Virgule audio)", HasSubstr("promo.wav (Message audio)")));
}

// Whoever breaks a chain, while one of its events plays or in the tick between two: music and screen come back,
// and nothing of the rest is broadcast.
TEST(Calendrier, ABrokenChainGivesTheProgrammeBack) {
  for (const std::string szCas :
       {"off while it plays", "off and on while it plays", "off", "off and on", "generation", "clock set back"}) {
    SCOPED_TRACE(szCas);
    CDay day(2026, 3, 2, 9, 59, 59);
    CFakeScreen screen;
    day.cfg.VirguleAvant = true;
    day.cfg.PathVirguleAvant = day.Wav("v.wav", 3000);
    day.grille.Remplace({Fixe(day.Wav("a.wav", 1000), 1000), Fixe(day.Wav("z.wav", 1000), 2300)});
    day.Demarre();
    day.Avance(3);
    EXPECT_EQ(day.Statut(), "v en cours\r\n(a juste après)");
    const bool bJoue = szCas.ends_with("plays");
    const auto attendFin = [&] { return day.AvanceTantQue([&] { return day.calendrier.IsMessageEnCours(); }, 5); };
    ASSERT_TRUE(bJoue || attendFin());
    ASSERT_TRUE(g_bAutofadeActif) << "the sting leaves the music down for its message";
    ASSERT_FALSE(screen.m_bande.m_bVisible);
    if (szCas.starts_with("off")) day.calendrier.SetMessagesActifs(false);
    if (szCas.starts_with("off and on")) day.calendrier.SetMessagesActifs(true);
    if (szCas == "generation") day.calendrier.RequestGeneration(kMsgGeneration, kGenerationComplete);
    if (szCas == "clock set back") day.clock.JumpSeconds(-120);
    day.Pas();
    if (szCas == "off while it plays") {
      EXPECT_EQ(day.Statut(), "Messages désactivés");
      EXPECT_TRUE(day.calendrier.IsMessageEnCours()) << "it is not cut off";
    }
    ASSERT_TRUE(!bJoue || attendFin());
    if (szCas == "off and on while it plays") day.Pas();  // the firing thread has not seen it
    EXPECT_FALSE(g_bAutofadeActif);
    EXPECT_TRUE(screen.m_bande.m_bVisible);
    day.Avance(3);
    EXPECT_EQ(day.Historique().size(), 1U);
  }
}

TEST(Calendrier, AGenerationWaitsForTheMessageThatPlays) {
  CDay day(2026, 3, 2, 9, 59, 59);
  day.grille.Remplace({Fixe(day.Wav("a.wav", 5000), 1000), Fixe(day.Wav("b.wav", 1000), 1000)});
  day.Demarre();
  day.Avance(2);
  const int nAvant = day.nGenerations;
  day.grille.Remplace({Fixe(day.Wav("c.wav", 1000), 1001)});
  day.calendrier.RequestGeneration(kMsgGeneration, kGenerationComplete);
  day.Avance(2);
  EXPECT_EQ(day.nGenerations, nAvant);
  EXPECT_EQ(day.Statut(), "a en cours\r\n(b juste après)");
  ASSERT_TRUE(day.AvanceTantQue([&] { return day.nGenerations == nAvant; }, 6));
  EXPECT_FALSE(g_bAutofadeActif) << "a generation finds the programme restored";
  day.AvanceJusqua(10, 2, 0);
  EXPECT_THAT(day.Historique(), ElementsAre("10:00:00 a.wav (Message audio)", "10:01:00 c.wav (Message audio)"));
}

TEST(Calendrier, TheStatusOfAnEventHeldBackByAGenerationHasNothingLeft) {
  CDay day(2026, 3, 2, 9, 59, 59);
  day.grille.Remplace({Fixe(day.Wav("a.wav", 1000), 1000)});
  day.Demarre();
  day.bAvecGeneration = false;  // the window is busy
  day.clock.Advance(3000);      // two seconds past its time
  day.calendrier.RequestGeneration(kMsgGeneration, kGenerationComplete);
  day.Tick();
  day.Avance(5);
  EXPECT_EQ(day.Statut(), "a dans ");
  EXPECT_THAT(day.Historique(), IsEmpty());
}

// An edit of the rules while a message plays over midnight: the new day loses nothing.
TEST(Calendrier, FullGenerationAndDayChangeTogether) {
  for (const bool bAvantMinuit : {true, false}) {
    CDay day(2026, 3, 2, 23, 58, 59);
    const Rule longue = Fixe(day.Wav("long.wav", 150000), 2359);
    const std::string c = day.Wav("c.wav", 1000);
    day.grille.Remplace({longue, Fixe(day.Wav("vieux.wav", 1000), 2359)});
    day.Demarre();
    day.AvanceJusqua(bAvantMinuit ? 23 : 0, bAvantMinuit ? 59 : 0, 30);
    day.grille.Remplace({Fixe(c, 0), Fixe(c, 1), Fixe(c, 3)});
    day.calendrier.RequestGeneration(kMsgGeneration, kGenerationComplete);
    day.AvanceJusqua(0, 4, 0);
    EXPECT_THAT(day.Historique(), ElementsAre(HasSubstr("23:59:00 long.wav"), HasSubstr("c.wav"), HasSubstr("c.wav"),
                                              HasSubstr("00:03:00 c.wav")));
  }
}

// The window serves a full generation in the first instant of a day, before its timer saw the date.
TEST(Calendrier, FullGenerationJustBehindMidnight) {
  CDay day(2026, 3, 2, 23, 59, 58);
  const std::string a = day.Wav("a.wav", 500);
  day.grille.Remplace({Fixe(a, 0), Fixe(a, 1), Fixe(a, 1200)});
  day.Demarre();
  day.AvanceJusqua(23, 59, 59);
  day.bTimerJour = false;
  day.Avance(2);
  day.calendrier.RequestGeneration(kMsgGeneration, kGenerationComplete);
  day.Pas();
  day.bTimerJour = true;
  day.AvanceJusqua(0, 3, 0);
  EXPECT_THAT(day.Historique(), ElementsAre(HasSubstr("00:00:01 a.wav"), HasSubstr("00:01:00 a.wav")));
  EXPECT_THAT(day.Statut(), HasSubstr("a dans 11 h 57 mn"));
}

TEST(Calendrier, DayChangeCarriesOverWhatMidnightFoundWaiting) {
  CDay day(2026, 3, 2, 23, 58, 59);
  day.grille.Remplace({Fixe(day.Wav("long.wav", 90000), 2359), Fixe(day.Wav("tard.wav", 1000), 2359),
                       Fixe(day.Wav("matin.wav", 1000), 0)});
  day.Demarre();
  day.AvanceJusqua(0, 2, 0);
  EXPECT_THAT(day.Historique(), ElementsAre(HasSubstr("23:59:00 long.wav"), HasSubstr("00:00:3"), HasSubstr("matin")));
}

// Nobody behind the messages: the plan can't be renewed, but what there is goes on.
TEST(Calendrier, WithoutAWindowTheOldPlanGoesOn) {
  CDay day(2026, 3, 2, 9, 59, 0);
  day.grille.Remplace({Fixe(day.Wav("a.wav", 1000), 1000)});
  day.Demarre();
  CMessageSink* pSink = SetMessageSink(nullptr);
  day.calendrier.RequestGeneration(kMsgGeneration, kGenerationComplete);
  day.AvanceJusqua(10, 0, 30);
  SetMessageSink(pSink);
  EXPECT_EQ(day.Historique().size(), 1U);
  const int nAvant = day.nGenerations;
  day.Avance(1);
  EXPECT_EQ(day.nGenerations, nAvant + 1) << "the request was not forgotten";
}

// The window goes away during the generation: its end message finds nobody.
TEST(Calendrier, AnEndMessageThatIsLostEndsTheSuspension) {
  CDay day(2026, 3, 2, 9, 59, 0);
  day.bAvecGeneration = false;
  day.grille.Remplace({Fixe(day.Wav("a.wav", 1000), 1000)});
  day.Demarre();
  CMessageSink* pSink = SetMessageSink(nullptr);
  day.calendrier.OnMsgGeneration(kGenerationComplete);
  while (day.calendrier.m_Journee.IsGeneration()) std::this_thread::yield();
  day.calendrier.m_Journee.WaitGeneration();
  SetMessageSink(pSink);
  day.AvanceJusqua(10, 0, 30);
  EXPECT_THAT(day.Historique(), ElementsAre("10:00:00 a.wav (Message audio)"));
}

TEST(Calendrier, SleepsInStepWithTheClock) {
  CDay day;
  for (const auto& [nApres, dwSommeil] :
       std::vector<std::pair<uint64_t, uint32_t>>{{0, 200}, {1, 199}, {198, 1}, {1, 200}, {799, 1}}) {
    day.clock.Advance(nApres);
    EXPECT_EQ(day.calendrier.DureeSommeil(), dwSommeil);
  }
}

// The real thread, the real generation thread and the operations of the window, all at once.
TEST(Calendrier, ThreadsTogether) {
  CDay day(2026, 3, 2, 9, 59, 0);
  day.grille.Remplace({Periodique(day.Wav("a.wav", 100), 1)});
  day.Demarre();
  day.bTimerJour = false;
  day.calendrier.StopThread();
  day.calendrier.StartThread();
  for (int nTours = 1; nTours <= 400; ++nTours) {
    day.clock.Advance(400);
    if (nTours % 7 == 0) day.calendrier.RequestGeneration(kMsgGeneration, nTours % 2);
    if (nTours % 11 == 0) day.calendrier.SetMessagesActifs(nTours % 22 != 0);
    day.calendrier.m_Journee.FindNext(false, nullptr, nullptr);
    std::string name;
    day.calendrier.m_Journee.GetEventInfo(0, nullptr, nullptr, nullptr, &name, &name);
    EXPECT_FALSE(day.Statut().empty());
    day.Messages();
    day.wave.Play(4);
    day.mixout.Tick();
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  day.calendrier.StopThread();
  EXPECT_GT(day.nGenerations, 1);
}

}  // namespace
}  // namespace tonara::test
