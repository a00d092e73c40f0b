#include "ui/look/look.h"

#include <QApplication>
#include <QCalendarWidget>
#include <QGridLayout>
#include <QLocale>
#include <QMessageBox>
#include <QPainter>
#include <QPalette>
#include <QPushButton>
#include <QSvgRenderer>
#include <QTextCharFormat>
#include <QToolButton>
#include <QWidget>
#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>

#include "ui/look/francais.h"
#include "ui/look/style.h"

// The drawings live in a static library, whose resources register themselves only when called. The
// call must stand outside any namespace.
static void ChargeDessins() {
  Q_INIT_RESOURCE(look);
}

namespace tonara {
namespace {

constexpr QColor kCouleurRepos{122, 29, 32};  // of the days of rest in calendars

QPalette Palette() {
  QPalette palette(kCouleurAfficheur, kCouleurFond);
  for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText,
                                         QPalette::BrightText, QPalette::ToolTipText, QPalette::Link}) {
    palette.setColor(role, kCouleurTexte);
  }
  palette.setColor(QPalette::Base, kCouleurAfficheur);
  palette.setColor(QPalette::AlternateBase, kCouleurAfficheur.lighter(108));
  palette.setColor(QPalette::ToolTipBase, kCouleurAfficheur.lighter(125));
  palette.setColor(QPalette::Highlight, kCouleurTexte);
  palette.setColor(QPalette::HighlightedText, kCouleurAfficheur);
  QColor pale = kCouleurTexte;
  pale.setAlpha(182);  // 4.6 to 1 on the window's ground
  palette.setColor(QPalette::PlaceholderText, pale);
  for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
    palette.setColor(QPalette::Disabled, role, pale);
  }
  // The groove of a slider that can't be moved, the selected line of a list that can't be used.
  palette.setColor(QPalette::Disabled, QPalette::Highlight, QColor(178, 141, 55));
  palette.setColor(QPalette::Disabled, QPalette::Button, QColor(255, 195, 45));
  return palette;
}

}  // namespace

void ApplyLook(QApplication& app) {
  ChargeDessins();
  InstalleFrancais(app);
  QLocale::setDefault(QLocale(QLocale::French, QLocale::France));
  QApplication::setStyle(std::make_unique<CStyle>().release());  // the application's
  QApplication::setPalette(Palette());
  // Two sizes are enough: a panel's and a window list's. Others are scaled from them by the desktop.
  QIcon icone;
  for (const int nCote : {24, 64}) icone.addPixmap(DessineIcone(QStringLiteral("tonara"), {nCote, nCote}, 1.0));
  app.setWindowIcon(icone);
}

QFont FonteHorloge(const QWidget& widget) {
  // Behind it are fonts of its own widths, for systems that don't have it.
  QFont fonte(QStringList{QStringLiteral("Times New Roman"), QStringLiteral("Liberation Serif"),
                          QStringLiteral("Nimbus Roman"), QStringLiteral("TeX Gyre Termes"), QStringLiteral("Tinos")});
  fonte.setStyleHint(QFont::Serif);
  // A cell of 35 pixels holds letters of 32: the rest is the room above and below them.
  fonte.setPixelSize(TailleSelonFonte(widget, {0, 32}).height());
  return fonte;
}

QPixmap DessineIcone(const QString& szNom, QSize taille, qreal fRatio) {
  QSvgRenderer dessin(QStringLiteral(":/tonara/icons/%1.svg").arg(szNom));
  if (!dessin.isValid()) return {};
  dessin.setAspectRatioMode(Qt::KeepAspectRatio);
  QPixmap image((QSizeF(taille) * fRatio).toSize());
  image.fill(Qt::transparent);
  QPainter peintre(&image);
  peintre.setRenderHint(QPainter::Antialiasing);
  dessin.render(&peintre);
  peintre.end();
  image.setDevicePixelRatio(fRatio);
  return image;
}

