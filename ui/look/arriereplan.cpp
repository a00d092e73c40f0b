#include "ui/look/arriereplan.h"

#include <pthread.h>

#include <chrono>
#include <deque>
#include <future>
#include <system_error>
#include <thread>
#include <utility>

#include "core/log.h"
#include "platform/lock.h"

namespace tonara {

struct CArrierePlan::Etat {
  CLock cs;
  QObject* pRecepteur GUARDED_BY(cs) = nullptr;  // null once nobody wants the answers
  std::deque<Travail> attente GUARDED_BY(cs);
  int nThreads GUARDED_BY(cs) = 0;

  explicit Etat(QObject* pObjet) : pRecepteur(pObjet) {}
  bool Voulu() {
    const CGuard guard(cs);
    return pRecepteur != nullptr;
  }
};

CArrierePlan::CArrierePlan(int nThreadsMax) : m_nThreadsMax(nThreadsMax), m_pEtat(std::make_shared<Etat>(this)) {}

void CArrierePlan::Coupe() {
  const CGuard guard(m_pEtat->cs);
  m_pEtat->pRecepteur = nullptr;
  m_pEtat->attente.clear();
}

void CArrierePlan::Oublie() {
  Coupe();
  m_pEtat = std::make_shared<Etat>(this);
}

void CArrierePlan::Demande(Travail fnTravail) {
  const CGuard guard(m_pEtat->cs);
  m_pEtat->attente.push_back(std::move(fnTravail));
  if (m_pEtat->nThreads >= m_nThreadsMax) return;
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
  pthread_setname_np(pthread_self(), "disque");
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
    // Posted under the lock, so the receiver can't go meanwhile. Between here and its turn on the main
    // thread the answer may be forgotten.
    const CGuard guard(pEtat->cs);
    if (pEtat->pRecepteur == nullptr || !fnSuite) continue;
    QMetaObject::invokeMethod(
        pEtat->pRecepteur,
        [pEtat, fn = std::move(fnSuite)] {
          if (pEtat->Voulu()) fn();
        },
        Qt::QueuedConnection);
  }
}

bool FaitEnMoinsDe(int nDelaiMs, std::function<void()> fnTravail) {
  auto pFini = std::make_shared<std::promise<void>>();
  const std::future<void> fini = pFini->get_future();
  try {
    std::thread([pFini, fn = std::move(fnTravail)] {
      pthread_setname_np(pthread_self(), "disque");
      fn();
      pFini->set_value();
    }).detach();
  } catch (const std::system_error&) {
    return false;
  }
  return fini.wait_for(std::chrono::milliseconds(nDelaiMs)) == std::future_status::ready;
}

}  // namespace tonara
