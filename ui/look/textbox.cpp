#include "ui/look/textbox.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QEvent>
#include <QFontMetrics>
#include <QPainter>

namespace tonara {
namespace {

// To a screen reader the box is a static text: its name says what it shows, its value is the text.
class CTextBoxAccessible final : public QAccessibleWidget {
 public:
  explicit CTextBoxAccessible(CTextBox* pBoite) : QAccessibleWidget(pBoite, QAccessible::StaticText) {}
  [[nodiscard]] QString text(QAccessible::Text eTexte) const override {
    if (eTexte == QAccessible::Value) return static_cast<CTextBox*>(widget())->Texte();
    return QAccessibleWidget::text(eTexte);
  }
};

QAccessibleInterface* FabriqueAccessible(const QString& /*szClasse*/, QObject* pObjet) {
  auto* pBoite = qobject_cast<CTextBox*>(pObjet);
  return pBoite != nullptr ? new CTextBoxAccessible(pBoite) : nullptr;
}

}  // namespace

CTextBox::CTextBox(int nLignes, const QString& szModele, Cadrage eCadrage, QWidget* pParent)
    : QFrame(pParent), m_szModele(szModele), m_nLignes(nLignes), m_eCadrage(eCadrage) {
  [[maybe_unused]] static const bool s_bFabrique = (QAccessible::installFactory(FabriqueAccessible), true);
  setFrameStyle(QFrame::Panel | QFrame::Sunken);
  setLineWidth(1);
  // Every pixel is painted here, so a new text doesn't repaint the window behind.
  setAttribute(Qt::WA_OpaquePaintEvent);
}

void CTextBox::SetTexte(const QString& szTexte) {
  if (szTexte == m_szTexte) return;
  m_szTexte = szTexte;
  if (isVisible()) {
    Decoupe();
    update();
  }
  if (QAccessible::isActive()) {
    QAccessibleValueChangeEvent evenement(this, m_szTexte);
    QAccessible::updateAccessibility(&evenement);
  }
}

void CTextBox::SetMarges(int nCotes, int nHautBas) {
  m_nMargeCotes = nCotes;
  m_nMargeHautBas = nHautBas;
  updateGeometry();
}

QSize CTextBox::sizeHint() const {
  const QFontMetrics mesure(font());
  return {mesure.horizontalAdvance(m_szModele) + 2 * (m_nMargeCotes + frameWidth()),
          mesure.lineSpacing() * m_nLignes + 2 * (m_nMargeHautBas + frameWidth())};
}

void CTextBox::Decoupe() {
  const QFontMetrics mesure(font());
  const int nPlace = width() - 2 * (m_nMargeCotes + frameWidth());
  bool bCoupe = false;
  m_vLignes.clear();
  for (const QString& szLigne : m_szTexte.split(QLatin1Char('\n'))) {
    if (m_vLignes.size() == m_nLignes) {
      bCoupe = true;
      break;
    }
    m_vLignes += mesure.elidedText(szLigne.trimmed(), Qt::ElideMiddle, nPlace);
    bCoupe = bCoupe || m_vLignes.back() != szLigne.trimmed();
  }
  const QString szBulle = bCoupe ? m_szTexte : QString();
  if (toolTip() != szBulle) setToolTip(szBulle);
}

void CTextBox::paintEvent(QPaintEvent* /*pEvent*/) {
  QPainter peintre(this);
  peintre.fillRect(rect(), palette().color(QPalette::Base));
  drawFrame(&peintre);
  peintre.setPen(palette().color(QPalette::Text));
  const QRect interieur = contentsRect().adjusted(m_nMargeCotes, 0, -m_nMargeCotes, 0);
  const int nPas = QFontMetrics(font()).lineSpacing();
  int y = interieur.top() + (interieur.height() - nPas * static_cast<int>(m_vLignes.size())) / 2;
  const int iCadrage = m_eCadrage == Cadrage::Centre ? Qt::AlignHCenter : Qt::AlignLeft;
  for (const QString& szLigne : m_vLignes) {
    peintre.drawText(QRect(interieur.left(), y, interieur.width(), nPas), iCadrage | Qt::AlignVCenter, szLigne);
    y += nPas;
  }
}

void CTextBox::showEvent(QShowEvent* pEvent) {
  QFrame::showEvent(pEvent);
  Decoupe();
}

void CTextBox::resizeEvent(QResizeEvent* pEvent) {
  QFrame::resizeEvent(pEvent);
  Decoupe();
}

void CTextBox::changeEvent(QEvent* pEvent) {
  QFrame::changeEvent(pEvent);
  if (pEvent->type() == QEvent::FontChange) {
    updateGeometry();
    Decoupe();
    update();
  }
}

}  // namespace tonara
