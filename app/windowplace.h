// Where a window's frame stands on the screen, and putting it there again.
#pragma once

#include <QPoint>
#include <QTimer>
#include <QWidget>

namespace tonara {

/// Puts a top-level window's frame at a place that was read at an earlier run. Under X11 the window manager
/// adds the frame some time after the window is shown, and Qt places what is inside it: uncorrected, the
/// title bar stands too high, and the window climbs by its height from run to run. Main thread.
class CWindowPlace final : public QObject {
 public:
  /// Before the window is shown. It outlives this object.
  CWindowPlace(QWidget& fenetre, QPoint coin);
  /// The frame's top left corner, as it is to be kept for the next run.
  [[nodiscard]] QPoint Coin() const;

 private:
  void Corrige();

  QWidget& m_fenetre;
  const QPoint m_coin;
  QTimer m_timer;
  int m_nTours = 0;
};

}  // namespace tonara
