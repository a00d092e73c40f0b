// A titled group of controls, drawn in the program's colours.
#pragma once

#include <QGroupBox>

namespace tonara {

class CGroupe final : public QGroupBox {
  Q_OBJECT

 public:
  using QGroupBox::QGroupBox;

 protected:
  void paintEvent(QPaintEvent* pEvent) override;
};

}  // namespace tonara
