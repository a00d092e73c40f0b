// The look that all windows of the program share: colours, fonts, margins, icon drawings, tool tips
// and message boxes. Main thread, after the QApplication.
#pragma once

#include <QColor>
#include <QFont>
#include <QIcon>
#include <QPixmap>
#include <QSize>
#include <QString>

class QApplication;
class QCalendarWidget;
class QMessageBox;
class QWidget;

namespace tonara {

inline constexpr QColor kCouleurFond{255, 187, 17};       ///< windows and static controls
inline constexpr QColor kCouleurAfficheur{255, 203, 76};  ///< status line, clock, fields
inline constexpr QColor kCouleurTexte{33, 35, 58};

inline constexpr int kMarge = 12;         ///< from a window's edge, logical pixels
inline constexpr int kEspace = 8;         ///< between neighbours
inline constexpr int kEspaceGroupe = 10;  ///< between groups

/// The product's web site.
inline constexpr char kSiteWeb[] = "https://www.tonara.example/";

/// Style, palette and window icon of every window. Once, at the start. The style is drawn without
/// style sheets: these cost a polish of every widget and a repaint of more than has changed.
void ApplyLook(QApplication& app);

/// The clock's font: "Times New Roman", or what the system gives for it, 35 logical pixels high, and more where
/// that widget's text is larger than usual.
QFont FonteHorloge(const QWidget& widget);

/// One of our drawings (ui/look/icons, without extension) as a pixmap of that size in logical pixels, sharp
/// at that device pixel ratio. Null for an unknown name.
QPixmap DessineIcone(const QString& szNom, QSize taille, qreal fRatio);

/// The side of the drawings in the lines of lists and trees, logical pixels.
inline constexpr int kCoteLigne = 16;

/// One of our drawings for the lines of a list or tree, sharp where that window stands; for the selected
/// line, whose ground is dark, the same on a pale plate.
QIcon IconeLigne(const char* szNom, const QWidget& fenetre);

/// A size laid out for the usual font, larger in proportion where the widget's font is larger.
QSize TailleSelonFonte(const QWidget& widget, QSize taille);

/// Tool tip of a control, shown also while its window is inactive.
void AddToolTip(QWidget* pControle, const QString& szTexte);
void RemoveToolTip(QWidget* pControle);

/// A calendar in our colours: French, with Monday first and no bright red for the days of rest.
void HabilleCalendrier(QCalendarWidget* pCalendrier);

/// Gives a message box, whose buttons are there already, our drawing instead of the toolkit's.
void HabilleBoite(QMessageBox* pBoite);

/// Shows a message box over the parent and returns at once: timers and messages go on, and the end of
/// the program need not wait for an operator. While a box of that caption is open over the parent, it
/// takes the new text instead of a second one coming up. The box deletes itself when closed.
QMessageBox* ShowBox(QWidget* pParent, const QString& szTexte, const QString& szTitre);

}  // namespace tonara
