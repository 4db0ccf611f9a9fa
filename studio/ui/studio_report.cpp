#include "studio/ui/studio_report.h"

#include <QFontDatabase>
#include <QHBoxLayout>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "platform/atomic_file.h"
#include "ui/clipboard.h"
#include "ui/plain_text.h"
#include "ui/printing.h"
#include "ui/qt_text.h"
#include "ui/style/space.h"

namespace tonalith {

StudioReportWindow::StudioReportWindow(const QString& title, const QString& text, const std::string& folder,
                                       const std::string& file, Prompts& prompts, QWidget* parent)
    : QDialog(parent), text_(new QPlainTextEdit(this)), folder_(folder), file_(file), prompts_(prompts) {
  SetTitle(this, title);
  text_->setReadOnly(true);
  text_->setTabChangesFocus(true);
  text_->setLineWrapMode(QPlainTextEdit::NoWrap);
  text_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  text_->setPlainText(text);
  SetAccessibleName(text_, title);
  auto* column = new QVBoxLayout(this);
  SetSpace(column, kWideGap, kGap);
  column->addWidget(text_, 1);
  auto* row = new QHBoxLayout;
  row->addStretch(1);
  const auto button = [&](const QString& caption, auto slot) {
    auto* made = new QPushButton(caption, this);
    made->setAutoDefault(false);
    connect(made, &QPushButton::clicked, this, slot);
    row->addWidget(made);
    return made;
  };
  button(tr("&Save..."), &StudioReportWindow::Save);
  button(tr("&Copy"), &StudioReportWindow::Copy);
  button(tr("C&lose"), &QDialog::accept);
  column->addLayout(row);
  resize(fontMetrics().averageCharWidth() * 92, fontMetrics().height() * 34);
}

QString StudioReportWindow::text() const {
  return text_->toPlainText();
}

void StudioReportWindow::Save() {
  FilePrompt prompt;
  prompt.title = "Save Report As...";
  prompt.folder = folder_;
  prompt.name = file_;
  prompt.patterns = {"Text (*.txt *.TXT)", "All Files (*)"};
  prompt.save = true;
  const std::string path = prompts_.File(prompt);
  if (path.empty()) return;
  if (const Result written = WriteFileAtomically(path, std::string_view(ToUtf8(text()))); !written.ok())
    prompts_.Say("Save Report", written.text);
}

void StudioReportWindow::Copy() {
  CopyText(prompts_, text());
}

namespace {

PrintJob JobOf(const ZKStudioDoc& studio) {
  PrintJob job;
  job.title = QStringLiteral("Studio");
  job.ask = "Print Studio to PDF...";
  job.folder = studio.paths().data.string();
  job.name = "Studio.pdf";
  job.pages = [&studio] { return studio.DrvPrint(kLinesOfPage); };
  return job;
}

}  // namespace

void PrintStudioToPdf(const ZKStudioDoc& studio, Prompts& prompts) {
  PrintToPdf(JobOf(studio), prompts);
}

void PrintStudio(const ZKStudioDoc& studio, Prompts& prompts, QWidget* parent) {
  Print(JobOf(studio), prompts, parent);
}

}  // namespace tonalith
