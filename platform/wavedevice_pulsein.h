// Private to the wave devices: an input on a sound server, which attaches again by itself.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>

#include "platform/wavedevice.h"
#include "platform/wavedevice_pulse.h"

namespace tonara {

/// Fills blocks with what the server sends. While the server or the source is away no block is
/// filled; sound without a block to go into is lost.
class CPulseIn final : public CWaveInDevice, private CPulseLink::CClient {
 public:
  /// As CPulseOut::Open.
  static std::unique_ptr<CPulseIn> Open(std::shared_ptr<CPulseLink> pLink, const PulseTarget& target,
                                        const PCMWAVEFORMAT& format, WaveCallback fnDone, int64_t llUntilNs,
                                        std::string* pError);
  ~CPulseIn() override;

  bool AddBuffer(WaveHeader* pHeader) override;
  bool Start() override;
  bool Reset() override;
  [[nodiscard]] std::string ErrorText() const override { return {}; }

 private:
  enum class Opening { Pending, Ready, Refused };

  CPulseIn(std::shared_ptr<CPulseLink> pLink, const PulseTarget& target, const pa_sample_spec& spec,
           const pa_channel_map& map, WaveCallback fnDone);
  bool WaitOpen(int64_t llUntilNs, std::string* pError);

  // With libpulse's lock held:
  void OnServerUp() override { TryOpenLocked(); }
  void OnServerLost() override;
  void OnDevices() override { TryOpenLocked(); }
  void OnTick() override { TryOpenLocked(); }
  void TryOpenLocked();
  void StreamStateLocked();
  void StreamFailedLocked(int nError);
  void ReadLocked();
  void FillLocked(const uint8_t* pData, size_t nLength);
  void TellLostLocked();
  void SetOpening(Opening eOpening, const char* szError);
  [[nodiscard]] bool IsReadyLocked() const;

  const std::shared_ptr<CPulseLink> m_pLink;
  PulseTarget m_target;
  const pa_sample_spec m_spec;
  const pa_channel_map m_map;
  const WaveCallback m_fnDone;

  // Under libpulse's lock.
  pa_stream* m_pStream = nullptr;
  int64_t m_llStreamAt = 0;
  std::deque<WaveHeader*> m_queue;
  bool m_bRunning = false;
  bool m_bLostTold = false;

  std::mutex m_openMutex;
  std::condition_variable m_openCv;
  Opening m_eOpening = Opening::Pending;
  std::string m_szOpenError;
};

}  // namespace tonara
