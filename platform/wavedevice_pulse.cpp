// The backend "pulse": the devices of a PulseAudio server, or of PipeWire's.
#include <algorithm>
#include <mutex>
#include <utility>

#include "platform/wavedevice_backends.h"
#include "platform/wavedevice_pulse.h"
#include "platform/wavedevice_pulsein.h"
#include "platform/wavedevice_pulseout.h"
#include "platform/wavedevice_queue.h"

namespace tonara {
namespace {

constexpr int64_t kMs = 1'000'000;
constexpr int64_t kListNs = 1000 * kMs;
constexpr int64_t kOpenNs = 100 * kMs;
/// The very first connection of the process: cookie, shared memory, lists.
constexpr int64_t kFirstOpenNs = 500 * kMs;

class CPulseBackend final : public CWaveBackend {
 public:
  [[nodiscard]] const char* Name() const override { return "pulse"; }

  uint32_t OutCount() override { return Count(true); }
  bool OutName(uint32_t nIndex, std::string* pName) override { return DeviceName(true, nIndex, pName); }
  int32_t FindOut(const std::string& szName) override { return Find(true, szName); }
  uint32_t InCount() override { return Count(false); }
  bool InName(uint32_t nIndex, std::string* pName) override { return DeviceName(false, nIndex, pName); }
  int32_t FindIn(const std::string& szName) override { return Find(false, szName); }

  std::unique_ptr<CWaveOutDevice> OpenOut(uint32_t nIndex, const PCMWAVEFORMAT& format, bool /*bExtensible*/,
                                          WaveCallback fnDone, std::string* pError) override {
    PulseTarget target;
    if (!Target(true, nIndex, &target, pError)) return nullptr;
    return CPulseOut::Open(Link(), target, format, fnDone, Deadline(), pError);
  }

  std::unique_ptr<CWaveInDevice> OpenIn(uint32_t nIndex, const PCMWAVEFORMAT& format, bool /*bExtensible*/,
                                        WaveCallback fnDone, std::string* pError) override {
    PulseTarget target;
    if (!Target(false, nIndex, &target, pError)) return nullptr;
    return CPulseIn::Open(Link(), target, format, fnDone, Deadline(), pError);
  }

 private:
  /// The connection, made at the first use and kept from then on.
  std::shared_ptr<CPulseLink> Link() {
    std::lock_guard lock(m_mutex);
    if (m_pLink == nullptr) m_pLink = CPulseLink::Get();
    return m_pLink;
  }
  int64_t Deadline() { return WaveNowNs() + (Link()->WasUp() ? kOpenNs : kFirstOpenNs); }

  // The list that indexes refer to is the one of the last count.
  uint32_t Count(bool bOut) {
    const std::shared_ptr<CPulseLink> pLink = Link();
    pLink->WaitUp(WaveNowNs() + kListNs, nullptr);
    std::vector<PulseDevice> devices = pLink->Devices(bOut);
    std::lock_guard lock(m_mutex);
    std::vector<PulseDevice>& list = bOut ? m_outs : m_ins;
    list = std::move(devices);
    return static_cast<uint32_t>(list.size());
  }

  bool Device(bool bOut, uint32_t nIndex, PulseDevice* pDevice) {
    std::lock_guard lock(m_mutex);
    const std::vector<PulseDevice>& list = bOut ? m_outs : m_ins;
    if (nIndex >= list.size()) return false;
    *pDevice = list[nIndex];
    return true;
  }

  bool DeviceName(bool bOut, uint32_t nIndex, std::string* pName) {
    PulseDevice device;
    if (pName == nullptr) return false;
    if (!Device(bOut, nIndex, &device) && (Count(bOut) == 0 || !Device(bOut, nIndex, &device))) return false;
    *pName = CutDeviceName(device.szDescription);
    return true;
  }

  int32_t Find(bool bOut, const std::string& szName) {
    Count(bOut);
    std::lock_guard lock(m_mutex);
    const std::vector<PulseDevice>& list = bOut ? m_outs : m_ins;
    auto it =
        std::ranges::find_if(list, [&](const PulseDevice& one) { return CutDeviceName(one.szDescription) == szName; });
    if (it == list.end()) {
      it = std::ranges::find_if(
          list, [&](const PulseDevice& one) { return one.szDescription == szName || one.szName == szName; });
    }
    return it == list.end() ? -1 : static_cast<int32_t>(it - list.begin());
  }

  bool Target(bool bOut, uint32_t nIndex, PulseTarget* pTarget, std::string* pError) {
    if (nIndex == kWaveMapper) {
      pTarget->szLabel = bOut ? "sortie par défaut" : "entrée par défaut";
      return true;
    }
    PulseDevice device;
    if (!Device(bOut, nIndex, &device) && (Count(bOut) == 0 || !Device(bOut, nIndex, &device))) {
      if (pError != nullptr) *pError = "Périphérique audio inconnu";
      return false;
    }
    *pTarget = {true, device.szName, device.szDescription, CutDeviceName(device.szDescription)};
    return true;
  }

  std::mutex m_mutex;
  std::shared_ptr<CPulseLink> m_pLink;
  std::vector<PulseDevice> m_outs;
  std::vector<PulseDevice> m_ins;
};

}  // namespace

std::unique_ptr<CWaveBackend> MakePulseBackend() {
  return std::make_unique<CPulseBackend>();
}

bool PulseAnswers(int64_t llWithinNs) {
  // The connection made here is dropped again unless somebody uses it meanwhile.
  return CPulseLink::Get()->WaitUp(WaveNowNs() + llWithinNs, nullptr) == CPulseLink::Answer::Up;
}

int PulseOpenDevices() {
  const std::shared_ptr<CPulseLink> pLink = CPulseLink::Existing();
  return pLink == nullptr ? 0 : pLink->Clients();
}

}  // namespace tonara
