// 400 days of broadcast on the fake clock, with everything that happens to a clock, an operator and a plan,
// against an oracle that knows only the rules and what was done to them.
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <deque>
#include <filesystem>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "tests/support/dayharness.h"

namespace tonara::test {
namespace {

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr int kJours = 60;  // ten times slower each
#else
constexpr int kJours = 400;
#endif

/// A rule as the oracle sees it: at which minutes of which days, and the names that may go on the air.
struct RegleConnue {
  std::string szEtiquette;
  int nJours;  // mask
  uint32_t dwDu, dwAu;
  int nDebut, nPas, nFin;  // minutes of the day; step 0: once
  [[nodiscard]] bool A(int nMinute) const {
    if (nPas == 0) return nMinute == nDebut;
    return nMinute >= nDebut && nMinute <= nFin && (nMinute - nDebut) % nPas == 0;
  }
};

/// An entry that has yet to go on the air.
struct Attendu {
  uint32_t dwDate;
  int nMinute;
  bool bReporte;
  std::string szEtiquette;
  int nRang;  // within its minute
};

class COracle {
 public:
  explicit COracle(std::vector<RegleConnue> regles) : m_regles(std::move(regles)) {}

  static uint32_t Date(const CCivilTime& st) { return (st.wYear * 100U + st.wMonth) * 100U + st.wDay; }
  static bool Du(const Attendu& attendu, const CCivilTime& st) {
    return attendu.bReporte || attendu.nMinute * 60 <= st.SecondsOfDay();
  }
  [[nodiscard]] const Attendu* Premier() const { return m_file.empty() ? nullptr : &m_file.front(); }
  [[nodiscard]] size_t Nombre() const { return m_file.size(); }

  /// Something went on the air: it must be the first in the queue, and due.
  ::testing::AssertionResult Diffuse(const std::string& szEtiquette, const CCivilTime& st) {
    if (m_file.empty()) return ::testing::AssertionFailure() << szEtiquette << " with nothing to come";
    const Attendu premier = m_file.front();
    if (premier.szEtiquette != szEtiquette || !Du(premier, st)) {
      return ::testing::AssertionFailure()
             << szEtiquette << " where " << premier.szEtiquette << " of minute " << premier.nMinute << " was to come";
    }
    if (!premier.bReporte) m_joues[premier.nMinute] = premier.nRang + 1;
    m_file.pop_front();
    ++m_nDiffuses[szEtiquette];
    return ::testing::AssertionSuccess();
  }

  /// Messages were enabled: what fell due is passed over.
  void Active(const CCivilTime& st) {
    std::erase_if(m_file, [&](const Attendu& attendu) {
      if (attendu.dwDate < Date(st) && !attendu.bReporte) return true;
      return (attendu.bReporte ? 0 : attendu.nMinute * 60) < st.SecondsOfDay();
    });
  }

  void Generation(uintptr_t wMode, const CCivilTime& st) {
    const uint32_t dwDate = Date(st);
    const bool bMemeJour = dwDate == m_dwDate;
    if (wMode == kGenerationJour && bMemeJour) return;
    std::deque<Attendu> reportes;
    if (wMode == kGenerationJour) {
      for (const Attendu& attendu : m_file) {
        if (attendu.dwDate >= dwDate) continue;
        if (attendu.bReporte && attendu.dwDate < Veille(st)) continue;
        reportes.push_back({attendu.dwDate, 0, true, attendu.szEtiquette, 0});
      }
    }
    if (!bMemeJour) m_joues.clear();
    const bool bPremiere = m_dwDate == 0;
    m_dwDate = dwDate;
    m_file = reportes;
    for (const Attendu& attendu : Plan(st, !reportes.empty())) {
      if (bMemeJour && attendu.nMinute * 60 < st.SecondsOfDay()) continue;
      if (bMemeJour && attendu.nRang < m_joues[attendu.nMinute]) continue;
      if (bPremiere && attendu.nMinute * 60 < st.SecondsOfDay()) continue;
      m_file.push_back(attendu);
    }
  }

  std::map<std::string, int> m_nDiffuses;

 private:
  static uint32_t Veille(const CCivilTime& st) {
    tm local{};
    local.tm_year = st.wYear - 1900;
    local.tm_mon = st.wMonth - 1;
    local.tm_mday = st.wDay - 1;
    local.tm_hour = 12;
    local.tm_isdst = -1;
    mktime(&local);
    return static_cast<uint32_t>(((local.tm_year + 1900) * 100 + local.tm_mon + 1) * 100 + local.tm_mday);
  }

