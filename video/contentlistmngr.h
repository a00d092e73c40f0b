// A folder as a list of files of given kinds, handed out in scan order or at random. The scan runs on
// a thread of its own, so a large folder on a slow disk holds up nobody. Free of Qt.
//
// The list does not watch its folder: a user that learns of a change calls Vider, and the next request
// for a file starts a new scan.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "platform/lock.h"
#include "platform/worker.h"

namespace tonara {

/// Random whole number from 0 to nMax; 0 for nMax <= 0. The generator is per thread.
int Aleatoire(int nMax);
/// Seeds the calling thread's generator. A thread that never does starts from a seed of its own.
void SemerAleatoire(uint32_t dwGraine);

struct CONTENT_ENTRY {
  std::string m_szPath;
  uint32_t m_nLectures = 0;  ///< how many times it was given out
};

/// The files of a list with their play counts, and the choice of the next one. No lock of its own.
class CContentList {
 public:
  [[nodiscard]] uint32_t Count() const { return static_cast<uint32_t>(m_vListe.size()); }
  [[nodiscard]] const CONTENT_ENTRY& At(uint32_t nIndex) const { return m_vListe[nIndex]; }
  /// Adds an entry with a count of 0 at the end.
  void Add(std::string szPath);
  /// The first entry from nDepart on, wrapping, that was given out less often than the most played
  /// one; nDepart itself if all are level. nDepart < Count(). Constant time on average.
  [[nodiscard]] uint32_t NextUnplayed(uint32_t nDepart) const;
  /// Counts the entry as given out once more.
  void MarkPlayed(uint32_t nIndex);

 private:
  std::deque<CONTENT_ENTRY> m_vListe;
  uint32_t m_nLecturesMax = 0;  ///< highest count reached by any entry
  // One bit per entry, set while its count is below m_nLecturesMax: 64 entries per look, so that the
  // last free ones of a round are found quickly.
  std::vector<uint64_t> m_vLibres;
};

/// Any thread for all operations. The lock is held for one entry at a time, never for a scan.
class CContentListMngr {
 public:
  CContentListMngr();
  /// Stops a running scan and waits for it: at most one directory entry, or one call of the system.
  virtual ~CContentListMngr();
  CContentListMngr(const CContentListMngr&) = delete;
  CContentListMngr& operator=(const CContentListMngr&) = delete;

  /// Folder, sub-folders or not, accepted media kinds. Starts nothing; entries stay, and a scan that
  /// runs goes on in its folder.
  void SetDossier(const std::string& szDossier, bool bSousRep, std::span<const int> types);
  /// Empties the list and starts a scan; false if one is running, or if no thread could be made.
  bool Charger();
  /// True when a scan has ended. Vider does not change it.
  [[nodiscard]] bool IsCharge() const;
  /// Empties the list; a scan that runs goes on and adds the rest. True.
  bool Vider();
  [[nodiscard]] int GetNombre();
  /// The next file, in scan order or at random; in random order each file comes once before any
  /// comes again. False, after starting a scan, while the list is empty; false for null. Constant time
  /// on average, also at the end of a round.
  bool GetSuivant(std::string* pPath, bool bAleatoire);
  /// The path at an index; false beyond the end or for null. Touches neither count nor position.
  bool GetFichier(int nIndex, std::string* pPath);

 private:
  enum Etat : int { kJamaisCharge = 0, kEnCours = 1, kTermine = 2 };
  /// Device and inode of each folder met in one scan.
  using Visites = std::set<std::pair<uint64_t, uint64_t>>;

  bool ChargerLocked(CContentList* pAncienne) REQUIRES(m_cs);
  void ScanThread();
  bool ScanDossier(const std::string& szDossier, int nProfondeur, Visites& visites);
  void Ajouter(const std::string& szDossier, const char* szNom);

  CLock m_cs;
  std::vector<int> m_pTypes GUARDED_BY(m_cs);
  uint32_t m_iCourant GUARDED_BY(m_cs) = 0;  ///< sequential: index of the next entry; random: of the last one given
  CContentList m_liste GUARDED_BY(m_cs);
  std::string m_szDossier GUARDED_BY(m_cs);
  bool m_bSousRep GUARDED_BY(m_cs) = false;
  std::atomic<int> m_nEtat{kJamaisCharge};
  CWorker m_thread;  // started and joined under m_cs, which its body has left for good once m_nEtat is kTermine
};

}  // namespace tonara
