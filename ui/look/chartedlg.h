// The dialog "Charte Texte": font, colours and ground of a text band. Main thread.
#pragma once

#include <QDialog>
#include <cstdint>
#include <string>

class QLabel;
class QListWidget;
class QLineEdit;

namespace tonara {

/// The last four items of the band's text style. Colours are 0x00BBGGRR.
struct Charte {
  uint32_t m_crFond = 0;
  uint32_t m_crTexte = 0;
  int32_t m_iPctAlpha = 0;  ///< opacity of the ground in percent
  std::string m_szFont;

  bool operator==(const Charte&) const = default;
};

class CCharteDlg final : public QDialog {
  Q_OBJECT

 public:
  CCharteDlg(const Charte& charte, QWidget* pParent);

  [[nodiscard]] const Charte& Resultat() const { return m_charte; }

 private:
  void ChoisitCouleur(uint32_t* pcrCouleur, const QString& szTitre);
  void DessineApercu();

  Charte m_charte;
  QListWidget* m_pFontes;
  QLabel* m_pApercu;
  QLineEdit* m_pOpacite;
};

/// Edits *pCharte; true, with the new values, if the operator applied them. Returns when he has answered.
bool ChoisirCharte(QWidget* pParent, Charte* pCharte);

}  // namespace tonara
