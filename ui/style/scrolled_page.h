// What a scroll area shows when it holds texts that wrap: never less tall than they need at the width there is.
#pragma once

#include <QWidget>

namespace tonalith {

class ScrolledPage final : public QWidget {
 public:
  using QWidget::QWidget;

 protected:
  bool event(QEvent* event) override;
};

}  // namespace tonalith
