#include "bank/ui/bank_list.h"

#include <QHelpEvent>
#include <QKeyEvent>
#include <QLineEdit>
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
constexpr int kLeastRows = 8;
constexpr int kRowsOfPage = 16;  // of a column when not everything is seen at once

}  // namespace

// ---- names ----------------------------------------------------------------------------------------------------------

QWidget* BankNameDelegate::createEditor(QWidget* parent, const QStyleOptionViewItem& option,
                                        const QModelIndex& index) const {
  QWidget* editor = QStyledItemDelegate::createEditor(parent, option, index);
  if (auto* line = qobject_cast<QLineEdit*>(editor)) {
    line->setMaxLength(static_cast<int>(document_.NameLength()));
    line->setAccessibleName(tr("Name"));
  }
  return editor;
}

bool BankNameDelegate::eventFilter(QObject* watched, QEvent* event) {
  auto* editor = qobject_cast<QWidget*>(watched);
  if (editor && event->type() == QEvent::KeyPress) {
    const int key = static_cast<QKeyEvent*>(event)->key();
    if (key == Qt::Key_Return || key == Qt::Key_Enter) {
      emit commitData(editor);
      emit closeEditor(editor, EditNextItem);
      return true;
    }
  }
  return QStyledItemDelegate::eventFilter(watched, event);
}

// ---- the view -------------------------------------------------------------------------------------------------------

ZKBankListCtrl::ZKBankListCtrl(ZKBankDoc& document, QWidget* parent)
    : QListView(parent), document_(document), model_(new BankListModel(document, this)) {
  setModel(model_);
  setModelColumn(BankListModel::kName);
  setItemDelegate(new BankNameDelegate(document, this));
  setSelectionMode(ExtendedSelection);
  setEditTriggers(EditKeyPressed);
  setFrameShape(NoFrame);
  setMouseTracking(true);
  setVerticalScrollMode(ScrollPerPixel);
  setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  connect(model_, &QAbstractItemModel::modelReset, this, &ZKBankListCtrl::Filter);
  Filter();
  setCurrentIndex(model_->index(0, BankListModel::kName));
}

int ZKBankListCtrl::SetFilter(const SearchWords& words) {
  words_ = words;
  Filter();
  return Shown();
}

void ZKBankListCtrl::Filter() {
  const int count = model_->rowCount();
  patches_.clear();
  places_.assign(static_cast<std::size_t>(count), -1);
  for (int patch = 0; patch < count; ++patch) {
    const QString text = model_->index(patch, BankListModel::kNumber).data().toString() + QLatin1Char(' ') +
                         model_->index(patch, BankListModel::kName).data().toString();
    if (!words_.Match(text)) continue;
    places_[static_cast<std::size_t>(patch)] = Shown();
    patches_.push_back(patch);
  }
  // Commands mean what is seen.
  if (Shown() > 0 && PlaceOf(CurrentPatch()) < 0)
    setCurrentIndex(model_->index(patches_.front(), BankListModel::kName));
  Measure();
  Arrange();
}

void ZKBankListCtrl::Measure() {
  const QFontMetrics metrics(TabularFont(font()));
  numberWidth_ = 0;
  for (int patch = 0; patch < model_->rowCount(); ++patch) {
    const QString text = model_->index(patch, BankListModel::kNumber).data().toString();
    numberWidth_ = std::max(numberWidth_, metrics.horizontalAdvance(text));
  }
  rowHeight_ = RowHeight(fontMetrics());
  const int name = std::clamp(static_cast<int>(document_.NameLength()), kLeastNameCharacters, kMostNameCharacters);
  leastWidth_ = kMarksWidth + numberWidth_ + name * fontMetrics().averageCharWidth() + 3 * kGap;
}

