// A message sink that keeps what was posted until a test takes it.
#pragma once

#include <deque>
#include <mutex>

#include "platform/messages.h"

namespace tonara::test {

struct PostedMsg {
  MsgTarget target;
  uint32_t uMsg;
  uintptr_t wParam;
  intptr_t lParam;
};

/// Is the process's sink for its lifetime.
class CMsgQueue final : public CMessageSink {
 public:
  CMsgQueue() : m_pOld(SetMessageSink(this)) {}
  ~CMsgQueue() override { SetMessageSink(m_pOld); }

  bool Post(MsgTarget target, uint32_t uMsg, uintptr_t wParam, intptr_t lParam) override {
    std::lock_guard lock(m_mutex);
    m_queue.push_back({target, uMsg, wParam, lParam});
    return true;
  }
  /// The oldest message; false if there is none.
  bool Take(PostedMsg* pMsg) {
    std::lock_guard lock(m_mutex);
    if (m_queue.empty()) return false;
    *pMsg = m_queue.front();
    m_queue.pop_front();
    return true;
  }
  /// Takes all and tells how many had that number.
  int TakeAll(uint32_t uMsg) {
    std::lock_guard lock(m_mutex);
    int n = 0;
    for (const PostedMsg& msg : m_queue) n += msg.uMsg == uMsg ? 1 : 0;
    m_queue.clear();
    return n;
  }

 private:
  std::mutex m_mutex;
  std::deque<PostedMsg> m_queue;
  CMessageSink* m_pOld;
};

}  // namespace tonara::test
