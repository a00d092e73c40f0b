#include "schedule/grille.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "core/log.h"
#include "platform/fileio.h"
#include "platform/paths.h"
#include "platform/profile.h"
#include "platform/textcodec.h"

namespace tonara {

CGrille g_Grille;

namespace {

constexpr size_t kTailleFichier = size_t{256} << 20;
constexpr size_t kTailleDescription = 127;
constexpr size_t kTailleJoursFeries = 259;
constexpr const char* kCleEcriture = "regles-ecriture";

std::string SectionDe(size_t nRegle) {
  return "Rule_" + std::to_string(nRegle);
}

/// The numbers of a list cut at commas, tabs and line feeds.
std::vector<int> LitJoursFeries(const std::string& szListe) {
  std::vector<int> jours;
  const std::string texte = CutUtf8(szListe, kTailleJoursFeries);
  for (size_t n = texte.find_first_not_of(",\t\n"); n != std::string::npos; n = texte.find_first_not_of(",\t\n", n)) {
    const size_t fin = texte.find_first_of(",\t\n", n);
    // strtol saturates where atoi would be undefined.
    jours.push_back(static_cast<int>(std::strtol(texte.substr(n, fin - n).c_str(), nullptr, 10)));
    if (fin == std::string::npos) break;
    n = fin;
  }
  return jours;
}

/// A text without what no line of the file can hold: a damaged file has carriage returns within its lines.
std::string LitTexte(const CProfile& profile, const std::string& szSection, const char* szCle) {
  std::string text = profile.GetString(szSection, szCle);
  std::erase(text, '\r');
  return text;
}

Rule LitRegle(const CProfile& profile, const std::string& szSection, std::string szPath) {
  Rule rule;
  rule.Path = std::move(szPath);
  rule.Folder = profile.GetInt(szSection, "Folder", 0) != 0;
  if (rule.Folder) rule.DirSelectMode = profile.GetInt(szSection, "DirSelectMode", 0) != 0 ? 1 : 0;
  rule.Enabled = profile.GetInt(szSection, "Enabled", 1) != 0;
  rule.TimeMode = profile.GetInt(szSection, "TimeMode", 0);
  rule.TimeFrequency = profile.GetUInt(szSection, "TimeFrequency", 15);
  rule.TimeUnit = profile.GetInt(szSection, "TimeUnit", 0);
  rule.TimeBegin = profile.GetUInt(szSection, "TimeBegin", 0);
  rule.TimeEnd = profile.GetUInt(szSection, "TimeEnd", 2359);
  rule.TimeDaysMask = profile.GetUInt(szSection, "TimeDaysMask", 127);
  rule.ValidityMode = profile.GetInt(szSection, "ValidityMode", 0);
  rule.ValidityBegin = profile.GetUInt(szSection, "ValidityBegin", 0);
  rule.ValidityEnd = profile.GetUInt(szSection, "ValidityEnd", 0);
  rule.Description = CutUtf8(LitTexte(profile, szSection, "Description"), kTailleDescription);
  return rule;
}

void EcritRegle(CProfile& profile, const std::string& szSection, const Rule& rule) {
  profile.SetString(szSection, "Path", rule.Path);
  profile.SetInt(szSection, "Folder", rule.Folder ? 1 : 0);
  if (rule.Folder) profile.SetInt(szSection, "DirSelectMode", rule.DirSelectMode);
  profile.SetInt(szSection, "Enabled", rule.Enabled ? 1 : 0);
  profile.SetInt(szSection, "TimeMode", rule.TimeMode);
  profile.SetInt(szSection, "TimeFrequency", rule.TimeFrequency);
  profile.SetInt(szSection, "TimeUnit", rule.TimeUnit);
  profile.SetInt(szSection, "TimeBegin", rule.TimeBegin);
  profile.SetInt(szSection, "TimeEnd", rule.TimeEnd);
  profile.SetInt(szSection, "TimeDaysMask", rule.TimeDaysMask);
  profile.SetInt(szSection, "ValidityMode", rule.ValidityMode);
  profile.SetInt(szSection, "ValidityBegin", rule.ValidityBegin);
  profile.SetInt(szSection, "ValidityEnd", rule.ValidityEnd);
  profile.SetString(szSection, "Description", rule.Description);
}

std::vector<Rule> ReglesDemo(const std::string& szDir) {
  std::vector<Rule> rules(2);
  rules[0].Path = szDir + "Demo/tonara.mp3";
  rules[1].Path = szDir + "Demo/tonara.wmv";
  rules[1].TimeBegin = 1;
  for (Rule& rule : rules) rule.TimeFrequency = 2;
  return rules;
}

std::string AvecCrLf(const std::string& szTexte) {
  std::string out;
  out.reserve(szTexte.size() + szTexte.size() / 16);
  for (const char c : szTexte) {
    if (c == '\n') out += '\r';
    out += c;
  }
  return out;
}

}  // namespace

void CGrille::Load(const std::string& szDir) {
  // A file from an older machine may be spelled in another case.
  m_szPath = ResolvePath(szDir + "Regles.ini");
  m_bCrLf = false;
  m_bIllisible = false;
  m_vJoursFeries.clear();

  if (access(m_szPath.c_str(), F_OK) != 0 && (errno == ENOENT || errno == ENOTDIR)) {
    Remplace(ReglesDemo(szDir));
    Save();
    return;
  }
  const std::optional<std::string> bytes = ReadWholeFile(m_szPath, kTailleFichier);
  if (!bytes) {
    // Demonstration messages in a shop that has rules of its own would be worse than none.
    m_bIllisible = true;
    Trace(1, "Règles illisibles : %s\n", m_szPath.c_str());
    Remplace({});
    return;
  }
  const size_t nFin = bytes->find('\n');
  m_bCrLf = nFin != std::string::npos && nFin > 0 && (*bytes)[nFin - 1] == '\r';

  CProfile profile;
  profile.Parse(*bytes);
  m_vJoursFeries = LitJoursFeries(profile.GetString("Calendrier", "JoursFeries"));

  std::vector<Rule> rules;
  for (size_t n = 1;; ++n) {
    const std::string section = SectionDe(n);
    std::string path = LitTexte(profile, section, "Path");
    if (path.empty()) break;
    rules.push_back(LitRegle(profile, section, std::move(path)));
  }
  Remplace(std::move(rules));
}

bool CGrille::Save() {
  const std::vector<Rule> rules = Copie();
  CProfile profile;
  profile.SetInt("General", "Version", m_nVersion);
  size_t n = 0;
  for (const Rule& rule : rules) EcritRegle(profile, SectionDe(++n), rule);

  if (m_bIllisible) {
    std::error_code error;
    const std::string bad = m_szPath + ".bad";
    std::filesystem::remove(bad, error);
    std::filesystem::create_hard_link(m_szPath, bad, error);
    if (error) Trace(1, "Règles illisibles non conservées : %s\n", error.message().c_str());
  }
  std::string cause;
  const std::string bytes = profile.Bytes();
  if (!WriteFileAtomic(m_szPath, m_bCrLf ? AvecCrLf(bytes) : bytes, &cause)) {
    TraceOnce(kCleEcriture + cause, "Règles non enregistrées : " + m_szPath + " : " + cause);
    m_szCauseEcriture = cause;
    return false;
  }
  if (!m_szCauseEcriture.empty()) TraceOnceClear(kCleEcriture + m_szCauseEcriture);
  m_szCauseEcriture.clear();
  m_bIllisible = false;
  return true;
}

std::vector<Rule> CGrille::Copie() {
  const CGuard guard(m_cs);
  return m_vRules;
}

void CGrille::Remplace(std::vector<Rule> vRules) {
  const CGuard guard(m_cs);
  m_vRules.swap(vRules);
}

}  // namespace tonara
