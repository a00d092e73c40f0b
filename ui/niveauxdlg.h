// The window of CMixerGUI.
#pragma once

#include <QDialog>
#include <array>

class QLabel;
class QSlider;
class QVBoxLayout;

namespace tonara {

class CMixout;

class CNiveauxDlg final : public QDialog {
  Q_OBJECT

 public:
  CNiveauxDlg(QWidget* pParent, CMixout& mixout);

  [[nodiscard]] int GetValeur(int nIndex) const;
  void SetValeur(int nIndex, int nDb);

 public slots:
  /// The close box and Escape: what the sliders did stays and is saved. Enter does nothing.
  void reject() override;
  void accept() override {}

 private:
  struct Niveau {
    QLabel* pIcone = nullptr;
    QSlider* pSlider = nullptr;
    QLabel* pTexte = nullptr;
  };
  QVBoxLayout* Colonne(int nIndex, const QString& szIcone, const QString& szNom, QWidget* pParent);
  void Applique(int nIndex);

  CMixout& m_mixout;
  std::array<Niveau, 4> m_niveaux;
};

}  // namespace tonara
