#include "app/frame_context.h"

#include <QMainWindow>
#include <QStatusBar>
#include <QString>

#include "services/zkbasics.h"

namespace tonalith {

Prompts& FrameContext::prompts() const {
  return basics.prompts();
}

void FrameContext::Status(const QString& text) const {
  window.statusBar()->showMessage(text);
}

}  // namespace tonalith
