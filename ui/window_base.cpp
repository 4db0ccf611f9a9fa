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

QString ZKWindow::RefusalOf(CommandId command) const {
  if (CommandEnabled(command)) return {};
  const QString reason = CommandRefusal(command);
  return reason.isEmpty() ? tr("The active window has nothing for this command.") : reason;
}

bool ZKWindow::CloseAsked() {
  QWidget* outer = parentWidget() && parentWidget()->inherits("QMdiSubWindow") ? parentWidget() : this;
  return outer->close();
}

void ZKWindow::CloseVerified() {
  verified_ = true;
  CloseAsked();
}

}  // namespace tonalith
