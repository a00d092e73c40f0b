// The session log, kept in a folder of the test's own for its lifetime. Needs tonara::core.
#pragma once

#include <string>

#include "core/log.h"
#include "tests/support/tempdir.h"

namespace tonara::test {

class CTestLog {
 public:
  explicit CTestLog(const CTempDir& dir) : m_dir(dir) {
    LogSetFile(dir.Dir(), "log.txt", true);
    LogOpen();
  }
  ~CTestLog() {
    LogClose();
    LogSetFile("", "", false);
  }
  CTestLog(const CTestLog&) = delete;
  CTestLog& operator=(const CTestLog&) = delete;

  /// How often that text was traced.
  [[nodiscard]] int Count(const std::string& szTexte) const {
    const std::string szLog = m_dir.Read("log.txt");
    int n = 0;
    for (size_t p = szLog.find(szTexte); p != std::string::npos; p = szLog.find(szTexte, p + 1)) ++n;
    return n;
  }

 private:
  const CTempDir& m_dir;
};

}  // namespace tonara::test
