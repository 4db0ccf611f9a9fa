#include "app/frame_context.h"

#include <QCoreApplication>
#include <QMainWindow>
#include <QStatusBar>
#include <QString>

#include "app/child_windows.h"
#include "services/program.h"
#include "ui/plain_text.h"

namespace tonalith {

Prompts& FrameContext::prompts() const {
  return program.prompts();
}

void FrameContext::Status(const QString& text) const {
  ShowStatus(window.statusBar(), text);
}

QString NoWindowSentence(const FrameContext& frame) {
  return frame.children.Empty() ? QCoreApplication::translate("FrameContext", "No window is open.") : QString();
}

}  // namespace tonalith
