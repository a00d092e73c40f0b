#include "ui/arriereplan.h"

#include <deque>
#include <system_error>
#include <thread>
#include <utility>

#include "core/log.h"
#include "platform/lock.h"

namespace tonara {

struct CArrierePlan::Etat {
  CLock cs;
  QObject* pRecepteur GUARDED_BY(cs) = nullptr;  // null once the owner has gone
  std::deque<Travail> attente GUARDED_BY(cs);
  int nThreads GUARDED_BY(cs) = 0;
  int nThreadsMax = 1;
};

CArrierePlan::CArrierePlan(int nThreadsMax) : m_pEtat(std::make_shared<Etat>()) {
  const CGuard guard(m_pEtat->cs);
  m_pEtat->pRecepteur = this;
  m_pEtat->nThreadsMax = nThreadsMax;
}

CArrierePlan::~CArrierePlan() {
  const CGuard guard(m_pEtat->cs);
  m_pEtat->pRecepteur = nullptr;
  m_pEtat->attente.clear();
}

void CArrierePlan::Demande(Travail fnTravail) {
  const CGuard guard(m_pEtat->cs);
  m_pEtat->attente.push_back(std::move(fnTravail));
  if (m_pEtat->nThreads >= m_pEtat->nThreadsMax) return;
  try {
    std::thread([pEtat = m_pEtat] { Boucle(pEtat); }).detach();
    ++m_pEtat->nThreads;
  } catch (const std::system_error&) {
    Trace(1, "Disque : plus de thread pour une question en arrière-plan\n");
  }
}

void CArrierePlan::OublieAttente() {
  const CGuard guard(m_pEtat->cs);
  m_pEtat->attente.clear();
}

void CArrierePlan::Boucle(const std::shared_ptr<Etat>& pEtat) {
  for (;;) {
    Travail fnTravail;
    {
      const CGuard guard(pEtat->cs);
      if (pEtat->attente.empty()) {
        --pEtat->nThreads;
        return;
      }
      fnTravail = std::move(pEtat->attente.front());
      pEtat->attente.pop_front();
    }
    Suite fnSuite = fnTravail();
    // Posted under the lock, so the receiver can't go meanwhile. What it has not yet taken goes with it.
    const CGuard guard(pEtat->cs);
    if (pEtat->pRecepteur != nullptr && fnSuite) {
      QMetaObject::invokeMethod(pEtat->pRecepteur, std::move(fnSuite), Qt::QueuedConnection);
    }
  }
}

}  // namespace tonara