  /// The day minute by minute, with a sting before the first message of each and another between.
  std::vector<Attendu> Plan(const CCivilTime& st, bool bMinuitPris) {
    std::vector<Attendu> plan;
    for (int nMinute = 0; nMinute < 1440; ++nMinute) {
      bool bPremier = nMinute != 0 || !bMinuitPris;
      int nRang = 0;
      for (const RegleConnue& regle : m_regles) {
        if ((regle.nJours >> st.wDayOfWeek & 1) == 0 || Date(st) < regle.dwDu || Date(st) > regle.dwAu) continue;
        if (!regle.A(nMinute)) continue;
        plan.push_back({Date(st), nMinute, false, bPremier ? "avant" : "entre", nRang++});
        plan.push_back({Date(st), nMinute, false, regle.szEtiquette, nRang++});
        bPremier = false;
      }
    }
    return plan;
  }

  std::vector<RegleConnue> m_regles;
  std::deque<Attendu> m_file;
  std::map<int, int> m_joues;  // of each minute of m_dwDate, how many were played
  uint32_t m_dwDate = 0;
};

class CAnnee {
 public:
  explicit CAnnee(unsigned nGraine) : random(nGraine) {
    day.cfg.VirguleAvant = day.cfg.VirguleEntre = true;
    day.cfg.PathVirguleAvant = day.Wav("avant.wav", 100);
    day.cfg.PathVirguleEntre = day.Wav("entre.wav", 100);
    std::vector<Rule> rules = {Periodique(day.Wav("heures.wav", 400), 60, 800, 2000),
                               Fixe(day.Wav("dimanche.wav", 400), 1200),
                               Periodique(day.Wav("quarts.wav", 300), 45),
                               Fixe(day.Wav("long.wav", 150000), 2358),
                               Fixe(day.Wav("soir.wav", 400), 2359),
                               Fixe(day.Wav("minuit.wav", 400), 0),
                               Fixe(day.Wav("hiver.wav", 400), 1015),
                               Dossier(Periodique(day.dir / "dossier", 120, 900, 1900)),
                               Fixe(day.dir / "dimanche.wav", 1100),
                               Periodique(day.Wav("nul.wav", 400), 0, 930),
                               Fixe(day.Wav("nuit.wav", 400), 230)};
    for (const char* szNom : {"dossier/d1.wav", "dossier/d2.wav", "dossier/d3.wav"}) day.Wav(szNom, 300);
    rules[0].TimeDaysMask = 62;
    rules[1].TimeDaysMask = 1;
    rules[3].TimeDaysMask = 32;
    rules[6].ValidityMode = 1;
    rules[6].ValidityBegin = 20271130;
    rules[6].ValidityEnd = 20280229;
    rules[8].Enabled = false;
    day.grille.Remplace(std::move(rules));
  }

  static std::vector<RegleConnue> Connues() {
    const uint32_t dwJamais = 99999999;
    return {{"heures", 62, 0, dwJamais, 480, 60, 1200},    {"dimanche", 1, 0, dwJamais, 720, 0, 0},
            {"quarts", 127, 0, dwJamais, 0, 45, 1439},     {"long", 32, 0, dwJamais, 1438, 0, 0},
            {"soir", 127, 0, dwJamais, 1439, 0, 0},        {"minuit", 127, 0, dwJamais, 0, 0, 0},
            {"hiver", 127, 20271130, 20280229, 615, 0, 0}, {"dossier", 127, 0, dwJamais, 540, 120, 1140},
            {"nul", 127, 0, dwJamais, 570, 0, 0},          {"nuit", 127, 0, dwJamais, 150, 0, 0}};
  }

