// Broadcast rules: which file or folder is a message at which times of which days. The list of all
// rules and its file "Regles.ini".
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/lock.h"

namespace tonara {

struct Rule {
  std::string Path;
  bool Folder = false;
  bool Enabled = true;
  uint8_t DirSelectMode = 0;    ///< of a folder: 0 one at random; 1 gives no event
  int32_t TimeMode = 0;         ///< 0 periodic, 1 one fixed time, others give no event
  uint32_t TimeFrequency = 15;  ///< minutes
  int32_t TimeUnit = 0;         ///< only for the rule list's text: 0 minutes, 1 hours
  uint32_t TimeBegin = 0;       ///< hour x 100 + minute
  uint32_t TimeEnd = 2359;
  uint32_t TimeDaysMask = 127;  ///< bit n: day of the week n, 0 being Sunday
  int32_t ValidityMode = 0;     ///< 1: only from ValidityBegin to ValidityEnd, both included
  uint32_t ValidityBegin = 0;   ///< (year x 100 + month) x 100 + day
  uint32_t ValidityEnd = 0;
  std::string Description;  ///< at most 127 bytes

  bool operator==(const Rule&) const = default;
};

/// Main thread, except where told. A generation works on its own copy (Copie).
class CGrille {
 public:
  virtual ~CGrille() = default;

  /// Loads szDir + "Regles.ini"; a missing file gives the demonstration rules, saved at once. A file
  /// that is there and can't be read gives no rules, a trace line, and stays as it is; the next Save
  /// keeps it beside as "Regles.ini.bad". Blocks on the disk.
  void Load(const std::string& szDir);
  /// Rewrites the file whole: "General" and the rules, nothing else. False on failure, traced once per
  /// cause; the rules in memory and the old file stay. Blocks on the disk.
  bool Save();
  /// A snapshot of the rules. Any thread.
  [[nodiscard]] std::vector<Rule> Copie();
  /// Replaces the rules. Any thread.
  void Remplace(std::vector<Rule> vRules);

 private:
  CLock m_cs;
  std::string m_szPath;
  std::vector<int> m_vJoursFeries;  ///< read, used by nothing
  int m_nVersion = 100;
  bool m_bCrLf = false;           ///< line ends of the file as it was loaded
  std::string m_szCauseEcriture;  ///< of the last failed Save
  bool m_bIllisible = false;      ///< the file was there at loading and could not be read
  std::vector<Rule> m_vRules GUARDED_BY(m_cs);
};

extern CGrille g_Grille;

}  // namespace tonara
