// "Playlist": the audio files of one folder, one after the other and for ever, in the folder's order
// or at random, with or without cross-fades. A worker looks at the mixer twice a second; the folder is
// watched, and a change means a new list from the next track on.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <string>

#include "platform/clock.h"
#include "platform/folderwatch.h"
#include "platform/lock.h"
#include "platform/worker.h"
#include "programmes/audioprogram.h"
#include "video/contentlistmngr.h"

namespace tonara {

class CAppcfg;
class CHistorique;
class CMixout;

/// Main thread, except Tick. Locks: this object's, then the mixer's or the list's.
class CAudioPlaylistProgram final : public CAudioProgram {
 public:
  /// With the program's own settings, history, mixer and clock. Loads its section, unless szIni is empty.
  explicit CAudioPlaylistProgram(const std::string& szIni);
  CAudioPlaylistProgram(const std::string& szIni, const CAppcfg& cfg, CHistorique& historique, CMixout& mixout,
                        CClock& clock);
  ~CAudioPlaylistProgram() override;

  /// Writes the history line, watches the folder and starts the worker; sound comes when the folder has been
  /// read. True in all cases: an absent or empty folder is waited for.
  bool Start() override;
  /// Ends all sound at once, without a fade. Waits for the round that is under way, so for a file that
  /// is being opened.
  bool Stop() override;
  bool Suspend(uint32_t nFlag) override;
  /// Path of the present track relative to the folder, beginning with '/'. False before the first one.
  bool GetTitre(std::string* pOut) override;
  /// Section "AudioPlaylist": Path, IncludeSubFolders, Random, Fondus.
  bool Load(const std::string& szIni) override;
  /// False, traced, if the settings file can't be written.
  bool Save(const std::string& szIni) override;
  /// "Playlist audio": the folder and the three switches.
  bool Configure(QWidget* pParent, bool bActif) override;

  std::string m_szPath;  ///< the folder
  bool m_bSousRep = false;
  bool m_bRandom = false;
  bool m_bFondus = true;

  /// One round of the worker. Skipped while another thread holds the lock.
  void Tick();
  /// Start without the worker, for tests that call Tick.
  void StartSansThread();
  /// True once a scan of the folder has ended.
  [[nodiscard]] bool IsListePrete() const { return m_Liste.IsCharge(); }
  /// Looks at the folder watch now, without waiting for the next round: true if a change is known that
  /// the list doesn't show yet.
  bool VoitChangement();

 private:
  enum class Essai { Joue, PasDeFichier, Refuse };

  void Demarre();
  void RondeLocked() REQUIRES(m_Lock);
  void ChangementLocked() REQUIRES(m_Lock);
  Essai SuivantLocked(uint32_t dwReste) REQUIRES(m_Lock);
  Essai JoueLocked(int iPlace, const std::string& szFichier) REQUIRES(m_Lock);
  bool LiberePlaceLocked(int iPlace, bool bAttendre) REQUIRES(m_Lock);
  void ArreteLocked(int iPlace) REQUIRES(m_Lock);

  const CAppcfg& m_cfg;
  CHistorique& m_historique;
  CMixout& m_mixout;
  CClock& m_clock;
  CContentListMngr m_Liste;
  CFolderWatch m_hChange;
  CWorker m_worker;

  CLock m_Lock;
  std::array<int, 2> m_dwTranche GUARDED_BY(m_Lock){};      ///< tranches of the mixer, 0 for none
  std::array<uint64_t, 2> m_llChasse GUARDED_BY(m_Lock){};  ///< round in which it was hurried out, 0 for none
  int m_iCourant GUARDED_BY(m_Lock) = 0;                    ///< the entry of the present track
  uint64_t m_llRonde GUARDED_BY(m_Lock) = 0;                ///< rounds so far
  bool m_bActif GUARDED_BY(m_Lock) = false;
  bool m_bChange GUARDED_BY(m_Lock) = false;  ///< the folder changed, the list is older
  bool m_bAttend GUARDED_BY(m_Lock) = false;  ///< a track is due and the list had none
  int m_nRefus GUARDED_BY(m_Lock) = 0;        ///< files in a row that didn't play
  float m_fGain GUARDED_BY(m_Lock) = 0.0F;

  CLock m_TitreLock;  ///< of its own: the dialog asks while the worker opens a file on a slow disk
  std::string m_szTitre GUARDED_BY(m_TitreLock);
};

}  // namespace tonara
