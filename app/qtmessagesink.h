// Delivers PostMsg to receivers on Qt's main thread, through a queued event of its own type.
#pragma once

#include <QObject>
#include <functional>
#include <map>
#include <set>
#include <tuple>

#include "platform/lock.h"
#include "platform/messages.h"

namespace tonara {

/// Is the process's sink for its lifetime. Made and destroyed on the main thread, while the
/// QApplication exists.
class CQtMessageSink final : public QObject, public CMessageSink {
 public:
  using Recepteur = std::function<void(uint32_t uMsg, uintptr_t wParam, intptr_t lParam)>;

  CQtMessageSink();
  ~CQtMessageSink() override;

  /// Names the receiver of a target; it is called on the main thread, one message at a time, and may
  /// post, disconnect or run an event loop. Main thread.
  void Connecte(MsgTarget target, Recepteur fnRecepteur);
  /// What is under way to the target is lost. Main thread.
  void Deconnecte(MsgTarget target);

  /// A message that equals one not yet delivered is taken as that one, so that a main thread held up
  /// for hours (a frozen display server) finds a handful of messages, not one for each tick.
  bool Post(MsgTarget target, uint32_t uMsg, uintptr_t wParam, intptr_t lParam) override;

 protected:
  void customEvent(QEvent* pEvent) override;

 private:
  using Message = std::tuple<MsgTarget, uint32_t, uintptr_t, intptr_t>;
  class CEvenement;

  CMessageSink* m_pPrecedent;
  std::map<MsgTarget, Recepteur> m_recepteurs;  // main thread
  CLock m_cs;
  std::set<MsgTarget> m_cibles GUARDED_BY(m_cs);  // the keys of m_recepteurs, for posting threads
  std::set<Message> m_enRoute GUARDED_BY(m_cs);
};

}  // namespace tonara
