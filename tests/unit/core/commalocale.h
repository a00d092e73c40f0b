// A locale with a decimal comma, as the toolkit sets it in a French shop.
#pragma once

#include <clocale>
#include <cstdlib>
#include <string>

namespace tonara::test {

/// Makes and sets the locale for a scope; szDir is a folder for its files.
class CCommaLocale {
 public:
  explicit CCommaLocale(const std::string& szDir) {
    m_bSet = std::setlocale(LC_ALL, "fr_FR.UTF-8") != nullptr;
    if (m_bSet) return;
    const std::string command = "localedef -i fr_FR -f UTF-8 '" + szDir + "fr_FR.UTF-8' >/dev/null 2>&1";
    if (std::system(command.c_str()) != 0) return;
    setenv("LOCPATH", szDir.c_str(), 1);
    m_bSet = std::setlocale(LC_ALL, "fr_FR.UTF-8") != nullptr;
  }
  ~CCommaLocale() {
    std::setlocale(LC_ALL, "C");
    unsetenv("LOCPATH");
  }
  CCommaLocale(const CCommaLocale&) = delete;
  CCommaLocale& operator=(const CCommaLocale&) = delete;
  /// False where this machine can't make it.
  [[nodiscard]] bool IsSet() const { return m_bSet && *std::localeconv()->decimal_point == ','; }

 private:
  bool m_bSet = false;
};

}  // namespace tonara::test
