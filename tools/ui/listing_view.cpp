#include "tools/ui/listing_view.h"

#include <QFontDatabase>
#include <QKeyEvent>
#include <QPainter>
#include <QScrollBar>
#include <algorithm>
#include <cmath>

#include "ui/style/colours.h"
#include "ui/style/space.h"

namespace tonalith {

namespace {

constexpr int kGutter = 2;        // cells before the offset, for the mark of lines that differ
constexpr int kBehindOffset = 3;  // ":" and two blanks
constexpr int kPerByte = 3;
constexpr int kBytes = static_cast<int>(kListingLine);
constexpr int kBetween = 3;  // between the two listings of a comparison
constexpr double kTint = 0.25;

int DigitsOf(std::size_t size) {
  int digits = 5;
  for (std::size_t most = std::size_t{1} << 20; most < size && digits < 8; most <<= 4) ++digits;
  return digits;
}

}  // namespace

ListingView::ListingView(std::function<DataListing()> listing, QWidget* parent)
    : QAbstractScrollArea(parent), listing_(std::move(listing)) {
  setFocusPolicy(Qt::StrongFocus);
  setFrameShape(QFrame::NoFrame);
  viewport()->setCursor(Qt::IBeamCursor);
  ReadFont();
  Renew();
}

void ListingView::ReadFont() {
  QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);
  if (fixed.family() == font().family()) fixed = font();
  fixed.setPointSizeF(font().pointSizeF() > 0 ? font().pointSizeF() : fixed.pointSizeF());
  viewport()->setFont(fixed);
  // Of many, so that what rounding leaves does not add up along a line.
  constexpr int kMany = 64;
  cell_ = std::max(1.0, QFontMetricsF(fixed).horizontalAdvance(QString(kMany, QLatin1Char('0'))) / kMany);
  lineHeight_ = QFontMetrics(fixed).height() + kSmallGap;
}

void ListingView::changeEvent(QEvent* event) {
  QAbstractScrollArea::changeEvent(event);
  if (event->type() != QEvent::FontChange && event->type() != QEvent::StyleChange) return;
  ReadFont();
  Renew();
}

void ListingView::Renew() {
  const DataListing listing = listing_();
  size_ = listing.Size();
  digits_ = DigitsOf(size_);
  const std::size_t last = size_ == 0 ? 0 : size_ - 1;
  current_ = std::min(current_, last);
  anchor_ = std::min(anchor_, last);
  SetBars(listing);
  viewport()->update();
}

QSize ListingView::sizeHint() const {
  return {Left(PlaceColumns(false).all) + verticalScrollBar()->sizeHint().width() + kWideGap, 24 * lineHeight_};
}

// ---- where things stand ---------------------------------------------------------------------------------------------

// The characters are left out where two listings would not fit with them.
ListingView::Columns ListingView::PlaceColumns(bool comparing) const {
  Columns columns{};
  columns.hex = kGutter + digits_ + kBehindOffset;
  columns.characters = columns.hex + kPerByte * kBytes + 1;
  columns.all = columns.characters + kBytes + 1;
  if (!comparing) return columns;
  columns.otherHex = columns.characters + kBytes + kBetween;
  columns.otherCharacters = columns.otherHex + kPerByte * kBytes + 1;
  columns.all = columns.otherCharacters + kBytes + 1;
  if (Width(columns.all) <= viewport()->width()) return columns;
  columns.characters = columns.otherCharacters = 0;
  columns.otherHex = columns.hex + kPerByte * kBytes + kBetween;
  columns.all = columns.otherHex + kPerByte * kBytes;
  return columns;
}

int ListingView::Width(int columns) const {
  return kGap + static_cast<int>(std::lround(columns * cell_));
}

int ListingView::Left(int column) const {
  return Width(column) - horizontalScrollBar()->value();
}

int ListingView::PageLines() const {
  return std::max(1, viewport()->height() / lineHeight_);
}

void ListingView::SetBars(const DataListing& listing) {
  const int lines = static_cast<int>(listing.Lines());
  verticalScrollBar()->setRange(0, std::max(0, lines - PageLines()));
  verticalScrollBar()->setPageStep(PageLines());
  const int width = kGap + Width(PlaceColumns(listing.comparing()).all);
  horizontalScrollBar()->setRange(0, std::max(0, width - viewport()->width()));
  horizontalScrollBar()->setPageStep(viewport()->width());
  horizontalScrollBar()->setSingleStep(Width(1) - Width(0));
}

void ListingView::resizeEvent(QResizeEvent* event) {
  QAbstractScrollArea::resizeEvent(event);
  SetBars(listing_());
}

std::size_t ListingView::TopLine() const {
  return static_cast<std::size_t>(verticalScrollBar()->value());
}

void ListingView::ShowLine(std::size_t line) {
  verticalScrollBar()->setValue(static_cast<int>(line));
}

QRect ListingView::LinePlace(std::size_t line) const {
  const std::size_t top = TopLine();
  if (line < top || line >= top + static_cast<std::size_t>(PageLines())) return {};
  return {0, static_cast<int>(line - top) * lineHeight_, viewport()->width(), lineHeight_};
}

