#pragma once

#include <QString>

namespace tonalith {

class Prompts;

// Puts text on the clipboard; what goes wrong is told.  `title` heads the message.
bool CopyText(Prompts& prompts, const QString& text, const char* title = "Clipboard");

}  // namespace tonalith
