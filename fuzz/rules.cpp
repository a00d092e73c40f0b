// Any bytes as "Regles.ini": they load, a day's plan comes of them in bounded time, and what is saved
// loads as the same rules.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <vector>

#include "core/appcfg.h"
#include "platform/clock.h"
#include "schedule/creneaux.h"
#include "schedule/grille.h"
#include "schedule/journee.h"

namespace {

using namespace tonara;

/// A start directory for all runs of the process. In memory where there is such a place: a save waits for
/// the disk, and would leave some thirty runs a second.
struct CDir {
  CDir() {
    std::error_code ignored;
    const bool bShm = std::filesystem::is_directory("/dev/shm", ignored);
    std::string pattern = (bShm ? "/dev/shm" : std::filesystem::temp_directory_path().string()) + "/tonara-fuzz-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) abort();
    szDir = pattern + "/";
  }
  ~CDir() {
    std::error_code ignored;
    std::filesystem::remove_all(szDir, ignored);
  }
  std::string szDir;
};

const std::string& Dir() {
  static const CDir s_dir;
  return s_dir.szDir;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
  {
    std::ofstream out(Dir() + "Regles.ini", std::ios::binary);
    out.write(reinterpret_cast<const char*>(pData), static_cast<std::streamsize>(nSize));
  }
  CGrille grille;
  grille.Load(Dir());
  const std::vector<Rule> rules = grille.Copie();

  size_t nCreneaux = 0;
  for (const Rule& rule : rules) {
    size_t nRegle = 0;
    ParcourirCreneaux(rule, 1, [&](uint16_t wHeure, uint16_t wMinute) {
      if (wHeure > 23 || wMinute > 59 || ++nRegle > 1440 + 60) abort();
      return true;
    });
    nCreneaux += nRegle;
  }

  // Rules on folders are left out here: a path from anywhere must not make the target scan the disk.
  std::vector<Rule> fichiers;
  for (Rule rule : rules) {
    if (fichiers.size() == 50) break;
    rule.Folder = false;
    rule.Path = "absent/" + std::to_string(fichiers.size()) + ".mp3";
    fichiers.push_back(rule);
  }
  CGrille courte;
  courte.Remplace(fichiers);
  CAppcfg cfg;
  cfg.VirguleAvant = cfg.VirguleEntre = true;
  EventContext context{&cfg, nullptr, nullptr};
  CJournee journee(SystemClock(), courte, context);
  journee.SetDate(SystemClock().LocalTime());
  journee.Generer(kGenerationComplete);
  if (journee.NbEvents() > 2 * std::max<size_t>(nCreneaux, 1)) abort();

  if (!grille.Save()) abort();
  CGrille autre;
  autre.Load(Dir());
  if (autre.Copie() != rules) abort();
  return 0;
}
