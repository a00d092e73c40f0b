// A folder of 100,000 files: the scan (warm), random draws over whole rounds, and how long another
// thread waits for the list while it is scanned.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

#include "core/mediatype.h"
#include "tests/support/tempdir.h"
#include "video/contentlistmngr.h"

namespace {

using tonara::CContentListMngr;
constexpr int kFichiers = 100'000;

// Made once for all benchmarks of this program.
const std::string& Dossier() {
  static const tonara::test::CTempDir dir;
  static const bool bFait = [] {
    for (int i = 0; i < kFichiers; ++i) {
      std::string sous = dir / "d";
      sous += std::to_string(i / 1000);
      if (i % 1000 == 0) std::filesystem::create_directory(sous);
      std::ofstream(sous + "/une chanson de plus, numero " + std::to_string(i) + ".mp3");
    }
    return true;
  }();
  static_cast<void>(bFait);
  return dir.Dir();
}

void Preparer(CContentListMngr& liste) {
  liste.SetDossier(Dossier(), true, std::vector<int>{tonara::kMediaAudio});
}

void Attendre(const CContentListMngr& liste) {
  while (!liste.IsCharge()) std::this_thread::sleep_for(std::chrono::microseconds(200));
}

void BM_Scan(benchmark::State& state) {
  CContentListMngr liste;
  Preparer(liste);
  for (auto _ : state) {
    liste.Charger();
    Attendre(liste);
  }
  if (liste.GetNombre() != kFichiers) state.SkipWithError("wrong number of files");
}
BENCHMARK(BM_Scan)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Draws100000(benchmark::State& state) {
  CContentListMngr liste;
  Preparer(liste);
  liste.Charger();
  Attendre(liste);
  tonara::SemerAleatoire(1);
  std::string chemin;
  for (auto _ : state) {
    for (int i = 0; i < kFichiers; ++i) liste.GetSuivant(&chemin, true);
  }
}
BENCHMARK(BM_Draws100000)->Unit(benchmark::kMillisecond);

// The longest and the 99.9th percentile wait of a user that asks all the time during the scan.
void BM_WaitDuringScan(benchmark::State& state) {
  double fPire = 0;
  double fHaut = 0;
  for (auto _ : state) {
    CContentListMngr liste;
    Preparer(liste);
    std::vector<double> attentes;
    liste.Charger();
    while (!liste.IsCharge()) {
      const auto t0 = std::chrono::steady_clock::now();
      benchmark::DoNotOptimize(liste.GetNombre());
      attentes.push_back(std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - t0).count());
      std::this_thread::sleep_for(std::chrono::microseconds(20));
    }
    if (attentes.empty()) continue;
    std::sort(attentes.begin(), attentes.end());
    fPire = std::max(fPire, attentes.back());
    fHaut = std::max(fHaut, attentes[attentes.size() * 999 / 1000]);
  }
  state.counters["worst_us"] = fPire;
  state.counters["p999_us"] = fHaut;
}
BENCHMARK(BM_WaitDuringScan)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

}  // namespace
