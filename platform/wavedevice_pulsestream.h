// Private to the wave devices: what outputs and inputs on a sound server share. The device and its format, the wait
// for the opening, the state of the stream, and the notices of a loss and a return.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "platform/wavedevice.h"
#include "platform/wavedevice_pulse.h"
#include "platform/wavedevice_queue.h"

namespace tonara {

class CPulseStream : protected CPulseLink::CClient {
 protected:
  enum class Opening { Pending, Ready, Refused };

  CPulseStream(std::shared_ptr<CPulseLink> pLink, const PulseTarget& target, const pa_sample_spec& spec,
               const pa_channel_map& map)
      : m_pLink(std::move(pLink)), m_target(target), m_spec(spec), m_map(map) {}

  /// Null with *pError if the server refuses. Waits for the server until the deadline, no longer; a
  /// server or device that hasn't answered by then is absent.
  template <typename Device>
  static std::unique_ptr<Device> OpenDevice(std::shared_ptr<CPulseLink> pLink, const PulseTarget& target,
                                            const PCMWAVEFORMAT& format, WaveCallback fnDone, int64_t llUntilNs,
                                            std::string* pError) {
    pa_sample_spec spec{};
    pa_channel_map map{};
    if (!IsWaveFormatUsable(format, pError) || !MakePulseSpec(format, &spec, &map, pError)) return nullptr;
    if (pLink->WaitUp(llUntilNs, pError) == CPulseLink::Answer::Refused) return nullptr;
    std::unique_ptr<Device> pDevice(new Device(std::move(pLink), target, spec, map, fnDone));
    if (!pDevice->WaitOpen(llUntilNs, pError)) return nullptr;
    return pDevice;
  }
  /// Without libpulse's lock. An absent device isn't waited for.
  bool WaitOpen(int64_t llUntilNs, std::string* pError);
  void SetOpening(Opening eOpening, const char* szError);

  [[nodiscard]] uint32_t BytesOf(uint32_t dwMs) const;

  // With libpulse's lock held:
  virtual void TryOpenLocked() = 0;
  void OnServerUp() override { TryOpenLocked(); }
  void OnDevices() override { TryOpenLocked(); }
  void OnTick() override { TryOpenLocked(); }
  [[nodiscard]] bool IsReadyLocked() const;
  /// Holds the stream or lets it go on; false without one that is ready.
  bool CorkLocked(bool bHold);
  /// Each tells its notice once, until the other one was told.
  void TellLostLocked();
  void TellFoundLocked();

  const std::shared_ptr<CPulseLink> m_pLink;
  PulseTarget m_target;
  const pa_sample_spec m_spec;
  const pa_channel_map m_map;

  // Under libpulse's lock.
  pa_stream* m_pStream = nullptr;  ///< the one that sounds, or may yet
  int64_t m_llStreamAt = 0;        ///< when the latest was made
  bool m_bRunning = false;
  bool m_bLostTold = false;  ///< between the notice of a loss and that of the return

  // Written with m_openMutex held, on the link's thread.
  Opening m_eOpening = Opening::Pending;

 private:
  std::mutex m_openMutex;
  std::condition_variable m_openCv;
  std::string m_szOpenError;
};

/// Lets go of an operation that nobody waits for; null is fine.
inline void Unref(pa_operation* pOperation) {
  if (pOperation != nullptr) pa_operation_unref(pOperation);
}

}  // namespace tonara
