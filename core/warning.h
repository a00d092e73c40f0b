// The one place where a running subsystem puts a problem before the operator without a modal box: a
// text that makes the warning button of the main window appear.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "platform/lock.h"

namespace tonara {

/// What a warning needs of the window: set by ui/, so that this class stays free of Qt.
struct WarningUi {
  std::function<void(bool bShown)> fnShowButton;  ///< show and enable, or hide and disable
  std::function<void(const std::string& szText, const std::string& szCaption)> fnBox;  ///< modal message box
};

class CWarning {
 public:
  virtual ~CWarning() = default;
  /// Gives the button and the box. Main thread, once.
  void SetButton(WarningUi ui);
  /// Makes this the pending warning (1023 bytes at most); it replaces one not yet seen. Any thread.
  void SetText(const std::string& szTexte);
  /// False without a pending warning; else shows the button. Main thread, twice a second.
  bool Poll();
  /// The operator clicked: shows the box with the caption "ATTENTION", hides the button, forgets the text. Main
  /// thread; blocks while the box is up. A text that arrives meanwhile stays pending.
  void Show();

 private:
  CLock m_cs;
  std::string m_szTexte GUARDED_BY(m_cs);
  uint32_t m_dwSerie GUARDED_BY(m_cs) = 0;  ///< tells a new text from the one being shown
  WarningUi m_ui;
};

/// Exists from the main window's start to its shutdown; test for null.
extern CWarning* g_pWarning;

}  // namespace tonara
