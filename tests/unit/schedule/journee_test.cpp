// From rules to the list of events of a day.
#include "schedule/journee.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>

#include "core/appcfg.h"
#include "core/historique.h"
#include "schedule/creneaux.h"
#include "schedule/grille.h"
#include "tests/support/dayharness.h"
#include "tests/support/fakescreen.h"

namespace tonara::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

/// Plans only: nothing plays.
class Journee : public ::testing::Test {
 protected:
  /// The plan as "HH:MM title", finished events with a '*' behind, stings by their title too.
  std::vector<std::string> Plan() {
    std::vector<std::string> lines;
    for (size_t n = 0; n < journee.NbEvents(); ++n) {
      const CEvent& event = *journee.GetEventAt(n);
      char heure[16];
      snprintf(heure, sizeof heure, "%02u:%02u ", event.m_stHeure.wHour, event.m_stHeure.wMinute);
      lines.push_back(heure + event.m_szNom.str() + (event.m_bTermine ? "*" : ""));
    }
    return lines;
  }
  std::vector<std::string> Genere(std::vector<Rule> rules, uint32_t nMode = kGenerationComplete) {
    grille.Remplace(std::move(rules));
    journee.SetDate(clock.LocalTime());
    journee.Generer(nMode);
    return Plan();
  }
  std::string Fichier(const std::string& szNom) { return dir.Write(szNom, ""); }

  CTempDir dir;
  CFakeClock clock{2026, 3, 2, 0, 0, 0};  // a Monday
  CAppcfg cfg;
  CHistorique historique;
  CGrille grille;
  EventContext context{&cfg, nullptr, &historique};
  CJournee journee{clock, grille, context};
};

TEST(Creneaux, TimesOfARule) {
  using V = std::vector<std::pair<int, int>>;
  const struct {
    int32_t nMode;
    uint32_t dwDebut, dwPas, dwFin;
    V attendu;
  } cas[] = {
      {0, 1200, 15, 1000, {{12, 0}}},
      {0, 830, 45, 1000, {{8, 30}, {9, 15}, {10, 0}}},
      {0, 2200, 50, 9999, {{22, 0}, {22, 50}, {23, 40}}},
      {0, 0, 1439, 2359, {{0, 0}, {23, 59}}},
      {0, 900, 0, 2359, {{9, 0}}},
      {0, 900, 65536 + 600, 2359, {{9, 0}, {19, 0}}},
      {0, 910, 65536 - 5, 2359, {{9, 10}, {9, 5}, {9, 0}}},
      {0, 899, 30, 1030, {{9, 39}, {10, 9}}},
      {0, 2399, 1, 9999, {}},
      {0, 4294967295U, 1, 4294967295U, {}},
      {1, 1430, 5, 0, {{14, 30}}},
      {1, 2360, 5, 0, {}},
      {-1, 900, 15, 1000, {}},
  };
  for (const auto& c : cas) {
    Rule rule;
    rule.TimeMode = c.nMode;
    rule.TimeBegin = c.dwDebut;
    rule.TimeFrequency = c.dwPas;
    rule.TimeEnd = c.dwFin;
    V trouve;
    ParcourirCreneaux(rule, 1, [&](uint16_t h, uint16_t m) {
      trouve.emplace_back(h, m);
      return trouve.size() < 2000;
    });
    EXPECT_EQ(trouve, c.attendu) << c.nMode << " " << c.dwDebut << " " << c.dwPas << " " << c.dwFin;
  }
}

TEST_F(Journee, StingsAndOrder) {
  cfg.VirguleAvant = cfg.VirguleEntre = true;
  cfg.PathVirguleAvant = "avant.mp3";
  cfg.PathVirguleEntre = "entre.mp3";
  const Rule a = Periodique(Fichier("A.mp3"), 30, 800, 900);
  const Rule b = Fixe(Fichier("B.mp3"), 830);
  EXPECT_THAT(Genere({a, b}), ElementsAre("08:00 avant", "08:00 A", "08:30 avant", "08:30 A", "08:30 entre", "08:30 B",
                                          "09:00 avant", "09:00 A"));
  // A sting stays before a file that makes no event, and the next message is then not the minute's first.
  EXPECT_THAT(Genere({Fixe(Fichier("notes.txt"), 830), b}), ElementsAre("08:30 avant", "08:30 entre", "08:30 B"));
}

