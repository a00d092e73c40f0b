// The backend "auto": a sound server if one answers, else the cards through ALSA, else the sound
// server that may yet come. Chosen anew at each use while nothing is open.
#include <mutex>
#include <utility>

#include "platform/wavedevice_backends.h"

namespace tonara {
namespace {

constexpr int64_t kAnswerNs = 300'000'000;

class CAutoBackend final : public CWaveBackend {
 public:
  CAutoBackend() : m_pPulse(MakePulseBackend()), m_pAlsa(MakeAlsaBackend()), m_pNow(m_pPulse.get()) {}
  [[nodiscard]] const char* Name() const override { return "auto"; }

  uint32_t OutCount() override { return Choose().OutCount(); }
  bool OutName(uint32_t nIndex, std::string* pName) override { return Now().OutName(nIndex, pName); }
  int32_t FindOut(const std::string& szName) override { return Choose().FindOut(szName); }
  uint32_t InCount() override { return Choose().InCount(); }
  bool InName(uint32_t nIndex, std::string* pName) override { return Now().InName(nIndex, pName); }
  int32_t FindIn(const std::string& szName) override { return Choose().FindIn(szName); }

  std::unique_ptr<CWaveOutDevice> OpenOut(uint32_t nIndex, const PCMWAVEFORMAT& format, bool bExtensible,
                                          WaveCallback fnDone, std::string* pError) override {
    CWaveBackend& backend = ForIndex(&nIndex);
    return backend.OpenOut(nIndex, format, bExtensible, fnDone, pError);
  }
  std::unique_ptr<CWaveInDevice> OpenIn(uint32_t nIndex, const PCMWAVEFORMAT& format, bool bExtensible,
                                        WaveCallback fnDone, std::string* pError) override {
    CWaveBackend& backend = ForIndex(&nIndex);
    return backend.OpenIn(nIndex, format, bExtensible, fnDone, pError);
  }

 private:
  CWaveBackend& Now() {
    std::lock_guard lock(m_mutex);
    return *m_pNow;
  }

  CWaveBackend& Choose() {
    if (PulseOpenDevices() + AlsaOpenDevices() > 0) return Now();
    CWaveBackend* pChoice = m_pPulse.get();
    if (!PulseAnswers(kAnswerNs) && m_pAlsa->OutCount() > 0) pChoice = m_pAlsa.get();
    std::lock_guard lock(m_mutex);
    m_pNow = pChoice;
    return *m_pNow;
  }

  /// An index belongs to the list that it was read from. If that was ALSA's and a server has come
  /// since, it has the cards now, and its default output stands in for the one that was meant.
  CWaveBackend& ForIndex(uint32_t* pIndex) {
    CWaveBackend& listed = Now();
    if (*pIndex != kWaveMapper && &listed == m_pPulse.get()) return listed;
    CWaveBackend& now = Choose();
    if (&now != &listed) *pIndex = kWaveMapper;
    return now;
  }

  const std::unique_ptr<CWaveBackend> m_pPulse;
  const std::unique_ptr<CWaveBackend> m_pAlsa;
  std::mutex m_mutex;
  CWaveBackend* m_pNow;  ///< one of the two
};

}  // namespace

std::unique_ptr<CWaveBackend> MakeAutoBackend() {
  return std::make_unique<CAutoBackend>();
}

}  // namespace tonara
