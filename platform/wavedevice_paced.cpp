#include "platform/wavedevice_paced.h"

#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <utility>

namespace tonara {
namespace {

std::chrono::steady_clock::time_point Instant(int64_t llNs) {
  return std::chrono::steady_clock::time_point(std::chrono::nanoseconds(llNs));
}

}  // namespace

CPacedOut::CPacedOut(const char* szThread, const PCMWAVEFORMAT& format, WaveCallback fnDone,
                     std::unique_ptr<CPcmSink> pSink)
    : m_queue(fnDone, format.nBlockAlign),
      m_pSink(std::move(pSink)),
      m_pace(WaveBytesPerSec(format)),
      m_llPausedAt(WaveNowNs()) {
  m_pace.Restart(m_llPausedAt);
  m_thread = std::thread([this] { Run(); });
  pthread_setname_np(m_thread.native_handle(), szThread);
}

CPacedOut::~CPacedOut() {
  {
    std::lock_guard lock(m_mutex);
    m_bStop = true;
  }
  m_cv.notify_all();
  m_thread.join();
  m_queue.GiveBack();
}

bool CPacedOut::Write(WaveHeader* pHeader) {
  std::lock_guard lock(m_mutex);
  if (!m_queue.Push(pHeader)) return true;
  // The device ran dry. A writer that is late by no more than this block is forgiven by playing on
  // where the last block ended; after a longer gap the block starts now.
  m_pace.Forgive(NowLocked(), m_pace.Duration(pHeader->dwLength));
  m_cv.notify_all();
  return true;
}

bool CPacedOut::Pause() {
  std::unique_lock lock(m_mutex);
  if (!m_bRunning) return true;
  m_bRunning = false;
  m_llPausedAt = WaveNowNs();
  WaitIdleLocked(lock);
  return true;
}

bool CPacedOut::Restart() {
  {
    std::lock_guard lock(m_mutex);
    if (m_bRunning) return true;
    m_pace.Shift(WaveNowNs() - m_llPausedAt);
    m_bRunning = true;
  }
  m_cv.notify_all();
  return true;
}

bool CPacedOut::Reset() {
  std::unique_lock lock(m_mutex);
  const bool bWasRunning = m_bRunning;
  m_bRunning = false;  // holds the thread off while the blocks go back
  WaitIdleLocked(lock);
  lock.unlock();
  m_queue.GiveBack();
  lock.lock();
  m_llPausedAt = WaveNowNs();
  m_pace.Restart(m_llPausedAt);
  m_bRunning = bWasRunning;
  return true;
}

bool CPacedOut::GetPosition(uint32_t* pdwFrames) {
  *pdwFrames = m_queue.Position();
  return true;
}

bool CPacedOut::SetVolume(uint32_t /*dwVolume*/) {
  return true;
}

void CPacedOut::WaitIdleLocked(std::unique_lock<std::mutex>& lock) {
  m_cv.wait(lock, [this] { return !m_bBusy; });
}

void CPacedOut::Run() {
  std::unique_lock lock(m_mutex);
  while (!m_bStop) {
    uint32_t dwLeft = 0;
    if (!m_bRunning || !m_queue.Front(&dwLeft)) {
      m_cv.wait(lock);
      continue;
    }
    const int64_t llDue = m_pace.Due(dwLeft);
    if (WaveNowNs() < llDue) {
      m_cv.wait_until(lock, Instant(llDue));
      continue;
    }
    m_pace.Advance(dwLeft);
    m_pace.Forgive(WaveNowNs(), kWaveForgiveNs);
    m_bBusy = true;
    lock.unlock();
    m_queue.Take(dwLeft, [this](const uint8_t* pData, uint32_t dwLength) {
      if (m_pSink != nullptr) m_pSink->Consume(pData, dwLength);
      return true;
    });
    lock.lock();
    m_bBusy = false;
    m_cv.notify_all();
  }
}

CPacedIn::CPacedIn(const char* szThread, const PCMWAVEFORMAT& format, WaveCallback fnDone,
                   std::unique_ptr<CPcmSource> pSource)
    : m_fnDone(fnDone), m_format(format), m_pSource(std::move(pSource)), m_pace(WaveBytesPerSec(format)) {
  m_thread = std::thread([this] { Run(); });
  pthread_setname_np(m_thread.native_handle(), szThread);
}

CPacedIn::~CPacedIn() {
  CPacedIn::Reset();
  {
    std::lock_guard lock(m_mutex);
    m_bStop = true;
  }
  m_cv.notify_all();
  m_thread.join();
}

bool CPacedIn::AddBuffer(WaveHeader* pHeader) {
  std::lock_guard lock(m_mutex);
  pHeader->dwRecorded = 0;
  m_queue.push_back(pHeader);
  if (m_queue.size() == 1) {
    if (m_bRunning) m_pace.Forgive(WaveNowNs(), m_pace.Duration(pHeader->dwLength));
    m_cv.notify_all();
  }
  return true;
}

bool CPacedIn::Start() {
  {
    std::lock_guard lock(m_mutex);
    if (m_bRunning) return true;
    m_bRunning = true;
    m_pace.Restart(WaveNowNs());
  }
  m_cv.notify_all();
  return true;
}

bool CPacedIn::Reset() {
  std::unique_lock lock(m_mutex);
  const bool bWasRunning = m_bRunning;
  m_bRunning = false;
  m_cv.wait(lock, [this] { return !m_bBusy; });
  std::deque<WaveHeader*> queue;
  queue.swap(m_queue);
  if (bWasRunning && !queue.empty()) {
    // What the block in front has heard so far, in whole frames.
    uint64_t llHeard = std::min<uint64_t>(m_pace.BytesDue(WaveNowNs()), queue.front()->dwLength);
    llHeard -= llHeard % m_format.nBlockAlign;
    Fill(queue.front(), static_cast<uint32_t>(llHeard));
  }
  lock.unlock();
  for (WaveHeader* pHeader : queue) m_fnDone(pHeader);
  return true;
}

void CPacedIn::Fill(WaveHeader* pHeader, uint32_t dwLength) {
  if (m_pSource != nullptr) {
    m_pSource->Produce(pHeader->pData, dwLength);
  } else {
    std::memset(pHeader->pData, m_format.wBitsPerSample == 8 ? 0x80 : 0, dwLength);
  }
  pHeader->dwRecorded = dwLength;
}

void CPacedIn::Run() {
  std::unique_lock lock(m_mutex);
  while (!m_bStop) {
    if (!m_bRunning || m_queue.empty()) {
      m_cv.wait(lock);
      continue;
    }
    WaveHeader* pHeader = m_queue.front();
    const int64_t llDue = m_pace.Due(pHeader->dwLength);
    if (WaveNowNs() < llDue) {
      m_cv.wait_until(lock, Instant(llDue));
      continue;
    }
    m_pace.Advance(pHeader->dwLength);
    m_pace.Forgive(WaveNowNs(), kWaveForgiveNs);
    m_queue.pop_front();
    m_bBusy = true;
    lock.unlock();
    Fill(pHeader, pHeader->dwLength);
    m_fnDone(pHeader);
    lock.lock();
    m_bBusy = false;
    m_cv.notify_all();
  }
}

bool CSinglePairBackend::OutName(uint32_t nIndex, std::string* pName) {
  if (nIndex != 0 || pName == nullptr) return false;
  *pName = m_szDevice;
  return true;
}

bool CSinglePairBackend::InName(uint32_t nIndex, std::string* pName) {
  return OutName(nIndex, pName);
}

bool CSinglePairBackend::Accepts(uint32_t nIndex, const PCMWAVEFORMAT& format, std::string* pError) {
  if (nIndex == 0 || nIndex == kWaveMapper) return IsWaveFormatUsable(format, pError);
  if (pError != nullptr) *pError = "Périphérique audio inconnu";
  return false;
}

}  // namespace tonara
