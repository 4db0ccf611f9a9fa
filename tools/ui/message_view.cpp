#include "tools/ui/message_view.h"

#include <QHeaderView>
#include <QScopedValueRollback>
#include <QTimer>
#include <algorithm>

#include "tools/sysex_words.h"
#include "ui/plain_text.h"
#include "ui/style/list_delegate.h"

namespace tonalith {

namespace {

constexpr std::size_t kFoundAtOnce = std::size_t{1} << 18;  // bytes looked through between two looks at the keys

}  // namespace

MessageLinesModel::MessageLinesModel(std::function<DataListing()> listing, SysExWords& words, QObject* parent)
    : QAbstractTableModel(parent), listing_(std::move(listing)), words_(words), timer_(new QTimer(this)) {
  connect(timer_, &QTimer::timeout, this, &MessageLinesModel::Step);
}

void MessageLinesModel::Clear() {
  timer_->stop();
  beginResetModel();
  lines_ = {};
  rows_ = 0;
  endResetModel();
}

void MessageLinesModel::Begin() {
  Clear();
  timer_->start(0);
  Step();
}

bool MessageLinesModel::Finding() const {
  return timer_->isActive();
}

void MessageLinesModel::Step() {
  if (lines_.Step(listing_().image(), kFoundAtOnce)) timer_->stop();
  const auto rows = static_cast<int>(lines_.lines().size());
  if (rows > rows_) {
    beginInsertRows({}, rows_, rows - 1);
    rows_ = rows;
    endInsertRows();
  }
  emit Found();
}

std::string MessageLinesModel::LineText(std::size_t line) const {
  return MessageLineText(lines_, listing_().image(), line, &words_);
}

void MessageLinesModel::WordsChanged() {
  words_.StudioChanged();
  if (rows_ > 0) emit dataChanged(index(0, kMessage), index(rows_ - 1, kMessage));
}

int MessageLinesModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : rows_;
}

int MessageLinesModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : kColumns;
}

QVariant MessageLinesModel::data(const QModelIndex& index, int role) const {
  const bool number = index.column() < kMessage;
  if (role == Qt::TextAlignmentRole && number) return QVariant(Qt::AlignRight | Qt::AlignVCenter);
  if (role == kNumberRole) return number;
  if (role != Qt::DisplayRole) return {};
  const auto row = static_cast<std::size_t>(index.row());
  if (row >= lines_.lines().size()) return {};
  switch (index.column()) {
    case kNumber:
      return index.row() + 1;
    case kOffset:
      return lines_.lines()[row].offset;
    case kLength:
      return lines_.lines()[row].length;
    default:
      return ShownUtf8(lines_.Text(listing_().image(), row, &words_));
  }
}

QVariant MessageLinesModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
  const QString titles[] = {tr("Line"), tr("Offset"), tr("Length"), tr("MIDI message")};
  return section < kColumns ? titles[section] : QString();
}

// ---- the list -------------------------------------------------------------------------------------------------------

MessageView::MessageView(std::function<DataListing()> listing, SysExWords& words, QWidget* parent)
    : QTableView(parent), rows_(new MessageLinesModel(std::move(listing), words, this)) {
  setModel(rows_);
  setAccessibleName(tr("MIDI messages"));
  setSelectionBehavior(SelectRows);
  setSelectionMode(ContiguousSelection);
  setAlternatingRowColors(true);
  DressList(this);
  setTabKeyNavigation(false);
  setWordWrap(false);
  horizontalHeader()->setStretchLastSection(true);
  const int width = fontMetrics().averageCharWidth();
  for (int section = 0; section < MessageLinesModel::kMessage; ++section) setColumnWidth(section, width * 11);
}

void MessageView::ShowByte(std::size_t position) {
  const std::size_t line = rows_->lines().LineOf(position);
  if (line >= static_cast<std::size_t>(rows_->rowCount())) return;
  const QModelIndex index = rows_->index(static_cast<int>(line), 0);
  const QScopedValueRollback<bool> following(following_, true);
  if (!selectionModel()->isRowSelected(index.row()))
    selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
  scrollTo(index);
}

std::pair<std::size_t, std::size_t> MessageView::SelectedLines() const {
  int first = -1, last = -1;
  for (const QItemSelectionRange& range : selectionModel()->selection()) {
    first = first < 0 ? range.top() : std::min(first, range.top());
    last = std::max(last, range.bottom());
  }
  if (first < 0) return {0, 0};
  return {static_cast<std::size_t>(first), static_cast<std::size_t>(last) + 1};
}

void MessageView::selectionChanged(const QItemSelection& selected, const QItemSelection& deselected) {
  QTableView::selectionChanged(selected, deselected);
  const auto [first, end] = SelectedLines();
  if (following_ || first == end) return;
  const auto& lines = rows_->lines().lines();
  emit BytesSelected(lines[first].offset, lines[end - 1].offset + lines[end - 1].length - lines[first].offset);
}

}  // namespace tonalith
