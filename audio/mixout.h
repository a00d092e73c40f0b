// The mixer: up to ten sources (tranches) summed into one output, with gains, fades and ramps, and
// named pairs of levels (groupes). The device is opened by the first file played and closed when
// everything has played out; nothing is resampled.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "audio/media.h"
#include "audio/waveout.h"
#include "platform/event.h"
#include "platform/lock.h"
#include "platform/messages.h"
#include "platform/worker.h"

namespace tonara {

inline constexpr int NB_TRANCHES = 10;
inline constexpr int NB_GROUPES = 3;

/// Modes of PlayFichier.
inline constexpr int kPlayExclusif = 1;
inline constexpr int kPlayMixe = 2;

struct TRANCHE_MIX {
  std::unique_ptr<CMedia> m_pMedia;  ///< null marks the tranche free
  std::string m_szPath;              ///< for the reopening of a loop
  PCMWAVEFORMAT m_Format;
  bool m_bActif = false;
  bool m_bFin = false;
  bool m_bOrphelin = false;  ///< the device closed under it: no position, unless it goes on with the next opening
  std::string m_szGroupe;    ///< at most 19 bytes
  uint64_t m_dwDebut = 0;    ///< device position, in frames, at which its first sample is heard
  uint32_t m_dwDuree = 0;    ///< ms
  uint32_t m_dwIn = 0;       ///< ms
  uint32_t m_dwOut = 0;      ///< ms, 0 for the end
  bool m_bBoucle = false;
  uint32_t m_dwFadeIn = 0;   ///< frames
  uint32_t m_dwFadeOut = 0;  ///< frames
  int64_t m_llFin = 0;       ///< with m_bFin: frame, on the ramp's axis, at which the fade-out reaches 0
  float m_fGain = 0.0F;      ///< during a ramp, its target
  float m_fGainMemo = 1.0F;
  // The ramp's axis counts frames of the tranche like the elapsed time, but goes below 0 while the
  // tranche isn't heard yet, and advances by exactly what is written (see CMixout::PositionMixLocked).
  int64_t m_dwRampeDebut = 0;
  int64_t m_dwRampeFin = 0;  ///< a ramp exists only if this exceeds m_dwRampeDebut
  double m_fRampePente = 0.0;
  double m_fRampeOrigine = 1.0;  ///< value of the ramp's line at frame 0
  MsgTarget m_hWndFin = 0;
  uint32_t m_uMsgFin = 0;
  uint32_t m_dwLecture = 0;  ///< number of this play, never 0
};

struct GROUPE_MIX {
  std::string m_szNom;       ///< empty marks the entry free
  uint32_t m_iEtat = 0;      ///< 1 while faded
  float m_fLevel = 0.0F;     ///< dB
  float m_fAutofade = 0.0F;  ///< dB while faded
};

/// Every operation may be called from any thread and takes the object's lock unless told otherwise;
/// one may wait for a mix pass, so for a blocked source up to 5 s. Tranches are numbered from 1; 0 is
/// none. Times are ms, levels dB.
class CMixout {
 public:
  CMixout();
  virtual ~CMixout();
  CMixout(const CMixout&) = delete;
  CMixout& operator=(const CMixout&) = delete;

