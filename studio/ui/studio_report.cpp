#include "studio/ui/studio_report.h"

#include <QBuffer>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QPainter>
#include <QPdfWriter>
#include <QPlainTextEdit>
#include <QPrintDialog>
#include <QPrinter>
#include <QPrinterInfo>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>

#include "platform/atomic_file.h"
#include "ui/clipboard.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"
#include "ui/style/space.h"

namespace tonalith {

namespace {

constexpr char kPrintFailure[] = "Failed to StartDoc error";
constexpr int kLinesOfPage = 66;

}  // namespace

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

bool PaintListing(const std::vector<StudioListingPage>& pages, QPagedPaintDevice& device) {
  QPainter painter;
  if (!painter.begin(&device)) return false;
  const QRectF field(0, 0, device.width(), device.height());
  qsizetype columns = 80;
  for (const auto& page : pages) {
    for (const auto& line : page) columns = std::max(columns, ShownUtf8(line).size());
  }
  QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
  font.setPixelSize(100);
  const QFontMetricsF metrics(font, &device);
  const qreal fit = std::min(field.height() / (kLinesOfPage * metrics.lineSpacing()),
                             field.width() / (static_cast<qreal>(columns) * metrics.horizontalAdvance('M')));
  font.setPixelSize(std::max(1, static_cast<int>(100 * fit)));
  painter.setFont(font);
  const qreal step = field.height() / kLinesOfPage;
  bool first = true;
  for (const auto& page : pages) {
    if (!first) device.newPage();
    first = false;
    for (std::size_t i = 0; i < page.size(); ++i)
      painter.drawText(QPointF(0, static_cast<qreal>(i + 1) * step), ShownUtf8(page[i]));
  }
  return painter.end();
}

void PrintStudioToPdf(const ZKStudioDoc& studio, Prompts& prompts) {
  FilePrompt prompt;
  prompt.title = "Print Studio to PDF...";
  prompt.folder = studio.paths().data.string();
  prompt.name = "Studio.pdf";
  prompt.patterns = {"PDF (*.pdf *.PDF)"};
  prompt.save = true;
  const std::string path = prompts.File(prompt);
  if (path.empty()) return;
  QBuffer pdf;
  pdf.open(QIODevice::WriteOnly);
  bool painted = false;
  {
    QPdfWriter writer(&pdf);
    writer.setPageSize(QPageSize(QPageSize::A4));
    writer.setTitle(QStringLiteral("Studio"));
    painted = PaintListing(studio.DrvPrint(kLinesOfPage), writer);
  }
  if (!painted) return static_cast<void>(prompts.Say("Print", kPrintFailure));
  const QByteArray& bytes = pdf.data();
  const Result written =
      WriteFileAtomically(path, std::string_view(bytes.constData(), static_cast<std::size_t>(bytes.size())));
  if (!written.ok()) prompts.Say("Print", written.text);
}

void PrintStudio(const ZKStudioDoc& studio, Prompts& prompts, QWidget* parent) {
  if (QPrinterInfo::availablePrinterNames().isEmpty()) return PrintStudioToPdf(studio, prompts);
  QPrinter printer(QPrinter::HighResolution);
  QPrintDialog dialog(&printer, parent);
  if (dialog.exec() != QDialog::Accepted) return;
  if (!PaintListing(studio.DrvPrint(kLinesOfPage), printer)) prompts.Say("Print", kPrintFailure);
}

}  // namespace tonalith