QIcon IconeLigne(const char* szNom, const QWidget& fenetre) {
  const QPixmap dessin =
      DessineIcone(QString::fromLatin1(szNom), {kCoteLigne, kCoteLigne}, std::ceil(fenetre.devicePixelRatioF()));
  QPixmap choisie(dessin.size());
  choisie.setDevicePixelRatio(dessin.devicePixelRatio());
  choisie.fill(Qt::transparent);
  QPainter peintre(&choisie);
  peintre.setRenderHint(QPainter::Antialiasing);
  peintre.setPen(Qt::NoPen);
  peintre.setBrush(kCouleurAfficheur);
  peintre.drawRoundedRect(QRectF(0, 0, kCoteLigne, kCoteLigne), 3, 3);
  peintre.drawPixmap(QRectF(1, 1, kCoteLigne - 2, kCoteLigne - 2), dessin, QRectF(dessin.rect()));
  peintre.end();
  QIcon image(dessin);
  image.addPixmap(choisie, QIcon::Selected);
  return image;
}

QSize TailleSelonFonte(const QWidget& widget, QSize taille) {
  constexpr double kHauteurUsuelle = 14.0;  // of 9 points at 96 dots an inch
  return taille * std::max(1.0, widget.fontMetrics().height() / kHauteurUsuelle);
}

void AddToolTip(QWidget* pControle, const QString& szTexte) {
  pControle->setToolTip(szTexte);
  pControle->window()->setAttribute(Qt::WA_AlwaysShowToolTips);
}

void RemoveToolTip(QWidget* pControle) {
  pControle->setToolTip({});
}

void HabilleCalendrier(QCalendarWidget* pCalendrier) {
  pCalendrier->setLocale(QLocale(QLocale::French, QLocale::France));
  pCalendrier->setFirstDayOfWeek(Qt::Monday);
  pCalendrier->setVerticalHeaderFormat(QCalendarWidget::NoVerticalHeader);
  QTextCharFormat repos;
  repos.setForeground(kCouleurRepos);
  for (const Qt::DayOfWeek eJour : {Qt::Saturday, Qt::Sunday}) pCalendrier->setWeekdayTextFormat(eJour, repos);
  // The bar with the month takes the colour of selections; its arrows are dark.
  if (auto* pBarre = pCalendrier->findChild<QWidget*>(QStringLiteral("qt_calendar_navigationbar"))) {
    QPalette palette;
    palette.setColor(QPalette::Highlight, kCouleurFond);
    palette.setColor(QPalette::HighlightedText, kCouleurTexte);
    pBarre->setPalette(palette);
  }
  constexpr std::pair<const char*, const char*> kFleches[] = {{"qt_calendar_prevmonth", "nav-back"},
                                                              {"qt_calendar_nextmonth", "nav-forward"}};
  for (const auto& [szBouton, szImage] : kFleches) {
    auto* pBouton = pCalendrier->findChild<QToolButton*>(QLatin1String(szBouton));
    if (pBouton != nullptr) pBouton->setIcon(IconeLigne(szImage, *pCalendrier));
  }
}

void HabilleBoite(QMessageBox* pBoite) {
  constexpr int kCote = 40;
  pBoite->setTextFormat(Qt::PlainText);
  pBoite->setIconPixmap(DessineIcone(QStringLiteral("warning"), {kCote, kCote}, pBoite->devicePixelRatioF()));
  for (QAbstractButton* pBouton : pBoite->buttons()) pBouton->setIcon(QIcon());
  // The drawing stands beside the first two rows: a text of one line is centred on it.
  if (auto* pGrille = qobject_cast<QGridLayout*>(pBoite->layout())) pGrille->setRowMinimumHeight(0, kCote);
}

QMessageBox* ShowBox(QWidget* pParent, const QString& szTexte, const QString& szTitre) {
  QString szCorps = szTexte;
  szCorps.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
  for (QMessageBox* pBoite : pParent->findChildren<QMessageBox*>(QString(), Qt::FindDirectChildrenOnly)) {
    if (pBoite->isVisible() && pBoite->windowTitle() == szTitre) {
      pBoite->setText(szCorps);
      return pBoite;
    }
  }
  auto* pBoite = new QMessageBox(QMessageBox::NoIcon, szTitre, szCorps, QMessageBox::Ok, pParent);
  HabilleBoite(pBoite);
  pBoite->setAttribute(Qt::WA_DeleteOnClose);
  pBoite->open();
  return pBoite;
}

}  // namespace tonara