  /// Starts the mixer's thread for that device (-1: the default one), block count, block length and
  /// limit of every tranche's duration (0: none). The device itself opens with the first file.
  bool Start(int iDevice, int iNbBuffers, int iTailleMs, uint32_t dwDureeMax);
  /// Closes the device and joins the thread. Callers call StopAll first. Groupes stay.
  void Stop();
  bool AddGroupe(const char* szNom, float fLevel, float fAutofade);
  /// Plays a file (or in-memory path): the tranche's number, 0 on failure, which is traced. Mode
  /// kPlayExclusif frees all tranches first if the device is open. The level of a known groupe
  /// overrides fGain. At the source's end uMsg is posted to hWnd (wParam tranche, lParam device) at
  /// each pass until the tranche is stopped. Opens the file (without the lock: a slow disk doesn't
  /// hold up what plays) and mixes the first blocks in the caller's thread. A file of another rate is
  /// refused while a tranche holds a source; once none does, what is still queued gives way to it.
  /// pdwLecture, nullable, takes the number of this play. Tranche numbers are given again as soon as they are
  /// free: whoever can't know whether its tranche was freed behind its back (the mixer restarted) passes the
  /// play's number to StopTranche and GetPosTranche, which then leave a later play alone.
  int PlayFichier(const std::string& szPath, int iMode, uint32_t dwIn, uint32_t dwOut, uint32_t dwFadeIn,
                  uint32_t dwFadeOut, float fGain, bool bBoucle, MsgTarget hWnd, uint32_t uMsg, const char* szGroupe,
                  uint32_t* pdwLecture = nullptr);
  /// Frees the tranche; breaks a blocked read first. 0 is ignored, and so is a tranche that holds another play
  /// than dwLecture (0: any).
  void StopTranche(int nTranche, uint32_t dwLecture = 0);
  void StopAll();
  /// Never waits.
  [[nodiscard]] bool IsActif() const { return m_nActifs.load(std::memory_order_acquire) > 0; }
  /// Elapsed and remaining ms of a tranche (outputs nullable). False with zeros if it isn't playing, the
  /// device is closed, the source can't tell, or it is another play than dwLecture (0: any). A live source has 0
  /// remaining.
  bool GetPosTranche(int nTranche, uint32_t* pdwEcoule, uint32_t* pdwReste, uint32_t dwLecture = 0);
  /// For the first min(nCount, bus channels) channels: GainToDb of the last block's peak before
  /// clipping, and of the highest such peak since the second level was last handed out; each where
  /// the output isn't null. Writes nothing while the device is closed. Always true. Waits for no pass.
  bool GetNiveaux(float* pfNiveaux, float* pfNiveaux2, int nCount);
  /// Forgets the highest peak. Waits for no pass.
  void ResetNiveauxMax();
  /// Ramp to a level (iMode 1, the present gain being remembered) or back to the remembered gain (any
  /// other mode): a straight line in linear gain over dwMs, from the gain in force, drawn from the
  /// next block mixed on, so heard behind what is queued. dwMs 0 changes the gain at once. False for a
  /// free tranche.
  bool FadeTranche(int nTranche, uint32_t dwMs, float fDb, int iMode);
  bool FadeAll(uint32_t dwMs, float fDb, int iMode);
  /// Makes the next dwMs the tranche's last, faded out.
  bool FinTranche(int nTranche, uint32_t dwMs);
  bool SetGainTranche(int nTranche, float fDb);
  bool SetGainMemoTranche(int nTranche, float fDb);
  bool SetLevelGroupe(const char* szNom, float fDb);
  bool SetAutofadeGroupe(const char* szNom, float fDb);
  bool SetEtatGroupe(const char* szNom, uint32_t iEtat);
  /// The bus format, bound while the device is open, if bBus; else that of tranche 1. Rate 0 while
  /// there is none. False for a null output.
  bool GetFormat(bool bBus, PCMWAVEFORMAT* pFormat);
  /// Number of tranches that hold a source.
  [[nodiscard]] int NbTranchesPrises();

  /// One round of the mixer's thread, without its wait: what tests pump by hand. False if the lock was
  /// taken by another thread and the round skipped.
  bool Tick();
  /// Start without a thread, for tests that call Tick.
  bool StartSansThread(int iDevice, int iNbBuffers, int iTailleMs, uint32_t dwDureeMax);

 private:
  friend struct CMixoutEssai;
  // mixout.cpp: tranches and device.
  TRANCHE_MIX* TrancheLocked(int nTranche) REQUIRES(m_Lock);
  bool EstLectureLocked(int nTranche, uint32_t dwLecture) REQUIRES(m_Lock);
  void DemarreLocked(int iDevice, int iNbBuffers, int iTailleMs, uint32_t dwDureeMax) REQUIRES(m_Lock);
  [[nodiscard]] int TrancheLibreLocked() const REQUIRES(m_Lock);
  [[nodiscard]] int NbPrisesLocked() const REQUIRES(m_Lock);
  void GainDepartLocked(TRANCHE_MIX& tranche, float fGain, const char* szGroupe) REQUIRES(m_Lock);
  bool OuvreSortieLocked(const PCMWAVEFORMAT& format) REQUIRES(m_Lock);
  void FermeSortieLocked() REQUIRES(m_Lock);
  void OublieNiveaux(size_t nCanaux) EXCLUDES(m_NiveauLock);
  std::unique_ptr<CMedia> LibereTrancheLocked(int nTranche) REQUIRES(m_Lock);
  void StopAllLocked() REQUIRES(m_Lock);
  void Abandonne(int nTranche, uint32_t dwLecture) EXCLUDES(m_AbortLock);

