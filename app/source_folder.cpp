#include "app/source_folder.h"

#include <QApplication>
#include <QFileDialog>

#include "ui/qt_text.h"

namespace tonalith {

std::string AskSourceFolder(const char* title, const std::string& at) {
  return ToUtf8(QFileDialog::getExistingDirectory(QApplication::activeWindow(),
                                                  QCoreApplication::translate("SourceFolder", title), FromUtf8(at)));
}

}  // namespace tonalith
