// A drawing that reacts to a click or the space bar: the program's icon buttons and toggles.
#pragma once

#include <QAbstractButton>
#include <QPixmap>

namespace tonara {

class CIconButton final : public QAbstractButton {
  Q_OBJECT

 public:
  static constexpr int kBord = 5;  ///< room around the drawing, for the focus frame

  /// One drawing (see DessineIcone), of that size in logical pixels beside text of the usual size.
  CIconButton(const QString& szIcone, QSize taille, QWidget* pParent);
  /// A toggle with two drawings, for on (checked) and off.
  CIconButton(const QString& szIconeOn, const QString& szIconeOff, QSize taille, QWidget* pParent);

  [[nodiscard]] QSize sizeHint() const override;
  [[nodiscard]] QSize minimumSizeHint() const override { return sizeHint(); }

 protected:
  void paintEvent(QPaintEvent* pEvent) override;
  /// Enter is the window's, never the button's.
  void keyPressEvent(QKeyEvent* pEvent) override;

 private:
  const QPixmap& Image();

  QString m_szIcone[2];  // off or only one, on
  QSize m_taille;
  QPixmap m_image[2];  // drawn when first shown, and anew when the screen's scale changes
};

}  // namespace tonara
