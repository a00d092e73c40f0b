// Level bars. CVuMeter is one bar: its place, colours and the two values that it shows. CZoneVuMetres is
// the window they stand in. No attack, decay or hold: a bar shows the latest reading. Main thread.
#pragma once

#include <QColor>
#include <QRect>
#include <QWidget>
#include <vector>

class QPainter;

namespace tonara {

/// The floor that readings of 16-bit sound have, in dB: what idle bars show.
inline constexpr float kNiveauRepos = -110.0F;

class CVuMeter {
 public:
  static constexpr int kVersLaDroite = 1;

  virtual ~CVuMeter() = default;

  /// Place in the window, colours, and the direction: 1 grows rightward, any other value upward. True.
  bool Attach(QWidget* pFenetre, const QRect& place, QColor cBarre, QColor cFond, int iSens);
  /// From here on nothing is drawn. True.
  bool Detach();
  /// False, and nothing is drawn, if both values (dB) are those shown last; else Draw. From 0 dB on the
  /// second value turns the bar to the alarm colour.
  bool Update(float fLevel, float fMax);
  void SetCouleurs(QColor cBarre, QColor cAlarme);
  /// Stores the values and has the bar's own rectangle painted. False while detached.
  bool Draw(float fLevel, float fMax);
  /// Moves the bar when its window has another size.
  void SetPlace(const QRect& place) { m_Rect = place; }
  /// What Draw asked for; from the window's paint event.
  void Peint(QPainter& peintre) const;
  [[nodiscard]] bool IsAlarme() const { return m_fMax >= 0.0F; }

 private:
  QWidget* m_hWnd = nullptr;
  QRect m_Rect;
  QColor m_cBarre{0, 255, 0};
  QColor m_cAlarme{255, 0, 0};
  QColor m_cFond{0xC6, 0xC6, 0xC6};
  int m_iSens = kVersLaDroite;
  float m_fLevel = 0.0F;
  float m_fMax = 0.0F;
};

/// Bars one under the other, rightward, in the colours of the program. While one is in alarm the keyboard
/// comes by, for the space bar to do what a click does.
class CZoneVuMetres final : public QWidget {
  Q_OBJECT

 public:
  CZoneVuMetres(int nBarres, QWidget* pParent);

  [[nodiscard]] int NbBarres() const { return static_cast<int>(m_vMetres.size()); }
  /// One pair of values a bar, as in CVuMeter::Update.
  void Update(int nBarre, float fLevel, float fMax);
  [[nodiscard]] QSize sizeHint() const override;

 signals:
  void Clic();

 protected:
  void paintEvent(QPaintEvent* pEvent) override;
  void resizeEvent(QResizeEvent* pEvent) override;
  void mousePressEvent(QMouseEvent* pEvent) override;
  void keyPressEvent(QKeyEvent* pEvent) override;
  void focusOutEvent(QFocusEvent* pEvent) override;

 private:
  [[nodiscard]] QRect Place(int nBarre) const;
  void RegleFocus();
  std::vector<CVuMeter> m_vMetres;
};

}  // namespace tonara
