#include "app/echeance.h"

#include <chrono>
#include <system_error>
#include <utility>

namespace tonara {

CEcheance::CEcheance(int nMs, std::function<void()> fnTrop) {
  try {
    m_thread = std::thread([this, nMs, fn = std::move(fnTrop)] {
      std::unique_lock lock(m_mutex);
      // The lock is held from here on if the time is over: who comes now waits for the process's end.
      if (!m_cv.wait_for(lock, std::chrono::milliseconds(nMs), [this] { return m_bLevee; })) fn();
    });
  } catch (const std::system_error&) {
    // Without it the end may take long; that is all.
  }
}

void CEcheance::Leve() {
  {
    const std::lock_guard lock(m_mutex);
    m_bLevee = true;
  }
  m_cv.notify_all();
  if (m_thread.joinable()) m_thread.join();
}

}  // namespace tonara
