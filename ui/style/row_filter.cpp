#include "ui/style/row_filter.h"

#include <QElapsedTimer>
#include <QTimerEvent>
#include <algorithm>

namespace tonalith {

namespace {

constexpr int kSliceMs = 4;
constexpr std::size_t kFoundAtOnce = 2000;

}  // namespace

RowFilter::RowFilter(QAbstractItemModel* source, QObject* parent, RowText text)
    : QAbstractProxyModel(parent), text_(std::move(text)) {
  setSourceModel(source);
  Follow();
}

void RowFilter::Follow() {
  QAbstractItemModel* source = sourceModel();
  connect(source, &QAbstractItemModel::rowsAboutToBeInserted, this,
          [this](const QModelIndex&, int first, int last) { RowsCome(first, last); });
  connect(source, &QAbstractItemModel::rowsInserted, this,
          [this](const QModelIndex&, int first, int last) { RowsCame(first, last); });
  connect(source, &QAbstractItemModel::rowsAboutToBeRemoved, this,
          [this](const QModelIndex&, int first, int last) { RowsGo(first, last); });
  connect(source, &QAbstractItemModel::rowsRemoved, this,
          [this](const QModelIndex&, int first, int last) { RowsWent(first, last); });
  connect(source, &QAbstractItemModel::modelAboutToBeReset, this, [this] { beginResetModel(); });
  connect(source, &QAbstractItemModel::modelReset, this, [this] {
    found_.clear();
    next_ = 0;
    endResetModel();
    StartAgain();
  });
  connect(source, &QAbstractItemModel::dataChanged, this,
          [this](const QModelIndex& from, const QModelIndex& to, const QList<int>& roles) {
            if (!Filters()) {
              emit dataChanged(mapFromSource(from), mapFromSource(to), roles);
              return;
            }
            // What the rows say may fit now, or no more.
            beginResetModel();
            found_.clear();
            next_ = 0;
            endResetModel();
            StartAgain();
          });
}

void RowFilter::SetWords(const SearchWords& words) {
  if (words_.IsEmpty() && words.IsEmpty()) return;
  beginResetModel();
  words_ = words;
  found_.clear();
  next_ = 0;
  endResetModel();
  StartAgain();
}

// The first slice is looked at before the call returns: in a list of usual length that is all of it.
void RowFilter::StartAgain() {
  if (timer_ != 0) killTimer(timer_);
  timer_ = 0;
  if (Filters()) Look();
  emit Searched();
}

bool RowFilter::Fits(int row) const {
  if (text_) return words_.Match(text_(row));
  QStringList texts;
  for (int column = 0; column < sourceModel()->columnCount(); ++column)
    texts << sourceModel()->index(row, column).data().toString();
  return words_.Match(texts.join(QLatin1Char(' ')));
}

void RowFilter::Look() {
  QElapsedTimer time;
  time.start();
  std::vector<int> hits;
  const int rows = SourceRows();
  while (next_ < rows && hits.size() < kFoundAtOnce && !time.hasExpired(kSliceMs)) {
    if (Fits(next_)) hits.push_back(next_);
    ++next_;
  }
  if (!hits.empty()) {
    const int first = static_cast<int>(found_.size());
    beginInsertRows({}, first, first + static_cast<int>(hits.size()) - 1);
    found_.insert(found_.end(), hits.begin(), hits.end());
    endInsertRows();
  }
  if (next_ < rows && timer_ == 0) timer_ = startTimer(0);
  if (next_ >= rows && timer_ != 0) {
    killTimer(timer_);
    timer_ = 0;
  }
}

void RowFilter::timerEvent(QTimerEvent* event) {
  if (event->timerId() != timer_) return QAbstractProxyModel::timerEvent(event);
  Look();
  emit Searched();
}

void RowFilter::RowsCome(int first, int last) {
  if (!Filters()) beginInsertRows({}, first, last);
}

void RowFilter::RowsCame(int first, int last) {
  if (!Filters()) return endInsertRows();
  // Rows in the middle of what was looked at: from there on everything is looked at again.
  if (first < next_) {
    const auto keep = std::lower_bound(found_.begin(), found_.end(), first);
    const int at = static_cast<int>(keep - found_.begin());
    if (keep != found_.end()) {
      beginRemoveRows({}, at, static_cast<int>(found_.size()) - 1);
      found_.erase(keep, found_.end());
      endRemoveRows();
    }
    next_ = first;
  }
  static_cast<void>(last);
  if (timer_ == 0) Look();
  emit Searched();
}

void RowFilter::RowsGo(int first, int last) {
  if (!Filters()) return beginRemoveRows({}, first, last);
  const auto from = std::lower_bound(found_.begin(), found_.end(), first);
  const auto to = std::upper_bound(from, found_.end(), last);
  if (from == to) return;
  beginRemoveRows({}, static_cast<int>(from - found_.begin()), static_cast<int>(to - found_.begin()) - 1);
  found_.erase(from, to);
  endRemoveRows();
}

// The rows behind those that went have other numbers.
void RowFilter::RowsWent(int first, int last) {
  if (!Filters()) return endRemoveRows();
  const int gone = last - first + 1;
  for (auto at = std::lower_bound(found_.begin(), found_.end(), first); at != found_.end(); ++at) *at -= gone;
  if (next_ > last)
    next_ -= gone;
  else
    next_ = std::min(next_, first);
  emit Searched();
}

std::vector<int> RowFilter::ShownRows() const {
  if (Filters()) return found_;
  std::vector<int> all(static_cast<std::size_t>(SourceRows()));
  for (std::size_t row = 0; row < all.size(); ++row) all[row] = static_cast<int>(row);
  return all;
}

QModelIndex RowFilter::mapToSource(const QModelIndex& index) const {
  if (!index.isValid()) return {};
  const auto row = static_cast<std::size_t>(index.row());
  if (!Filters()) return sourceModel()->index(index.row(), index.column());
  return row < found_.size() ? sourceModel()->index(found_[row], index.column()) : QModelIndex();
}

QModelIndex RowFilter::mapFromSource(const QModelIndex& index) const {
  if (!index.isValid()) return {};
  if (!Filters()) return createIndex(index.row(), index.column());
  const auto at = std::lower_bound(found_.begin(), found_.end(), index.row());
  if (at == found_.end() || *at != index.row()) return {};
  return createIndex(static_cast<int>(at - found_.begin()), index.column());
}

QModelIndex RowFilter::index(int row, int column, const QModelIndex& parent) const {
  return hasIndex(row, column, parent) ? createIndex(row, column) : QModelIndex();
}

QModelIndex RowFilter::parent(const QModelIndex& index) const {
  static_cast<void>(index);
  return {};
}

int RowFilter::rowCount(const QModelIndex& parent) const {
  if (parent.isValid() || !sourceModel()) return 0;
  return Filters() ? static_cast<int>(found_.size()) : SourceRows();
}

int RowFilter::columnCount(const QModelIndex& parent) const {
  return parent.isValid() || !sourceModel() ? 0 : sourceModel()->columnCount();
}

QVariant RowFilter::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || !sourceModel()) return {};
  return sourceModel()->headerData(section, orientation, role);
}

}  // namespace tonalith
