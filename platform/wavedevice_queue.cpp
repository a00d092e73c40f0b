#include "platform/wavedevice_queue.h"

#include <time.h>

#include <limits>

namespace tonara {

int64_t WaveNowNs() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

bool IsWaveFormatUsable(const PCMWAVEFORMAT& format, std::string* pError) {
  const uint64_t llRate = uint64_t{format.nSamplesPerSec} * format.nBlockAlign;
  if (format.nChannels > 0 && llRate > 0 && llRate <= std::numeric_limits<int32_t>::max()) return true;
  if (pError != nullptr) *pError = "Format audio non valide";
  return false;
}

uint64_t CWavePace::BytesDue(int64_t llNowNs) const {
  if (llNowNs <= m_llOrigin) return 0;
  // Seconds and the rest apart: the product of a long time and a high rate would overflow.
  const auto llNs = static_cast<uint64_t>(llNowNs - m_llOrigin);
  const uint64_t llDue = llNs / kNsPerSec * m_dwRate + llNs % kNsPerSec * m_dwRate / kNsPerSec;
  return llDue > m_llBytes ? llDue - m_llBytes : 0;
}

bool CWaveQueue::Push(WaveHeader* pHeader) {
  std::lock_guard lock(m_mutex);
  m_queue.push_back(pHeader);
  return m_queue.size() == 1;
}

bool CWaveQueue::Front(uint32_t* pdwLeft) const {
  std::lock_guard lock(m_mutex);
  if (m_queue.empty()) return false;
  *pdwLeft = m_queue.front()->dwLength - m_dwOffset;
  return true;
}

bool CWaveQueue::IsEmpty() const {
  std::lock_guard lock(m_mutex);
  return m_queue.empty();
}

uint32_t CWaveQueue::Position() const {
  std::lock_guard lock(m_mutex);
  return static_cast<uint32_t>(m_llDone / m_wAlign);
}

void CWaveQueue::GiveBack() {
  std::deque<WaveHeader*> queue;
  {
    std::lock_guard lock(m_mutex);
    queue.swap(m_queue);
    m_dwOffset = 0;
    m_llDone = 0;
  }
  for (WaveHeader* pHeader : queue) m_fnDone(pHeader);
}

}  // namespace tonara
