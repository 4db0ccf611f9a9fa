#include "ui/window_base.h"

#include <QCloseEvent>

namespace tonalith {

void ZKWindow::closeEvent(QCloseEvent* event) {
  if (!verified_ && !VerifyClose()) {
    event->ignore();
    return;
  }
  emit Closing();
  event->accept();
}

void ZKWindow::CloseVerified() {
  verified_ = true;
  // The frame around it closes with it.
  QWidget* outer = parentWidget() && parentWidget()->inherits("QMdiSubWindow") ? parentWidget() : this;
  outer->close();
}

}  // namespace tonalith