std::optional<std::size_t> ListingView::ByteUnder(const QPoint& at) const {
  if (at.y() < 0 || size_ == 0) return std::nullopt;
  const Columns columns = PlaceColumns(listing_().comparing());
  const std::size_t line = TopLine() + static_cast<std::size_t>(at.y() / lineHeight_);
  const double cells = (at.x() - Left(0)) / cell_;
  const auto byteOf = [cells](int column, int step) { return static_cast<int>((cells - column) / step); };
  int byte = byteOf(columns.hex, kPerByte);
  if (columns.characters > 0 && cells >= columns.characters) byte = byteOf(columns.characters, 1);
  if (columns.otherHex > 0 && cells >= columns.otherHex) byte = byteOf(columns.otherHex, kPerByte);
  if (columns.otherCharacters > 0 && cells >= columns.otherCharacters) byte = byteOf(columns.otherCharacters, 1);
  const std::size_t position = line * kListingLine + static_cast<std::size_t>(std::clamp(byte, 0, kBytes - 1));
  return std::min(position, size_ - 1);
}

// ---- the current byte -----------------------------------------------------------------------------------------------

std::pair<std::size_t, std::size_t> ListingView::Selection() const {
  return {std::min(current_, anchor_), std::max(current_, anchor_)};
}

void ListingView::BringIntoSight() {
  const std::size_t line = current_ / kListingLine;
  const auto page = static_cast<std::size_t>(PageLines());
  if (line < TopLine())
    ShowLine(line);
  else if (line >= TopLine() + page)
    ShowLine(line - page + 1);
}

void ListingView::Go(std::size_t position, bool extend) {
  if (size_ == 0) return;
  current_ = std::min(position, size_ - 1);
  if (!extend) anchor_ = current_;
  BringIntoSight();
  viewport()->update();
  emit CurrentChanged();
}

void ListingView::Select(std::size_t first, std::size_t length) {
  if (size_ == 0 || length == 0) return;
  anchor_ = std::min(first + length, size_) - 1;
  Go(first, true);
}

void ListingView::SelectAll() {
  if (size_ == 0) return;
  anchor_ = size_ - 1;
  current_ = 0;
  viewport()->update();
  emit CurrentChanged();
}

void ListingView::keyPressEvent(QKeyEvent* event) {
  const bool ctrl = event->modifiers() & Qt::ControlModifier;
  const auto step = [&](std::size_t bytes, bool back) {
    if (back) return current_ >= bytes ? current_ - bytes : current_ % kListingLine;
    if (current_ + bytes < size_) return current_ + bytes;
    return bytes == 1 ? current_ : std::max(current_, (size_ - 1) / kListingLine * kListingLine);
  };
  const std::size_t page = static_cast<std::size_t>(PageLines()) * kListingLine;
  std::size_t to = current_;
  switch (event->key()) {
    case Qt::Key_Left:
      to = current_ == 0 ? 0 : current_ - 1;
      break;
    case Qt::Key_Right:
      to = step(1, false);
      break;
    case Qt::Key_Up:
      to = step(kListingLine, true);
      break;
    case Qt::Key_Down:
      to = current_ + kListingLine < size_ ? current_ + kListingLine : current_;
      break;
    case Qt::Key_PageUp:
      to = step(page, true);
      break;
    case Qt::Key_PageDown:
      to = step(page, false);
      break;
    case Qt::Key_Home:
      to = ctrl ? 0 : current_ / kListingLine * kListingLine;
      break;
    case Qt::Key_End:
      to = ctrl ? size_ : current_ / kListingLine * kListingLine + kListingLine - 1;
      break;
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_F2:
      if (size_ > 0) emit ChangeWanted();
      return;
    default:
      QAbstractScrollArea::keyPressEvent(event);
      return;
  }
  Go(to, event->modifiers() & Qt::ShiftModifier);
}

void ListingView::mousePressEvent(QMouseEvent* event) {
  if (event->button() != Qt::LeftButton) return;
  if (const auto byte = ByteUnder(event->position().toPoint())) Go(*byte, event->modifiers() & Qt::ShiftModifier);
}

// Beyond the edge it scrolls, a line for each movement.
void ListingView::mouseMoveEvent(QMouseEvent* event) {
  if (!(event->buttons() & Qt::LeftButton)) return;
  QPoint at = event->position().toPoint();
  if (at.y() < 0) ShowLine(TopLine() > 0 ? TopLine() - 1 : 0);
  if (at.y() >= viewport()->height()) ShowLine(TopLine() + 1);
  at.setY(std::clamp(at.y(), 0, PageLines() * lineHeight_ - 1));
  if (const auto byte = ByteUnder(at)) Go(*byte, true);
}

void ListingView::mouseDoubleClickEvent(QMouseEvent* event) {
  if (event->button() == Qt::LeftButton && ByteUnder(event->position().toPoint())) emit ChangeWanted();
}

