// One instance per machine and user: a lock that the kernel drops when the process dies.
#pragma once

#include <string>

namespace tonara {

class CSingleInstance {
 public:
  CSingleInstance() = default;
  ~CSingleInstance();
  CSingleInstance(const CSingleInstance&) = delete;
  CSingleInstance& operator=(const CSingleInstance&) = delete;

  /// Takes the lock of that name (flock on a file in the user's runtime folder, never removed).
  /// False if another process holds it. If no such file can be made at all, true: better two than
  /// none. Never blocks.
  bool Acquire(const std::string& szName);

 private:
  int m_fd = -1;
};

}  // namespace tonara
