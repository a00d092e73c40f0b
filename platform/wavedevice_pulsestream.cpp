#include "platform/wavedevice_pulsestream.h"

#include <chrono>

#include "platform/wavedevice_backends.h"

namespace tonara {

bool CPulseStream::WaitOpen(int64_t llUntilNs, std::string* pError) {
  {
    CPulseGuard guard(*m_pLink);
    if (m_pStream == nullptr && m_eOpening == Opening::Pending) return true;
  }
  const std::chrono::steady_clock::time_point until{std::chrono::nanoseconds(llUntilNs)};
  std::unique_lock lock(m_openMutex);
  m_openCv.wait_until(lock, until, [this] { return m_eOpening != Opening::Pending; });
  if (m_eOpening != Opening::Refused) return true;
  if (pError != nullptr) *pError = m_szOpenError;
  return false;
}

void CPulseStream::SetOpening(Opening eOpening, const char* szError) {
  {
    std::lock_guard lock(m_openMutex);
    m_eOpening = eOpening;
    m_szOpenError = szError;
  }
  m_openCv.notify_all();
}

uint32_t CPulseStream::BytesOf(uint32_t dwMs) const {
  return static_cast<uint32_t>(uint64_t{m_spec.rate} * dwMs / 1000 * pa_frame_size(&m_spec));
}

bool CPulseStream::IsReadyLocked() const {
  return m_pStream != nullptr && m_pLink->Context() != nullptr && pa_stream_get_state(m_pStream) == PA_STREAM_READY;
}

bool CPulseStream::CorkLocked(bool bHold) {
  if (!IsReadyLocked()) return false;
  Unref(pa_stream_cork(m_pStream, bHold ? 1 : 0, nullptr, nullptr));
  return true;
}

void CPulseStream::TellLostLocked() {
  if (m_bLostTold) return;
  m_bLostTold = true;
  NotifyWave("Périphérique audio perdu : " + m_target.szLabel);
}

void CPulseStream::TellFoundLocked() {
  if (!m_bLostTold) return;
  m_bLostTold = false;
  NotifyWave("Périphérique audio retrouvé : " + m_target.szLabel);
}

}  // namespace tonara
