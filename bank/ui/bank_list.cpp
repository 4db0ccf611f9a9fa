#include "bank/ui/bank_list.h"

#include <QPainter>
#include <QScrollBar>
#include <algorithm>

#include "bank/bank_document.h"
#include "bank/ui/bank_model.h"
#include "ui/plain_text.h"
#include "ui/style/colours.h"
#include "ui/style/list_delegate.h"
#include "ui/style/space.h"

namespace tonalith {

namespace {

constexpr int kMarkPlaces = 2;  // marks before a patch; a third pushes the number on
constexpr int kMarksWidth = kMarkPlaces * (kMarkSize + kSmallGap);
constexpr int kLeastNameCharacters = 12;
constexpr int kMostNameCharacters = 24;
constexpr int kMostColumnCharacters = 64;
constexpr int kNoteCharacters = 24;
constexpr int kLeastRows = 8;
constexpr int kRowsOfPage = 16;  // of a column when not everything is seen at once

}  // namespace

ZKBankListCtrl::ZKBankListCtrl(ZKBankDoc& document, QWidget* parent)
    : BankPatchView(document, new BankListModel(document), parent) {
  bankModel()->setParent(this);
  Begin();
}

void ZKBankListCtrl::Measure() {
  const QFontMetrics metrics(TabularFont(font()));
  numberWidth_ = 0;
  for (int patch = 0; patch < bankModel()->rowCount(); ++patch) {
    const QString text = bankModel()->index(patch, BankListModel::kNumber).data().toString();
    numberWidth_ = std::max(numberWidth_, metrics.horizontalAdvance(text));
  }
  rowHeight_ = RowHeight(fontMetrics());
  const int name = std::clamp(static_cast<int>(bank().NameLength()), kLeastNameCharacters, kMostNameCharacters);
  const int characters = name + (bankModel()->HasNotes() ? kNoteCharacters : 0);
  leastWidth_ = kMarksWidth + numberWidth_ + characters * fontMetrics().averageCharWidth() + 3 * kGap;
}

void ZKBankListCtrl::Arrange() {
  const QSize area = viewport()->size();
  const int count = std::max(1, Shown());
  const int most = std::max(1, (area.width() + kWideGap) / (leastWidth_ + kWideGap));
  const int fitting = std::max(kLeastRows, area.height() / rowHeight_);
  const int chunk = bank().synth().chunkSize;
  const int needed = (count + most - 1) / most;
  if (most == 1)
    rows_ = count;
  else if (chunk > 0)
    rows_ = chunk;
  else
    rows_ = needed <= fitting ? std::min(fitting, std::max(kLeastRows, (needed + 7) / 8 * 8)) : kRowsOfPage;
  columns_ = std::clamp((count + rows_ - 1) / rows_, 1, most);
  const int widest = std::max(leastWidth_, kMostColumnCharacters * fontMetrics().averageCharWidth());
  columnWidth_ = std::clamp((area.width() - (columns_ - 1) * kWideGap) / columns_, 1, widest);
  const int pages = (count - 1) / (rows_ * columns_);  // before the last one, which may be short
  const int onLast = count - pages * rows_ * columns_;
  const int height = pages * (rows_ * rowHeight_ + kWideGap) + std::min(onLast, rows_) * rowHeight_;
  verticalScrollBar()->setRange(0, std::max(0, height - area.height()));
  verticalScrollBar()->setPageStep(area.height());
  verticalScrollBar()->setSingleStep(rowHeight_);
  viewport()->update();
}

QRect ZKBankListCtrl::CellOf(int place) const {
  const int page = place / (rows_ * columns_);
  const int onPage = place % (rows_ * columns_);
  const QRect cell(onPage / rows_ * (columnWidth_ + kWideGap),
                   page * (rows_ * rowHeight_ + kWideGap) + onPage % rows_ * rowHeight_ - verticalOffset(),
                   columnWidth_, rowHeight_);
  return QStyle::visualRect(layoutDirection(), viewport()->rect(), cell);
}

QRect ZKBankListCtrl::NumberIn(const QRect& cell) const {
  const QRect number(cell.left() + kSmallGap + kMarksWidth, cell.top(), numberWidth_, cell.height());
  return QStyle::visualRect(layoutDirection(), cell, number);
}

QRect ZKBankListCtrl::NameIn(const QRect& cell) const {
  const int left = kSmallGap + kMarksWidth + numberWidth_ + kGap;
  return QStyle::visualRect(layoutDirection(), cell, cell.adjusted(left, 0, -kSmallGap, 0));
}

int ZKBankListCtrl::PlaceAt(const QPoint& point) const {
  if (Shown() == 0) return -1;
  const int x = layoutDirection() == Qt::RightToLeft ? viewport()->width() - 1 - point.x() : point.x();
  const int y = std::max(0, point.y() + verticalOffset());
  const int pageHeight = rows_ * rowHeight_ + kWideGap;
  const int column = std::clamp(x / (columnWidth_ + kWideGap), 0, columns_ - 1);
  const int row = std::clamp(y % pageHeight / rowHeight_, 0, rows_ - 1);
  const int place = y / pageHeight * rows_ * columns_ + column * rows_ + row;
  return place < Shown() && CellOf(place).contains(point) ? place : -1;
}

void ZKBankListCtrl::scrollTo(const QModelIndex& index, ScrollHint) {
  const int place = PlaceOf(index.row());
  if (place < 0) return;
  const QRect cell = CellOf(place);
  QScrollBar* bar = verticalScrollBar();
  if (cell.top() < 0) bar->setValue(bar->value() + cell.top());
  if (cell.bottom() >= viewport()->height()) bar->setValue(bar->value() + cell.bottom() + 1 - viewport()->height());
}

int ZKBankListCtrl::verticalOffset() const {
  return verticalScrollBar()->value();
}

// Left and Right go by a column and stay where there is none.
int ZKBankListCtrl::Neighbour(int place, CursorAction arrow) const {
  const int column = layoutDirection() == Qt::RightToLeft ? -rows_ : rows_;
  int to = place;
  if (arrow == MoveUp) to = place - 1;
  if (arrow == MoveDown) to = place + 1;
  if (arrow == MoveLeft) to = place - column;
  if (arrow == MoveRight) to = place + column;
  return to < 0 || to >= Shown() ? place : to;
}

int ZKBankListCtrl::PlacesOfPage() const {
  return std::max(1, viewport()->height() / rowHeight_ - 1);
}

QRect ZKBankListCtrl::LineBefore(int place) const {
  const bool end = place >= Shown();
  const QRect cell = Shown() == 0 ? QRect() : CellOf(end ? Shown() - 1 : place);
  return {cell.left(), (end ? cell.bottom() : cell.top()) - 1, cell.width(), 3};
}

// ---- drawing --------------------------------------------------------------------------------------------------------

void ZKBankListCtrl::PaintPatches(QPainter* painter, const QRect& place) {
  for (int i = 0; i < Shown(); ++i)
    if (CellOf(i).intersects(place)) Paint(painter, i);
}

// Behind the name, where there is room for it.
void ZKBankListCtrl::PaintAside(QPainter* painter, const QString& text, const QRect& name, int used) const {
  constexpr int kLeast = 40;
  if (text.isEmpty() || name.width() - used < kLeast) return;
  const QRect at(name.left() + used, name.top(), name.width() - used, name.height());
  painter->setFont(font());
  painter->setPen(ColourOf(Shade::Secondary));
  painter->drawText(QStyle::visualRect(layoutDirection(), name, at),
                    static_cast<int>(Qt::AlignLeading | Qt::AlignVCenter) | Qt::TextSingleLine,
                    fontMetrics().elidedText(text, Qt::ElideRight, at.width()));
}

void ZKBankListCtrl::Paint(QPainter* painter, int place) const {
  const int patch = PatchOf(place);
  const QModelIndex number = bankModel()->index(patch, BankListModel::kNumber);
  const QModelIndex name = bankModel()->index(patch, BankListModel::kName);
  const QRect cell = CellOf(place);
  const bool selected = IsSelected(patch);
  painter->setRenderHint(QPainter::Antialiasing);
  if (selected || patch == hover()) {
    painter->setPen(Qt::NoPen);
    painter->setBrush(ColourOf(selected ? Shade::Selection : Shade::Hover));
    painter->drawRoundedRect(QRectF(cell).adjusted(0, 0, 0, -1), kSmallGap, kSmallGap);
  }
  painter->fillRect(cell.left(), cell.bottom(), cell.width(), 1,
                    Between(ColourOf(Shade::Surface), ColourOf(Shade::Line), 0.6));
  int x = cell.left() + kSmallGap;
  for (const Mark mark : MarksIn(name.data(kMarksRole))) {
    const QRect at(x, cell.top(), kMarkSize, cell.height());
    PaintMark(painter, QStyle::visualRect(layoutDirection(), cell, at), mark);
    x += kMarkSize + kSmallGap;
  }
  painter->setFont(TabularFont(font()));
  painter->setPen(ColourOf(selected ? Shade::Text : Shade::Secondary));
  painter->drawText(NumberIn(cell), static_cast<int>(Qt::AlignRight | Qt::AlignVCenter) | Qt::TextSingleLine,
                    number.data().toString());
  const bool quiet = name.data(kQuietRole).toBool();
  QFont shown = font();
  shown.setItalic(quiet);
  painter->setFont(shown);
  painter->setPen(ColourOf(quiet ? Shade::Secondary : Shade::Text));
  const QRect at = NameIn(cell);
  const QString text = name.data().toString();
  painter->drawText(at, static_cast<int>(Qt::AlignLeading | Qt::AlignVCenter) | Qt::TextSingleLine,
                    QFontMetrics(shown).elidedText(text, Qt::ElideRight, at.width()));
  PaintAside(painter, name.data(kAsideRole).toString(), at, QFontMetrics(shown).horizontalAdvance(text) + kGap);
  if (hasFocus() && name == currentIndex()) {
    painter->setBrush(Qt::NoBrush);
    painter->setPen(ColourOf(Shade::Accent));
    painter->drawRoundedRect(QRectF(cell).adjusted(0.5, 0.5, -0.5, -1.5), kSmallGap, kSmallGap);
  }
}

}  // namespace tonalith
