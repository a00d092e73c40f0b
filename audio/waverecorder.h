// Captures PCM from a wave input on a thread of its own: each block is measured, then handed to a file
// (split at a size limit) or to a ring in memory that the mixer plays live.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "audio/wavefilewriter.h"
#include "platform/event.h"
#include "platform/lock.h"
#include "platform/wavedevice.h"
#include "platform/worker.h"

namespace tonara {

class CRAMAudio;
class CWaveRecorder;

/// A capture block: free, with the device (neither mark set) or finished (full, waiting to be taken).
struct CAPTURE_BUFFER {
  std::vector<uint8_t> m_vData;
  WaveHeader m_Header;
  bool m_bLibre = true;
  std::atomic<bool> m_bFini{false};  ///< set by the device's thread
  CWaveRecorder* m_pOwner = nullptr;
};

/// Where the blocks go.
enum ModeRecord : int { kRecordAucun = 0, kRecordFichier = 1, kRecordRam = 2 };

/// Shows a message box. Called without any lock, from the capture thread too: it posts to the main
/// thread and returns at once.
using RecordBox = std::function<void(const std::string& szTexte, const std::string& szTitre)>;

/// Order of calls: Init, Prepare, Demarre, Arrete, Ferme. All may be called from any thread and take
/// the object's lock; while a file is written to a slow disk they wait for that write. The capture
/// thread only tries the lock. Results that aren't told otherwise are true.
class CWaveRecorder {
 public:
  CWaveRecorder(uint32_t dwFreq, uint32_t iChannels, uint32_t iBits);
  virtual ~CWaveRecorder();
  CWaveRecorder(const CWaveRecorder&) = delete;
  CWaveRecorder& operator=(const CWaveRecorder&) = delete;

  /// Opens the input, capturing nothing yet. Destination: null for none (levels only), an in-memory
  /// path (MakeRamPath; the ring must outlive the capture), or the path of the first file. False,
  /// traced, if the file can't be made or the device refuses, the latter with a box. A device that a
  /// search by name didn't find (index -1) is refused: no other input may go on the air in its place.
  bool Init(const std::string* pDestination, uint32_t dwDevice);
  /// Starts the capture: from here on levels are live, blocks are discarded. False with the device closed.
  bool Prepare();
  /// From here on blocks go to the destination; bSaturation: blocks that clip are traced.
  bool Demarre(bool bSaturation);
  /// Stops the device. What it had not finished is lost.
  bool Arrete();
  /// Closes device, thread and file. A file without sound is deleted.
  bool Ferme();

  /// Level of the latest block and highest level since ResetMax, dB per channel (GainToDb of the
  /// peak, not below SeuilDb). Either may be null. With the device closed the levels are at their floor.
  bool GetNiveaux(float* pfNiveaux, float* pfMax);
  bool ResetMax();
  /// Ms recorded into the present file. False, with 0, with the device closed.
  bool GetDureeFichier(uint32_t* pdwMs);
  /// Ms recorded over all files, modulo 2^32. False with the device closed.
  bool GetPosition(uint32_t* pdwMs);
  /// Number of blocks, blocks with the device, times the device ran out of them; nullable.
  bool GetEtat(int* piBlocs, int* piQueue, int* piUnderruns);
  /// Path of the present file; "RAM" for the ring; empty without a destination.
  bool GetNomFichier(std::string* pNom);
  [[nodiscard]] bool IsEnregistre() const { return m_bEnregistre.load(std::memory_order_acquire); }

  /// Blocks with sound taken from the device since Init: stands still when an input has gone silent
  /// for good. No lock.
  [[nodiscard]] uint32_t NbBlocs() const { return m_nBlocs.load(std::memory_order_acquire); }
  /// Blocks in a row that the ring had no room for: grows when nobody reads it any more. No lock.
  [[nodiscard]] uint32_t NbRefus() const { return m_nRefus.load(std::memory_order_acquire); }

