#include "platform/wavedevice_pulseout.h"

#include <algorithm>
#include <utility>

#include "platform/wavedevice_backends.h"

namespace tonara {
namespace {

constexpr int64_t kMs = 1'000'000;
/// 100 ms in the server, asked for in pieces of 25 ms or more, lets PulseAudio run the sink in 50 ms
/// steps: 20 requests a second and next to no work on either side.
constexpr uint32_t kTargetMs = 100;
constexpr uint32_t kRequestMs = 25;
constexpr int64_t kStallNs = 300 * kMs;
/// A stall is called a loss after that long; a stream that has yet to begin gets more: PulseAudio's
/// null sink takes up to two seconds for it.
constexpr int64_t kTellNs = 1000 * kMs;
constexpr int64_t kTellStartNs = 3000 * kMs;
/// A stream that the server doesn't make, or that stays stalled, is made anew after that long.
constexpr int64_t kRenewNs = 5000 * kMs;
/// A stream that wants the past filled in is not replaced younger than this, lest a server that goes
/// on catching up makes us chase it.
constexpr int64_t kBurstNs = 500 * kMs;
/// How long to wait when the server wants more than time allows, and over how long that is counted.
constexpr int64_t kHoldNs = 25 * kMs;
constexpr uint64_t kWindowSec = 10;
/// A stream counts as young for that long from its second request on, and may run ahead by a grace
/// meanwhile; a sink that goes on wanting more than that (a slow network link) gets twice as much.
constexpr int64_t kYoungNs = 1000 * kMs;
constexpr uint32_t kMaxGraceMs = 6400;

}  // namespace

std::unique_ptr<CPulseOut> CPulseOut::Open(std::shared_ptr<CPulseLink> pLink, const PulseTarget& target,
                                           const PCMWAVEFORMAT& format, WaveCallback fnDone, int64_t llUntilNs,
                                           std::string* pError) {
  return OpenDevice<CPulseOut>(std::move(pLink), target, format, fnDone, llUntilNs, pError);
}

CPulseOut::CPulseOut(std::shared_ptr<CPulseLink> pLink, const PulseTarget& target, const pa_sample_spec& spec,
                     const pa_channel_map& map, WaveCallback fnDone)
    : CPulseStream(std::move(pLink), target, spec, map),
      m_dwFrame(static_cast<uint32_t>(pa_frame_size(&spec))),
      m_dwTarget(BytesOf(kTargetMs)),
      m_queue(fnDone, static_cast<uint16_t>(m_dwFrame)),
      m_pace(spec.rate * m_dwFrame),
      m_allowance(spec.rate * m_dwFrame) {
  CPulseGuard guard(*m_pLink);
  m_pTimer = std::make_unique<CPulseTimer>(
      m_pLink->Api(), [](void* pUser) { static_cast<CPulseOut*>(pUser)->ServiceLocked(); }, this);
  m_llPausedAt = WaveNowNs();
  m_pace.Restart(m_llPausedAt);
  m_pLink->Add(this);
  TryOpenLocked();
}

CPulseOut::~CPulseOut() {
  {
    CPulseGuard guard(*m_pLink);
    m_pLink->Remove(this);
    const bool bTail = m_bRunning && m_bAlive && m_llHanded > 0 && m_queue.IsEmpty();
    m_bRunning = false;
    CPulseLink::Drop(std::exchange(m_pNext, nullptr));
    pa_stream* pStream = std::exchange(m_pStream, nullptr);
    if (bTail) {
      // All blocks are finished, but their last 100 ms are still in the server.
      m_pLink->Linger(pStream);
    } else {
      CPulseLink::Drop(pStream);
    }
    m_pTimer.reset();
  }
  m_queue.GiveBack();
}

bool CPulseOut::Write(WaveHeader* pHeader) {
  m_queue.Push(pHeader);
  if (m_bHungry.load()) m_pTimer->Kick();
  return true;
}

bool CPulseOut::Pause() {
  CPulseGuard guard(*m_pLink);
  if (!m_bRunning) return true;
  m_bRunning = false;
  m_llPausedAt = WaveNowNs();
  m_pTimer->Disarm();
  CorkLocked(true);
  return true;
}

bool CPulseOut::Restart() {
  CPulseGuard guard(*m_pLink);
  if (m_bRunning) return true;
  const int64_t llNow = WaveNowNs();
  m_bRunning = true;
  m_pace.Shift(llNow - m_llPausedAt);
  if (CorkLocked(false)) {
    m_allowance.Shift(llNow - m_llPausedAt);
    AliveLocked(llNow);
  } else if (!m_bLostTold) {
    m_llTellAt = llNow + kTellNs;
  }
  m_pTimer->Kick();  // the first bytes go out on the link's thread
  return true;
}

bool CPulseOut::Reset() {
  bool bWasRunning = false;
  {
    CPulseGuard guard(*m_pLink);
    bWasRunning = std::exchange(m_bRunning, false);  // holds the link's thread off while the blocks go back
    m_llPausedAt = WaveNowNs();
    m_pace.Restart(m_llPausedAt);
    m_allowance.Restart(m_llPausedAt);
    m_llUsed = 0;
    // With blocks queued somebody cuts the sound short; without, what the server holds is the end of
    // it, and it may sound.
    if (IsReadyLocked() && !m_queue.IsEmpty()) Unref(pa_stream_flush(m_pStream, nullptr, nullptr));
  }
  m_queue.GiveBack();
  CPulseGuard guard(*m_pLink);
  m_bRunning = bWasRunning;
  if (m_bRunning) m_pTimer->Kick();
  return true;
}

bool CPulseOut::GetPosition(uint32_t* pdwFrames) {
  *pdwFrames = m_queue.Position();
  return true;
}

bool CPulseOut::SetVolume(uint32_t dwVolume) {
  CPulseGuard guard(*m_pLink);
  m_dwVolume = dwVolume;
  m_bVolumeSet = true;
  if (!IsReadyLocked()) return true;
  const pa_cvolume volume = VolumeLocked();
  Unref(
      pa_context_set_sink_input_volume(m_pLink->Context(), pa_stream_get_index(m_pStream), &volume, nullptr, nullptr));
  return true;
}

pa_cvolume CPulseOut::VolumeLocked() const {
  pa_cvolume volume{};
  pa_cvolume_set(&volume, m_spec.channels, pa_sw_volume_from_linear((m_dwVolume & 0xFFFFu) / 65535.0));
  if (m_spec.channels == 2) volume.values[1] = pa_sw_volume_from_linear((m_dwVolume >> 16) / 65535.0);
  return volume;
}

bool CPulseOut::WantsPastLocked() const {
  if (!IsReadyLocked()) return false;
  const size_t nWanted = pa_stream_writable_size(m_pStream);
  return nWanted != static_cast<size_t>(-1) && nWanted > m_dwTarget + m_dwTarget / 4;
}

void CPulseOut::ServiceLocked() {
  if (!m_bRunning) return;
  const int64_t llNow = WaveNowNs();
  if (m_bAlive) {
    if (m_bHungry.load() || m_bHeldBack) {
      PumpLocked();
    } else {
      WatchLocked(llNow);
    }
  }
  if (!m_bAlive) ClockLocked(llNow);
}

void CPulseOut::WatchLocked(int64_t llNow) {
  if (llNow - m_llLastHand >= kStallNs) {
    StallLocked();
  } else {
    m_pTimer->Arm(m_llLastHand + kStallNs);
  }
}

void CPulseOut::AliveLocked(int64_t llNow) {
  if (!m_bAlive) {
    uint32_t dwLeft = 0;
    if (!m_bHungry.load() && m_queue.Front(&dwLeft)) {
      // The clock is somewhere in this block; forgetting that would lose half a block at each return.
      const uint64_t llDue = std::min<uint64_t>(m_pace.BytesDue(llNow), dwLeft);
      m_queue.Take(llDue - llDue % m_dwFrame, [](const uint8_t*, uint32_t) { return true; });
    }
    m_allowance.Restart(llNow);
    m_llUsed = 0;
  }
  m_bAlive = true;
  m_llTellAt = 0;
  m_llLastHand = llNow;
  m_bHungry = true;
}

bool CPulseOut::IsYoungLocked(int64_t llNow) const {
  return m_llYoungUntil == 0 || llNow < m_llYoungUntil;
}

uint64_t CPulseOut::AllowedLocked(int64_t llNow) {
  const uint64_t llTime = m_allowance.BytesDue(llNow);
  if (llTime > kWindowSec * m_spec.rate * m_dwFrame) {
    // The sound card's clock and ours differ a little; that must not add up. Only the lead is kept.
    m_llUsed = m_llUsed > llTime ? std::min(m_llUsed - llTime, m_llLead) : 0;
    m_allowance.Restart(llNow);
    return AllowedLocked(llNow);
  }
  // A sink that begins fills its own buffer at once; how much that is, it shows in its first second.
  const bool bYoung = IsYoungLocked(llNow);
  if (bYoung && m_llUsed > llTime) m_llLead = std::max(m_llLead, m_llUsed - llTime);
  const uint64_t llLead = std::max<uint64_t>(m_llLead, m_dwTarget) + (bYoung ? BytesOf(m_dwGraceMs) : 0);
  const uint64_t llMost = llLead + m_dwTarget / 4 + llTime + llTime / 50;
  const uint64_t llLeft = llMost > m_llUsed ? llMost - m_llUsed : 0;
  return llLeft - llLeft % m_dwFrame;
}

void CPulseOut::StallLocked() {
  if (!m_bAlive) return;
  m_bAlive = false;
  // The clock goes on where the stream was in time, so that what the server held counts as sounding.
  m_pace = m_allowance;
  m_pace.Advance(m_llUsed);
  m_pace.Forgive(m_llLastHand, 0);
  if (!m_bLostTold) m_llTellAt = m_llLastHand + (m_llHanded > m_dwTarget ? kTellNs : kTellStartNs);
  // A queue that was empty stays marked so: the time without blocks is not made up for.
  if (!m_bRunning) return;
  m_pLink->RequestTick();
  m_pTimer->Kick();
}

void CPulseOut::PumpLocked() {
  if (!m_bRunning || !m_bAlive || !IsReadyLocked()) return;
  for (;;) {
    const size_t nWanted = pa_stream_writable_size(m_pStream);
    if (nWanted == static_cast<size_t>(-1)) return;
    if (WantsPastLocked()) {
      // The server went on without us (it stood still, or we did) and wants the past filled in, where
      // nobody would hear it. A new stream begins at the present.
      if (IsYoungLocked(WaveNowNs())) m_dwGraceMs = std::min(m_dwGraceMs * 2, kMaxGraceMs);
      StallLocked();
      TryOpenLocked();
      return;
    }
    // A server that catches up asks for seconds of sound within a moment, in pieces that look right.
    const int64_t llNow = WaveNowNs();
    const uint64_t llGive = std::min<uint64_t>(nWanted, AllowedLocked(llNow));
    m_bHeldBack = llGive < nWanted;
    const uint64_t llTaken = m_queue.Take(
        llGive, [this](const uint8_t* pData, uint32_t dwLength) { return HandOverLocked(pData, dwLength); });
    if (llTaken > 0) {
      const bool bBegun = m_llHanded > 0;
      if (bBegun && m_llYoungUntil == 0) m_llYoungUntil = llNow + kYoungNs;
      m_llHanded += llTaken;
      m_llUsed += llTaken;
      m_llLastHand = llNow;
      // The first fill proves nothing; only a sink that plays asks again.
      if (bBegun) TellFoundLocked();
    }
    if (llTaken >= llGive) {
      m_bHungry = false;
      m_pTimer->Arm(m_bHeldBack ? llNow + kHoldNs : m_llLastHand + kStallNs);
      return;
    }
    m_bHungry = true;
    m_pTimer->Disarm();
    if (m_queue.IsEmpty()) return;
    if (llTaken == 0) {  // there was something, and the stream would not take it
      StallLocked();
      return;
    }
  }
}

bool CPulseOut::HandOverLocked(const uint8_t* pData, uint32_t dwLength) {
  const uint32_t dwWhole = dwLength - dwLength % m_dwFrame;  // a block's odd end can't be played
  return dwWhole == 0 || pa_stream_write(m_pStream, pData, dwWhole, nullptr, 0, PA_SEEK_RELATIVE) >= 0;
}

void CPulseOut::ClockLocked(int64_t llNow) {
  if (m_llTellAt != 0 && llNow >= m_llTellAt) LostLocked();
  for (;;) {
    uint32_t dwLeft = 0;
    if (!m_queue.Front(&dwLeft)) {
      m_bHungry = true;
      m_pTimer->Arm(m_llTellAt);
      if (m_queue.IsEmpty()) return;
      continue;
    }
    if (m_bHungry.exchange(false)) m_pace.Forgive(llNow, m_pace.Duration(dwLeft));
    const int64_t llDue = m_pace.Due(dwLeft);
    if (llDue > llNow) {
      m_pTimer->Arm(m_llTellAt != 0 ? std::min(m_llTellAt, llDue) : llDue);
      return;
    }
    m_pace.Advance(dwLeft);
    m_pace.Forgive(llNow, kWaveForgiveNs);
    m_queue.Take(dwLeft, [](const uint8_t*, uint32_t) { return true; });
  }
}

void CPulseOut::LostLocked() {
  m_llTellAt = 0;
  TellLostLocked();
}

void CPulseOut::TryOpenLocked() {
  if (m_pLink->Context() == nullptr) return;  // the link tries again by itself
  const int64_t llNow = WaveNowNs();
  const bool bOld = llNow - m_llStreamAt > kRenewNs;
  if (m_pNext != nullptr && bOld) CPulseLink::Drop(std::exchange(m_pNext, nullptr));
  if (m_pStream != nullptr && !IsReadyLocked() && bOld) CPulseLink::Drop(std::exchange(m_pStream, nullptr));
  if (m_pStream == nullptr) {
    if (m_pLink->Resolve(true, &m_target)) m_pStream = NewStreamLocked();
    if (m_pStream == nullptr && m_bRunning) m_pLink->RequestTick();
    return;
  }
  if (m_bAlive || !m_bRunning) return;
  // Stalled. A stream that wants the past is replaced at once, one that is silent only after a time.
  const bool bBurst = llNow - m_llStreamAt > kBurstNs && WantsPastLocked();
  if (m_pNext == nullptr && IsReadyLocked() && (bOld || bBurst) && m_pLink->Resolve(true, &m_target)) {
    m_pNext = NewStreamLocked();
  }
  m_pLink->RequestTick();
}

pa_stream* CPulseOut::NewStreamLocked() {
  m_llStreamAt = WaveNowNs();
  pa_stream* pStream = pa_stream_new(m_pLink->Context(), "tonara", &m_spec, &m_map);
  if (pStream == nullptr) return nullptr;
  pa_stream_set_state_callback(
      pStream, [](pa_stream* pOne, void* pUser) { static_cast<CPulseOut*>(pUser)->StreamStateLocked(pOne); }, this);
  pa_stream_set_write_callback(
      pStream, [](pa_stream* pOne, size_t, void* pUser) { static_cast<CPulseOut*>(pUser)->StreamRequestLocked(pOne); },
      this);
  pa_buffer_attr attributes{};
  attributes.maxlength = static_cast<uint32_t>(-1);
  attributes.tlength = BytesOf(kTargetMs);
  attributes.prebuf = 0;
  attributes.minreq = BytesOf(kRequestMs);
  attributes.fragsize = static_cast<uint32_t>(-1);
  unsigned uFlags = PA_STREAM_START_CORKED;
  if (m_target.bNamed) uFlags |= PA_STREAM_DONT_MOVE;
  const pa_cvolume volume = VolumeLocked();
  if (pa_stream_connect_playback(pStream, m_target.bNamed ? m_target.szName.c_str() : nullptr, &attributes,
                                 static_cast<pa_stream_flags_t>(uFlags), m_bVolumeSet ? &volume : nullptr,
                                 nullptr) < 0) {
    const int nError = pa_context_errno(m_pLink->Context());
    if (IsPulseRefusal(nError)) SetOpening(Opening::Refused, pa_strerror(nError));
    CPulseLink::Drop(pStream);
    return nullptr;
  }
  return pStream;
}

void CPulseOut::StreamStateLocked(pa_stream* pStream) {
  const pa_stream_state_t eState = pa_stream_get_state(pStream);
  if (eState == PA_STREAM_FAILED || eState == PA_STREAM_TERMINATED) {
    StreamFailedLocked(pStream);
  } else if (eState == PA_STREAM_READY) {
    if (pStream == m_pNext) {
      CPulseLink::Drop(std::exchange(m_pStream, nullptr));
      m_pStream = std::exchange(m_pNext, nullptr);
    }
    m_llHanded = 0;
    m_llYoungUntil = 0;
    m_llLead = 0;
    const pa_buffer_attr* pGranted = pa_stream_get_buffer_attr(m_pStream);
    if (pGranted != nullptr && pGranted->tlength > 0) m_dwTarget = pGranted->tlength;
    SetOpening(Opening::Ready, "");
    if (!m_bRunning) return;
    CorkLocked(false);
    AliveLocked(WaveNowNs());
    PumpLocked();
  }
}

void CPulseOut::StreamFailedLocked(pa_stream* pStream) {
  const int nError = m_pLink->Context() != nullptr ? pa_context_errno(m_pLink->Context()) : PA_ERR_CONNECTIONTERMINATED;
  const bool bNext = pStream == m_pNext;
  CPulseLink::Drop(std::exchange(bNext ? m_pNext : m_pStream, nullptr));
  m_pLink->RequestTick();
  if (bNext) return;
  const bool bWasOpen = m_llHanded > 0 || m_bAlive;
  if (IsPulseRefusal(nError) && !bWasOpen && !m_bRefusalTold) {
    // Told to who opens, if he still waits; else by a line of its own, once.
    m_bRefusalTold = true;
    const bool bWaiting = !m_bRunning && m_eOpening == Opening::Pending;
    SetOpening(Opening::Refused, pa_strerror(nError));
    if (!bWaiting) NotifyWave("Périphérique audio refusé : " + m_target.szLabel + " (" + pa_strerror(nError) + ")");
    return;
  }
  SetOpening(Opening::Ready, "");
  StallLocked();
  if (bWasOpen) LostLocked();
  m_llHanded = 0;
  if (bWasOpen) TryOpenLocked();  // a stream that never was waits for the next tick
}

void CPulseOut::OnServerLost() {
  CPulseLink::Drop(std::exchange(m_pNext, nullptr));
  const bool bHad = m_pStream != nullptr;
  CPulseLink::Drop(std::exchange(m_pStream, nullptr));
  StallLocked();
  if (bHad) LostLocked();
  m_llHanded = 0;
}

void CPulseOut::StreamRequestLocked(pa_stream* pStream) {
  if (pStream != m_pStream || !m_bRunning) return;
  if (m_bAlive) {
    PumpLocked();
  } else if (IsReadyLocked()) {
    // A stalled stream that asks again goes on, unless it wants the past.
    if (WantsPastLocked()) {
      TryOpenLocked();
    } else {
      CPulseLink::Drop(std::exchange(m_pNext, nullptr));
      AliveLocked(WaveNowNs());
      PumpLocked();
    }
  }
}

}  // namespace tonara
