// How long the operator waits for his windows: rule editor and day's plan, opened, drawn and used, without
// a display.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QKeyEvent>
#include <QTableView>
#include <QTreeWidget>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "schedule/calendrier.h"
#include "ui/listeevents.h"
#include "ui/look/look.h"
#include "ui/ruleeditor.h"

namespace {

using namespace tonara;

void Application() {
  static int s_nArgs = 1;
  static char s_szNom[] = "bench_windows";
  static char* s_szArgs[] = {s_szNom, nullptr};
  static QApplication* s_pApplication = nullptr;  // to the process's end
  if (s_pApplication != nullptr) return;
  setenv("QT_QPA_PLATFORM", "offscreen", 1);
  s_pApplication = new QApplication(s_nArgs, s_szArgs);
  ApplyLook(*s_pApplication);
}

/// Two rules for each of half as many files, all of them gone.
std::vector<Rule> Regles(int64_t nRegles) {
  std::vector<Rule> vRules(static_cast<size_t>(nRegles));
  for (size_t n = 0; n < vRules.size(); ++n) {
    vRules[n].Path = "/nulle part/Messages/promotion de la semaine " + std::to_string(n / 2) + ".mp3";
  }
  return vRules;
}

void BM_RuleEditorOpens(benchmark::State& state) {
  Application();
  const std::vector<Rule> vRules = Regles(state.range(0));
  for (auto _ : state) {
    CRuleEditor editeur(vRules, nullptr);
    editeur.show();
    QApplication::processEvents();
    benchmark::DoNotOptimize(editeur.grab());
  }
}
BENCHMARK(BM_RuleEditorOpens)->Arg(20)->Arg(2000)->Arg(10000)->Unit(benchmark::kMillisecond);

/// One key at the last of the rules: the next line, or a digit in a field.
void BM_RuleEditorKey(benchmark::State& state) {
  Application();
  CRuleEditor editeur(Regles(state.range(0)), nullptr);
  editeur.show();
  auto* pArbre = editeur.findChild<QTreeWidget*>();
  const auto touche = [&](int nTouche) {
    QKeyEvent evenement(QEvent::KeyPress, nTouche, Qt::NoModifier);
    QApplication::sendEvent(pArbre, &evenement);
    QApplication::processEvents();
  };
  touche(Qt::Key_End);
  bool bHaut = true;
  for (auto _ : state) {
    touche(bHaut ? Qt::Key_Up : Qt::Key_Down);
    bHaut = !bHaut;
  }
}
BENCHMARK(BM_RuleEditorKey)->Arg(2000)->Arg(10000)->Unit(benchmark::kMicrosecond);

void BM_RuleAdded(benchmark::State& state) {
  Application();
  CRuleEditor editeur(Regles(state.range(0)), nullptr);
  editeur.show();
  for (auto _ : state) {
    editeur.AjouteDossier("/nulle part/dossier");
    QApplication::processEvents();
  }
}
BENCHMARK(BM_RuleAdded)->Arg(2000)->Iterations(20)->Unit(benchmark::kMillisecond);

void BM_PlanOpens(benchmark::State& state) {
  Application();
  CJournee& plan = g_Calendrier.m_Journee;
  plan.PurgeEvents(false);
  for (int64_t n = 0; n < state.range(0); ++n) {
    const auto nMinute = static_cast<unsigned>(n * 1440 / state.range(0));
    plan.AddEvent(1, static_cast<uint16_t>(nMinute / 60), static_cast<uint16_t>(nMinute % 60), 0)
        ->SetPath(("/nulle part/" + std::to_string(n % 50) + ".mp3").c_str());
    if (n < state.range(0) / 2) plan.GetEventAt(static_cast<size_t>(n))->m_bTermine = true;
  }
  for (auto _ : state) {
    QWidget parent;
    g_ListeEvents.Open(&parent);
    QApplication::processEvents();
    benchmark::DoNotOptimize(parent.findChild<QTableView*>()->grab());
  }
  plan.PurgeEvents(false);
}
BENCHMARK(BM_PlanOpens)->Arg(50)->Arg(5000)->Arg(100000)->Unit(benchmark::kMillisecond);

}  // namespace
