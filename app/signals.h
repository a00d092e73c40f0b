// SIGTERM, SIGINT and SIGHUP as a call on Qt's main thread. Another one a second or
// more after the first ends the process at once; one that comes sooner belongs to the same request.
#pragma once

#include <QSocketNotifier>
#include <functional>
#include <memory>

namespace tonara {

class CSignals {
 public:
  /// Installs the handlers; one object per process, main thread. A signal that the process was started
  /// to ignore (nohup) stays ignored. SIGPIPE is ignored from here on.
  explicit CSignals(std::function<void()> fnFermeture);
  ~CSignals();
  CSignals(const CSignals&) = delete;
  CSignals& operator=(const CSignals&) = delete;

 private:
  int m_fdLecture = -1;
  std::unique_ptr<QSocketNotifier> m_pNotifier;
};

}  // namespace tonara
