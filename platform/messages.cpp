#include "platform/messages.h"

#include <atomic>
#include <mutex>

namespace tonara {
namespace {

std::mutex& SinkMutex() {
  static std::mutex mutex;
  return mutex;
}
CMessageSink* s_pSink = nullptr;
std::atomic<MsgTarget> s_next{0};

}  // namespace

MsgTarget NewMsgTarget() {
  return ++s_next;
}

CMessageSink* SetMessageSink(CMessageSink* pSink) {
  std::lock_guard lock(SinkMutex());
  CMessageSink* pOld = s_pSink;
  s_pSink = pSink;
  return pOld;
}

bool PostMsg(MsgTarget target, uint32_t uMsg, uintptr_t wParam, intptr_t lParam) {
  if (target == 0) return false;
  std::lock_guard lock(SinkMutex());
  return s_pSink != nullptr && s_pSink->Post(target, uMsg, wParam, lParam);
}

}  // namespace tonara
