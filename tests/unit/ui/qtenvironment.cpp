// The QApplication of this test program, without a display.
#include <gtest/gtest.h>

#include <QApplication>
#include <cstdlib>
#include <memory>

#include "ui/look/look.h"

namespace tonara::test {
namespace {

class CQtEnvironment final : public ::testing::Environment {
 public:
  void SetUp() override {
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    m_pApplication = std::make_unique<QApplication>(m_nArgs, m_szArgs);
    ApplyLook(*m_pApplication);
  }
  void TearDown() override { m_pApplication.reset(); }

 private:
  int m_nArgs = 1;
  char m_szNom[8] = "unit_ui";
  char* m_szArgs[2] = {m_szNom, nullptr};
  std::unique_ptr<QApplication> m_pApplication;
};

// Owned by GoogleTest.
[[maybe_unused]] const ::testing::Environment* const s_pEnvironment =
    ::testing::AddGlobalTestEnvironment(std::make_unique<CQtEnvironment>().release());

}  // namespace
}  // namespace tonara::test
