#include "app/windowplace.h"

#include <QMargins>
#include <QWindow>

namespace tonara {
namespace {

// No event tells for sure that the frame is there, so it is looked for, for a while.
constexpr int kPeriodeMs = 50;
constexpr int kTours = 40;

QPoint Bords(const QWidget& fenetre) {
  // Asked of the window itself: what the widget knows may date from before the frame.
  const QWindow* pFenetre = fenetre.windowHandle();
  const QMargins bords = pFenetre != nullptr ? pFenetre->frameMargins() : QMargins();
  return {bords.left(), bords.top()};
}

}  // namespace

CWindowPlace::CWindowPlace(QWidget& fenetre, QPoint coin) : m_fenetre(fenetre), m_coin(coin) {
  m_fenetre.move(coin);
  m_timer.callOnTimeout(this, &CWindowPlace::Corrige);
  m_timer.start(kPeriodeMs);
}

QPoint CWindowPlace::Coin() const {
  const QPoint dedans = m_fenetre.geometry().topLeft();
  // Closed before it could be corrected.
  return m_timer.isActive() && dedans == m_coin ? m_coin : dedans - Bords(m_fenetre);
}

void CWindowPlace::Corrige() {
  if (++m_nTours > kTours || !m_fenetre.isVisible()) m_timer.stop();
  // Anywhere else the operator or the window manager has put it.
  if (m_fenetre.geometry().topLeft() != m_coin || Bords(m_fenetre).isNull()) return;
  m_fenetre.windowHandle()->setPosition(m_coin + Bords(m_fenetre));
}

}  // namespace tonara
