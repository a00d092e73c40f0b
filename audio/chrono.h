// One-shot timer of one second's resolution, with a thread of its own.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/clock.h"
#include "platform/lock.h"
#include "platform/worker.h"

namespace tonara {

/// Tells once that a duration has passed. Whole seconds of the calendar clock are compared, so the
/// resolution is one second: a duration below 1000 ms ends at once, and one of 1000 ms when the
/// clock's second changes. An object serves one timing: once finished it stays finished.
class CChrono {
 public:
  explicit CChrono(CClock& clock = SystemClock()) : m_Clock(clock) {}
  virtual ~CChrono() { Stop(); }
  CChrono(const CChrono&) = delete;
  CChrono& operator=(const CChrono&) = delete;

  /// Starts the timing on a thread of its own. A timing that still runs goes on from the new moment
  /// with the new duration. Always true; without a thread the chrono just never finishes. Any thread.
  bool Start(uint32_t dwMs);
  /// Ends the thread and waits for it, a few milliseconds at most. Any thread.
  void Stop();
  /// True once the duration has passed. Any thread, no lock.
  [[nodiscard]] bool IsFini() const { return m_bFini.load(std::memory_order_acquire); }

  /// One look at the clock: what the thread does every 20 ms. False if the lock was taken and the
  /// round skipped.
  bool Tick();

 private:
  CClock& m_Clock;
  CLock m_cs;
  uint32_t m_dwDuree GUARDED_BY(m_cs) = 0;
  int64_t m_llDebut GUARDED_BY(m_cs) = 0;  ///< whole calendar seconds
  std::atomic<bool> m_bFini{false};
  CWorker m_Worker GUARDED_BY(m_cs);
};

}  // namespace tonara
