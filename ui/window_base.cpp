#include "ui/window_base.h"

#include <QCloseEvent>

namespace tonalith {

void ZKWindow::closeEvent(QCloseEvent* event) {
  if (!VerifyClose()) {
    event->ignore();
    return;
  }
  emit Closing();
  event->accept();
}

}  // namespace tonalith
