#include "programmes/essaidlg.h"

#include <QCoreApplication>
#include <QEvent>
#include <algorithm>
#include <utility>

#include "core/appcfg.h"
#include "ui/look/look.h"

namespace tonara {
namespace {

constexpr uint32_t kDodoMs = 60000;

}  // namespace

bool CSourceEssai::Prepare() {
  m_szSortie = g_Appcfg.DeviceOut;
  m_nBlocs = g_Appcfg.NbBuffers;
  m_nTailleMs = g_Appcfg.TailleBuffers;
  m_fGain = g_Appcfg.Music;
  return PrepareSource();
}

bool CSourceEssai::Demarre() {
  m_mixout.Start(FindDeviceOut(m_szSortie), m_nBlocs, m_nTailleMs, 0);
  return DemarreSource(m_mixout, m_fGain);
}

void CSourceEssai::Arrete() {
  ArreteSource(m_mixout);
  m_mixout.StopAll();
  m_mixout.Stop();
}

CBoutonEssai::CBoutonEssai(std::unique_ptr<CSourceEssai> pSource, QWidget* pParent)
    : QPushButton(QStringLiteral("&Stop"), pParent), m_pSource(std::move(pSource)) {
  setAutoDefault(false);
  const int nStop = sizeHint().width();
  setText(QStringLiteral("&Tester"));
  // The same for both texts, and a bit more than the style's.
  setMinimumWidth(std::max(nStop, sizeHint().width()) + 2 * kEspace);
  connect(this, &QPushButton::clicked, this, &CBoutonEssai::Clic);
}

void CBoutonEssai::Clic() {
  switch (m_eEtat) {
    case Etat::Repos:
      Lance();
      break;
    case Etat::Fin:
      m_bEncore = !m_bEncore;
      break;
    default:
      Arrete();
  }
}

void CBoutonEssai::SetEtat(Etat eEtat) {
  const bool bJouait = IsJoue();
  m_eEtat = eEtat;
  setText(IsJoue() ? QStringLiteral("&Stop") : QStringLiteral("&Tester"));
  if (eEtat == Etat::Demarrage) {
    setCursor(Qt::BusyCursor);
  } else {
    unsetCursor();
  }
  if (IsJoue() != bJouait) emit Joue(IsJoue());
}

void CBoutonEssai::Lance() {
  if (!m_pSource->Prepare()) return;
  SetEtat(Etat::Demarrage);
  std::function<bool()> fnDisque = m_pSource->Disque();
  if (!fnDisque) {
    LanceThread();
    return;
  }
  m_disque.Demande([this, fnDisque = std::move(fnDisque)]() -> CArrierePlan::Suite {
    const bool bBon = fnDisque();
    return [this, bBon] { bBon ? LanceThread() : SetEtat(Etat::Repos); };
  });
}

void CBoutonEssai::LanceThread() {
  m_bThread = m_worker.Start("essai", CWorker::Priority::Normal, [this] {
    const bool bJoue = m_pSource->Demarre();
    QMetaObject::invokeMethod(
        this, [this, bJoue] { Demarre(bJoue); }, Qt::QueuedConnection);
    while (bJoue && m_worker.Sleep(kDodoMs)) {
    }
    m_pSource->Arrete();
    QMetaObject::invokeMethod(this, &CBoutonEssai::Fini, Qt::QueuedConnection);
  });
  if (!m_bThread) SetEtat(Etat::Repos);
}

void CBoutonEssai::Demarre(bool bJoue) {
  if (m_eEtat == Etat::Demarrage) SetEtat(bJoue ? Etat::Joue : Etat::Fin);
}

void CBoutonEssai::Arrete() {
  m_disque.Oublie();
  SetEtat(m_bThread ? Etat::Fin : Etat::Repos);
  if (!m_bThread) return;
  m_worker.RequestStop();
  m_pSource->Interrompt();
}

void CBoutonEssai::Fini() {
  m_worker.Stop();  // on its way out
  m_bThread = false;
  SetEtat(Etat::Repos);
  if (std::exchange(m_bEncore, false)) Lance();
}

void CBoutonEssai::Termine() {
  m_bEncore = false;
  Arrete();
  if (!m_bThread) return;
  m_worker.Stop();
  QCoreApplication::removePostedEvents(this, QEvent::MetaCall);
  m_bThread = false;
  SetEtat(Etat::Repos);
}

}  // namespace tonara
