// How long the day's plan takes to work out, and what it costs in memory: rules of one file each with an
// event every minute, stings on, so two events for each slot.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <memory>
#include <string>
#include <vector>

#include "core/appcfg.h"
#include "core/historique.h"
#include "platform/clock.h"
#include "schedule/calendrier.h"
#include "schedule/grille.h"
#include "schedule/journee.h"
#include "tests/support/fakeclock.h"
#include "tests/support/tempdir.h"

namespace {

using namespace tonara;

struct CBanc {
  explicit CBanc(int64_t nRegles) {
    cfg.VirguleAvant = true;
    cfg.VirguleEntre = true;
    cfg.PathVirguleAvant = dir.Write("avant.wav", "");
    cfg.PathVirguleEntre = dir.Write("entre.wav", "");
    std::vector<Rule> rules(static_cast<size_t>(nRegles));
    for (size_t n = 0; n < rules.size(); ++n) {
      rules[n].Path = dir.Write("Messages/promotion de la semaine " + std::to_string(n) + ".mp3", "");
      rules[n].TimeFrequency = 1;
    }
    grille.Remplace(std::move(rules));
    journee.SetDate(clock.LocalTime());
  }

  test::CTempDir dir;
  test::CFakeClock clock{2026, 3, 2, 0, 0, 0};
  CAppcfg cfg;
  CHistorique historique;
  CGrille grille;
  EventContext context{&cfg, nullptr, &historique};
  CJournee journee{clock, grille, context};
};

void BM_Plan(benchmark::State& state) {
  CBanc banc(state.range(0));
  const size_t nAvant = mallinfo2().uordblks;
  for (auto _ : state) {
    state.PauseTiming();
    banc.journee.PurgeEvents(false);
    state.ResumeTiming();
    banc.journee.Generer(kGenerationComplete);
  }
  const auto nEvents = static_cast<double>(banc.journee.NbEvents());
  state.counters["events"] = nEvents;
  state.counters["octets/event"] = static_cast<double>(mallinfo2().uordblks - nAvant) / nEvents;
}
BENCHMARK(BM_Plan)->Arg(300)->Arg(3000)->Unit(benchmark::kMillisecond);

/// The second generation of a day: the old plan goes first.
void BM_PlanRenouvele(benchmark::State& state) {
  CBanc banc(state.range(0));
  for (auto _ : state) banc.journee.Generer(kGenerationComplete);
}
BENCHMARK(BM_PlanRenouvele)->Arg(300)->Unit(benchmark::kMillisecond);

/// A tick on a plan of 864,000 events with the last of them still to come.
void BM_TickEnFinDePlan(benchmark::State& state) {
  CBanc banc(300);
  CCalendrier calendrier(banc.clock, banc.grille, banc.context);
  calendrier.m_Journee.SetDate(banc.clock.LocalTime());
  calendrier.m_Journee.Generer(kGenerationComplete);
  banc.clock.SetLocal(2026, 3, 2, 23, 58, 30);
  calendrier.SetMessagesActifs(true);
  for (auto _ : state) calendrier.Tick();
}
BENCHMARK(BM_TickEnFinDePlan);

void BM_ChargerRegles(benchmark::State& state) {
  CBanc banc(state.range(0));
  CGrille grille;
  banc.dir.Write("Regles.ini", "");
  grille.Load(banc.dir.Dir());
  grille.Remplace(banc.grille.Copie());
  grille.Save();
  for (auto _ : state) grille.Load(banc.dir.Dir());
}
BENCHMARK(BM_ChargerRegles)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

}  // namespace
