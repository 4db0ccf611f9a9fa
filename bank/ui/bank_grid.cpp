#include "bank/ui/bank_grid.h"

#include <QComboBox>
#include <QPainter>
#include <QPainterPath>
#include <QScrollBar>
#include <QTabBar>
#include <QWheelEvent>
#include <algorithm>

#include "bank/bank_document.h"
#include "bank/ui/bank_model.h"
#include "ui/plain_text.h"
#include "ui/style/colours.h"
#include "ui/style/list_delegate.h"
#include "ui/style/space.h"

namespace tonalith {

namespace {

constexpr int kGridMarkPlaces = 2;  // marks behind a name
constexpr int kShadowAside = 4;     // how far a shadow stands out
constexpr int kNumberRoom = 4;      // behind the number
constexpr int kNameRoom = 8;        // from there to the name
constexpr int kCellRoom = 8;        // in all
constexpr int kChunkOfMany = 16;    // where the data type has no chunks of its own
constexpr int kLongestSeparateName = 33;
constexpr double kShadowStrength = 0.22;  // of a shadow that the data type gives no colour

QColor ColourOr(const std::optional<std::uint32_t>& colour, Shade shade) {
  if (!colour) return ColourOf(shade);
  constexpr std::uint32_t kByte = 0xFF;
  return QColor(static_cast<int>(*colour & kByte), static_cast<int>(*colour >> 8 & kByte),
                static_cast<int>(*colour >> 16 & kByte));
}

}  // namespace

ZKBankGrid::ZKBankGrid(ZKBankDoc& document, BankPatchView& other, QWidget* parent)
    : BankPatchView(document, other.bankModel(), parent), tabs_(new QTabBar(this)), list_(new QComboBox(this)) {
  setSelectionModel(other.selectionModel());
  tabs_->setAccessibleName(tr("Pages"));
  tabs_->setExpanding(false);
  tabs_->setDrawBase(false);
  tabs_->setShape(QTabBar::RoundedSouth);
  list_->setAccessibleName(tr("Page"));
  connect(tabs_, &QTabBar::currentChanged, this, &ZKBankGrid::ShowPage);
  connect(list_, &QComboBox::currentIndexChanged, this, &ZKBankGrid::ShowPage);
  Filter();
}

void ZKBankGrid::SetLook(const GridSettings& look, const std::filesystem::path& bitmaps) {
  look_ = look;
  font_.LoadBitmapFont(bitmaps, look.bitmapFont);
  selectedFont_.LoadBitmapFont(bitmaps, look.selBitmapFont);
  background_ = BitmapOf(bitmaps, look.bitmapBk);
  selected_ = BitmapOf(bitmaps, look.selectBmp);
  doItemsLayout();
}

// ---- sizes ----------------------------------------------------------------------------------------------------------

int ZKBankGrid::ChunkSize() const {
  const int own = bank().synth().chunkSize;
  return std::clamp(own > 0 ? own : kChunkOfMany, 1, std::max(1, bank().PatchCount()));
}

void ZKBankGrid::Measure() {
  const QFontMetrics figures(TabularFont(font()));
  numberWidth_ = 0;
  int nameWidth = 0;
  for (int patch = 0; patch < bankModel()->rowCount(); ++patch) {
    const QString text = bankModel()->index(patch, BankListModel::kNumber).data().toString();
    numberWidth_ = std::max(numberWidth_, font_.IsEmpty() ? figures.horizontalAdvance(text) : font_.Width(text));
    const QString name = bankModel()->index(patch, BankListModel::kName).data().toString();
    nameWidth = std::max(nameWidth, font_.IsEmpty() ? fontMetrics().horizontalAdvance(name) : font_.Width(name));
  }
  const int longest = bank().synth().namesSeparate ? kLongestSeparateName : static_cast<int>(bank().NameLength());
  const int marks = kGridMarkPlaces * (kMarkSize + kSmallGap);
  nameWidth = std::max(nameWidth, std::max(1, longest) * fontMetrics().averageCharWidth());
  cellWidth_ = kSmallGap + numberWidth_ + kNumberRoom + kNameRoom + nameWidth + marks + kCellRoom;
  cellHeight_ = std::max(RowHeight(fontMetrics()), font_.IsEmpty() ? 0 : font_.Height());
}

QSize ZKBankGrid::SizeOfChunk() const {
  const int along = look_.useHorizontal ? cellWidth_ * layout_.perChunk : cellWidth_;
  const int down = look_.useHorizontal ? cellHeight_ : cellHeight_ * layout_.perChunk;
  const int shadow = look_.showShadow ? kShadowAside : 0;
  return {along + 2 * look_.chunkBorderX + shadow, down + 2 * look_.chunkBorderY + shadow};
}

void ZKBankGrid::Arrange() {
  const GridLayout before = layout_;
  layout_.perChunk = ChunkSize();
  const QSize chunk = SizeOfChunk();
  // Whether pages have to be chosen from takes height, and depends on it.
  for (const int pages : {0, TargetHeight(fontMetrics()) + kSmallGap}) {
    layout_ =
        LayOutGrid(Shown(), ChunkSize(), look_.useHorizontal, width(), height() - pages, chunk.width(), chunk.height());
    if (layout_.Pages() == 1) break;
  }
  if (page_ >= layout_.Pages()) page_ = 0;
  FillPages();
  PlacePages();
  const int tall = layout_.down * chunk.height();
  verticalScrollBar()->setRange(0, std::max(0, tall - viewport()->height()));
  verticalScrollBar()->setPageStep(viewport()->height());
  verticalScrollBar()->setSingleStep(cellHeight_);
  if (layout_.PatchesOfPage() != before.PatchesOfPage() && PlaceOf(CurrentPatch()) >= 0)
    ShowPage(layout_.PageOf(PlaceOf(CurrentPatch())));
  viewport()->update();
}

// ---- pages ----------------------------------------------------------------------------------------------------------

QStringList ZKBankGrid::PageTexts() const {
  QStringList texts;
  const auto number = [this](int place) { return ShownLatin1(bank().NumberText(PatchOf(place))); };
  for (int page = 0; page < layout_.Pages() && Shown() > 0; ++page)
    texts << number(layout_.FirstOf(page)) + QStringLiteral(" - ") + number(layout_.LastOf(page));
  return texts;
}

void ZKBankGrid::FillPages() {
  const QStringList texts = PageTexts();
  QStringList now;
  for (int i = 0; i < list_->count(); ++i) now << list_->itemText(i);
  if (texts != now) {
    const QSignalBlocker tabs(tabs_), list(list_);
    while (tabs_->count() > 0) tabs_->removeTab(0);
    list_->clear();
    for (const QString& text : texts) {
      tabs_->addTab(MenuText(text));
      list_->addItem(text);
    }
  }
  const QSignalBlocker tabs(tabs_), list(list_);
  tabs_->setCurrentIndex(page_);
  list_->setCurrentIndex(page_);
}

void ZKBankGrid::PlacePages() {
  const bool some = layout_.Pages() > 1;
  tabs_->setVisible(some && look_.useTab);
  list_->setVisible(some && !look_.useTab);
  const int tall = some ? TargetHeight(fontMetrics()) + kSmallGap : 0;
  if (viewportMargins().bottom() != tall) setViewportMargins(0, 0, 0, tall);
  const QRect at(0, height() - tall, width(), tall);
  tabs_->setGeometry(at);
  list_->setGeometry(QRect(at.topLeft(), list_->sizeHint()).adjusted(0, kSmallGap, 0, 0));
}

void ZKBankGrid::ShowPage(int page) {
  if (page < 0 || page >= layout_.Pages() || page == page_) return;
  page_ = page;
  FillPages();
  viewport()->update();
}

void ZKBankGrid::scrollTo(const QModelIndex& index, ScrollHint) {
  const int place = PlaceOf(index.row());
  if (place < 0) return;
  ShowPage(layout_.PageOf(place));
  const QRect cell = CellOf(place);
  QScrollBar* bar = verticalScrollBar();
  if (cell.top() < 0) bar->setValue(bar->value() + cell.top());
  if (cell.bottom() >= viewport()->height()) bar->setValue(bar->value() + cell.bottom() + 1 - viewport()->height());
}

int ZKBankGrid::verticalOffset() const {
  return verticalScrollBar()->value();
}

// ---- places ---------------------------------------------------------------------------------------------------------

QRect ZKBankGrid::ChunkPlace(int chunk) const {
  const QSize size = SizeOfChunk();
  return {layout_.ColumnOf(chunk) * size.width(), layout_.RowOf(chunk) * size.height() - verticalOffset(), size.width(),
          size.height()};
}

QRect ZKBankGrid::FrameOf(int chunk) const {
  const QRect place = ChunkPlace(chunk);
  const int first = layout_.FirstOf(page_) + chunk * layout_.perChunk;
  const int cells = std::clamp(Shown() - first, 0, layout_.perChunk);
  const int wide = look_.useHorizontal ? cells * cellWidth_ : cellWidth_;
  const int tall = look_.useHorizontal ? cellHeight_ : cells * cellHeight_;
  const QRect frame(place.left() + look_.chunkBorderX, place.top() + look_.chunkBorderY, wide, tall);
  return QStyle::visualRect(layoutDirection(), viewport()->rect(), frame);
}

QRect ZKBankGrid::CellOf(int place) const {
  const int onPage = place - layout_.FirstOf(page_);
  if (onPage < 0 || onPage >= layout_.PatchesOfPage()) return {};
  const QRect frame = FrameOf(onPage / layout_.perChunk);
  const int at = onPage % layout_.perChunk;
  const QRect cell = look_.useHorizontal ? QRect(frame.left() + at * cellWidth_, frame.top(), cellWidth_, cellHeight_)
                                         : QRect(frame.left(), frame.top() + at * cellHeight_, cellWidth_, cellHeight_);
  return look_.useHorizontal ? QStyle::visualRect(layoutDirection(), frame, cell) : cell;
}

QRect ZKBankGrid::NumberIn(const QRect& cell) const {
  const QRect number(cell.left() + kSmallGap, cell.top(), numberWidth_ + kNumberRoom, cell.height());
  return QStyle::visualRect(layoutDirection(), cell, number);
}

QRect ZKBankGrid::NameIn(const QRect& cell) const {
  const int marks = kGridMarkPlaces * (kMarkSize + kSmallGap);
  const int left = kSmallGap + numberWidth_ + kNumberRoom + kNameRoom;
  return QStyle::visualRect(layoutDirection(), cell, cell.adjusted(left, 0, -marks - kSmallGap, 0));
}

int ZKBankGrid::PlaceAt(const QPoint& point) const {
  const int first = layout_.FirstOf(page_);
  for (int chunk = 0; chunk < layout_.ChunksOfPage() && first + chunk * layout_.perChunk < Shown(); ++chunk) {
    if (!FrameOf(chunk).contains(point)) continue;
    const int begin = first + chunk * layout_.perChunk;
    for (int place = begin; place < std::min(Shown(), begin + layout_.perChunk); ++place)
      if (CellOf(place).contains(point)) return place;
  }
  return -1;
}

int ZKBankGrid::Neighbour(int place, CursorAction arrow) const {
  const bool reversed = layoutDirection() == Qt::RightToLeft;
  switch (arrow) {
    case MoveLeft:
      return layout_.Neighbour(place, reversed ? GridLayout::Way::Right : GridLayout::Way::Left);
    case MoveRight:
      return layout_.Neighbour(place, reversed ? GridLayout::Way::Left : GridLayout::Way::Right);
    case MoveUp:
      return layout_.Neighbour(place, GridLayout::Way::Up);
    default:
      return layout_.Neighbour(place, GridLayout::Way::Down);
  }
}

int ZKBankGrid::PlacesOfPage() const {
  return layout_.PatchesOfPage();
}

QRect ZKBankGrid::LineBefore(int place) const {
  const bool end = place >= Shown();
  const QRect cell = Shown() == 0 ? QRect() : CellOf(end ? Shown() - 1 : place);
  if (cell.isEmpty()) return {};
  if (look_.useHorizontal) return {(end ? cell.right() : cell.left()) - 1, cell.top(), 3, cell.height()};
  return {cell.left(), (end ? cell.bottom() : cell.top()) - 1, cell.width(), 3};
}

// A press at the left edge of a column means the whole of it.
bool ZKBankGrid::PressedBeside(const QPoint& point) {
  if (look_.useHorizontal || look_.chunkBorderX == 0) return false;
  const int first = layout_.FirstOf(page_);
  for (int chunk = 0; chunk < layout_.ChunksOfPage() && first + chunk * layout_.perChunk < Shown(); ++chunk) {
    const QRect frame = FrameOf(chunk);
    const QRect edge = frame.adjusted(-look_.chunkBorderX, 0, look_.chunkBorderX - frame.width(), 0);
    if (!QStyle::visualRect(layoutDirection(), frame, edge).contains(point)) continue;
    const int begin = first + chunk * layout_.perChunk;
    if (const int at = PlaceAt(point); at >= 0 && IsSelected(PatchOf(at))) return false;
    std::vector<int> patches;
    for (int place = begin; place < std::min(Shown(), begin + layout_.perChunk); ++place)
      patches.push_back(PatchOf(place));
    SelectPatches(patches);
    return true;
  }
  return false;
}

// The wheel goes from patch to patch.
void ZKBankGrid::wheelEvent(QWheelEvent* event) {
  const int way = event->angleDelta().y();
  const int now = PlaceOf(CurrentPatch());
  event->accept();
  if (way == 0 || now < 0) return;
  const bool back = (way > 0) != invertedWheel_;
  const auto arrow = look_.useHorizontal ? (back ? MoveLeft : MoveRight) : (back ? MoveUp : MoveDown);
  SelectPatch(PatchOf(Neighbour(now, arrow)));
}

// ---- drawing --------------------------------------------------------------------------------------------------------

void ZKBankGrid::PaintPatches(QPainter* painter, const QRect& place) {
  if (!background_.isNull()) painter->drawTiledPixmap(viewport()->rect(), background_);
  const int first = layout_.FirstOf(page_);
  for (int chunk = 0; chunk < layout_.ChunksOfPage() && first + chunk * layout_.perChunk < Shown(); ++chunk)
    if (ChunkPlace(chunk).intersects(place) || layoutDirection() == Qt::RightToLeft) DrawChunk(painter, chunk);
}

void ZKBankGrid::DrawChunk(QPainter* painter, int chunk) {
  const QRectF frame(FrameOf(chunk));
  painter->setClipping(false);
  painter->setRenderHint(QPainter::Antialiasing);
  painter->setPen(Qt::NoPen);
  if (look_.showShadow) {
    const QColor own = Between(ColourOf(Shade::Surface), ColourOf(Shade::Text), kShadowStrength);
    painter->setBrush(look_.shadow ? ColourOr(look_.shadow, Shade::Line) : own);
    painter->drawRoundedRect(frame.translated(kShadowAside, kShadowAside), look_.rounding, look_.rounding);
  }
  QPainterPath shape;
  shape.addRoundedRect(frame, look_.rounding, look_.rounding);
  if (!look_.useBitmapForChunkBackground || background_.isNull())
    painter->fillPath(shape, ColourOr(look_.loBack, Shade::Surface));
  painter->setClipPath(shape);
  const int begin = layout_.FirstOf(page_) + chunk * layout_.perChunk;
  const int end = std::min(Shown(), begin + layout_.perChunk);
  for (int place = begin; place < end; ++place) DrawCell(painter, place);
  painter->setPen(ColourOr(look_.border, Shade::Line));
  for (int place = begin + 1; look_.showBorder && place < end; ++place) {
    const QRect cell = CellOf(place);
    if (look_.useHorizontal)
      painter->drawLine(cell.topLeft(), cell.bottomLeft());
    else
      painter->drawLine(cell.topLeft(), cell.topRight());
  }
  painter->setClipping(false);
  if (!look_.showBorder) return;
  painter->setBrush(Qt::NoBrush);
  painter->setPen(ColourOr(look_.border, Shade::Edge));
  painter->drawRoundedRect(frame.adjusted(0.5, 0.5, -0.5, -0.5), look_.rounding, look_.rounding);
}

void ZKBankGrid::DrawCell(QPainter* painter, int place) {
  const int patch = PatchOf(place);
  const QModelIndex name = bankModel()->index(patch, BankListModel::kName);
  const QRect cell = CellOf(place);
  const bool selected = IsSelected(patch);
  const int chunk = place / layout_.perChunk;
  const bool odd = (look_.useHorizontal ? chunk : place % layout_.perChunk) % 2 != 0;
  if (selected && !selected_.isNull())
    painter->drawPixmap(cell, selected_);
  else if (selected)
    painter->fillRect(cell, ColourOr(look_.hiBack, Shade::Selection));
  else if (look_.useAltBack && odd)
    painter->fillRect(cell, ColourOr(look_.altBack, Shade::Raised));
  else if (patch == hover())
    painter->fillRect(cell, ColourOf(Shade::Hover));
  DrawCellText(painter, cell, patch, selected);
  DrawMarks(painter, cell, name);
  if (hasFocus() && name == currentIndex()) {
    painter->setBrush(Qt::NoBrush);
    painter->setPen(ColourOf(Shade::Accent));
    painter->drawRoundedRect(QRectF(cell).adjusted(1.5, 1.5, -1.5, -1.5), kSmallGap, kSmallGap);
  }
}

void ZKBankGrid::DrawMarks(QPainter* painter, const QRect& cell, const QModelIndex& name) const {
  int x = NameIn(cell).right() + kSmallGap;
  for (const Mark mark : MarksIn(name.data(kMarksRole))) {
    PaintMark(painter, QStyle::visualRect(layoutDirection(), cell, QRect(x, cell.top(), kMarkSize, cell.height())),
              mark);
    x += kMarkSize + kSmallGap;
  }
}

void ZKBankGrid::DrawCellText(QPainter* painter, const QRect& cell, int patch, bool selected) const {
  const QModelIndex nameAt = bankModel()->index(patch, BankListModel::kName);
  const QString number = bankModel()->index(patch, BankListModel::kNumber).data().toString();
  const QString name = nameAt.data().toString();
  const bool quiet = nameAt.data(kQuietRole).toBool();
  const BitmapFont& drawn = selected ? selectedFont_ : font_;
  if (!drawn.IsEmpty()) {
    const int y = cell.top() + (cell.height() - drawn.Height()) / 2;
    drawn.Draw(painter, NumberIn(cell).right() - drawn.Width(number), y, number);
    drawn.Draw(painter, NameIn(cell).left(), y, name);
    return;
  }
  const QColor text = selected ? ColourOr(look_.hiText, Shade::Text) : ColourOr(look_.loText, Shade::Text);
  painter->setFont(TabularFont(font()));
  painter->setPen(selected || look_.loText ? text : ColourOf(Shade::Secondary));
  painter->drawText(NumberIn(cell), static_cast<int>(Qt::AlignRight | Qt::AlignVCenter) | Qt::TextSingleLine, number);
  QFont shown = font();
  shown.setItalic(quiet);
  painter->setFont(shown);
  painter->setPen(quiet ? ColourOf(Shade::Secondary) : text);
  const QRect at = NameIn(cell);
  painter->drawText(at, static_cast<int>(Qt::AlignLeading | Qt::AlignVCenter) | Qt::TextSingleLine,
                    QFontMetrics(shown).elidedText(name, Qt::ElideRight, at.width()));
}

}  // namespace tonalith
