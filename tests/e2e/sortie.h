// What end-to-end tests ask of the sound that left the program and of the lines that it wrote. Music is a
// tone of 500 Hz, messages are others; a window of 50 ms holds whole periods of all of them, so that each
// is measured as if it were alone.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/mediafiles.h"
#include "tests/support/pcmanalysis.h"
#include "tests/support/tempdir.h"

namespace tonara::test {

inline constexpr uint32_t kFreq = 44100;
inline constexpr size_t kFenetre = kFreq / 20;  // 50 ms
inline constexpr double kMusiqueHz = 500.0;
inline constexpr double kMessageHz = 2000.0;
inline constexpr double kVirguleHz = 1000.0;
inline constexpr double kPleineEchelle = 32768.0;
inline constexpr double kAmplitudeFichier = 0.5;  // of every tone, as MakeTone makes it

inline double Gain(double fDb) {
  return std::pow(10.0, fDb / 20.0);
}
inline double EnDb(double fGain) {
  return 20.0 * std::log10(fGain);
}

/// The sound that left the program, seen through its tones.
class CSortie {
 public:
  CSortie(const CTempDir& dir, const char* szNom) {
    const std::string octets = dir.Read(szNom);
    if (octets.size() < 44) return;
    std::memcpy(&m_dwFreq, octets.data() + 24, sizeof m_dwFreq);
    m_voie = Channel(Samples16(std::string_view(octets).substr(44)), 2, 0);
  }
  [[nodiscard]] size_t Trames() const { return m_voie.size(); }
  [[nodiscard]] const std::vector<int16_t>& Voie() const { return m_voie; }
  [[nodiscard]] uint32_t Freq() const { return m_dwFreq; }
  /// Level of a tone in the window at that frame, in dB relative to the file's own level.
  [[nodiscard]] double Db(double fHz, size_t nDebut, size_t nTrames = kFenetre) const {
    return ToneDb(std::span(m_voie).subspan(nDebut, nTrames), kFreq, fHz) - EnDb(kAmplitudeFichier);
  }
  [[nodiscard]] double Niveau(double fHz, size_t nDebut, size_t nTrames = kFenetre) const {
    return Gain(Db(fHz, nDebut, nTrames));
  }
  /// First frame at or behind nDepuis where the tone sounds (bSonne) or no longer does, to a millisecond
  /// or so; Trames() if none.
  [[nodiscard]] size_t Bord(double fHz, double fGain, size_t nDepuis, bool bSonne) const {
    // 10 ms hold whole periods of every tone; the share of the window that sounds tells where the edge is.
    constexpr size_t nPetite = kFreq / 100;
    for (size_t i = nDepuis; i + nPetite <= Trames(); i += nPetite / 4) {
      const double fPart = Niveau(fHz, i, nPetite) / fGain;
      if (bSonne && fPart > 0.1) return i + static_cast<size_t>((1.0 - std::min(fPart, 1.0)) * nPetite);
      if (!bSonne && fPart < 0.9) return i + static_cast<size_t>(fPart * nPetite);
    }
    return Trames();
  }

 private:
  uint32_t m_dwFreq = 0;
  std::vector<int16_t> m_voie;
};

/// The lines stand in the text, in this order.
inline void AttendOrdre(const std::string& szTexte, const std::vector<std::string>& lignes) {
  size_t nDepuis = 0;
  for (const std::string& szLigne : lignes) {
    const size_t n = szTexte.find(szLigne, nDepuis);
    ASSERT_NE(n, std::string::npos) << "not found, or not in this order: " << szLigne << "\nin\n" << szTexte;
    nDepuis = n + szLigne.size();
  }
}

/// A file of one tone, half as loud as can be.
inline void EcritTon(const CTempDir& dir, const char* szNom, double fHz, uint32_t dwMs) {
  dir.Write(szNom, MakeWav({}, MakeTone(kFreq, 2, 16, dwMs, fHz)));
}
/// The entry of a rule for a fixed time, hour x 100 + minute.
inline std::string RegleFixe(int nRegle, const std::string& szPath, int nHeure) {
  return "[Rule_" + std::to_string(nRegle) + "]\nPath=" + szPath + "\nTimeMode=1\nTimeBegin=" + std::to_string(nHeure) +
         "\n";
}

}  // namespace tonara::test
