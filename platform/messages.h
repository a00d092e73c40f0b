// Numbered messages to a window (or whatever stands for one), safe from any thread. The delivery is
// the sink's: app/ posts them to Qt's main thread, tests keep a queue that they pump.
#pragma once

#include <cstdint>

namespace tonara {

/// Names a receiver. 0 is none. A number is never used twice in a process, so a message posted to a
/// receiver that has gone is lost without effect.
using MsgTarget = uint32_t;

class CMessageSink {
 public:
  virtual ~CMessageSink() = default;
  /// Queues the message; never blocks, never runs the receiver. Any thread. False if it was lost.
  virtual bool Post(MsgTarget target, uint32_t uMsg, uintptr_t wParam, intptr_t lParam) = 0;
};

/// A fresh, unused target number. Any thread.
MsgTarget NewMsgTarget();

/// Sets the process's sink (null for none) and returns the one before. Main thread; returns only
/// when no PostMsg is inside the old sink any more.
CMessageSink* SetMessageSink(CMessageSink* pSink);

/// Posts through the present sink. Any thread. False, and nothing happens, without a sink or target.
bool PostMsg(MsgTarget target, uint32_t uMsg, uintptr_t wParam, intptr_t lParam);

}  // namespace tonara
