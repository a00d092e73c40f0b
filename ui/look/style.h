// The style of every window: the toolkit's Fusion with what an operator must see at a glance drawn
// stronger: where the keyboard is, and where a field, a list or a box to tick begins and ends.
#pragma once

#include <QProxyStyle>

namespace tonara {

class CStyle final : public QProxyStyle {
  Q_OBJECT

 public:
  CStyle();

  void drawPrimitive(PrimitiveElement eElement, const QStyleOption* pOption, QPainter* pPeintre,
                     const QWidget* pWidget) const override;
  void drawComplexControl(ComplexControl eControle, const QStyleOptionComplex* pOption, QPainter* pPeintre,
                          const QWidget* pWidget) const override;
  [[nodiscard]] int pixelMetric(PixelMetric eMesure, const QStyleOption* pOption,
                                const QWidget* pWidget) const override;
  [[nodiscard]] QSize sizeFromContents(ContentsType eGenre, const QStyleOption* pOption, const QSize& taille,
                                       const QWidget* pWidget) const override;
  int styleHint(StyleHint eTrait, const QStyleOption* pOption, const QWidget* pWidget,
                QStyleHintReturn* pRetour) const override;
};

}  // namespace tonara
