#include "ui/clipboard.h"

#include <QClipboard>
#include <QGuiApplication>

#include "platform/prompts.h"

namespace tonalith {

bool CopyText(Prompts& prompts, const QString& text, const char* title) {
  QClipboard* clipboard = QGuiApplication::clipboard();
  if (!clipboard) {
    prompts.Say(title, "Cannot open the Clipboard");
    return false;
  }
  clipboard->setText(text);
  if (text.isEmpty() || clipboard->ownsClipboard() || clipboard->text() == text) return true;
  prompts.Say(title, "Unable to set Clipboard data");
  return false;
}

}  // namespace tonalith
