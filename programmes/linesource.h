// A line input on the air: the capture, the ring in memory, and the tranche of a mixer that plays it.
//
//   input --CWaveRecorder--> CRAMAudio (257 ms) --CWaveRAM--> tranche of the mixer
//
// Nothing matches the input's clock to the output's. A faster input costs a block now and then, a
// faster output a wait; the ring's size bounds the delay.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "audio/waverecorder.h"
#include "platform/lock.h"

namespace tonara {

class CMixout;
class CRAMAudio;

/// Any thread, one lock; the mixer's lock comes after it. Stop never waits for sound that doesn't come.
class CLineSource {
 public:
  CLineSource();
  virtual ~CLineSource();
  CLineSource(const CLineSource&) = delete;
  CLineSource& operator=(const CLineSource&) = delete;

  /// Opens the input of that name and puts it on the mixer, in a groupe or in none (null), at fGain dB.
  /// True at once if it is active. False, traced, with everything taken back, if the input is missing
  /// or refuses (which shows a box too) or the mixer has no place. Blocks for as long as the mixer
  /// takes to fill its queue in real time, up to 5 s with an input that gives nothing.
  bool Start(const std::string& szDevice, CMixout* pMixout, const char* szGroupe, float fGain);
  void Stop();
  /// Levels and highest levels, dB, two floats each. False without a capture.
  bool GetNiveaux(float* pfNiveaux, float* pfMax);
  void ResetMax();

  // The same start in two steps, for an owner with a thread of its own.
  /// Opens the input; sound gathers in the ring. bDiscret: one of many attempts, which shows no box and
  /// leaves no routine lines in the log. True if it is open already. Blocks for as long as the opening takes.
  bool Ouvre(const std::string& szDevice, CMixout* pMixout, bool bDiscret);
  /// Puts the open input on the mixer. True if it is there already. Blocks as told for Start.
  bool Joue(const char* szGroupe, float fGain);
  /// True once the ring holds enough for the mixer not to wait long.
  [[nodiscard]] bool IsPret();
  /// Forgets what the ring has gathered while nothing read it.
  void VideAnneau();
  /// Blocks captured since the opening; stands still when the input gives nothing. 0 while closed.
  [[nodiscard]] uint32_t NbBlocs();
  /// Blocks in a row that the ring had no room for, because nothing reads it.
  [[nodiscard]] uint32_t NbRefus();
  /// True while the tranche plays and its ring is drained.
  [[nodiscard]] bool IsEntendue();
  [[nodiscard]] bool IsOuvert();

  /// Box of the capture's failures; see CWaveRecorder. Before Start.
  void SetRecordBox(RecordBox fnBox);
  /// No capture thread: TickCapture is its round.
  void SetSansThread() { m_bSansThread = true; }
  void TickCapture();

 private:
  void FermeLocked() REQUIRES(m_Lock);

  CLock m_Lock;
  int m_dwTranche GUARDED_BY(m_Lock) = 0;
  bool m_bActif GUARDED_BY(m_Lock) = false;    ///< between a successful start and Stop
  bool m_bEnCours GUARDED_BY(m_Lock) = false;  ///< a Joue is inside the mixer
  bool m_bAbandon GUARDED_BY(m_Lock) = false;  ///< Stop came meanwhile
  std::unique_ptr<CRAMAudio> m_pRam GUARDED_BY(m_Lock);
  std::unique_ptr<CWaveRecorder> m_pRecorder GUARDED_BY(m_Lock);
  CMixout* m_pMixout GUARDED_BY(m_Lock) = nullptr;
  RecordBox m_fnBox;
  bool m_bSansThread = false;
};

/// The line input of the programme "Source externe".
extern CLineSource g_LineSource;

}  // namespace tonara
