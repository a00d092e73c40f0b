// Private to the wave devices: an input on a sound server, which attaches again by itself.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>

#include "platform/wavedevice.h"
#include "platform/wavedevice_pulsestream.h"

namespace tonara {

/// Fills blocks with what the server sends. While the server or the source is away no block is
/// filled; sound without a block to go into is lost.
class CPulseIn final : public CWaveInDevice, private CPulseStream {
 public:
  /// As CPulseStream::OpenDevice.
  static std::unique_ptr<CPulseIn> Open(std::shared_ptr<CPulseLink> pLink, const PulseTarget& target,
                                        const PCMWAVEFORMAT& format, WaveCallback fnDone, int64_t llUntilNs,
                                        std::string* pError);
  ~CPulseIn() override;

  bool AddBuffer(WaveHeader* pHeader) override;
  bool Start() override;
  bool Reset() override;
  [[nodiscard]] std::string ErrorText() const override { return {}; }

 private:
  friend CPulseStream;
  CPulseIn(std::shared_ptr<CPulseLink> pLink, const PulseTarget& target, const pa_sample_spec& spec,
           const pa_channel_map& map, WaveCallback fnDone);

  // With libpulse's lock held:
  void OnServerLost() override;
  void TryOpenLocked() override;
  void StreamStateLocked();
  void StreamFailedLocked(int nError);
  void ReadLocked();
  void FillLocked(const uint8_t* pData, size_t nLength);

  const WaveCallback m_fnDone;
  std::deque<WaveHeader*> m_queue;  ///< under libpulse's lock
};

}  // namespace tonara
