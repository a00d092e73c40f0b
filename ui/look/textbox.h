// A sunken box that shows short text which changes often: the clock and the status line. It repaints
// only when its text changes and never asks for a new layout. Lines that are too long are cut in the
// middle, and then the tool tip holds the whole text.
#pragma once

#include <QFrame>
#include <QString>
#include <QStringList>

namespace tonara {

class CTextBox final : public QFrame {
  Q_OBJECT

 public:
  enum class Cadrage { Gauche, Centre };

  /// A box as high as nLignes lines and at least as wide as szModele in the present font.
  CTextBox(int nLignes, const QString& szModele, Cadrage eCadrage, QWidget* pParent);

  /// Line feeds (with or without carriage return) part the lines.
  void SetTexte(const QString& szTexte);
  [[nodiscard]] const QString& Texte() const { return m_szTexte; }
  /// Inner margins in logical pixels; left is also where text begins with Cadrage::Gauche.
  void SetMarges(int nCotes, int nHautBas);

  [[nodiscard]] QSize sizeHint() const override;
  [[nodiscard]] QSize minimumSizeHint() const override { return sizeHint(); }

 protected:
  void paintEvent(QPaintEvent* pEvent) override;
  void showEvent(QShowEvent* pEvent) override;
  void resizeEvent(QResizeEvent* pEvent) override;
  void changeEvent(QEvent* pEvent) override;

 private:
  void Decoupe();

  QString m_szTexte;
  QString m_szModele;
  QStringList m_vLignes;  // as painted
  int m_nLignes;
  Cadrage m_eCadrage;
  int m_nMargeCotes = 8;
  int m_nMargeHautBas = 4;
};

}  // namespace tonara