TEST_F(Journee, DaysAndDates) {
  const struct {
    int nJourDuMois;
    uint32_t dwJours;
    int32_t nValidite;
    uint32_t dwDu, dwAu;
    bool bJoue;
  } cas[] = {
      {2, 2, 0, 0, 0, true},  // a Monday
      {2, 127 - 2, 0, 0, 0, false},
      {2, 127, 1, 20260302, 20260302, true},
      {2, 127, 1, 20260303, 20261231, false},
      {2, 127, 1, 20250101, 20260301, false},
      {2, 127, 2, 20260303, 20260303, true},
      {2, 127, 1, 0, 4294967295U, true},
      {1, 1, 0, 0, 0, true},  // a Sunday
  };
  for (const auto& c : cas) {
    clock.SetLocal(2026, 3, c.nJourDuMois, 0, 0, 0);
    Rule rule = Fixe(Fichier("a.mp3"), 1200);
    rule.TimeDaysMask = c.dwJours;
    rule.ValidityMode = c.nValidite;
    rule.ValidityBegin = c.dwDu;
    rule.ValidityEnd = c.dwAu;
    EXPECT_EQ(!Genere({rule}).empty(), c.bJoue) << c.dwJours << " " << c.dwDu << " " << c.dwAu;
  }
}

TEST_F(Journee, WhatIsMissingOrOff) {
  Rule off = Fixe(dir / "absent1.mp3", 1000);
  off.Enabled = false;
  EXPECT_THAT(Genere({off}), IsEmpty());
  EXPECT_FALSE(journee.m_bFichiersManquants);
  EXPECT_THAT(Genere({Fixe(dir / "absent.mp3", 1000), Dossier(Fixe(dir / "parti", 1000))}),
              ElementsAre("10:00 absent"));
  EXPECT_TRUE(journee.m_bFichiersManquants);
  Rule jamais = Fixe(dir / "absent.mp3", 1000);
  jamais.TimeDaysMask = 0;
  Genere({jamais});
  EXPECT_TRUE(journee.m_bFichiersManquants) << "whatever its days";
  EXPECT_THAT(Genere({Fixe(Fichier("b.mp3"), 1000)}), SizeIs(1));
  EXPECT_FALSE(journee.m_bFichiersManquants);
}

TEST_F(Journee, VisualMessagesNeedTheScreen) {
  const std::vector<Rule> rules = {Fixe(Fichier("a.PNG"), 1000), Fixe(Fichier("b.mkv"), 1000),
                                   Fixe(Fichier("c.wav"), 1000)};
  EXPECT_THAT(Genere(rules), ElementsAre("10:00 c"));
  CFakeScreen screen;
  EXPECT_THAT(Genere(rules), ElementsAre("10:00 a", "10:00 b", "10:00 c"));
  screen.m_bDirect3D = false;
  EXPECT_THAT(Genere(rules), ElementsAre("10:00 a", "10:00 c"));
}

TEST_F(Journee, AFolderPlaysEachFileOnceBeforeAnyTwice) {
  for (const char* szNom : {"M/a.mp3", "M/b.wav", "M/c.MP2", "M/notes.txt", "M/sous/d.mp3"}) Fichier(szNom);
  const std::vector<std::string> plan = Genere({Dossier(Periodique(dir / "M", 10))});
  ASSERT_THAT(plan, SizeIs(144));
  for (size_t n = 0; n + 3 <= plan.size(); n += 3) {
    const std::set<std::string> trois{plan[n].substr(6), plan[n + 1].substr(6), plan[n + 2].substr(6)};
    ASSERT_THAT(trois, ElementsAre("a", "b", "c"));
  }
  Rule autre = Dossier(Periodique(dir / "M", 10));
  autre.DirSelectMode = 1;
  EXPECT_THAT(Genere({autre}), IsEmpty());
}

TEST_F(Journee, FullGenerationMarksThePast) {
  clock.SetLocal(2026, 3, 2, 10, 0, 30);
  const std::string a = Fichier("a.mp3");
  EXPECT_THAT(Genere({Fixe(a, 959), Fixe(a, 1000), Fixe(a, 1001)}), ElementsAre("09:59 a*", "10:00 a*", "10:01 a"));
  clock.SetLocal(2026, 3, 2, 10, 0, 0);
  EXPECT_THAT(Genere({Fixe(a, 1000)}), ElementsAre("10:00 a"));
}

// Midnight passes while a full generation reads slow folders: nothing of the day that is over may fire.
TEST_F(Journee, APlanOfYesterdayIsPast) {
  clock.SetLocal(2026, 3, 2, 23, 59, 59);
  grille.Remplace({Fixe(Fichier("a.mp3"), 1200)});
  journee.SetDate(clock.LocalTime());
  clock.Advance(2000);
  journee.Generer(kGenerationComplete);
  EXPECT_THAT(Plan(), ElementsAre("12:00 a*"));
}

