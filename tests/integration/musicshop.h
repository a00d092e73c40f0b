// A shop in fake time: a mixer without its thread on a hand-played output, a folder of music, a
// history. Time moves in blocks of 50 ms; what comes out of each block is kept.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <numbers>
#include <string>
#include <thread>
#include <vector>

#include "audio/mixout.h"
#include "core/appcfg.h"
#include "core/historique.h"
#include "tests/support/fakeclock.h"
#include "tests/support/fakewave.h"
#include "tests/support/mediafiles.h"
#include "tests/support/tempdir.h"

namespace tonara::test {

/// Waits for what another thread brings about. False after ten seconds.
inline bool Attends(const std::function<bool()>& fnVrai) {
  const auto fin = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!fnVrai()) {
    if (std::chrono::steady_clock::now() > fin) return false;
    std::this_thread::yield();
  }
  return true;
}

inline std::string WavTone(uint32_t dwFreq, uint32_t dwMs, double dHz) {
  CWavShape shape;
  shape.dwFreq = dwFreq;
  return MakeWav(shape, MakeTone(dwFreq, 2, 16, dwMs, dHz));
}

/// Amplitude of one frequency in a window of a stereo stream's left side (0.5 for a tone at half scale).
inline double Amplitude(const std::vector<int16_t>& pcm, size_t nFrame, size_t nFrames, double dHz, double dFreq) {
  double re = 0;
  double im = 0;
  for (size_t k = 0; k < nFrames; ++k) {
    const double x = pcm[(nFrame + k) * 2] / 32768.0;
    const double phi = 2 * std::numbers::pi * dHz * static_cast<double>(k) / dFreq;
    re += x * std::cos(phi);
    im += x * std::sin(phi);
  }
  return 2 * std::hypot(re, im) / static_cast<double>(nFrames);
}

class CMusicShop {
 public:
  static constexpr int kBlocMs = 50;
  static constexpr int kRondeMs = 500;

  CMusicShop() {
    historique.SetPath(dir.Dir());
    historique.SetClock(clock);
    historique.Enable(true);
    mixout.AddGroupe("MESSAGE", 0.0F, 0.0F);
    mixout.AddGroupe("MUSIQUE", 0.0F, -12.0F);
    EXPECT_TRUE(mixout.StartSansThread(0, 10, kBlocMs, 0));
  }

  /// Lets time pass: a block is played, the mixer fills it, and twice a second fnRonde has its turn.
  void Avance(uint32_t dwMs) {
    for (uint32_t t = 0; t < dwMs; t += kBlocMs) {
      wave.Play(1);
      std::vector<int16_t> bloc = wave.TakePlayed16();
      float fCrete = 0.0F;
      for (const int16_t ech : bloc) fCrete = std::max(fCrete, std::fabs(static_cast<float>(ech)) / 32768.0F);
      niveaux.push_back(fCrete);
      if (bGarde) {
        bloc.resize(size_t{44100} * kBlocMs / 1000 * 2, 0);  // at 44100 Hz: a hole stays a hole
        pcm.insert(pcm.end(), bloc.begin(), bloc.end());
      }
      mixout.Tick();
      clock.Advance(kBlocMs);
      llMs += kBlocMs;
      if (fnBloc) fnBloc();
      if (llMs % kRondeMs == 0 && fnRonde) fnRonde();
    }
  }
  /// The longest silence from that moment on, ms.
  [[nodiscard]] uint32_t Silence(uint64_t llDepuis = 0, float fSeuil = 0.01F) const {
    uint32_t nMax = 0;
    uint32_t n = 0;
    for (size_t i = llDepuis / kBlocMs; i < niveaux.size(); ++i) {
      n = niveaux[i] < fSeuil ? n + kBlocMs : 0;
      nMax = std::max(nMax, n);
    }
    return nMax;
  }
  /// Lines of the history that hold the text, in order, without stamp.
  [[nodiscard]] std::vector<std::string> Lignes(const std::string& szTexte) const {
    std::vector<std::string> lignes;
    const std::string tout = dir.Read("Historique.txt");
    for (size_t debut = 0; debut < tout.size();) {
      const size_t fin = std::min(tout.find('\n', debut), tout.size());
      const std::string ligne = tout.substr(debut, fin - debut);
      if (ligne.find(szTexte) != std::string::npos) lignes.push_back(ligne.substr(std::min<size_t>(20, ligne.size())));
      debut = fin + 1;
    }
    return lignes;
  }

  CTempDir dir;
  CFakeClock clock;
  CFakeWave wave;
  CAppcfg cfg;
  CHistorique historique;
  CMixout mixout;
  std::function<void()> fnRonde;  ///< twice a second
  std::function<void()> fnBloc;   ///< at each block
  uint64_t llMs = 0;
  std::vector<float> niveaux;  ///< peak of each 50 ms
  bool bGarde = false;         ///< keep the samples too
  std::vector<int16_t> pcm;
};

}  // namespace tonara::test
