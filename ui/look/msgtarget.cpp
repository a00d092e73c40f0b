#include "ui/look/msgtarget.h"

#include <utility>

namespace tonara {
namespace {

MsgConnector s_connector;

}  // namespace

void SetMsgConnector(MsgConnector connector) {
  s_connector = std::move(connector);
}

CMsgReceiver::CMsgReceiver(MsgRecepteur fnRecepteur) : m_target(NewMsgTarget()) {
  if (s_connector.fnConnecte) s_connector.fnConnecte(m_target, std::move(fnRecepteur));
}

CMsgReceiver::~CMsgReceiver() {
  if (s_connector.fnDeconnecte) s_connector.fnDeconnecte(m_target);
}

}  // namespace tonara
