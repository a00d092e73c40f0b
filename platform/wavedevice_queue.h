// Private to the wave devices: the blocks queued in a device, and the pace of a stream on the
// monotonic clock.
#pragma once

#include <cstdint>
#include <deque>
#include <mutex>

#include "platform/wavedevice.h"

namespace tonara {

/// Nanoseconds on CLOCK_MONOTONIC; the base of std::chrono::steady_clock too.
int64_t WaveNowNs();

/// Bytes that a stream of that format plays in a second; from the rate and the frame, because the
/// third field that says it may be wrong.
constexpr uint32_t WaveBytesPerSec(const PCMWAVEFORMAT& format) {
  return format.nSamplesPerSec * format.nBlockAlign;
}

/// True if a stream of that format can keep time at all; else *pError (nullable) says why not.
bool IsWaveFormatUsable(const PCMWAVEFORMAT& format, std::string* pError);

/// When bytes are due on an ideal device. Exact: whole seconds are folded into the origin, the rest
/// is counted in bytes, so nothing is rounded from block to block. Not thread-safe.
class CWavePace {
 public:
  explicit CWavePace(uint32_t dwBytesPerSec) : m_dwRate(dwBytesPerSec) {}

  /// The next byte starts to play at that instant.
  void Restart(int64_t llNowNs) {
    m_llOrigin = llNowNs;
    m_llBytes = 0;
  }
  /// Instant at which that many further bytes will have been played (rounded up to a nanosecond).
  [[nodiscard]] int64_t Due(uint32_t dwBytes) const {
    return m_llOrigin + static_cast<int64_t>(((m_llBytes + dwBytes) * kNsPerSec + m_dwRate - 1) / m_dwRate);
  }
  /// Bytes that should have been played at that instant; 0 before the pace's own present.
  [[nodiscard]] uint64_t BytesDue(int64_t llNowNs) const;
  /// That many bytes were played.
  void Advance(uint64_t llBytes) {
    m_llBytes += llBytes;
    m_llOrigin += static_cast<int64_t>(m_llBytes / m_dwRate * kNsPerSec);
    m_llBytes %= m_dwRate;
  }
  /// Time stood still for that long.
  void Shift(int64_t llNs) { m_llOrigin += llNs; }
  /// Writer and player fell behind by more than that: forget the past, so that no burst follows.
  void Forgive(int64_t llNowNs, int64_t llToleranceNs) {
    if (llNowNs - Due(0) > llToleranceNs) Restart(llNowNs);
  }
  [[nodiscard]] int64_t Duration(uint32_t dwBytes) const {
    return static_cast<int64_t>(uint64_t{dwBytes} * kNsPerSec / m_dwRate);
  }

 private:
  static constexpr uint64_t kNsPerSec = 1'000'000'000;
  uint32_t m_dwRate;
  int64_t m_llOrigin = 0;
  uint64_t m_llBytes = 0;  ///< played since m_llOrigin, below one second's
};

/// A device later than this behind its pace (the machine or the process stood still) goes on from
/// now instead of catching up.
inline constexpr int64_t kWaveForgiveNs = 1'000'000'000;

/// Output blocks in their order. The owner pushes, one consumer at a time takes; the device sees to
/// it that GiveBack never meets a running Take.
class CWaveQueue {
 public:
  CWaveQueue(WaveCallback fnDone, uint16_t wBlockAlign) : m_fnDone(fnDone), m_wAlign(wBlockAlign) {}

  /// True if the queue was empty before. Any thread.
  bool Push(WaveHeader* pHeader);
  /// Bytes left of the block in front; false if there is none. Any thread.
  bool Front(uint32_t* pdwLeft) const;
  [[nodiscard]] bool IsEmpty() const;
  /// Frames of the finished blocks, modulo 2^32. Any thread.
  [[nodiscard]] uint32_t Position() const;

  /// Hands up to llMax bytes to sink(pData, dwLength) -> bool, block by block, and calls back for each
  /// block that is used up, after it has been counted; blocks without bytes on the way count as used
  /// up. Neither the sink nor the callback runs under the queue's lock. Stops when the sink says
  /// false, whose bytes stay queued. Returns the bytes taken. Consumer's thread.
  template <typename Sink>
  uint64_t Take(uint64_t llMax, Sink&& sink);

  /// Gives all blocks back through the callback, position 0.
  void GiveBack();

 private:
  WaveCallback m_fnDone;
  uint16_t m_wAlign;
  mutable std::mutex m_mutex;
  std::deque<WaveHeader*> m_queue;
  uint32_t m_dwOffset = 0;  ///< bytes taken of the block in front
  uint64_t m_llDone = 0;    ///< bytes of finished blocks
};

template <typename Sink>
uint64_t CWaveQueue::Take(uint64_t llMax, Sink&& sink) {
  uint64_t llTaken = 0;
  std::unique_lock lock(m_mutex);
  while (!m_queue.empty()) {
    WaveHeader* pHeader = m_queue.front();
    const uint64_t llLeft = pHeader->dwLength - m_dwOffset;
    const auto dwNow = static_cast<uint32_t>(llLeft < llMax - llTaken ? llLeft : llMax - llTaken);
    if (dwNow == 0 && llLeft > 0) break;
    if (dwNow > 0) {
      const uint8_t* pData = pHeader->pData + m_dwOffset;
      lock.unlock();
      const bool bTaken = sink(pData, dwNow);
      lock.lock();
      if (!bTaken) break;
      m_dwOffset += dwNow;
      llTaken += dwNow;
    }
    if (m_dwOffset < pHeader->dwLength) break;
    m_queue.pop_front();
    m_dwOffset = 0;
    m_llDone += pHeader->dwLength;
    lock.unlock();
    m_fnDone(pHeader);
    lock.lock();
  }
  return llTaken;
}

}  // namespace tonara
