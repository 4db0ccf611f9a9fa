#include "tools/ui/listing_spoken.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <algorithm>

#include "tools/ui/listing_view.h"

namespace tonalith {

namespace {

constexpr int kMostCharacters = 1 << 16;  // that are given at once

// Every line has as many characters, so a place in the text needs no looking: nothing of the text is kept.
class SpokenListing final : public QAccessibleWidget, public QAccessibleTextInterface {
 public:
  explicit SpokenListing(ListingView* view) : QAccessibleWidget(view, QAccessible::EditableText), view_(*view) {}

  void* interface_cast(QAccessible::InterfaceType type) override {
    if (type == QAccessible::TextInterface) return static_cast<QAccessibleTextInterface*>(this);
    return QAccessibleWidget::interface_cast(type);
  }
  QAccessible::State state() const override {
    QAccessible::State state = QAccessibleWidget::state();
    state.readOnly = true;
    state.multiLine = true;
    state.selectableText = true;
    return state;
  }
  // The line of the current byte.
  QString text(QAccessible::Text what) const override {
    return what == QAccessible::Value ? view_.LineText(view_.Current() / kListingLine) : QAccessibleWidget::text(what);
  }

  // ---- the text
  int characterCount() const override { return static_cast<int>(view_.Listing().Lines()) * Stride(); }
  QString text(int from, int to) const override {
    from = std::clamp(from, 0, characterCount());
    to = std::clamp(to, from, std::min(characterCount(), from + kMostCharacters));
    QString text;
    for (int line = from / Stride(); line * Stride() < to; ++line)
      text += view_.LineText(static_cast<std::size_t>(line)) + QLatin1Char('\n');
    return text.mid(from % Stride(), to - from);
  }
  QString textAtOffset(int offset, QAccessible::TextBoundaryType boundary, int* start, int* end) const override {
    return Piece(offset, 0, boundary, start, end);
  }
  QString textBeforeOffset(int offset, QAccessible::TextBoundaryType boundary, int* start, int* end) const override {
    return Piece(offset, -1, boundary, start, end);
  }
  QString textAfterOffset(int offset, QAccessible::TextBoundaryType boundary, int* start, int* end) const override {
    return Piece(offset, 1, boundary, start, end);
  }
  QString attributes(int offset, int* start, int* end) const override {
    *start = *end = offset;
    return {};
  }

  // ---- the caret
  int cursorPosition() const override { return PlaceOf(view_.Current()); }
  void setCursorPosition(int offset) override { view_.Go(ByteAt(offset)); }
  int selectionCount() const override { return view_.HasRange() ? 1 : 0; }
  void selection(int, int* start, int* end) const override {
    const auto [first, last] = view_.Selection();
    *start = PlaceOf(first);
    *end = PlaceOf(last) + 2;
  }
  void addSelection(int start, int end) override { setSelection(0, start, end); }
  void removeSelection(int) override { view_.Go(view_.Current()); }
  void setSelection(int, int start, int end) override {
    const std::size_t first = ByteAt(start);
    view_.Select(first, ByteAt(std::max(start, end - 1)) - first + 1);
  }

  // ---- where it is
  QRect characterRect(int offset) const override {
    const QRect line = view_.LinePlace(static_cast<std::size_t>(offset / Stride()));
    if (line.isEmpty()) return {};
    return {view_.viewport()->mapToGlobal(line.topLeft()), line.size()};
  }
  int offsetAtPoint(const QPoint& at) const override {
    const auto byte = view_.ByteUnder(view_.viewport()->mapFromGlobal(at));
    return byte ? PlaceOf(*byte) : -1;
  }
  void scrollToSubstring(int start, int) override { view_.ShowLine(static_cast<std::size_t>(start / Stride())); }

  int PlaceOf(std::size_t byte) const {
    return static_cast<int>(byte / kListingLine) * Stride() + view_.ColumnOf(byte % kListingLine);
  }

 private:
  int Stride() const { return view_.LineLength() + 1; }
  std::size_t ByteAt(int offset) const {
    const int column = offset % Stride();
    std::size_t byte = 0;
    while (byte + 1 < kListingLine && view_.ColumnOf(byte + 1) <= column) ++byte;
    return static_cast<std::size_t>(offset / Stride()) * kListingLine + byte;
  }
  // Words are the bytes; everything larger is the line.
  QString Piece(int offset, int steps, QAccessible::TextBoundaryType boundary, int* start, int* end) const {
    *start = *end = -1;
    const int all = characterCount();
    if (offset == -1) offset = all;
    if (offset == -2) offset = cursorPosition();
    if (offset < 0 || offset > all) return {};
    int length = 1;
    if (boundary == QAccessible::NoBoundary) {
      offset = 0;
      length = all;
    } else if (boundary == QAccessible::WordBoundary) {
      offset = PlaceOf(ByteAt(std::min(offset, all - 1)));
      length = 2;
      steps *= 3;
    } else if (boundary != QAccessible::CharBoundary) {
      length = Stride();
      offset = offset / length * length;
      steps *= length;
    }
    offset += steps;
    if (offset < 0 || offset >= all) return {};
    *start = offset;
    *end = std::min(all, offset + length);
    return text(*start, *end);
  }

  ListingView& view_;
};

QAccessibleInterface* MakeSpokenListing(const QString&, QObject* object) {
  auto* view = qobject_cast<ListingView*>(object);
  return view ? new SpokenListing(view) : nullptr;
}

// The caret or the selection went to another place.
void TellReaders(ListingView& view) {
  if (!QAccessible::isActive()) return;
  const auto* spoken = dynamic_cast<SpokenListing*>(QAccessible::queryAccessibleInterface(&view));
  if (!spoken) return;
  if (view.HasRange()) {
    const auto [first, last] = view.Selection();
    QAccessibleTextSelectionEvent selected(&view, spoken->PlaceOf(first), spoken->PlaceOf(last) + 2);
    QAccessible::updateAccessibility(&selected);
  }
  QAccessibleTextCursorEvent moved(&view, spoken->cursorPosition());
  QAccessible::updateAccessibility(&moved);
}

}  // namespace

void ServeListingReaders(ListingView& view) {
  static const bool kServed = [] {
    QAccessible::installFactory(MakeSpokenListing);
    return true;
  }();
  (void)kServed;
  QObject::connect(&view, &ListingView::CurrentChanged, &view, [&view] { TellReaders(view); });
}

}  // namespace tonalith
