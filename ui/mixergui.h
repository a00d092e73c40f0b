// The panel "Réglage des niveaux audio": four vertical sliders for the levels of messages, music and
// Autofade. Music and Autofade are heard while the slider moves. Modeless and single. Main thread.
#pragma once

#include <QPointer>
#include <array>

class QWidget;

namespace tonara {

class CMixout;
class CNiveauxDlg;

class CMixerGUI {
 public:
  enum Index : int { kMessageAudio = 0, kMessageVideo = 1, kMusique = 2, kAutofade = 3 };
  static constexpr int kNiveauMin = -60;  ///< dB, the bottom of a slider; the top is 0

  virtual ~CMixerGUI() = default;

  /// Opens the panel for that mixer. False if there is no mixer or the panel is open already.
  bool Open(QWidget* pParent, CMixout* pMixout);
  /// Closes it, which saves the settings. For the program's end.
  void Close();
  [[nodiscard]] bool IsOpen() const;
  /// Level of a slider in whole dB; 0 while the panel is closed.
  [[nodiscard]] int GetValeur(int nIndex) const;
  /// Moves a slider, and applies the level in any case.
  void SetValeur(int nIndex, int nDb);
  void SetMessageEnCours(bool bEnCours) { m_bMessageEnCours = bEnCours; }

 private:
  bool m_bMessageEnCours = false;  // a copy of the calendar's flag; nothing here depends on it yet
  QPointer<CNiveauxDlg> m_hDlgNiveaux;
};

extern CMixerGUI g_MixerGUI;

}  // namespace tonara
