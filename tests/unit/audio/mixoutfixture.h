// A mixer on a fake device, pumped by hand: ten blocks of 2205 frames, 44100 Hz stereo 16 bits unless
// a test plays something else first.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "audio/mixout.h"
#include "tests/support/fakewave.h"
#include "tests/support/mediafiles.h"
#include "tests/support/pcmanalysis.h"
#include "tests/support/testlog.h"

namespace tonara {

/// Reaches inside: a device that has been open for that many frames, its counter having gone round.
struct CMixoutEssai {
  static void Vieillit(CMixout& mixout, test::CFakeWave& wave, uint64_t llFrames) NO_TSA {
    mixout.m_Sortie.m_llEcrites += llFrames;
    mixout.m_Sortie.m_llTour = uint64_t{1} << 32;
    mixout.m_Sortie.m_dwTours = static_cast<uint32_t>(llFrames >> 32);
    wave.OffsetPosition(static_cast<uint32_t>(llFrames));
  }
};

/// Shape of a WAV file that is otherwise as it should be.
inline test::CWavShape Forme(uint32_t dwFreq, uint16_t wChannels = 2, uint16_t wBits = 16) {
  return {.dwFreq = dwFreq, .wChannels = wChannels, .wBits = wBits};
}

class MixoutFixture : public testing::Test {
 protected:
  static constexpr size_t kBloc = 2205;

  MixoutFixture() {
    m_mixout.StartSansThread(0, 10, 50, 0);
    m_mixout.AddGroupe("MESSAGE", -6.0F, 0.0F);
    m_mixout.AddGroupe("MUSIQUE", 0.0F, -12.0F);
  }

  /// A WAV file in the temporary folder.
  std::string Wav(const std::string& szNom, const std::string& szPcm, const test::CWavShape& shape = {}) {
    return m_dir.Write(szNom, test::MakeWav(shape, szPcm));
  }
  /// The same holding a tone at half scale.
  std::string Ton(const std::string& szNom, double dHz, uint32_t dwMs, const test::CWavShape& shape = {}) {
    return Wav(szNom, test::MakeTone(shape.dwFreq, shape.wChannels, shape.wBits, dwMs, dHz), shape);
  }
  int Play(const std::string& szPath, const char* szGroupe = nullptr, bool bBoucle = false, float fGain = 0.0F) {
    return m_mixout.PlayFichier(szPath, kPlayMixe, 0, 0, 0, 0, fGain, bBoucle, 0, 0, szGroupe);
  }
  /// Time passes: nBlocs blocks play, with a round of the mixer after every nParPasse of them.
  void Joue(int nBlocs, int nParPasse = 1) {
    for (int n = 0; n < nBlocs; n += nParPasse) {
      m_wave.Play(nParPasse);
      m_mixout.Tick();
    }
  }
  /// Plays out all that is queued without mixing more; what came out so far.
  std::vector<int16_t> Sorti() {
    m_wave.Play(1000);
    return m_wave.TakePlayed16();
  }
  /// What came out so far, left channel.
  std::vector<int16_t> Gauche() { return test::Channel(Sorti(), 2, 0); }
  uint32_t Ecoule(int nTranche) {
    uint32_t dwMs = 0;
    m_mixout.GetPosTranche(nTranche, &dwMs, nullptr);
    return dwMs;
  }
  uint32_t Reste(int nTranche) {
    uint32_t dwMs = 0;
    m_mixout.GetPosTranche(nTranche, nullptr, &dwMs);
    return dwMs;
  }
  bool Position(int nTranche) { return m_mixout.GetPosTranche(nTranche, nullptr, nullptr); }
  uint32_t FreqBus() {
    PCMWAVEFORMAT format;
    m_mixout.GetFormat(true, &format);
    return format.nSamplesPerSec;
  }
  [[nodiscard]] int Traced(const std::string& szTexte) const { return m_log.Count(szTexte); }
  /// A mixer that nothing plays on and a device that has played nothing.
  void Vide() {
    m_mixout.StopAll();
    m_mixout.Stop();
    m_wave.OffsetPosition(0);
    m_wave.TakePlayed();
  }

  test::CTempDir m_dir;
  test::CTestLog m_log{m_dir};
  test::CFakeWave m_wave;
  CMixout m_mixout;
};

}  // namespace tonara
