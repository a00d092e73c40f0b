#include "ui/look/champnombre.h"

#include <QRegularExpression>
#include <QRegularExpressionValidator>
#include <algorithm>

namespace tonara {
namespace {

constexpr QColor kCouleurAlerte{255, 0, 0};
constexpr int kAutour = 22;  // frame and margins of a field, logical pixels

}  // namespace

CChampNombre::CChampNombre(int nChiffres, QWidget* pParent) : QLineEdit(pParent), m_nChiffres(nChiffres) {
  static const QRegularExpression s_chiffres(QStringLiteral("[0-9]*"));
  setValidator(new QRegularExpressionValidator(s_chiffres, this));
  setMaxLength(nChiffres);
  setAlignment(Qt::AlignCenter);
  QFont gras(font());
  gras.setBold(true);
  setFixedWidth(QFontMetrics(gras).horizontalAdvance(QString(nChiffres, QLatin1Char('0'))) + kAutour);
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
    // White on this red stands out by less than other text does, so it is bold.
    fonte.setBold(true);
    palette.setColor(QPalette::Base, kCouleurAlerte);
    palette.setColor(QPalette::Text, Qt::white);
  }
  setFont(fonte);
  setPalette(palette);
}

}  // namespace tonara
