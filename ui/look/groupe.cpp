#include "ui/look/groupe.h"

#include <QPainter>
#include <QStyleOptionGroupBox>

#include "ui/look/look.h"

namespace tonara {
namespace {

constexpr int kRetrait = 14;     // of the title from the left
constexpr int kAutourTitre = 5;  // gap between title and line

}  // namespace

void CGroupe::paintEvent(QPaintEvent* /*pEvent*/) {
  // Heights are the style's, so its inner margins hold. The frame is ours: the style derives its line from
  // the window's colour, on which it can hardly be seen.
  QStyleOptionGroupBox option;
  initStyleOption(&option);
  const QRect titre = style()->subControlRect(QStyle::CC_GroupBox, &option, QStyle::SC_GroupBoxLabel, this);
  QRect texte(kRetrait, titre.top(), option.fontMetrics.size(Qt::TextShowMnemonic, title()).width(), titre.height());

  QPainter peintre(this);
  peintre.setRenderHint(QPainter::Antialiasing);
  QColor trait = kCouleurTexte;
  trait.setAlpha(95);
  peintre.setPen(QPen(trait, 1.0));
  // The line passes behind the title and is left out there.
  peintre.setClipRegion(QRegion(rect()) - texte.adjusted(-kAutourTitre, 0, kAutourTitre, 0));
  peintre.drawRoundedRect(QRectF(rect()).adjusted(0.5, texte.center().y() + 0.5, -0.5, -0.5), 6, 6);
  peintre.setClipping(false);
  peintre.setPen(palette().color(QPalette::WindowText));
  peintre.drawText(texte.adjusted(0, 0, 1, 0), Qt::AlignLeft | Qt::AlignVCenter | Qt::TextShowMnemonic, title());
}

}  // namespace tonara
