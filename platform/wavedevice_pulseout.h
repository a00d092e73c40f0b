// Private to the wave devices: an output on a sound server, which keeps time without it.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/wavedevice.h"
#include "platform/wavedevice_pulsestream.h"
#include "platform/wavedevice_queue.h"

namespace tonara {

/// Alive, it hands bytes to the server as the server asks for them, about 100 ms ahead of the sound;
/// a block is finished when its last byte has been handed over. Without a request for 300 ms it goes
/// over to the clock: bytes are dropped at the rate at which they would have sounded, until a stream
/// asks again. All its work is done on the link's thread; callbacks come from there.
class CPulseOut final : public CWaveOutDevice, private CPulseStream {
 public:
  /// As CPulseStream::OpenDevice.
  static std::unique_ptr<CPulseOut> Open(std::shared_ptr<CPulseLink> pLink, const PulseTarget& target,
                                         const PCMWAVEFORMAT& format, WaveCallback fnDone, int64_t llUntilNs,
                                         std::string* pError);
  ~CPulseOut() override;

  bool Write(WaveHeader* pHeader) override;
  bool Pause() override;
  bool Restart() override;
  bool Reset() override;
  bool GetPosition(uint32_t* pdwFrames) override;
  bool SetVolume(uint32_t dwVolume) override;
  [[nodiscard]] std::string ErrorText() const override { return {}; }

 private:
  friend CPulseStream;
  CPulseOut(std::shared_ptr<CPulseLink> pLink, const PulseTarget& target, const pa_sample_spec& spec,
            const pa_channel_map& map, WaveCallback fnDone);

  // On the link's thread, or with libpulse's lock held:
  void OnServerLost() override;
  void ServiceLocked();
  void WatchLocked(int64_t llNow);
  void PumpLocked();
  bool HandOverLocked(const uint8_t* pData, uint32_t dwLength);
  void ClockLocked(int64_t llNow);
  void TryOpenLocked() override;
  pa_stream* NewStreamLocked();
  void StreamStateLocked(pa_stream* pStream);
  void StreamFailedLocked(pa_stream* pStream);
  void StreamRequestLocked(pa_stream* pStream);
  void AliveLocked(int64_t llNow);
  void StallLocked();
  void LostLocked();
  /// Bytes that may be handed over now without getting ahead of time by more than the buffer.
  uint64_t AllowedLocked(int64_t llNow);
  [[nodiscard]] bool IsYoungLocked(int64_t llNow) const;
  /// The server has played on without us by more than its buffer and asks for what it missed.
  [[nodiscard]] bool WantsPastLocked() const;
  [[nodiscard]] pa_cvolume VolumeLocked() const;

  const uint32_t m_dwFrame;
  uint32_t m_dwTarget;  ///< bytes that the server holds when its buffer is full
  CWaveQueue m_queue;
  /// Nothing is left to hand over or to pace: the next Write has to wake the link's thread.
  std::atomic<bool> m_bHungry{true};
  std::unique_ptr<CPulseTimer> m_pTimer;

  // Under libpulse's lock.
  pa_stream* m_pNext = nullptr;  ///< to take over from a stalled one, which keeps the sink awake till then
  bool m_bAlive = false;         ///< the server's requests set the pace, not the clock
  bool m_bRefusalTold = false;
  uint64_t m_llHanded = 0;   ///< bytes handed to m_pStream
  int64_t m_llLastHand = 0;  ///< when
  int64_t m_llTellAt = 0;    ///< on the clock: when to call it a loss; 0: told or not lost
  int64_t m_llPausedAt = 0;
  CWavePace m_pace;
  CWavePace m_allowance;  ///< what time allows a live stream to take
  uint64_t m_llUsed = 0;  ///< what it took of that
  bool m_bHeldBack = false;
  int64_t m_llYoungUntil = 0;  ///< 0: the sink has not asked again yet
  uint64_t m_llLead = 0;       ///< bytes that the sink took ahead of time while young
  uint32_t m_dwGraceMs = 400;
  uint32_t m_dwVolume = 0xFFFFFFFFu;
  bool m_bVolumeSet = false;
};

}  // namespace tonara
