// A folder as a list of files of given kinds, handed out in scan order or at random. The scan runs on
// a thread of its own, so a large folder on a slow disk holds up nobody. Free of Qt.
#pragma once

#include <atomic>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "platform/lock.h"
#include "platform/worker.h"

namespace tonara {

/// Random whole number from 0 to nMax. The generator is per thread.
int Aleatoire(int nMax);
/// Seeds the calling thread's generator.
void SemerAleatoire(uint32_t dwGraine);

struct CONTENT_ENTRY {
  std::string m_szPath;
  uint32_t m_nLectures = 0;  ///< how many times it was given out
};

/// Any thread for all operations.
class CContentListMngr {
 public:
  CContentListMngr();
  /// Stops a running scan and waits for it.
  virtual ~CContentListMngr();
  CContentListMngr(const CContentListMngr&) = delete;
  CContentListMngr& operator=(const CContentListMngr&) = delete;

  /// Folder, sub-folders or not, accepted media kinds. Starts nothing; entries stay.
  void SetDossier(const std::string& szDossier, bool bSousRep, std::span<const int> types);
  /// Empties the list and starts a scan; false if one is running.
  bool Charger();
  /// True when a scan has ended.
  [[nodiscard]] bool IsCharge() const;
  /// Empties the list. True.
  bool Vider();
  [[nodiscard]] int GetNombre();
  /// The next file, in scan order or at random; in random order each file comes once before any
  /// comes again. False, after starting a scan, while the list is empty. Constant time on average, also at the end
  /// of a round.
  bool GetSuivant(std::string* pPath, bool bAleatoire);
  /// The path at an index; false beyond the end.
  bool GetFichier(int nIndex, std::string* pPath);
};

}  // namespace tonara