  void Vit() {
    day.Demarre();
    Constate();
    const uint64_t llFin = day.clock.MonotonicMs() + uint64_t{kJours} * 86400000U;
    PlanifieOperation();
    size_t nMemoire = 0;
    while (day.clock.MonotonicMs() < llFin && !::testing::Test::HasFatalFailure()) {
      if (day.clock.MonotonicMs() >= llOperation) Opere();
      const uint32_t dwPas = Saut();
      day.Pas(dwPas);
      Constate();
      if (nMemoire == 0 && day.clock.MonotonicMs() > llFin / 8) nMemoire = mallinfo2().uordblks;
    }
    EXPECT_LT(mallinfo2().uordblks, nMemoire + (size_t{1} << 20)) << "memory grew in the course of the year";
    EXPECT_LT(nMaxEvents, 400U);
    for (const RegleConnue& regle : Connues()) EXPECT_GT(oracle.m_nDiffuses[regle.szEtiquette], 0) << regle.szEtiquette;
  }

  CDay day{2027, 11, 1, 7, 30, 0};
  COracle oracle{Connues()};
  std::map<std::string, int> nOperations;
  int nDiffusions = 0;

 private:
  /// How far time may run before anything can happen: in ticks around events, operations and full hours
  /// (summer time changes there), at a stretch otherwise.
  uint32_t Saut() {
    const CCivilTime st = day.clock.LocalTime();
    const Attendu* pPremier = oracle.Premier();
    const bool bEnAttente = pPremier != nullptr && bActifs && COracle::Du(*pPremier, st);
    if (day.calendrier.IsMessageEnCours() || bEnAttente || !day.bAvecGeneration || nAgite > 0) {
      nAgite = std::max(nAgite - 1, 0);
      return CDay::kTickMs;
    }
    int nSecondes = 3600 - st.SecondsOfDay() % 3600;
    if (pPremier != nullptr && bActifs) nSecondes = std::min(nSecondes, pPremier->nMinute * 60 - st.SecondsOfDay());
    const uint64_t llJusqua = llOperation - std::min(llOperation, day.clock.MonotonicMs());
    const auto dwMs = static_cast<uint32_t>(std::min<uint64_t>(static_cast<uint64_t>(nSecondes) * 1000, llJusqua));
    return dwMs > 2000 ? dwMs - 1000 : CDay::kTickMs;
  }

  void PlanifieOperation() { llOperation = day.clock.MonotonicMs() + 60000U + random() % (12U * 3600000U); }

  void Compte(const char* szNom) {
    ++nOperations[szNom];
    Note(szNom);
  }

  /// What happened lately, for a failure's text.
  void Note(const std::string& szQuoi) {
    const CCivilTime st = day.clock.LocalTime();
    recents.push_back(std::to_string(COracle::Date(st)) + " " + std::to_string(st.wHour) + ":" +
                      std::to_string(st.wMinute) + ":" + std::to_string(st.wSecond) + " " + szQuoi + "\n");
    if (recents.size() > 12) recents.pop_front();
  }
  [[nodiscard]] std::string Recents() const {
    std::string out = "\n";
    for (const std::string& line : recents) out += line;
    return out;
  }

  void Active(bool bOn) {
    bActifs = bOn;
    day.calendrier.SetMessagesActifs(bOn);
    Note(bOn ? "messages on" : "messages off");
    if (bOn) oracle.Active(day.clock.LocalTime());
  }

