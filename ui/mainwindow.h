// The main window: the time, the levels, what the calendar is doing, the switches, and the way to all
// other windows. It is the program's only permanent window. Main thread. What starts and stops behind it
// is app/'s.
#pragma once

#include <QWidget>
#include <vector>

#include "core/warning.h"
#include "platform/clock.h"

namespace tonara {

class CIconButton;
class CTextBox;
class CZoneVuMetres;

class CMainWindow final : public QWidget {
  Q_OBJECT

 public:
  explicit CMainWindow(const CClock& horloge = SystemClock());

  /// Shows the toggle in that state, without effect on settings or calendar.
  void AfficheMessagesActifs(bool bActifs);
  /// The same for the toggle of the scrolling texts.
  void AfficheTextesActifs(bool bActifs);
  /// The texts that appear under the mouse. Once the window is complete.
  void CreeBulles();
  /// Button and box for CWarning::SetButton. Lives as long as the window.
  WarningUi UiAvertissement();
  /// Work of timer 1: warning, clock, status line. Repaints only what has changed. May wait for the
  /// calendar while an event opens its file.
  void Rafraichit();
  /// Work of timer 4: the level bars. An overload stays in the alarm colour until a click on the bars.
  void RafraichitNiveaux();
  /// Tells the operator that a generation of the plan left files out. Returns at once.
  void AvertitFichiersManquants();

 signals:
  /// The operator closes the program, by the close box or the Enter key. The window stays until it is
  /// deleted.
  void Fermeture();
  /// The operator wants the panel for manual broadcast. Its button stays hidden, and nobody listens so far.
  void DiffusionManuelle();

 protected:
  void closeEvent(QCloseEvent* pEvent) override;
  void keyPressEvent(QKeyEvent* pEvent) override;

 private:
  void OuvreSite();
  void BasculeMessages(bool bActifs);
  void BasculeTextes(bool bActifs);
  CIconButton* Bouton(const QString& szIcone, const QString& szNom, QWidget* pParent);

  const CClock& m_horloge;
  CIconButton* m_pLogo;
  CIconButton* m_pAvertissement;
  CTextBox* m_pHorloge;
  CZoneVuMetres* m_pMetres;
  CIconButton* m_pNiveaux;
  CIconButton* m_pConfiguration;
  CIconButton* m_pMessages;
  CTextBox* m_pStatus;
  CIconButton* m_pPlan;
  CIconButton* m_pTextes;
  CIconButton* m_pGestionTextes;
  CIconButton* m_pProgramme;
  CIconButton* m_pManuel;
  std::vector<float> m_vNiveaux;  // readings of one tick, dB
  std::vector<float> m_vCretes;
  std::vector<float> m_vAlarmes;  // highest since the last click, dB
  std::string m_szStatus;         // last text read, so that an unchanged one costs no conversion
};

}  // namespace tonara
