#include "platform/wavedevice_pulsein.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/wavedevice_backends.h"
#include "platform/wavedevice_queue.h"

namespace tonara {
namespace {

constexpr int64_t kRenewNs = 5'000'000'000;
/// The server sends pieces of that length; after it stood still, no more than kKeepMs of the past.
constexpr uint32_t kPieceMs = 50;
constexpr uint32_t kKeepMs = 1000;

}  // namespace

std::unique_ptr<CPulseIn> CPulseIn::Open(std::shared_ptr<CPulseLink> pLink, const PulseTarget& target,
                                         const PCMWAVEFORMAT& format, WaveCallback fnDone, int64_t llUntilNs,
                                         std::string* pError) {
  return OpenDevice<CPulseIn>(std::move(pLink), target, format, fnDone, llUntilNs, pError);
}

CPulseIn::CPulseIn(std::shared_ptr<CPulseLink> pLink, const PulseTarget& target, const pa_sample_spec& spec,
                   const pa_channel_map& map, WaveCallback fnDone)
    : CPulseStream(std::move(pLink), target, spec, map), m_fnDone(fnDone) {
  CPulseGuard guard(*m_pLink);
  m_pLink->Add(this);
  TryOpenLocked();
}

CPulseIn::~CPulseIn() {
  {
    CPulseGuard guard(*m_pLink);
    m_pLink->Remove(this);
    CPulseLink::Drop(std::exchange(m_pStream, nullptr));
  }
  CPulseIn::Reset();
}

bool CPulseIn::AddBuffer(WaveHeader* pHeader) {
  CPulseGuard guard(*m_pLink);
  pHeader->dwRecorded = 0;
  m_queue.push_back(pHeader);
  return true;
}

bool CPulseIn::Start() {
  CPulseGuard guard(*m_pLink);
  if (m_bRunning) return true;
  m_bRunning = true;
  if (!CorkLocked(false)) m_pLink->RequestTick();
  return true;
}

bool CPulseIn::Reset() {
  std::deque<WaveHeader*> queue;
  {
    CPulseGuard guard(*m_pLink);
    m_bRunning = false;
    queue.swap(m_queue);
    CorkLocked(true);
  }
  for (WaveHeader* pHeader : queue) m_fnDone(pHeader);
  return true;
}

void CPulseIn::TryOpenLocked() {
  if (m_pLink->Context() == nullptr) return;
  const int64_t llNow = WaveNowNs();
  if (m_pStream != nullptr) {
    if (IsReadyLocked() || llNow - m_llStreamAt < kRenewNs) return;
    CPulseLink::Drop(std::exchange(m_pStream, nullptr));
  }
  m_pLink->RequestTick();
  if (!m_pLink->Resolve(false, &m_target)) return;
  m_llStreamAt = llNow;
  pa_stream* pStream = pa_stream_new(m_pLink->Context(), "tonara", &m_spec, &m_map);
  if (pStream == nullptr) return;
  pa_stream_set_state_callback(
      pStream, [](pa_stream*, void* pUser) { static_cast<CPulseIn*>(pUser)->StreamStateLocked(); }, this);
  pa_stream_set_read_callback(
      pStream, [](pa_stream*, size_t, void* pUser) { static_cast<CPulseIn*>(pUser)->ReadLocked(); }, this);
  pa_buffer_attr attributes{};
  attributes.maxlength = BytesOf(kKeepMs);
  attributes.tlength = attributes.prebuf = attributes.minreq = static_cast<uint32_t>(-1);
  attributes.fragsize = BytesOf(kPieceMs);
  unsigned uFlags = PA_STREAM_ADJUST_LATENCY;
  if (!m_bRunning) uFlags |= PA_STREAM_START_CORKED;
  if (m_target.bNamed) uFlags |= PA_STREAM_DONT_MOVE;
  m_pStream = pStream;
  if (pa_stream_connect_record(pStream, m_target.bNamed ? m_target.szName.c_str() : nullptr, &attributes,
                               static_cast<pa_stream_flags_t>(uFlags)) < 0) {
    StreamFailedLocked(pa_context_errno(m_pLink->Context()));
  }
}

void CPulseIn::StreamStateLocked() {
  if (m_pStream == nullptr) return;
  const pa_stream_state_t eState = pa_stream_get_state(m_pStream);
  if (eState == PA_STREAM_READY) {
    SetOpening(Opening::Ready, "");
  } else if (eState == PA_STREAM_FAILED || eState == PA_STREAM_TERMINATED) {
    StreamFailedLocked(m_pLink->Context() != nullptr ? pa_context_errno(m_pLink->Context()) : PA_ERR_KILLED);
  }
}

void CPulseIn::StreamFailedLocked(int nError) {
  CPulseLink::Drop(std::exchange(m_pStream, nullptr));
  m_pLink->RequestTick();
  const bool bFirst = m_eOpening == Opening::Pending;
  if (bFirst && IsPulseRefusal(nError)) {
    SetOpening(Opening::Refused, pa_strerror(nError));
    return;
  }
  SetOpening(Opening::Ready, "");
  TellLostLocked();
}

void CPulseIn::OnServerLost() {
  if (m_pStream == nullptr) return;
  CPulseLink::Drop(std::exchange(m_pStream, nullptr));
  TellLostLocked();
}

void CPulseIn::ReadLocked() {
  while (m_pStream != nullptr) {
    const void* pData = nullptr;
    size_t nLength = 0;
    if (pa_stream_peek(m_pStream, &pData, &nLength) < 0 || nLength == 0) return;
    TellFoundLocked();
    if (m_bRunning) FillLocked(static_cast<const uint8_t*>(pData), nLength);
    pa_stream_drop(m_pStream);
  }
}

void CPulseIn::FillLocked(const uint8_t* pData, size_t nLength) {
  while (nLength > 0 && !m_queue.empty()) {
    WaveHeader* pHeader = m_queue.front();
    const auto dwNow = static_cast<uint32_t>(std::min<size_t>(nLength, pHeader->dwLength - pHeader->dwRecorded));
    uint8_t* pTo = pHeader->pData + pHeader->dwRecorded;
    if (pData != nullptr) {
      std::memcpy(pTo, pData, dwNow);
      pData += dwNow;
    } else {  // a hole in the recording
      std::memset(pTo, m_spec.format == PA_SAMPLE_U8 ? 0x80 : 0, dwNow);
    }
    nLength -= dwNow;
    pHeader->dwRecorded += dwNow;
    if (pHeader->dwRecorded < pHeader->dwLength) return;
    m_queue.pop_front();
    m_fnDone(pHeader);
  }
}

}  // namespace tonara
