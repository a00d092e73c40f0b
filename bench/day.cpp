// A whole day of a shop in fake time: the playlist over a folder of MP3 files with cross-fades, and a spoken
// message every minute with the music lowered, by the real plan, calendar, events, mixer and decoder on a
// hand-played device. Prints the CPU time of it all, what the heap did, and what was heard.
//
//   bench_day [noise|music] [HOURS]
//
// noise  white noise at 192 kbit/s: every bit of every frame is in use, the worst a decoder can meet
// music  chords with a beat, 192 kbit/s
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <numbers>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "programmes/audioplaylistprogram.h"
#include "tests/support/dayharness.h"
#include "tests/support/mediafiles.h"

namespace {

using namespace tonara;

constexpr int kFichiers = 8;
constexpr uint32_t kPasMs = 100;

double CpuSecondes() {
  timespec ts{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
  return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

/// Chords of six partials that die away, two a second, under a hiss at the beginning of each.
std::string Musique(uint32_t dwMs, uint32_t dwGraine) {
  constexpr uint32_t kFreq = 44100;
  std::mt19937 hasard(dwGraine);
  std::string pcm;
  double dHz = 220.0;
  for (uint32_t i = 0; i < dwMs / 1000 * kFreq; ++i) {
    const uint32_t dwTemps = i % (kFreq / 2);
    if (dwTemps == 0) dHz = 110.0 * std::exp2(static_cast<double>(hasard() % 24) / 12.0);
    const double t = static_cast<double>(dwTemps) / kFreq;
    double dGauche = 0.0;
    double dDroite = 0.0;
    for (int n = 1; n <= 6; ++n) {
      const double dAmp = 0.25 / n * std::exp(-3.0 * t * n);
      dGauche += dAmp * std::sin(2.0 * std::numbers::pi * dHz * n * t);
      dDroite += dAmp * std::sin(2.0 * std::numbers::pi * dHz * n * 1.26 * t);
    }
    const double dBruit = (static_cast<double>(hasard()) / 2147483648.0 - 1.0) * 0.2 * std::exp(-20.0 * t);
    for (const double d : {dGauche + dBruit, dDroite + dBruit}) {
      const auto n = static_cast<int16_t>(std::lround(d * 32767.0));
      pcm += static_cast<char>(n & 0xFF);
      pcm += static_cast<char>(n >> 8);
    }
  }
  return pcm;
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);  // the harness checks itself with its means
  const std::string_view szGenre = argc > 1 ? argv[1] : "noise";
  const int nHeures = argc > 2 ? std::atoi(argv[2]) : 24;

  test::CDay jour(2026, 3, 2, 0, 0, 0);
  const std::string szDossier = jour.dir / "musique";
  for (int i = 0; i < kFichiers; ++i) {
    const uint32_t dwMs = 150000 + static_cast<uint32_t>(i) * 17000;
    const auto dwGraine = static_cast<uint32_t>(i + 1);
    const std::string pcm =
        szGenre == "music" ? Musique(dwMs, dwGraine) : test::MakeNoise(44100, 2, 16, dwMs, dwGraine);
    jour.dir.Write("musique/" + std::to_string(i) + ".mp3", test::EncodeLame("-b 192", 44100, pcm));
  }
  const std::string szMessage =
      jour.dir.Write("message.mp3", test::EncodeLame("-b 192", 44100, test::MakeTone(44100, 2, 16, 8000)));
  jour.dir.Write("p.ini", "[AudioPlaylist]\nPath=" + szDossier + "\nRandom=1\nFondus=1\n");
  jour.grille.Remplace({test::Periodique(szMessage, 1)});
  jour.bGarderSon = true;
  jour.Demarre();
  CAudioPlaylistProgram pgm(jour.dir / "p.ini", jour.cfg, jour.historique, jour.mixout, jour.clock);
  SemerAleatoire(1);
  pgm.StartSansThread();

  const double dDebut = CpuSecondes();
  const auto debut = std::chrono::steady_clock::now();
  uint64_t llMs = 0;
  uint64_t llMuet = 0;
  uint64_t llPire = 0;
  int nMaxPrises = 0;
  size_t nMessages = 0;
  size_t nPistes = 0;
  std::vector<size_t> tas;
  for (int h = 0; h < nHeures; ++h) {
    for (uint32_t t = 0; t < 3600000; t += kPasMs) {
      jour.Pas(kPasMs);
      llMs += kPasMs;
      if (llMs % 500 == 0) {
        pgm.Tick();
        // The scan has a thread and real time of its own: half a second is plenty for it.
        while (!pgm.IsListePrete()) std::this_thread::yield();
      }
      nMaxPrises = std::max(nMaxPrises, jour.mixout.NbTranchesPrises());
      const std::vector<uint8_t> pcm = jour.wave.TakePlayed();
      // One sample in sixteen: sound of a tenth of a second isn't missed by that.
      bool bSon = false;
      for (size_t i = 0; i + 1 < pcm.size() && !bSon; i += 32) {
        bSon = std::abs(static_cast<int16_t>(pcm[i] | pcm[i + 1] << 8)) > 327;
      }
      llMuet = bSon ? 0 : llMuet + kPasMs;
      if (llMs > 2000) llPire = std::max(llPire, llMuet);
    }
    for (const std::string& szLigne : jour.Historique()) {
      nMessages += szLigne.find("message.mp3 (Message audio)") != std::string::npos ? 1U : 0U;
      nPistes += szLigne.find("(Playlist)") != std::string::npos ? 1U : 0U;
    }
    jour.OublieFichiers();
    malloc_trim(0);
    tas.push_back(mallinfo2().uordblks);
  }
  const double dCpu = CpuSecondes() - dDebut;
  const double dMur = std::chrono::duration<double>(std::chrono::steady_clock::now() - debut).count();

  std::printf("%d h (%s): %.1f s of CPU, %.1f s by the clock: %.0f times real time\n", nHeures, szGenre.data(), dCpu,
              dMur, nHeures * 3600.0 / dCpu);
  std::printf("%zu messages, %zu tracks, %d tranches at most, longest silence %u ms\n", nMessages, nPistes, nMaxPrises,
              static_cast<unsigned>(llPire));
  std::printf("heap, kB, after each hour:");
  for (const size_t n : tas) std::printf(" %zu", n / 1024);
  std::printf("\n");
  for (int t = 0; t < 300; ++t) jour.Pas(kPasMs);  // the last message ends
  pgm.Stop();
  const int nPerdues = jour.mixout.NbTranchesPrises();
  std::printf("tranches still held after the end: %d\n", nPerdues);
  return nPerdues == 0 && nMaxPrises <= 3 && llPire <= 1000 ? 0 : 1;
}
