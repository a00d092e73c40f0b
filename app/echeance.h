// An end in time, whatever hangs.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace tonara {

/// Runs something on a thread of its own unless it is told in time that there is no need: taking the program
/// down joins threads that may hang in a dead network drive, for minutes or for ever.
class CEcheance {
 public:
  /// fnTrop comes after nMs, and ends the process.
  CEcheance(int nMs, std::function<void()> fnTrop);
  ~CEcheance() { Leve(); }
  CEcheance(const CEcheance&) = delete;
  CEcheance& operator=(const CEcheance&) = delete;

  /// There is no need: fnTrop doesn't come any more. Never returns if it has begun.
  void Leve();

 private:
  std::mutex m_mutex;
  std::condition_variable m_cv;
  bool m_bLevee = false;
  std::thread m_thread;
};

}  // namespace tonara
