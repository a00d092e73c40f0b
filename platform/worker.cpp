#include "platform/worker.h"

#include <pthread.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <system_error>
#include <utility>

namespace tonara {
namespace {

// One step of nice is 25 % of CPU share between busy threads; five steps are plenty for a thread
// that runs a millisecond at a time. Needs CAP_SYS_NICE or a limit in /etc/security; else no effect.
constexpr int kNiceAboveNormal = -5;

}  // namespace

bool CWorker::Start(std::string_view szName, Priority ePriority, std::function<void()> fnBody) {
  if (IsRunning()) return false;
  if (m_thread.joinable()) m_thread.join();
  m_bStop.store(false, std::memory_order_release);
  m_bRunning.store(true, std::memory_order_release);
  try {
    m_thread = std::thread([this, name = std::string(szName.substr(0, 15)), ePriority, body = std::move(fnBody)] {
      pthread_setname_np(pthread_self(), name.c_str());
      if (ePriority == Priority::AboveNormal) {
        setpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)), kNiceAboveNormal);
      }
      body();
      m_bRunning.store(false, std::memory_order_release);
    });
  } catch (const std::system_error&) {
    m_bRunning.store(false, std::memory_order_release);
    return false;
  }
  return true;
}

void CWorker::RequestStop() {
  {
    std::lock_guard lock(m_mutex);
    m_bStop.store(true, std::memory_order_release);
  }
  m_cv.notify_all();
}

void CWorker::Stop() {
  if (!m_thread.joinable()) return;
  RequestStop();
  m_thread.join();
  m_bStop.store(false, std::memory_order_release);
}

bool CWorker::Sleep(uint32_t dwMs) {
  std::unique_lock lock(m_mutex);
  return !m_cv.wait_for(lock, std::chrono::milliseconds(dwMs), [this] { return StopRequested(); });
}

}  // namespace tonara
