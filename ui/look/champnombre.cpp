#include "ui/look/champnombre.h"

#include <QRegularExpression>
#include <QRegularExpressionValidator>
#include <algorithm>

namespace tonara {
namespace {

constexpr QColor kCouleurAlerte{255, 0, 0};
constexpr int kAutour = 16;  // frame and margins of a field, logical pixels

/// White on this red stands out by 4.0 to 1 only. That is enough for large text, which begins at 14 points in bold.
QFont FonteAlerte() {
  constexpr int kPointsGrands = 14;
  QFont fonte;
  fonte.setBold(true);
  if (fonte.pointSize() < kPointsGrands) fonte.setPointSize(kPointsGrands);
  return fonte;
}

}  // namespace

CChampNombre::CChampNombre(int nChiffres, QWidget* pParent) : QLineEdit(pParent), m_nChiffres(nChiffres) {
  static const QRegularExpression s_chiffres(QStringLiteral("[0-9]*"));
  setValidator(new QRegularExpressionValidator(s_chiffres, this));
  setMaxLength(nChiffres);
  setAlignment(Qt::AlignCenter);
  // Nothing moves when the text grows: digits have room above and below.
  setFixedSize(QFontMetrics(FonteAlerte()).horizontalAdvance(QString(nChiffres, QLatin1Char('0'))) + kAutour,
               sizeHint().height());
}

void CChampNombre::Montre(uint32_t dwValeur, int nChiffresMin) {
  const QString szTexte = QStringLiteral("%1").arg(dwValeur, nChiffresMin, 10, QLatin1Char('0'));
  setMaxLength(std::max(m_nChiffres, static_cast<int>(szTexte.size())));
  setText(szTexte);
}

void CChampNombre::SetAlerte(bool bAlerte) {
  if (bAlerte == m_bAlerte) return;
  m_bAlerte = bAlerte;
  QFont fonte;
  QPalette palette;
  if (bAlerte) {
    fonte = FonteAlerte();
    palette.setColor(QPalette::Base, kCouleurAlerte);
    palette.setColor(QPalette::Text, Qt::white);
  }
  setFont(fonte);
  setPalette(palette);
}

}  // namespace tonara
