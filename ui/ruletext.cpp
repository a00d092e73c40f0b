#include "ui/ruletext.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "core/mediatype.h"

namespace tonara {
namespace {

const char* Prefixe(const Rule& rule) {
  if (!rule.Folder) return "";
  switch (rule.DirSelectMode) {
    case 0:
      return "Un au hasard - ";
    case 1:
      return "L'un après l'autre - ";
    case 2:
      return "Tous à chaque fois - ";
    default:
      return "Mode inconnu - ";
  }
}

}  // namespace

std::string TexteRegle(const Rule& rule) {
  char szTemps[128] = "";
  if (rule.TimeMode == 0) {
    std::snprintf(szTemps, sizeof szTemps, "Toutes les %u %s entre %02uh%02u et %02uh%02u", rule.TimeFrequency,
                  rule.TimeUnit == 1 ? "heures" : "mns", rule.TimeBegin / 100, rule.TimeBegin % 100, rule.TimeEnd / 100,
                  rule.TimeEnd % 100);
  } else if (rule.TimeMode == 1) {
    std::snprintf(szTemps, sizeof szTemps, "A %02uh%02u", rule.TimeBegin / 100, rule.TimeBegin % 100);
  }
  return std::string(Prefixe(rule)) + szTemps;
}

std::string TexteFichier(const std::string& szPath, bool bAccessible) {
  return bAccessible ? szPath : szPath + ", *** INACCESSIBLE ***";
}

int EtatRegle(const Rule& rule, bool bAccessible) {
  if (!rule.Enabled) return kImageDesactivee;
  if (!bAccessible) return kImageInaccessible;
  if (rule.Folder) return kImageAutre;
  switch (GetMediaType(rule.Path)) {
    case kMediaAudio:
      return kImageAudio;
    case kMediaVideo:
      return kImageVideo;
    case kMediaImage:
      return kImageImage;
    default:
      return kImageAutre;
  }
}

Rule RegleNouvelle(std::string szPath, bool bFolder) {
  Rule rule;
  rule.Path = std::move(szPath);
  rule.Folder = bFolder;
  return rule;
}

uint32_t AvecHeure(uint32_t dwTemps, uint32_t dwHeure) {
  return dwHeure * 100 + dwTemps % 100;
}

uint32_t AvecMinute(uint32_t dwTemps, uint32_t dwMinute) {
  return dwTemps / 100 * 100 + dwMinute;
}

void ChangeValidite(Rule* pRule, int32_t iMode, uint32_t dwAujourdhui) {
  pRule->ValidityMode = iMode;
  if (iMode != 1) return;
  if (pRule->ValidityBegin == 0) pRule->ValidityBegin = dwAujourdhui;
  if (pRule->ValidityEnd == 0) pRule->ValidityEnd = dwAujourdhui;
}

void ChangeDateDebut(Rule* pRule, uint32_t dwDate) {
  pRule->ValidityBegin = dwDate;
  pRule->ValidityEnd = std::max(pRule->ValidityEnd, dwDate);
}

void ChangeDateFin(Rule* pRule, uint32_t dwDate) {
  pRule->ValidityEnd = dwDate;
  pRule->ValidityBegin = std::min(pRule->ValidityBegin, dwDate);
}

}  // namespace tonara
