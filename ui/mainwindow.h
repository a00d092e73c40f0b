// The main window: the time, what the calendar is doing, and the switch of the messages. It is the
// program's only permanent window. Main thread. What starts and stops behind it is app/'s.
#pragma once

#include <QWidget>

#include "core/warning.h"
#include "platform/clock.h"

namespace tonara {

class CIconButton;
class CTextBox;

class CMainWindow final : public QWidget {
  Q_OBJECT

 public:
  explicit CMainWindow(const CClock& horloge = SystemClock());

  /// Shows the toggle in that state, without effect on settings or calendar.
  void AfficheMessagesActifs(bool bActifs);
  /// The texts that appear under the mouse. Once the window is complete.
  void CreeBulles();
  /// Button and box for CWarning::SetButton. Lives as long as the window.
  WarningUi UiAvertissement();
  /// Work of timer 1: warning, clock, status line. Repaints only what has changed. May wait for the
  /// calendar while an event opens its file.
  void Rafraichit();
  /// Tells the operator that a generation of the plan left files out. Returns at once.
  void AvertitFichiersManquants();

 signals:
  /// The operator closes the program, by the close box or the Enter key. The window stays until it is
  /// deleted.
  void Fermeture();

 protected:
  void closeEvent(QCloseEvent* pEvent) override;
  void keyPressEvent(QKeyEvent* pEvent) override;

 private:
  void OuvreSite();
  void BasculeMessages(bool bActifs);

  const CClock& m_horloge;
  CIconButton* m_pLogo;
  CIconButton* m_pAvertissement;
  CTextBox* m_pHorloge;
  CIconButton* m_pMessages;
  CTextBox* m_pStatus;
  std::string m_szStatus;  // last text read, so that an unchanged one costs no conversion
};

}  // namespace tonara
