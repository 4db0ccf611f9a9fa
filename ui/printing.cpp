#include "ui/printing.h"

#include <QBuffer>
#include <QFontDatabase>
#include <QMarginsF>
#include <QPageLayout>
#include <QPainter>
#include <QPdfWriter>
#include <QPrintDialog>
#include <QPrinter>
#include <QPrinterInfo>
#include <algorithm>

#include "data/patch_names.h"
#include "platform/atomic_file.h"
#include "platform/prompts.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

constexpr char kPrintFailure[] = "Failed to StartDoc error";
constexpr int kLeastColumns = 80;
constexpr int kHeadingLines = 2;
constexpr int kBetween = 3;
constexpr qreal kMarginMm = 15;

// What stands before the tab is as wide in every line.
std::vector<QString> AlignedLines(const std::vector<std::string>& lines) {
  qsizetype widest = 0;
  std::vector<std::pair<QString, QString>> parts;
  for (const std::string& line : lines) {
    const std::size_t tab = line.find('\t');
    parts.emplace_back(tab == std::string::npos ? QString() : ShownUtf8(line.substr(0, tab)),
                       ShownUtf8(tab == std::string::npos ? line : line.substr(tab + 1)));
    widest = std::max(widest, parts.back().first.size());
  }
  std::vector<QString> aligned;
  for (const auto& [number, text] : parts)
    aligned.push_back(number.rightJustified(widest) + QStringLiteral("  ") + text);
  return aligned;
}

// The lines run down a column and on to the next.
std::vector<ListingPage> PagesOf(const QString& heading, const std::vector<std::string>& lines) {
  const std::vector<QString> aligned = AlignedLines(lines);
  qsizetype widest = 1;
  for (const QString& line : aligned) widest = std::max(widest, line.size());
  const auto columns =
      static_cast<std::size_t>(std::max<qsizetype>(1, (kLeastColumns + kBetween) / (widest + kBetween)));
  constexpr std::size_t kRows = kLinesOfPage - kHeadingLines;
  std::vector<ListingPage> pages;
  for (std::size_t first = 0; first < aligned.size(); first += kRows * columns) {
    const std::size_t count = std::min(kRows * columns, aligned.size() - first);
    const std::size_t rows = (count + columns - 1) / columns;
    ListingPage page{ToUtf8(heading), {}};
    for (std::size_t row = 0; row < rows; ++row) {
      QString line;
      for (std::size_t at = row; at < count; at += rows) line += aligned[first + at].leftJustified(widest + kBetween);
      page.push_back(ToUtf8(line));
    }
    pages.push_back(std::move(page));
  }
  for (std::size_t i = 0; pages.size() > 1 && i < pages.size(); ++i)
    pages[i].front() += ", page " + std::to_string(i + 1) + " of " + std::to_string(pages.size());
  return pages;
}

}  // namespace

bool PaintListing(const std::vector<ListingPage>& pages, QPagedPaintDevice& device) {
  device.setPageMargins(QMarginsF(kMarginMm, kMarginMm, kMarginMm, kMarginMm), QPageLayout::Millimeter);
  QPainter painter;
  if (!painter.begin(&device)) return false;
  const QRectF field(0, 0, device.width(), device.height());
  qsizetype columns = kLeastColumns;
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

void PrintToPdf(const PrintJob& job, Prompts& prompts) {
  FilePrompt prompt;
  prompt.title = job.ask;
  prompt.folder = job.folder;
  prompt.name = job.name;
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
    writer.setTitle(job.title);
    painted = PaintListing(job.pages(), writer);
  }
  if (!painted) return static_cast<void>(prompts.Say("Print", kPrintFailure));
  const QByteArray& bytes = pdf.data();
  const Result written =
      WriteFileAtomically(path, std::string_view(bytes.constData(), static_cast<std::size_t>(bytes.size())));
  if (!written.ok()) prompts.Say("Print", written.text);
}

void Print(const PrintJob& job, Prompts& prompts, QWidget* parent) {
  if (QPrinterInfo::availablePrinterNames().isEmpty()) return PrintToPdf(job, prompts);
  QPrinter printer(QPrinter::HighResolution);
  printer.setDocName(job.title);
  QPrintDialog dialog(&printer, parent);
  if (dialog.exec() != QDialog::Accepted) return;
  if (!PaintListing(job.pages(), printer)) prompts.Say("Print", kPrintFailure);
}

void PrintLines(const QString& heading, const std::vector<std::string>& lines, Prompts& prompts,
                const std::string& folder, QWidget* parent) {
  PrintJob job;
  job.title = heading;
  job.ask = "Print to PDF...";
  job.name = FixInvalidFilenameCharacters(ToUtf8(heading)) + ".pdf";
  job.folder = folder;
  job.pages = [&] { return PagesOf(heading, lines); };
  Print(job, prompts, parent);
}

}  // namespace tonalith
