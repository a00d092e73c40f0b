// What the rule editor shows of a rule and how its controls change one, without any widget.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "schedule/grille.h"

namespace tonara {

/// Images of the tree's lines.
enum ImageRegle : int {
  kImageFichier,
  kImageDossier,
  kImageAudio,
  kImageVideo,
  kImageImage,
  kImageAutre,  ///< a folder rule, or an unknown kind
  kImageInaccessible,
  kImageDesactivee,
  kNbImagesRegle
};

/// Bits of TimeDaysMask in the order in which a week is read, Monday first.
inline constexpr std::array<uint32_t, 7> kBitsJours{2, 4, 8, 16, 32, 64, 1};

/// Text of a rule's line; empty for a file rule of an unknown mode.
std::string TexteRegle(const Rule& rule);
/// Text of the line of a file or folder.
std::string TexteFichier(const std::string& szPath, bool bAccessible);
/// Image of a rule's line: disabled before inaccessible before the kind of media.
int EtatRegle(const Rule& rule, bool bAccessible);

/// A rule as the editor adds it: every 15 minutes, all day, every day, for ever.
Rule RegleNouvelle(std::string szPath, bool bFolder);

/// A time of day (hour x 100 + minute) with another hour, or another minute. No range: 75 minutes stay 75.
uint32_t AvecHeure(uint32_t dwTemps, uint32_t dwHeure);
uint32_t AvecMinute(uint32_t dwTemps, uint32_t dwMinute);
/// The period ends before it begins. Worth a warning: it gives one broadcast only.
inline bool PeriodeInversee(const Rule& rule) {
  return rule.TimeBegin > rule.TimeEnd;
}

/// (year x 100 + month) x 100 + day.
constexpr uint32_t CodeDate(int nAnnee, int nMois, int nJour) {
  return static_cast<uint32_t>((nAnnee * 100 + nMois) * 100 + nJour);
}
/// Sets the validity mode; with dates, a date that isn't set yet becomes today.
void ChangeValidite(Rule* pRule, int32_t iMode, uint32_t dwAujourdhui);
/// Set one date and keep both in order by moving the other one along.
void ChangeDateDebut(Rule* pRule, uint32_t dwDate);
void ChangeDateFin(Rule* pRule, uint32_t dwDate);

}  // namespace tonara
