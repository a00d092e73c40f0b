// Puts blocks of PCM on a wave output device: a fixed set of blocks, a count of those queued, an
// event at each finished one, the play position.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/event.h"
#include "platform/lock.h"
#include "platform/wavedevice.h"

namespace tonara {

class CWaveOut;

/// A block: free, queued (neither mark set) or finished (played, waiting to be reaped).
struct WAVE_BUFFER {
  int m_iIndex = 0;
  std::vector<uint8_t> m_vData;
  WaveHeader m_Header;
  bool m_bLibre = false;
  std::atomic<bool> m_bFini{false};  ///< set by the device's thread
  CWaveOut* m_pOwner = nullptr;
};

/// An abstract output.
class CSortie {
 public:
  virtual ~CSortie() = default;
  virtual bool Open(uint32_t dwDevice, const PCMWAVEFORMAT& format, uint32_t dwNbBuffers, int iMs,
                    CAutoEvent* pEvent) = 0;
  virtual bool Close() = 0;
};

/// All operations take the object's lock, except IsOpen; any thread; the mixer's lock comes first. No
/// call waits for hardware beyond the deadlines of CWaveOutDevice.
class CWaveOut : public CSortie {
 public:
  CWaveOut() = default;
  ~CWaveOut() override { CWaveOut::Close(); }
  CWaveOut(const CWaveOut&) = delete;
  CWaveOut& operator=(const CWaveOut&) = delete;

  /// Opens the device, paused, with dwNbBuffers blocks of iMs each; pEvent is set at each finished
  /// block and stays the caller's. True at once if already open. False with a trace on refusal.
  bool Open(uint32_t dwDevice, const PCMWAVEFORMAT& format, uint32_t dwNbBuffers, int iMs, CAutoEvent* pEvent) override;
  /// Closes and frees the blocks; true if it was open.
  bool Close() override;
  /// Queues the first dwOctets bytes of a block. A block whose write failed is out of the rotation
  /// until the device closes.
  bool Write(int iBloc, uint32_t dwOctets);
  /// Returns finished blocks to free.
  bool Reap();
  bool Pause();
  bool Restart();
  /// Stops and gives all blocks back; no Write from here to the next Open.
  bool Reset();
  [[nodiscard]] bool IsOpen() const { return m_bOuvert.load(std::memory_order_acquire); }
  /// Position played, ms since the device opened, modulo 2^32; nullable. False if closed.
  bool GetPosition(uint32_t* pdwMs);
  /// The same in frames, past any wrap of the device's counter.
  bool GetPositionEch(uint64_t* pllEch);
  /// Volume of both sides, as a gain of at most 0 dB.
  bool SetVolume(float fDb);

  /// For the mixer, which holds its own lock meanwhile.
  [[nodiscard]] int NbBuffers();
  [[nodiscard]] uint32_t TailleBuffer();
  [[nodiscard]] bool IsLibre(int iBloc);
  [[nodiscard]] uint8_t* Data(int iBloc);
  [[nodiscard]] int NbEnQueue();
  /// Frames written since the device opened: the position at which the next block written is heard.
  [[nodiscard]] uint64_t EchEcrites();

 private:
  friend struct CMixoutEssai;  ///< tests: an output that has played for months
  void TraceErreur(const char* szOperation, const std::string& szTexte) REQUIRES(m_Lock);
  bool AlloueLocked(uint32_t dwNbBuffers) REQUIRES(m_Lock);
  void LibereLocked() REQUIRES(m_Lock);
  bool LitPositionLocked(uint32_t* pdwEch) REQUIRES(m_Lock);
  static void Fini(WaveHeader* pHeader);

  CLock m_Lock;
  std::atomic<bool> m_bOuvert{false};
  bool m_bActif GUARDED_BY(m_Lock) = false;
  CAutoEvent* m_hEvent = nullptr;  ///< also read by the device's thread, so only set while none is open
  int m_iQueue GUARDED_BY(m_Lock) = 0;
  uint32_t m_dwTours GUARDED_BY(m_Lock) = 0;  ///< wraps of the device's counter so far
  uint32_t m_dwDernierePos GUARDED_BY(m_Lock) = 0;
  uint64_t m_llTour GUARDED_BY(m_Lock) = 0;    ///< frames in one wrap
  uint32_t m_dwTourMs GUARDED_BY(m_Lock) = 0;  ///< ms in one wrap
  uint64_t m_llEcrites GUARDED_BY(m_Lock) = 0;
  std::unique_ptr<CWaveOutDevice> m_hWaveOut GUARDED_BY(m_Lock);
  uint32_t m_iDevice GUARDED_BY(m_Lock) = 0;
  PCMWAVEFORMAT m_Format GUARDED_BY(m_Lock);
  uint32_t m_dwTailleBuffer GUARDED_BY(m_Lock) = 0;
  std::vector<std::unique_ptr<WAVE_BUFFER>> m_pBuffers GUARDED_BY(m_Lock);
};

}  // namespace tonara
