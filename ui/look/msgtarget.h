// A window's own number for messages that other threads post (see platform/messages.h). Who delivers
// them is app/'s; a window only says that it wants them.
#pragma once

#include <functional>

#include "platform/messages.h"

namespace tonara {

using MsgRecepteur = std::function<void(uint32_t uMsg, uintptr_t wParam, intptr_t lParam)>;

/// How a receiver, called on the main thread, is tied to a target number and untied again.
struct MsgConnector {
  std::function<void(MsgTarget, MsgRecepteur)> fnConnecte;
  std::function<void(MsgTarget)> fnDeconnecte;
};

/// Main thread, once the sink is up; an empty one before it goes down. Without a connector receivers get
/// nothing.
void SetMsgConnector(MsgConnector connector);

/// Receives for its lifetime, under a number of its own. Main thread; may be destroyed in its receiver.
class CMsgReceiver {
 public:
  explicit CMsgReceiver(MsgRecepteur fnRecepteur);
  ~CMsgReceiver();
  CMsgReceiver(const CMsgReceiver&) = delete;
  CMsgReceiver& operator=(const CMsgReceiver&) = delete;

  [[nodiscard]] MsgTarget Target() const { return m_target; }

 private:
  MsgTarget m_target;
};

}  // namespace tonara