  // Before Init.
  void SetRecordBox(RecordBox fnBox);
  /// For attempts that are repeated: no box, no routine lines in the log, failures at growing intervals.
  void SetDiscret(bool bDiscret) { m_bDiscret = bDiscret; }
  /// Bytes of sound at which a file is closed and the next one begun.
  void SetLimiteFichier(uint32_t dwOctets);
  /// No thread: the owner calls Tick.
  void SetSansThread() { m_bSansThread = true; }

  /// Takes the finished blocks, at most as many as there are: one round of the capture thread, without its
  /// wait. False if there may be more, or the lock was taken by another thread and the round skipped.
  bool Tick();

 private:
  bool OuvreDeviceLocked(uint32_t dwDevice, std::string* pErreur) REQUIRES(m_Lock);
  void DonneBlocsLocked() REQUIRES(m_Lock);
  bool DonneBlocLocked(int iBloc) REQUIRES(m_Lock);
  bool TraiteBlocLocked(CAPTURE_BUFFER& bloc) REQUIRES(m_Lock);
  bool RemetLocked(const uint8_t* pOctets, uint32_t dwOctets) REQUIRES(m_Lock);
  bool MesureLocked(const uint8_t* pOctets, uint32_t dwOctets) REQUIRES(m_Lock);
  void ResetMaxLocked() REQUIRES(m_Lock);
  void UnderrunLocked() REQUIRES(m_Lock);
  std::string NomLocked() REQUIRES(m_Lock);
  void PliLocked() REQUIRES(m_Lock);
  void TraceErreurLocked(const char* szOperation, const std::string& szTexte) REQUIRES(m_Lock);
  uint32_t DureeFichierLocked() REQUIRES(m_Lock);
  void Boite(const std::string& szTexte);
  void ThreadCapture();
  static void Fini(WaveHeader* pHeader);

  const uint32_t m_dwFreq;
  const uint32_t m_iChannels;
  const uint32_t m_iBits;
  const float m_fSeuil;

  CLock m_Lock;
  PCMWAVEFORMAT m_Format GUARDED_BY(m_Lock);
  ModeRecord m_iMode GUARDED_BY(m_Lock) = kRecordAucun;
  CWaveFileWriter m_Fichier GUARDED_BY(m_Lock);
  CRAMAudio* m_pRam GUARDED_BY(m_Lock) = nullptr;
  uint32_t m_dwOctetsEnregistres GUARDED_BY(m_Lock) = 0;  ///< over all files, less 2^31 for each fold
  uint32_t m_iTours GUARDED_BY(m_Lock) = 0;               ///< folds
  uint32_t m_dwTourMs GUARDED_BY(m_Lock) = 0;             ///< ms that a fold stands for
  bool m_bCapture GUARDED_BY(m_Lock) = false;
  bool m_bPanne GUARDED_BY(m_Lock) = false;  ///< the disk refused a block: nothing is handled until Ferme
  bool m_bSaturation GUARDED_BY(m_Lock) = false;
  bool m_bDonRefuse GUARDED_BY(m_Lock) = false;  ///< the device refused a block last time
  int m_iQueue GUARDED_BY(m_Lock) = 0;
  int m_iUnderruns GUARDED_BY(m_Lock) = 0;
  std::unique_ptr<CWaveInDevice> m_hWaveIn GUARDED_BY(m_Lock);
  uint32_t m_iDevice GUARDED_BY(m_Lock) = 0;
  std::vector<std::unique_ptr<CAPTURE_BUFFER>> m_pBuffers GUARDED_BY(m_Lock);
  std::vector<int> m_vOrdre GUARDED_BY(m_Lock);  ///< blocks with the device, in the order they were given
  std::vector<float> m_pfNiveaux GUARDED_BY(m_Lock);
  std::vector<float> m_pfMax GUARDED_BY(m_Lock);

  std::atomic<bool> m_bEnregistre{false};
  std::atomic<uint32_t> m_nBlocs{0};
  std::atomic<uint32_t> m_nRefus{0};
  bool m_bDiscret = false;
  bool m_bSansThread = false;
  RecordBox m_fnBox;
  CAutoEvent m_hEvent;
  CWorker m_worker;
};

}  // namespace tonara
