// Auto-reset event: one Set releases one Wait; a Set with nobody waiting is remembered once.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace tonara {

class CAutoEvent {
 public:
  /// Any thread; never blocks for longer than the few instructions under the inner mutex.
  void Set() {
    {
      std::lock_guard lock(m_mutex);
      m_bSet = true;
    }
    m_cv.notify_one();
  }
  /// True if the event was set, which this call consumes; false after dwMs without it.
  bool Wait(uint32_t dwMs) {
    std::unique_lock lock(m_mutex);
    const bool bSet = m_cv.wait_for(lock, std::chrono::milliseconds(dwMs), [this] { return m_bSet; });
    m_bSet = false;
    return bSet;
  }
  void Reset() {
    std::lock_guard lock(m_mutex);
    m_bSet = false;
  }

 private:
  std::mutex m_mutex;
  std::condition_variable m_cv;
  bool m_bSet = false;
};

}  // namespace tonara
