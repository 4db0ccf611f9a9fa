#pragma once

#include <QDialog>
#include <vector>

#include "studio/ui/studio_host.h"

class QPlainTextEdit;

namespace tonalith {

// A text to read, save and copy.
class StudioReportWindow final : public QDialog {
  Q_OBJECT

 public:
  // `file` is the suggested name of a saved text.
  StudioReportWindow(const QString& title, const QString& text, const std::string& folder, const std::string& file,
                     Prompts& prompts, QWidget* parent = nullptr);
  void Save();
  void Copy();
  QString text() const;

 private:
  QPlainTextEdit* text_;
  std::string folder_, file_;
  Prompts& prompts_;
};

// Prints the studio's listing: the system's dialog when there is a printer, else a PDF file whose name is asked for.
void PrintStudio(const ZKStudioDoc& studio, Prompts& prompts, QWidget* parent);
// Writes it to a PDF file whose name is asked for.
void PrintStudioToPdf(const ZKStudioDoc& studio, Prompts& prompts);

}  // namespace tonalith
