#include "ui/look/vumeter.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <algorithm>

#include "audio/pcm.h"
#include "ui/look/look.h"

namespace tonara {
namespace {

constexpr QColor kCouleurBarre{96, 103, 175};
constexpr int kHauteurBarre = 13;  // with one pixel between bars
constexpr int kLargeurZone = 220;

}  // namespace

bool CVuMeter::Attach(QWidget* pFenetre, const QRect& place, QColor cBarre, QColor cFond, int iSens) {
  m_hWnd = pFenetre;
  m_Rect = place;
  m_cBarre = cBarre;
  m_cFond = cFond;
  m_iSens = iSens;
  return true;
}

bool CVuMeter::Detach() {
  m_hWnd = nullptr;
  return true;
}

bool CVuMeter::Update(float fLevel, float fMax) {
  if (fLevel == m_fLevel && fMax == m_fMax) return false;
  return Draw(fLevel, fMax);
}

void CVuMeter::SetCouleurs(QColor cBarre, QColor cAlarme) {
  m_cBarre = cBarre;
  m_cAlarme = cAlarme;
}

bool CVuMeter::Draw(float fLevel, float fMax) {
  if (m_hWnd == nullptr) return false;
  m_fLevel = fLevel;
  m_fMax = fMax;
  m_hWnd->update(m_Rect);
  return true;
}

void CVuMeter::Peint(QPainter& peintre) const {
  if (m_hWnd == nullptr) return;
  // Readings are 10 x the natural logarithm of the peak, so this scale is close to linear.
  const float fPart = std::clamp(DbToGain(m_fLevel) * 1000.0F, 0.0F, 1000.0F) / 1000.0F;
  peintre.fillRect(m_Rect, m_cFond);
  const QColor couleur = IsAlarme() ? m_cAlarme : m_cBarre;
  if (m_iSens == kVersLaDroite) {
    const int nLongueur = static_cast<int>(static_cast<float>(m_Rect.width()) * fPart);
    if (nLongueur == 0) return;
    peintre.fillRect(m_Rect.left(), m_Rect.top(), nLongueur, m_Rect.height(), couleur);
    peintre.fillRect(m_Rect.left() + nLongueur - 1, m_Rect.top(), 1, m_Rect.height(), Qt::black);
  } else {
    const int nHauteur = static_cast<int>(static_cast<float>(m_Rect.height()) * fPart);
    if (nHauteur == 0) return;
    const int nHaut = m_Rect.bottom() + 1 - nHauteur;
    peintre.fillRect(m_Rect.left(), nHaut, m_Rect.width() - 1, nHauteur, couleur);
    peintre.fillRect(m_Rect.left(), nHaut, m_Rect.width() - 1, 1, Qt::black);
  }
}

CZoneVuMetres::CZoneVuMetres(int nBarres, QWidget* pParent)
    : QWidget(pParent), m_vMetres(static_cast<size_t>(std::clamp(nBarres, 0, 16))) {
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
  setAttribute(Qt::WA_OpaquePaintEvent);
  for (CVuMeter& metre : m_vMetres) {
    metre.Attach(this, {}, kCouleurBarre, kCouleurFond, CVuMeter::kVersLaDroite);
    metre.Draw(kNiveauRepos, kNiveauRepos);
  }
}

void CZoneVuMetres::Update(int nBarre, float fLevel, float fMax) {
  if (nBarre < 0 || nBarre >= NbBarres()) return;
  if (m_vMetres[static_cast<size_t>(nBarre)].Update(fLevel, fMax)) RegleFocus();
}

void CZoneVuMetres::RegleFocus() {
  const bool bAlarme =
      std::any_of(m_vMetres.begin(), m_vMetres.end(), [](const CVuMeter& metre) { return metre.IsAlarme(); });
  // What has the keyboard keeps it until it goes on by itself.
  const Qt::FocusPolicy ePolitique = bAlarme || hasFocus() ? Qt::TabFocus : Qt::NoFocus;
  if (focusPolicy() != ePolitique) setFocusPolicy(ePolitique);
}

QSize CZoneVuMetres::sizeHint() const {
  return TailleSelonFonte(*this, {kLargeurZone, std::max(NbBarres(), 2) * (kHauteurBarre + 1) + 1});
}

QRect CZoneVuMetres::Place(int nBarre) const {
  const int n = NbBarres();
  const int h = (height() - n - 1) / n;
  return {1, (h + 1) * nBarre + 1, width() - 3, h};
}

void CZoneVuMetres::paintEvent(QPaintEvent* pEvent) {
  QPainter peintre(this);
  // The gaps between bars, and the frame: without them empty bars could not be seen on the window's ground.
  peintre.fillRect(pEvent->rect(), kCouleurFond.darker(145));
  for (const CVuMeter& metre : m_vMetres) metre.Peint(peintre);
  if (!hasFocus()) return;
  peintre.setPen(QPen(kCouleurTexte, 2));
  peintre.drawRect(rect().adjusted(1, 1, -1, -1));
}

void CZoneVuMetres::resizeEvent(QResizeEvent* /*pEvent*/) {
  for (int i = 0; i < NbBarres(); ++i) m_vMetres[static_cast<size_t>(i)].SetPlace(Place(i));
}

void CZoneVuMetres::mousePressEvent(QMouseEvent* /*pEvent*/) {
  emit Clic();
}

void CZoneVuMetres::keyPressEvent(QKeyEvent* pEvent) {
  if (pEvent->key() == Qt::Key_Space) {
    emit Clic();
  } else {
    QWidget::keyPressEvent(pEvent);
  }
}

void CZoneVuMetres::focusOutEvent(QFocusEvent* pEvent) {
  QWidget::focusOutEvent(pEvent);
  RegleFocus();
}

}  // namespace tonara
