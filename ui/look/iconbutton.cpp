#include "ui/look/iconbutton.h"

#include <QKeyEvent>
#include <QPainter>
#include <QPainterPath>

#include "ui/look/look.h"

namespace tonara {

CIconButton::CIconButton(const QString& szIcone, QSize taille, QWidget* pParent)
    : QAbstractButton(pParent), m_szIcone{szIcone, szIcone}, m_taille(TailleSelonFonte(*this, taille)) {
  setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
  setCursor(Qt::PointingHandCursor);
  setAttribute(Qt::WA_Hover);
  setFocusPolicy(Qt::StrongFocus);
}

CIconButton::CIconButton(const QString& szIconeOn, const QString& szIconeOff, QSize taille, QWidget* pParent)
    : CIconButton(szIconeOff, taille, pParent) {
  m_szIcone[1] = szIconeOn;
  setCheckable(true);
}

QSize CIconButton::sizeHint() const {
  return m_taille + QSize(2 * kBord, 2 * kBord);
}

const QPixmap& CIconButton::Image() {
  QPixmap& image = m_image[isChecked() ? 1 : 0];
  if (image.isNull() || image.devicePixelRatio() != devicePixelRatioF()) {
    image = DessineIcone(m_szIcone[isChecked() ? 1 : 0], m_taille, devicePixelRatioF());
  }
  return image;
}

void CIconButton::paintEvent(QPaintEvent* /*pEvent*/) {
  QPainter peintre(this);
  peintre.setRenderHint(QPainter::Antialiasing);
  const QRectF cadre = QRectF(rect()).adjusted(1.5, 1.5, -1.5, -1.5);
  if (isDown() || underMouse()) {
    QColor fond = isDown() ? kCouleurTexte : QColor(Qt::white);
    fond.setAlpha(isDown() ? 45 : 90);
    peintre.setPen(Qt::NoPen);
    peintre.setBrush(fond);
    peintre.drawRoundedRect(cadre, 7, 7);
  }
  if (hasFocus()) {
    peintre.setPen(QPen(kCouleurTexte, 1.6));
    peintre.setBrush(Qt::NoBrush);
    peintre.drawRoundedRect(cadre, 7, 7);
  }
  if (!isEnabled()) peintre.setOpacity(0.45);
  peintre.drawPixmap(QPointF(width() - m_taille.width(), height() - m_taille.height()) / 2.0, Image());
}

void CIconButton::keyPressEvent(QKeyEvent* pEvent) {
  if (pEvent->key() == Qt::Key_Return || pEvent->key() == Qt::Key_Enter) {
    pEvent->ignore();
    return;
  }
  QAbstractButton::keyPressEvent(pEvent);
}

}  // namespace tonara
