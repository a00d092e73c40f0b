#include "app/qtmessagesink.h"

#include <QCoreApplication>
#include <QEvent>

namespace tonara {

class CQtMessageSink::CEvenement final : public QEvent {
 public:
  explicit CEvenement(const Message& message) : QEvent(Type()), m_message(message) {}
  static QEvent::Type Type() {
    static const auto eType = static_cast<QEvent::Type>(QEvent::registerEventType());
    return eType;
  }
  const Message m_message;
};

CQtMessageSink::CQtMessageSink() : m_pPrecedent(SetMessageSink(this)) {}

CQtMessageSink::~CQtMessageSink() {
  SetMessageSink(m_pPrecedent);
}

void CQtMessageSink::Connecte(MsgTarget target, Recepteur fnRecepteur) {
  m_recepteurs[target] = std::move(fnRecepteur);
  CGuard guard(m_cs);
  m_cibles.insert(target);
}

void CQtMessageSink::Deconnecte(MsgTarget target) {
  m_recepteurs.erase(target);
  CGuard guard(m_cs);
  m_cibles.erase(target);
}

bool CQtMessageSink::Post(MsgTarget target, uint32_t uMsg, uintptr_t wParam, intptr_t lParam) {
  const Message message{target, uMsg, wParam, lParam};
  CGuard guard(m_cs);
  if (!m_cibles.contains(target)) return false;
  if (m_enRoute.insert(message).second) QCoreApplication::postEvent(this, new CEvenement(message));
  return true;
}

void CQtMessageSink::customEvent(QEvent* pEvent) {
  if (pEvent->type() != CEvenement::Type()) return;
  const Message message = static_cast<CEvenement*>(pEvent)->m_message;
  {
    // Before the receiver runs: what it posts, or what is posted meanwhile, is a new message.
    CGuard guard(m_cs);
    m_enRoute.erase(message);
  }
  const auto [target, uMsg, wParam, lParam] = message;
  const auto it = m_recepteurs.find(target);
  if (it == m_recepteurs.end()) return;
  const Recepteur fnRecepteur = it->second;  // a copy: the receiver may disconnect itself
  fnRecepteur(uMsg, wParam, lParam);
}

}  // namespace tonara
