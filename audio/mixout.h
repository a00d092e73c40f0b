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

class CClock;

inline constexpr int NB_TRANCHES = 10;
inline constexpr int NB_GROUPES = 3;

/// Modes of PlayFichier.
inline constexpr int kPlayExclusif = 1;
inline constexpr int kPlayMixe = 2;

struct TRANCHE_MIX {
  std::unique_ptr<CMedia> m_pMedia;  ///< null marks the tranche free
  PCMWAVEFORMAT m_Format;
  bool m_bActif = false;
  bool m_bFin = false;
  std::string m_szGroupe;  ///< at most 19 bytes
  uint64_t m_dwDebut = 0;  ///< device position, in frames, at which its first sample is heard
  uint32_t m_dwDuree = 0;  ///< ms
  uint32_t m_dwIn = 0;     ///< ms
  uint32_t m_dwOut = 0;    ///< ms, 0 for the end
  bool m_bBoucle = false;
  uint64_t m_dwFadeIn = 0;   ///< frames
  uint64_t m_dwFadeOut = 0;  ///< frames
  float m_fGain = 0.0F;      ///< during a ramp, its target
  float m_fGainMemo = 1.0F;
  uint64_t m_dwRampeDebut = 0;  ///< frames of the tranche; a ramp exists only if the end exceeds this
  uint64_t m_dwRampeFin = 0;
  double m_fRampePente = 0.0;
  double m_fRampeOrigine = 1.0;  ///< value of the ramp's line at frame 0
  MsgTarget m_hWndFin = 0;
  uint32_t m_uMsgFin = 0;
};

struct GROUPE_MIX {
  std::string m_szNom;  ///< empty marks the entry free
  uint32_t m_iEtat = 0;  ///< 1 while faded
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
  /// each pass until the tranche is stopped. Opens the file and mixes the first blocks in the
  /// caller's thread.
  int PlayFichier(const std::string& szPath, int iMode, uint32_t dwIn, uint32_t dwOut, uint32_t dwFadeIn,
                  uint32_t dwFadeOut, float fGain, bool bBoucle, MsgTarget hWnd, uint32_t uMsg, const char* szGroupe);
  /// Frees the tranche; breaks a blocked read first. 0 is ignored.
  void StopTranche(int nTranche);
  void StopAll();
  [[nodiscard]] bool IsActif();
  /// Elapsed and remaining ms of a tranche (outputs nullable). False with zeros if it isn't playing, the
  /// device is closed or the source can't tell. A live source has 0 remaining.
  bool GetPosTranche(int nTranche, uint32_t* pdwEcoule, uint32_t* pdwReste);
  /// For the first min(nCount, bus channels) channels: GainToDb of the last block's peak before clipping, and of the
  /// highest such peak since the last ResetNiveauxMax; each where the output isn't null.
  bool GetNiveaux(float* pfNiveaux, float* pfNiveaux2, int nCount);
  void ResetNiveauxMax();
  /// Ramp to a level (iMode 1, the present gain being remembered) or back to the remembered gain (any
  /// other mode): a straight line in linear gain over dwMs of what is heard.
  bool FadeTranche(int nTranche, uint32_t dwMs, float fDb, int iMode);
  bool FadeAll(uint32_t dwMs, float fDb, int iMode);
  /// Makes the next dwMs the tranche's last, faded out.
  bool FinTranche(int nTranche, uint32_t dwMs);
  bool SetGainTranche(int nTranche, float fDb);
  bool SetGainMemoTranche(int nTranche, float fDb);
  bool SetLevelGroupe(const char* szNom, float fDb);
  bool SetAutofadeGroupe(const char* szNom, float fDb);
  bool SetEtatGroupe(const char* szNom, uint32_t iEtat);
  /// The bus format if bBus, else that of tranche 1; rate 0 while there is none.
  bool GetFormat(bool bBus, PCMWAVEFORMAT* pFormat);
  /// Number of tranches that hold a source.
  [[nodiscard]] int NbTranchesPrises();

  /// The clock that pauses between prefilled blocks. Before Start.
  void SetClock(CClock& clock);
  /// One round of the mixer's thread, without its wait: what tests pump by hand. False if the lock was
  /// taken by another thread and the round skipped.
  bool Tick();
  /// Start without a thread, for tests that call Tick.
  bool StartSansThread(int iDevice, int iNbBuffers, int iTailleMs, uint32_t dwDureeMax);
};

/// The main mixer, with the groupes "MESSAGE" and "MUSIQUE".
extern CMixout g_Mixout;

}  // namespace tonara
