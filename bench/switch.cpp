// The silence when the continuous programme is changed: looped file to playlist and back, with the mixer's own thread
// and queue on a device that plays a block each 50 ms, as heard behind that queue.
//
//   bench_switch [FILES] [TURNS]      FILES in the playlist's folder (3)
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "audio/mixout.h"
#include "core/appcfg.h"
#include "core/historique.h"
#include "programmes/audioprogram.h"
#include "tests/support/fakewave.h"
#include "tests/support/mediafiles.h"
#include "tests/support/tempdir.h"

namespace {

using namespace tonara;
using Clock = std::chrono::steady_clock;

constexpr int kBlocMs = 50;

/// Plays a block each 50 ms and knows the longest run of blocks without sound.
class CAppareil {
 public:
  explicit CAppareil(test::CFakeWave& wave) : m_wave(wave), m_thread([this] { Run(); }) {}
  ~CAppareil() {
    m_bStop = true;
    m_thread.join();
  }
  std::atomic<int> nMuets{0};
  std::atomic<int> nPire{0};

 private:
  void Run() {
    for (auto quand = Clock::now(); !m_bStop; quand += std::chrono::milliseconds(kBlocMs)) {
      std::this_thread::sleep_until(quand);
      m_wave.Play(1);
      const std::vector<int16_t> bloc = m_wave.TakePlayed16();
      const bool bSon = std::any_of(bloc.begin(), bloc.end(), [](int16_t n) { return std::abs(n) > 327; });
      nMuets = bSon ? 0 : nMuets + 1;
      nPire = std::max(nPire.load(), nMuets.load());
    }
  }
  test::CFakeWave& m_wave;
  std::atomic<bool> m_bStop{false};
  std::thread m_thread;
};

}  // namespace

int main(int argc, char** argv) {
  const int nFichiers = argc > 1 ? std::atoi(argv[1]) : 3;
  const int nTours = argc > 2 ? std::atoi(argv[2]) : 5;
  test::CTempDir dir;
  test::CFakeWave wave;
  g_szAppDir = dir.Dir();
  g_Appcfg = CAppcfg();
  g_Appcfg.m_szIniPath = dir / "tonara.ini";
  g_Mixout.AddGroupe("MUSIQUE", 0.0F, 0.0F);
  dir.Write("Demo/Loop.wav", test::MakeWav({}, test::MakeNoise(44100, 2, 16, 3000)));
  int nPire = 0;
  {
    CAppareil appareil(wave);
    for (const uint32_t dwFreq : {44100U, 48000U}) {
      const std::string mp3 = test::EncodeLame("-b 128", dwFreq, test::MakeNoise(dwFreq, 2, 16, 20000));
      dir.Write("Musiques/0.mp3", mp3);
      for (int i = 1; i < nFichiers; ++i) {
        const std::string szNom = dir / ("Musiques/" + std::to_string(i) + ".mp3");
        std::filesystem::remove(szNom);
        std::filesystem::create_hard_link(dir / "Musiques/0.mp3", szNom);
      }
      g_Mixout.Start(0, 10, kBlocMs, 0);
      for (int i = 0; i <= 2 * nTours; ++i) {
        const int nType = i % 2 == 0 ? kPgmLoopFile : kPgmPlaylist;
        appareil.nPire = 0;
        const auto debut = Clock::now();
        StopAudioProgram();
        g_Appcfg.MusicSource = nType;
        StartAudioProgram();
        const auto bloque = Clock::now() - debut;
        // What was queued, and two seconds more.
        std::this_thread::sleep_for(std::chrono::milliseconds(2500));
        if (i == 0) continue;
        nPire = std::max(nPire, appareil.nPire * kBlocMs);
        std::printf("%5u Hz, to the %s: %d ms of silence, caller held for %.1f ms\n", dwFreq,
                    nType == kPgmPlaylist ? "playlist" : "looped file", appareil.nPire * kBlocMs,
                    std::chrono::duration<double, std::milli>(bloque).count());
      }
      StopAudioProgram();
      g_Mixout.StopAll();
      g_Mixout.Stop();
    }
  }
  std::printf("longest: %d ms\n", nPire);
  return nPire < 300 ? 0 : 1;
}
