#include "app/signals.h"

#include <fcntl.h>
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <utility>

namespace tonara {
namespace {

// A service manager signals every process of a session, and the script that started us passes its own signal on:
// one request, several signals.
constexpr int64_t kMemeDemandeMs = 1000;

constexpr int kSignaux[] = {SIGTERM, SIGINT, SIGHUP};

// What the handler may touch: lock-free atomics, the clock and write().
std::atomic<int> s_fdEcriture{-1};
std::atomic<int64_t> s_llPremierMs{0};  // when the first one came, 0 before

int64_t Maintenant() {
  timespec t{};
  clock_gettime(CLOCK_MONOTONIC, &t);
  return int64_t{t.tv_sec} * 1000 + t.tv_nsec / 1000000;
}

extern "C" void SignalRecu(int nSignal) {
  const int nErreur = errno;
  const int64_t llMaintenant = Maintenant();
  int64_t llPremier = 0;
  if (!s_llPremierMs.compare_exchange_strong(llPremier, llMaintenant)) {
    if (llMaintenant - llPremier >= kMemeDemandeMs) _exit(128 + nSignal);
    errno = nErreur;
    return;
  }
  const char c = 1;
  [[maybe_unused]] const ssize_t nEcrit = write(s_fdEcriture.load(), &c, 1);
  errno = nErreur;
}

}  // namespace

CSignals::CSignals(std::function<void()> fnFermeture) {
  signal(SIGPIPE, SIG_IGN);
  int fd[2];
  if (pipe2(fd, O_CLOEXEC | O_NONBLOCK) != 0) return;
  m_fdLecture = fd[0];
  s_fdEcriture = fd[1];
  m_pNotifier = std::make_unique<QSocketNotifier>(m_fdLecture, QSocketNotifier::Read);
  QObject::connect(m_pNotifier.get(), &QSocketNotifier::activated, m_pNotifier.get(),
                   [this, fn = std::move(fnFermeture)] {
                     char c;
                     if (read(m_fdLecture, &c, 1) == 1) fn();
                   });
  for (const int nSignal : kSignaux) {
    struct sigaction action {};
    if (sigaction(nSignal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN) continue;
    action = {};
    action.sa_handler = SignalRecu;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(nSignal, &action, nullptr);
  }
}

CSignals::~CSignals() {
  // The handlers stay: a signal that comes while the process ends finds the pipe gone and does no harm,
  // a second one ends it. The writing end is therefore never closed.
  if (m_fdLecture >= 0) close(m_fdLecture);
}

}  // namespace tonara
