// A field for a whole number: digits only, no range.
#pragma once

#include <QLineEdit>

namespace tonara {

class CChampNombre final : public QLineEdit {
  Q_OBJECT

 public:
  /// Takes that many digits; a longer number that is shown (it came from a file) stays whole.
  CChampNombre(int nChiffres, QWidget* pParent);

  /// Shows a number, with zeros in front up to nChiffresMin digits. Emits textChanged as typing does.
  void Montre(uint32_t dwValeur, int nChiffresMin = 1);
  /// White on red, or as usual.
  void SetAlerte(bool bAlerte);
  [[nodiscard]] bool IsAlerte() const { return m_bAlerte; }

 private:
  const int m_nChiffres;
  bool m_bAlerte = false;
};

}  // namespace tonara