  void Opere() {
    PlanifieOperation();
    nAgite = 20;
    const CCivilTime st = day.clock.LocalTime();
    const uint32_t dwMode = random() % 2;
    if (!day.bAvecGeneration) {
      // The window answers again; meanwhile another request has come.
      day.calendrier.RequestGeneration(kMsgGeneration, kGenerationComplete);
      day.bAvecGeneration = true;
      Compte("requested while suspended");
      return;
    }
    switch (random() % 8) {
      case 0:
        Compte(bActifs ? "off" : "on");
        Active(!bActifs);
        break;
      case 1:
        if (!bActifs) Active(true);
        llOperation = day.clock.MonotonicMs() + (random() % 3 == 0 ? 200U : 7200000U);
        break;
      case 2: {
        const int nMax = std::min(3 * 3600, st.SecondsOfDay());
        day.clock.JumpSeconds(-static_cast<int64_t>(random() % static_cast<unsigned>(nMax + 1)));
        if (!st.SameDate(day.clock.LocalTime())) day.clock.JumpSeconds(3600);  // a night with 25 hours
        Compte("clock set back");
        break;
      }
      case 3: {
        const int nMax = std::min(3 * 3600, 86399 - st.SecondsOfDay());
        day.clock.JumpSeconds(static_cast<int64_t>(random() % static_cast<unsigned>(nMax + 1)));
        Compte("clock set forward");
        break;
      }
      case 4:
        if (random() % 3 == 0) {
          day.clock.JumpSeconds(86400 * (static_cast<int64_t>(random() % 4) - 1));
          Compte("another date");
        }
        break;
      case 5:
        day.bAvecGeneration = false;
        day.calendrier.RequestGeneration(kMsgGeneration, dwMode);
        llOperation = day.clock.MonotonicMs() + 1000 + random() % 4000;
        break;
      case 6:
        // While something plays, if possible: in the minute of the next event.
        if (const Attendu* pPremier = oracle.Premier(); bActifs && pPremier != nullptr && !pPremier->bReporte) {
          while (pPremier != nullptr && !COracle::Du(*pPremier, day.clock.LocalTime()) &&
                 !::testing::Test::HasFatalFailure()) {
            day.Pas(Saut());
            Constate();
            pPremier = oracle.Premier();
          }
          for (unsigned n = random() % 4; n > 0; --n) {
            day.Pas();
            Constate();
          }
          Compte(day.calendrier.IsMessageEnCours() ? "requested while playing" : "requested between events");
        }
        day.calendrier.RequestGeneration(kMsgGeneration, dwMode);
        break;
      default:
        Compte("requested while idle");
        day.calendrier.RequestGeneration(kMsgGeneration, dwMode);
        if (random() % 2 == 0) day.calendrier.RequestGeneration(kMsgGeneration, 1 - dwMode);
        break;
    }
  }

  /// What the last tick did, in the order in which it did it: something on the air, then a generation.
  void Constate() {
    const CCivilTime st = day.clock.LocalTime();
    std::error_code error;
    const auto nTaille = std::filesystem::file_size(day.dir / "Historique.txt", error);
    if (!error && nTaille != nTailleHistorique) {
      nTailleHistorique = nTaille;
      for (const std::string& line : day.Historique()) {
        std::string etiquette = line.substr(9, line.find(".wav") - 9);
        if (etiquette.size() == 2 && etiquette[0] == 'd') etiquette = "dossier";
        ++nDiffusions;
        ASSERT_TRUE(oracle.Diffuse(etiquette, st)) << COracle::Date(st) << " " << line << Recents();
        Note(etiquette);
      }
    }
    if (day.nGenerations != nGenerations) {
      nGenerations = day.nGenerations;
      oracle.Generation(day.wDernierMode, st);
      Note("generation " + std::to_string(day.wDernierMode));
      nMaxEvents = std::max(nMaxEvents, day.calendrier.m_Journee.NbEvents());
      day.OublieFichiers();
      nTailleHistorique = 0;
      nEnRetard = 0;
    }
    // Nothing is missed: what is due starts unless something plays or holds it back.
    const Attendu* pPremier = oracle.Premier();
    const bool bLibre = bActifs && day.bAvecGeneration && !day.calendrier.IsMessageEnCours();
    nEnRetard = bLibre && pPremier != nullptr && COracle::Du(*pPremier, st) ? nEnRetard + 1 : 0;
    ASSERT_LE(nEnRetard, 3) << COracle::Date(st) << " " << st.wHour << ":" << st.wMinute << ":" << st.wSecond << " "
                            << pPremier->szEtiquette << " of minute " << pPremier->nMinute << " does not start; status "
                            << day.Statut() << Recents();
  }

  std::mt19937 random;
  uint64_t llOperation = 0;
  bool bActifs = true;
  std::deque<std::string> recents;
  int nAgite = 0;
  int nEnRetard = 0;
  int nGenerations = 0;
  size_t nMaxEvents = 0;
  uintmax_t nTailleHistorique = 0;
};

class LongDay : public ::testing::TestWithParam<const char*> {};

TEST_P(LongDay, NothingLostNothingTwice) {
  const CTimeZone zone(GetParam());
  CAnnee annee(11);
  annee.Vit();
  RecordProperty("broadcasts", annee.nDiffusions);
  for (const char* szNom :
       {"off", "on", "clock set back", "clock set forward", "another date", "requested while suspended",
        "requested while playing", "requested between events", "requested while idle"}) {
    EXPECT_GT(annee.nOperations[szNom], 0) << szNom;
  }
}
INSTANTIATE_TEST_SUITE_P(Zones, LongDay, ::testing::Values("Europe/Paris", "UTC0"));

}  // namespace
}  // namespace tonara::test