  // mixoutniveaux.cpp: positions, levels, fades, groupes.
  struct POSITION_TRANCHE {
    uint64_t llEcoule = 0;  ///< frames heard, not limited to the total
    uint32_t dwTotal = 0;   ///< ms, 0 for a live source
    uint64_t llTotal = 0;   ///< the same in frames
  };
  bool PositionLocked(TRANCHE_MIX& tranche, int64_t llPosition, POSITION_TRANCHE* pPos) REQUIRES(m_Lock);
  bool PosTrancheLocked(int nTranche, uint32_t* pdwEcoule, uint32_t* pdwReste) REQUIRES(m_Lock);
  bool FadeTrancheLocked(int nTranche, uint32_t dwMs, float fDb, int iMode) REQUIRES(m_Lock);
  bool SetGainLocked(int nTranche, float fDb) REQUIRES(m_Lock);
  GROUPE_MIX* GroupeLocked(const char* szNom) REQUIRES(m_Lock);

  // mixoutpasse.cpp: the thread and the mix pass.
  void ThreadMix();
  void TickLocked() REQUIRES(m_Lock);
  bool RemplitLocked() REQUIRES(m_Lock);
  int64_t PositionMixLocked() REQUIRES(m_Lock);
  uint32_t MixeLocked(uint8_t* pDest) REQUIRES(m_Lock);
  uint32_t MixeTrancheLocked(int nTranche, int64_t llMix) REQUIRES(m_Lock);
  bool MixeSuiteLocked(TRANCHE_MIX& tranche, int64_t llMix, uint32_t dwOffset, uint32_t dwFrames) REQUIRES(m_Lock);
  bool RouvreLocked(TRANCHE_MIX& tranche, uint64_t llDebut) REQUIRES(m_Lock);

  CLock m_Lock;
  std::array<TRANCHE_MIX, NB_TRANCHES> m_Tranches GUARDED_BY(m_Lock);
  std::array<GROUPE_MIX, NB_GROUPES> m_Groupes GUARDED_BY(m_Lock);
  float m_fMaster GUARDED_BY(m_Lock) = 1.0F;
  int m_iDevice GUARDED_BY(m_Lock) = -1;
  int m_iNbBuffers GUARDED_BY(m_Lock) = 10;
  int m_iTailleBuffer GUARDED_BY(m_Lock) = 50;
  uint32_t m_dwDureeMax GUARDED_BY(m_Lock) = 0;
  uint32_t m_dwLectures GUARDED_BY(m_Lock) = 0;  ///< number of the latest play
  CWaveOut m_Sortie;                             ///< driven under m_Lock; IsOpen from anywhere
  bool m_bEnPause GUARDED_BY(m_Lock) = false;
  PCMWAVEFORMAT m_Format GUARDED_BY(m_Lock);            ///< the bus; rate 0 while no device is open
  uint32_t m_dwFramesBloc GUARDED_BY(m_Lock) = 0;       ///< frames in a whole block
  std::vector<float> m_vCrete GUARDED_BY(m_Lock);       ///< per channel, of the pass under way
  std::vector<float> m_vBus GUARDED_BY(m_Lock);         ///< one block, channels interleaved
  std::vector<uint8_t> m_vSource GUARDED_BY(m_Lock);    ///< one block of a source's bytes
  std::vector<float> m_vConversion GUARDED_BY(m_Lock);  ///< one block of a source in bus channels
  /// Guards the pointers through which Abort reaches a source whose Read holds m_Lock. Taken after
  /// m_Lock, held only for the call.
  CLock m_AbortLock;
  struct ABORT {
    CMedia* m_pMedia = nullptr;
    uint32_t m_dwLecture = 0;
  };
  std::array<ABORT, NB_TRANCHES> m_pAbort GUARDED_BY(m_AbortLock);
  /// What the windows ask for many times a second, and must not wait for a pass that waits for a source. The
  /// lock is taken after m_Lock, held only for the copy.
  CLock m_NiveauLock;
  std::vector<float> m_pfCrete GUARDED_BY(m_NiveauLock);   ///< per channel, of the last pass
  std::vector<float> m_pfCrete2 GUARDED_BY(m_NiveauLock);  ///< highest since last handed out
  std::atomic<int> m_nActifs{0};                           ///< tranches with m_bActif
  CAutoEvent m_hEvent;                                     ///< a block has played, or there is something to look at
  CWorker m_hThread;
};

/// The main mixer, with the groupes "MESSAGE" and "MUSIQUE".
extern CMixout g_Mixout;

}  // namespace tonara
