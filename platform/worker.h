// A thread with a name, a priority and a stop flag. The pattern of the whole program: a worker loops
// until StopRequested(), sleeps by Sleep(), and only ever tries its owner's lock, skipping a round if
// that fails; so the owner may call Stop() while it holds that lock.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace tonara {

class CWorker {
 public:
  enum class Priority { Normal, AboveNormal };

  CWorker() = default;
  ~CWorker() { Stop(); }
  CWorker(const CWorker&) = delete;
  CWorker& operator=(const CWorker&) = delete;

  /// Starts the body on a new thread. The name (cut to 15 bytes) shows in `top -H`. AboveNormal asks
  /// the system for a better nice value; where that is refused the thread runs at normal priority.
  /// An earlier thread that has ended by itself is joined first. False if a thread still runs or
  /// none could be made. Owner's thread only.
  bool Start(std::string_view szName, Priority ePriority, std::function<void()> fnBody);

  /// Sets the flag, wakes Sleep(), joins. Does nothing without a thread. Not from the body itself.
  void Stop();

  /// Sets the flag and wakes Sleep(), without waiting. Any thread.
  void RequestStop();

  /// True once Stop or RequestStop was called. For the body.
  [[nodiscard]] bool StopRequested() const { return m_bStop.load(std::memory_order_acquire); }

  /// Waits for that long, or until the stop flag; true if the worker is to go on. For the body.
  bool Sleep(uint32_t dwMs);

  /// True from Start until the body has returned.
  [[nodiscard]] bool IsRunning() const { return m_bRunning.load(std::memory_order_acquire); }

 private:
  std::thread m_thread;
  std::mutex m_mutex;
  std::condition_variable m_cv;
  std::atomic<bool> m_bStop{false};
  std::atomic<bool> m_bRunning{false};
};

}  // namespace tonara
