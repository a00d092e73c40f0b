#include "ui/look/style.h"

#include <QAbstractScrollArea>
#include <QPainter>
#include <QPainterPath>
#include <QStyleFactory>
#include <QStyleOptionComboBox>

#include "ui/look/look.h"

namespace tonara {
namespace {

// Fusion draws its outlines in the window's colour, darkened by 1.4. From this one it comes to an outline that
// stands out from the ground by more than 3 to 1.
constexpr QColor kSousContour{160, 125, 50};
constexpr QColor kContour{114, 89, 36};
constexpr qreal kTraitFocus = 1.8;
constexpr qreal kRondeurFocus = 2.5;
constexpr int kRondeurBulle = 6;
constexpr int kMargeBulle = 5;

/// The option with stronger outlines, and as if the focus had come by the keyboard: it shows always.
template <class T>
T Renforce(const T& option) {
  T forte(option);
  forte.palette.setColor(QPalette::Window, kSousContour);
  forte.state |= QStyle::State_KeyboardFocusChange;
  return forte;
}

void Cadre(QPainter* pPeintre, const QRectF& place, qreal fRondeur, const QPen& trait, const QBrush& fond) {
  pPeintre->save();
  pPeintre->setRenderHint(QPainter::Antialiasing);
  pPeintre->setPen(trait);
  pPeintre->setBrush(fond);
  const qreal fDemi = trait.widthF() / 2;
  pPeintre->drawRoundedRect(place.adjusted(fDemi, fDemi, -fDemi, -fDemi), fRondeur, fRondeur);
  pPeintre->restore();
}

void CadreFocus(QPainter* pPeintre, const QStyleOption& option, qreal fRondeur = kRondeurFocus) {
  if ((option.state & QStyle::State_HasFocus) == 0) return;
  Cadre(pPeintre, option.rect, fRondeur, QPen(kCouleurTexte, kTraitFocus), Qt::NoBrush);
}

}  // namespace

CStyle::CStyle() : QProxyStyle(QStyleFactory::create(QStringLiteral("Fusion"))) {}

void CStyle::drawPrimitive(PrimitiveElement eElement, const QStyleOption* pOption, QPainter* pPeintre,
                           const QWidget* pWidget) const {
  const bool bFocus = (pOption->state & State_HasFocus) != 0;
  switch (eElement) {
    case PE_FrameFocusRect:
      // In a list it is the frame of the list, and the line, that tell.
      if ((pOption->state & State_Item) != 0 && (pOption->state & State_Selected) != 0) return;
      Cadre(pPeintre, pOption->rect, 3, QPen(kCouleurTexte, kTraitFocus), Qt::NoBrush);
      return;
    case PE_Frame:
      if (qobject_cast<const QAbstractScrollArea*>(pWidget) == nullptr) break;
      pPeintre->fillRect(pOption->rect, bFocus ? kCouleurTexte : kContour);
      if (!bFocus) pPeintre->fillRect(pOption->rect.adjusted(1, 1, -1, -1), pOption->palette.base());
      return;
    case PE_PanelTipLabel:
      Cadre(pPeintre, pOption->rect, kRondeurBulle, QPen(kCouleurTexte, 1), pOption->palette.toolTipBase());
      return;
    case PE_IndicatorCheckBox:
    case PE_IndicatorRadioButton:
    case PE_PanelButtonCommand:
      if (const auto* pBouton = qstyleoption_cast<const QStyleOptionButton*>(pOption)) {
        const QStyleOptionButton forte = Renforce(*pBouton);
        QProxyStyle::drawPrimitive(eElement, &forte, pPeintre, pWidget);
        if (eElement == PE_PanelButtonCommand) CadreFocus(pPeintre, forte);
        return;
      }
      break;
    case PE_PanelLineEdit:
    case PE_FrameLineEdit:
      if (const auto* pCadre = qstyleoption_cast<const QStyleOptionFrame*>(pOption)) {
        const QStyleOptionFrame forte = Renforce(*pCadre);
        QProxyStyle::drawPrimitive(eElement, &forte, pPeintre, pWidget);
        if (pCadre->lineWidth > 0) CadreFocus(pPeintre, forte);
        return;
      }
      break;
    default:
      break;
  }
  QProxyStyle::drawPrimitive(eElement, pOption, pPeintre, pWidget);
}

void CStyle::drawComplexControl(ComplexControl eControle, const QStyleOptionComplex* pOption, QPainter* pPeintre,
                                const QWidget* pWidget) const {
  if (const auto* pListe = qstyleoption_cast<const QStyleOptionComboBox*>(pOption)) {
    const QStyleOptionComboBox forte = Renforce(*pListe);
    QProxyStyle::drawComplexControl(eControle, &forte, pPeintre, pWidget);
    CadreFocus(pPeintre, forte);
  } else if (const auto* pChamp = qstyleoption_cast<const QStyleOptionSpinBox*>(pOption)) {
    const QStyleOptionSpinBox forte = Renforce(*pChamp);
    QProxyStyle::drawComplexControl(eControle, &forte, pPeintre, pWidget);
    CadreFocus(pPeintre, forte);
  } else if (const auto* pGlissiere = qstyleoption_cast<const QStyleOptionSlider*>(pOption);
             pGlissiere != nullptr && eControle == CC_Slider) {
    const QStyleOptionSlider forte = Renforce(*pGlissiere);
    QProxyStyle::drawComplexControl(eControle, &forte, pPeintre, pWidget);
    CadreFocus(pPeintre, forte, 6);
  } else {
    QProxyStyle::drawComplexControl(eControle, pOption, pPeintre, pWidget);
  }
}

int CStyle::pixelMetric(PixelMetric eMesure, const QStyleOption* pOption, const QWidget* pWidget) const {
  if (eMesure == PM_ToolTipLabelFrameWidth) return kMargeBulle;
  const bool bIndicateur = eMesure == PM_IndicatorWidth || eMesure == PM_IndicatorHeight ||
                           eMesure == PM_ExclusiveIndicatorWidth || eMesure == PM_ExclusiveIndicatorHeight;
  if (bIndicateur && pWidget != nullptr) {
    const int nCote = QProxyStyle::pixelMetric(eMesure, pOption, pWidget);
    return TailleSelonFonte(*pWidget, {nCote, nCote}).width();
  }
  // The size of our drawings for lines: the toolkit's own for lists is larger, and a sharp screen would get that.
  if (eMesure == PM_ListViewIconSize) return kCoteLigne;
  // Room for a thicker line around the list that has the keyboard.
  if (eMesure == PM_DefaultFrameWidth && qobject_cast<const QAbstractScrollArea*>(pWidget) != nullptr) return 2;
  return QProxyStyle::pixelMetric(eMesure, pOption, pWidget);
}

QSize CStyle::sizeFromContents(ContentsType eGenre, const QStyleOption* pOption, const QSize& taille,
                               const QWidget* pWidget) const {
  QSize place = QProxyStyle::sizeFromContents(eGenre, pOption, taille, pWidget);
  // Air beside the text that grows with it.
  if (eGenre == CT_PushButton && pOption != nullptr) place.rwidth() += pOption->fontMetrics.height() / 2;
  return place;
}

int CStyle::styleHint(StyleHint eTrait, const QStyleOption* pOption, const QWidget* pWidget,
                      QStyleHintReturn* pRetour) const {
  if (eTrait == SH_ToolTip_Mask) {
    // A balloon: round at its corners.
    auto* pMasque = qstyleoption_cast<QStyleHintReturnMask*>(pRetour);
    if (pMasque == nullptr || pOption == nullptr) return 0;
    QPainterPath contour;
    contour.addRoundedRect(pOption->rect, kRondeurBulle, kRondeurBulle);
    pMasque->region = QRegion(contour.toFillPolygon().toPolygon());
    return 1;
  }
  // A shadow behind pale text makes it harder to read.
  if (eTrait == SH_EtchDisabledText) return 0;
  return QProxyStyle::styleHint(eTrait, pOption, pWidget, pRetour);
}

}  // namespace tonara