void ListingView::focusInEvent(QFocusEvent* event) {
  QAbstractScrollArea::focusInEvent(event);
  viewport()->update();
}

void ListingView::focusOutEvent(QFocusEvent* event) {
  QAbstractScrollArea::focusOutEvent(event);
  viewport()->update();
}

// ---- text and picture -----------------------------------------------------------------------------------------------

int ListingView::LineLength() const {
  return digits_ + kBehindOffset + kPerByte * kBytes + 1 + kBytes;
}

int ListingView::ColumnOf(std::size_t byteOfLine) const {
  return digits_ + kBehindOffset + kPerByte * static_cast<int>(byteOfLine);
}

QString ListingView::LineText(const DataListing& listing, std::size_t line) const {
  const QString text = QString::fromLatin1(ListingText(listing.LineAt(line, size_)).c_str());
  const auto offset = text.indexOf(QLatin1Char(':'));
  return (QString(digits_ - offset, QLatin1Char(' ')) + text).leftJustified(LineLength());
}

// What is selected and what differs, behind the text.  `step`: cells from byte to byte.
void ListingView::PaintMarks(QPainter& painter, const ListingLine& line, int column, int step, int top) const {
  const auto [first, last] = Selection();
  for (std::size_t i = 0; i < line.bytes.size(); ++i) {
    const std::size_t position = line.offset + i;
    const bool selected = position >= first && position <= last;
    if (!selected && !line.differs[i]) continue;
    const int at = column + static_cast<int>(i) * step;
    const double aside = step > 1 ? cell_ / 3 : 0;
    const QRectF place(Left(at) - aside, top + 1, (step > 1 ? step - 1 : 1) * cell_ + 2 * aside, lineHeight_ - 2);
    painter.setPen(Qt::NoPen);
    painter.setBrush(selected ? ColourOf(Shade::Selection)
                              : Between(ColourOf(Shade::Surface), ColourOf(Shade::Changed), kTint));
    if (position == current_ && hasFocus()) painter.setPen(ColourOf(Shade::Accent));
    if (selected && line.differs[i]) painter.setPen(ColourOf(Shade::Changed));
    painter.drawRoundedRect(place.adjusted(0, 0.5, 0, -0.5), kSmallGap, kSmallGap);
  }
}

void ListingView::PaintOther(QPainter& painter, const DataListing& listing, const ListingLine& line,
                             const Columns& columns, int baseline) const {
  const auto other = listing.other();
  const std::size_t end = std::min(line.offset + kListingLine, other.size());
  if (line.offset >= end) return;
  const std::string text = ViewBuildLine(line.offset / kListingLine, other, line.offset, end);
  const QString bytes = QString::fromLatin1(text.c_str());
  painter.drawText(Left(columns.otherHex), baseline, bytes.mid(bytes.indexOf(QLatin1Char(':')) + kBehindOffset));
  if (columns.otherCharacters == 0) return;
  QString characters;
  for (std::size_t i = line.offset; i < end; ++i) characters += QLatin1Char(ListingCharacter(other[i]));
  painter.drawText(Left(columns.otherCharacters), baseline, characters);
}

void ListingView::PaintLine(QPainter& painter, const DataListing& listing, std::size_t number, int top) const {
  const ListingLine line = listing.LineAt(number, current_);
  const Columns columns = PlaceColumns(listing.comparing());
  PaintMarks(painter, line, columns.hex, kPerByte, top);
  if (columns.characters > 0) PaintMarks(painter, line, columns.characters, 1, top);
  const int baseline = top + kSmallGap / 2 + painter.fontMetrics().ascent();
  const QString text = LineText(listing, number);
  const bool differs = std::find(line.differs.begin(), line.differs.end(), true) != line.differs.end();
  if (differs) {
    painter.setPen(ColourOf(Shade::Changed));
    painter.drawText(Left(0), baseline, QString(QChar(0x2260)));
  }
  painter.setPen(ColourOf(Shade::Secondary));
  painter.drawText(Left(kGutter), baseline, text.left(digits_ + 1));
  // What is the same is quiet beside what is not.
  painter.setPen(ColourOf(line.matches ? Shade::Secondary : Shade::Text));
  painter.drawText(Left(columns.hex), baseline, text.mid(digits_ + kBehindOffset, kPerByte * kBytes));
  if (columns.characters > 0) painter.drawText(Left(columns.characters), baseline, text.right(kBytes));
  if (columns.otherHex > 0) PaintOther(painter, listing, line, columns, baseline);
}

void ListingView::paintEvent(QPaintEvent*) {
  QPainter painter(viewport());
  painter.setRenderHint(QPainter::Antialiasing);
  painter.fillRect(viewport()->rect(), ColourOf(Shade::Surface));
  const DataListing listing = listing_();
  const std::size_t end = std::min(listing.Lines(), TopLine() + static_cast<std::size_t>(PageLines()) + 1);
  for (std::size_t line = TopLine(); line < end; ++line)
    PaintLine(painter, listing, line, static_cast<int>(line - TopLine()) * lineHeight_);
}

}  // namespace tonalith
