#include "audio/chrono.h"

namespace tonara {
namespace {

// The comparison is in whole seconds; looking fifty times in each keeps the end well within what an
// eye can tell and costs nothing.
constexpr uint32_t kPeriodeMs = 20;

}  // namespace

bool CChrono::Start(uint32_t dwMs) {
  CGuard guard(m_cs);
  m_dwDuree = dwMs;
  m_llDebut = m_Clock.CalendarSeconds();
  CWorker* pWorker = &m_Worker;
  m_Worker.Start("chrono", CWorker::Priority::Normal, [this, pWorker] {
    do {
      Tick();
    } while (!IsFini() && pWorker->Sleep(kPeriodeMs));
  });
  return true;
}

void CChrono::Stop() {
  // The lock is held while the thread is joined: it only ever tries it.
  CGuard guard(m_cs);
  m_Worker.Stop();
}

bool CChrono::Tick() {
  if (!m_cs.TryLock()) return false;
  if (m_Clock.CalendarSeconds() - m_llDebut >= static_cast<int64_t>(m_dwDuree / 1000)) {
    m_bFini.store(true, std::memory_order_release);
  }
  m_cs.Unlock();
  return true;
}

}  // namespace tonara