TEST_F(Journee, DayChangeKeepsWhatWaitedForADay) {
  const std::vector<Rule> rules = {Fixe(Fichier("a.mp3"), 2358), Fixe(Fichier("b.mp3"), 2359),
                                   Fixe(Fichier("c.mp3"), 0)};
  clock.SetLocal(2026, 3, 2, 23, 0, 0);
  Genere(rules);
  journee.GetEventAt(1)->m_bTermine = true;  // a.mp3 was played
  clock.SetLocal(2026, 3, 3, 0, 0, 0);
  EXPECT_THAT(Genere(rules, kGenerationJour), ElementsAre("00:00 b", "00:00 c", "23:58 a", "23:59 b"));
  // Carried over, and enabled at 00:00:00: not past yet.
  journee.MarkOverdue();
  EXPECT_THAT(Plan(), ElementsAre("00:00 b", "00:00 c", "23:58 a", "23:59 b"));
  // Messages off for weeks: the list doesn't grow with each day.
  for (int nJour = 0; nJour < 30; ++nJour) {
    clock.Advance(86400U * 1000U);
    EXPECT_THAT(Genere(rules, kGenerationJour), SizeIs(6));
  }
  // A date that goes back carries nothing that is still to come by it.
  clock.SetLocal(2026, 4, 1, 0, 0, 0);
  EXPECT_THAT(Genere(rules, kGenerationJour), ElementsAre("00:00 c", "23:58 a", "23:59 b"));
}

// FindNext keeps its place between calls; this is the walk that it stands for.
TEST_F(Journee, FindNextEqualsAWalk) {
  std::mt19937 random(3);
  for (int nTour = 0; nTour < 50; ++nTour) {
    journee.PurgeEvents(false);
    const auto verifie = [&] {
      for (const bool bTous : {true, false}) {
        size_t nAvant = 0;
        size_t n = 0;
        for (; n < journee.NbEvents(); ++n) {
          const CEvent& event = *journee.GetEventAt(n);
          if (!bTous && event.m_bCache) continue;
          if (!event.m_bTermine) break;
          ++nAvant;
        }
        size_t nIndex = 99;
        size_t nCompte = 99;
        ASSERT_EQ(journee.FindNext(bTous, &nIndex, &nCompte), n < journee.NbEvents());
        ASSERT_EQ(nIndex, n);
        ASSERT_EQ(nCompte, nAvant);
      }
    };
    for (int n = 0; n < 60; ++n) {
      const auto nNombre = static_cast<uint32_t>(journee.NbEvents());
      if (random() % 2 == 0) {
        journee.AddEvent(random() % 2 == 0 ? kEventVirgule : kEventMsgAudio, random() % 24, random() % 60, nNombre);
      } else if (nNombre != 0) {
        journee.GetEventAt(random() % nNombre)->m_bTermine = true;
      }
      if (random() % 20 == 0) journee.SortEvents();
      if (random() % 30 == 0) journee.PurgeEvents(true);
      verifie();
    }
  }
}

// Both ways of sorting, by counting and by comparing, give the one order there is.
TEST_F(Journee, SortEventsOrdersByMinuteThenNumber) {
  std::mt19937 random(5);
  for (int nTour = 0; nTour < 40; ++nTour) {
    journee.PurgeEvents(false);
    std::map<std::pair<int, int>, uint32_t> suivant;
    std::vector<uint64_t> cles;
    for (int n = 0; n < 300; ++n) {
      const auto h = static_cast<uint16_t>(random() % (nTour % 4 == 0 ? 30 : 24));
      const auto m = static_cast<uint16_t>(random() % (nTour % 4 == 1 ? 100 : 4));
      uint32_t dwOrdre = suivant[{h, m}]++;
      if (nTour % 4 == 2) dwOrdre = 1000 - dwOrdre;
      journee.AddEvent(kEventMsgAudio, h, m, dwOrdre);
      cles.push_back(uint64_t{h * 100U + m} << 32 | dwOrdre);
    }
    journee.SortEvents();
    std::sort(cles.begin(), cles.end());
    for (size_t n = 0; n < cles.size(); ++n) {
      const CEvent& event = *journee.GetEventAt(n);
      ASSERT_EQ(uint64_t{event.m_stHeure.wHour * 100U + event.m_stHeure.wMinute} << 32 | event.m_wOrdre, cles[n]);
    }
  }
}

}  // namespace
}  // namespace tonara::test