void ZKBankListCtrl::Arrange() {
  const QSize area = viewport()->size();
  const int count = std::max(1, Shown());
  const int most = std::max(1, (area.width() + kWideGap) / (leastWidth_ + kWideGap));
  const int fitting = std::max(kLeastRows, area.height() / rowHeight_);
  const int chunk = document_.synth().chunkSize;
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

int ZKBankListCtrl::PlaceOf(int patch) const {
  return patch >= 0 && static_cast<std::size_t>(patch) < places_.size() ? places_[static_cast<std::size_t>(patch)] : -1;
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

QRect ZKBankListCtrl::visualRect(const QModelIndex& index) const {
  const int place = index.isValid() ? PlaceOf(index.row()) : -1;
  if (place < 0) return {};
  const QRect cell = CellOf(place);
  return index.column() == BankListModel::kNumber ? NumberIn(cell) : NameIn(cell);
}

int ZKBankListCtrl::NearestPlace(const QPoint& point) const {
  if (Shown() == 0) return -1;
  const int x = layoutDirection() == Qt::RightToLeft ? viewport()->width() - 1 - point.x() : point.x();
  const int y = std::max(0, point.y() + verticalOffset());
  const int pageHeight = rows_ * rowHeight_ + kWideGap;
  const int column = std::clamp(x / (columnWidth_ + kWideGap), 0, columns_ - 1);
  const int row = std::clamp(y % pageHeight / rowHeight_, 0, rows_ - 1);
  return std::clamp(y / pageHeight * rows_ * columns_ + column * rows_ + row, 0, Shown() - 1);
}

QModelIndex ZKBankListCtrl::indexAt(const QPoint& point) const {
  const int place = NearestPlace(point);
  if (place < 0 || !CellOf(place).contains(point)) return {};
  return model_->index(patches_[static_cast<std::size_t>(place)], BankListModel::kName);
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

bool ZKBankListCtrl::isIndexHidden(const QModelIndex& index) const {
  return PlaceOf(index.row()) < 0;
}

void ZKBankListCtrl::doItemsLayout() {
  Measure();
  Arrange();
  QAbstractItemView::doItemsLayout();
}

void ZKBankListCtrl::updateGeometries() {
  Arrange();
  QAbstractItemView::updateGeometries();
}

void ZKBankListCtrl::resizeEvent(QResizeEvent* event) {
  QAbstractItemView::resizeEvent(event);
  Arrange();
}

void ZKBankListCtrl::changeEvent(QEvent* event) {
  QListView::changeEvent(event);
  if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange) doItemsLayout();
}

void ZKBankListCtrl::dataChanged(const QModelIndex& first, const QModelIndex& last, const QVector<int>& roles) {
  QAbstractItemView::dataChanged(first, last, roles);
  viewport()->update();
}

// ---- keys and mouse -------------------------------------------------------------------------------------------------

// Left and Right go by a column and stay where there is none; nothing is behind the last name.
QModelIndex ZKBankListCtrl::moveCursor(CursorAction action, Qt::KeyboardModifiers) {
  const int now = PlaceOf(CurrentPatch());
  const auto at = [this](int place) {
    return model_->index(patches_[static_cast<std::size_t>(place)], BankListModel::kName);
  };
  if (Shown() == 0) return {};
  if (now < 0) return at(0);
  const int page = std::max(1, viewport()->height() / rowHeight_ - 1);
  const bool reversed = layoutDirection() == Qt::RightToLeft;
  int to = now;
  switch (action) {
    case MoveNext:
      return now + 1 < Shown() ? at(now + 1) : QModelIndex();
    case MovePrevious:
      return now > 0 ? at(now - 1) : QModelIndex();
    case MoveUp:
      to = now - 1;
      break;
    case MoveDown:
      to = now + 1;
      break;
    case MoveLeft:
      to = reversed ? now + rows_ : now - rows_;
      break;
    case MoveRight:
      to = reversed ? now - rows_ : now + rows_;
      break;
    case MovePageUp:
      return at(std::max(0, now - page));
    case MovePageDown:
      return at(std::min(Shown() - 1, now + page));
    case MoveHome:
      return at(0);
    case MoveEnd:
      return at(Shown() - 1);
  }
  return at(to < 0 || to >= Shown() ? now : to);
}

// Everything between two places, in the order of the patches.
void ZKBankListCtrl::setSelection(const QRect& rect, QItemSelectionModel::SelectionFlags command) {
  const int one = NearestPlace(rect.topLeft());
  const int other = NearestPlace(rect.bottomRight());
  QItemSelection selection;
  for (int place = std::min(one, other); one >= 0 && place <= std::max(one, other); ++place) {
    const int patch = patches_[static_cast<std::size_t>(place)];
    selection.merge({model_->index(patch, 0), model_->index(patch, BankListModel::kColumns - 1)},
                    QItemSelectionModel::Select);
  }
  selectionModel()->select(selection, command);
}

QRegion ZKBankListCtrl::visualRegionForSelection(const QItemSelection& selection) const {
  QRegion region;
  for (const QModelIndex& index : selection.indexes()) {
    if (const int place = PlaceOf(index.row()); place >= 0) region += CellOf(place);
  }
  return region;
}

void ZKBankListCtrl::selectAll() {
  if (Shown() > 0)
    setSelection({CellOf(0).center(), CellOf(Shown() - 1).center()}, QItemSelectionModel::ClearAndSelect);
}

void ZKBankListCtrl::mouseMoveEvent(QMouseEvent* event) {
  QListView::mouseMoveEvent(event);
  const QModelIndex index = indexAt(event->pos());
  SetHover(index.isValid() ? index.row() : -1);
}

void ZKBankListCtrl::leaveEvent(QEvent* event) {
  QListView::leaveEvent(event);
  SetHover(-1);
}

void ZKBankListCtrl::SetHover(int patch) {
  if (patch == hover_) return;
  hover_ = patch;
  viewport()->update();
}

void ZKBankListCtrl::mouseDoubleClickEvent(QMouseEvent* event) {
  const QModelIndex index = indexAt(event->pos());
  const bool name = index.isValid() && visualRect(index).contains(event->pos());
  if (name && event->button() == Qt::LeftButton && model_->flags(index) & Qt::ItemIsEditable) return edit(index);
  QListView::mouseDoubleClickEvent(event);
}

bool ZKBankListCtrl::viewportEvent(QEvent* event) {
  if (event->type() == QEvent::ToolTip) {
    const auto* help = static_cast<QHelpEvent*>(event);
    const QModelIndex index = indexAt(help->pos());
    const QString marks = index.isValid() ? MarksText(MarksIn(index.data(kMarksRole))) : QString();
    ShowToolTip(help->globalPos(), marks, viewport(), visualRect(index));
    return true;
  }
  return QListView::viewportEvent(event);
}

void ZKBankListCtrl::RenameCurrent() {
  if (CurrentPatch() < 0) return;
  const QModelIndex name = model_->index(CurrentPatch(), BankListModel::kName);
  setCurrentIndex(name);
  if (model_->flags(name) & Qt::ItemIsEditable) edit(name);
}

void ZKBankListCtrl::TakeName() {
  QWidget* editor = state() == EditingState ? indexWidget(currentIndex()) : nullptr;
  if (!editor) return;
  commitData(editor);
  closeEditor(editor, QAbstractItemDelegate::NoHint);
}

int ZKBankListCtrl::CurrentPatch() const {
  return currentIndex().isValid() ? currentIndex().row() : -1;
}

std::vector<int> ZKBankListCtrl::SelectedPatches() const {
  std::vector<int> patches;
  for (const int patch : patches_) {
    if (selectionModel()->isSelected(model_->index(patch, BankListModel::kName))) patches.push_back(patch);
  }
  return patches;
}

// ---- drawing --------------------------------------------------------------------------------------------------------

void ZKBankListCtrl::paintEvent(QPaintEvent* event) {
  QPainter painter(viewport());
  painter.fillRect(event->rect(), ColourOf(Shade::Surface));
  if (Shown() == 0 && !nothingFound_.isEmpty()) {
    painter.setPen(ColourOf(Shade::Secondary));
    painter.drawText(viewport()->rect().adjusted(0, kWideGap, 0, 0),
                     static_cast<int>(Qt::AlignTop | Qt::AlignHCenter) | Qt::TextWordWrap, nothingFound_);
  }
  for (int place = 0; place < Shown(); ++place) {
    if (CellOf(place).intersects(event->rect())) Paint(&painter, place);
  }
}

void ZKBankListCtrl::Paint(QPainter* painter, int place) const {
  const int patch = patches_[static_cast<std::size_t>(place)];
  const QModelIndex number = model_->index(patch, BankListModel::kNumber);
  const QModelIndex name = model_->index(patch, BankListModel::kName);
  const QRect cell = CellOf(place);
  const bool selected = selectionModel()->isSelected(name);
  painter->setRenderHint(QPainter::Antialiasing);
  if (selected || patch == hover_) {
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
  painter->drawText(at, static_cast<int>(Qt::AlignLeading | Qt::AlignVCenter) | Qt::TextSingleLine,
                    QFontMetrics(shown).elidedText(name.data().toString(), Qt::ElideRight, at.width()));
  if (hasFocus() && name == currentIndex()) {
    painter->setBrush(Qt::NoBrush);
    painter->setPen(ColourOf(Shade::Accent));
    painter->drawRoundedRect(QRectF(cell).adjusted(0.5, 0.5, -0.5, -1.5), kSmallGap, kSmallGap);
  }
}

}  // namespace tonalith
