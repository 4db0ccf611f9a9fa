#include "collection/ui/collection_list.h"

#include <QDragEnterEvent>
#include <QDropEvent>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLocale>
#include <QMenu>
#include <algorithm>
#include <array>

#include "collection/collection_document.h"
#include "collection/collection_listing.h"
#include "platform/text.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"
#include "ui/style/icons.h"
#include "ui/style/list_delegate.h"

namespace tonalith {

namespace {

constexpr int kWidthUnitPixels = 8;

CollectionColumn CollectionColumnOf(int column) {
  return static_cast<CollectionColumn>(column);
}

bool IsFigure(CollectionColumn column) {
  return column == CollectionColumn::Size || column == CollectionColumn::Channel;
}

// Of the columns in pixels, while the file keeps none.
constexpr std::array<int, kCollectionColumns> kFirstWidths = {200, 180, 64,  120, 120, 96,  80,  80,  80,
                                                              80,  160, 100, 100, 100, 100, 100, 100, 200};

// Those that are shown at first; the others are in the menu of the header.
bool IsColumnShownAtFirst(CollectionColumn column) {
  return column <= CollectionColumn::Size || column == CollectionColumn::Keyword1 ||
         column == CollectionColumn::Comment;
}

std::vector<Mark> MarksOfEntry(const CollectionFacts& facts) {
  if (!facts.linkProblem.empty()) return {Mark::Missing};
  if (facts.state.content == EntryContent::kUndefined) return {Mark::Undefined};
  return {};
}

}  // namespace

// ---- the rows -------------------------------------------------------------------------------------------------------

CollectionListModel::CollectionListModel(ZKDBaseDoc& collection, QObject* parent)
    : QAbstractTableModel(parent), collection_(collection), shown_(collection.Order()) {}

bool CollectionListModel::Follow() {
  std::vector<EntryId> listed;
  for (const EntryId entry : collection_.Order())
    if (filter_.IsEmpty() || filter_.Match(collection_.Facts(entry).filter)) listed.push_back(entry);
  if (shown_ == listed) {
    if (!shown_.empty())
      emit dataChanged(index(0, 0), index(static_cast<int>(shown_.size()) - 1, kCollectionColumns - 1));
    return false;
  }
  beginResetModel();
  shown_ = std::move(listed);
  endResetModel();
  return true;
}

EntryId CollectionListModel::EntryOf(int row) const {
  return row >= 0 && static_cast<std::size_t>(row) < shown_.size() ? shown_[static_cast<std::size_t>(row)] : 0;
}

int CollectionListModel::RowOf(EntryId entry) const {
  const auto at = std::find(shown_.begin(), shown_.end(), entry);
  return at == shown_.end() ? -1 : static_cast<int>(at - shown_.begin());
}

int CollectionListModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(shown_.size());
}

int CollectionListModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : kCollectionColumns;
}

QString CollectionListModel::TextOf(EntryId entry, CollectionColumn column) const {
  if (column == CollectionColumn::Name) return ShownUtf8(ShownEntryName(collection_, entry));
  const CollectionFacts& facts = collection_.Facts(entry);
  if (column == CollectionColumn::Size)
    return facts.size == 0 ? QString() : tr("%1 bytes").arg(QLocale().toString(facts.size));
  return ShownUtf8(facts.Text(column));
}

QVariant CollectionListModel::data(const QModelIndex& index, int role) const {
  const EntryId entry = EntryOf(index.row());
  if (entry == 0) return {};
  const CollectionColumn column = CollectionColumnOf(index.column());
  const CollectionFacts& facts = collection_.Facts(entry);
  const bool name = column == CollectionColumn::Name;
  const std::vector<Mark> marks = name ? MarksOfEntry(facts) : std::vector<Mark>();
  switch (role) {
    case Qt::DisplayRole:
      return TextOf(entry, column);
    case Qt::EditRole:
      return FromUtf8(facts.Text(column));
    case Qt::DecorationRole:
      if (!name) return {};
      return IconOf(facts.isSet          ? Glyph::Folder
                    : facts.state.linked ? Glyph::Link
                    : facts.isBank       ? Glyph::Bank
                                         : Glyph::Patch);
    case Qt::ToolTipRole: {
      QStringList lines{TextOf(entry, CollectionColumn::Name), TextOf(entry, CollectionColumn::Type)};
      if (!facts.linkPath.empty()) lines << tr("Linked to %1").arg(ShownUtf8(facts.linkPath));
      if (!facts.linkProblem.empty()) lines << ShownUtf8(facts.linkProblem);
      return ToolTipText(lines.join(QLatin1Char('\n')));
    }
    case Qt::AccessibleTextRole: {
      if (!name) return TextOf(entry, column);
      QStringList parts{TextOf(entry, CollectionColumn::Name), TextOf(entry, CollectionColumn::Type)};
      if (facts.state.linked) parts << tr("linked");
      if (!marks.empty()) parts << MarksText(marks);
      return parts.join(QStringLiteral(", "));
    }
    case Qt::TextAlignmentRole:
      return IsFigure(column) ? QVariant(Qt::AlignRight | Qt::AlignVCenter) : QVariant();
    case kNumberRole:
      return IsFigure(column);
    case kQuietRole:
      return name && facts.Text(column).empty();
    case kMarksRole:
      return name ? MarksOf(marks) : QVariant();
    default:
      return {};
  }
}

QVariant CollectionListModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal) return {};
  if (role == Qt::TextAlignmentRole && IsFigure(CollectionColumnOf(section)))
    return QVariant(Qt::AlignRight | Qt::AlignVCenter);
  return role == Qt::DisplayRole ? QVariant(ShownUtf8(CollectionColumnLabel(CollectionColumnOf(section)))) : QVariant();
}

Qt::ItemFlags CollectionListModel::flags(const QModelIndex& index) const {
  Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren | Qt::ItemIsDragEnabled;
  const EntryId entry = EntryOf(index.row());
  if (entry != 0 && !collection_.IsBusy() && collection_.TextRefusal(entry, CollectionColumnOf(index.column())).empty())
    flags |= Qt::ItemIsEditable;
  return flags;
}

bool CollectionListModel::setData(const QModelIndex& index, const QVariant& value, int role) {
  const EntryId entry = EntryOf(index.row());
  if (role != Qt::EditRole || entry == 0) return false;
  const CollectionColumn column = CollectionColumnOf(index.column());
  const std::string wanted = ToUtf8(value.toString());
  if (const Result set = collection_.SetText(entry, column, wanted); !set.ok()) {
    emit Explained(ShownUtf8(set.text));
    return false;
  }
  const std::string& now = collection_.Facts(entry).Text(column);
  if (TrimmedView(now) != TrimmedView(wanted)) emit Explained(tr("The text was taken as \"%1\".").arg(ShownUtf8(now)));
  return true;
}

// ---- the list -------------------------------------------------------------------------------------------------------

ZKDBaseListCtrl::ZKDBaseListCtrl(ZKDBaseDoc& collection, QWidget* parent)
    : QTreeView(parent), collection_(collection), rows_(new CollectionListModel(collection, this)) {
  setModel(rows_);
  DressList(this);
  setRootIsDecorated(false);
  setUniformRowHeights(true);
  setSelectionMode(ExtendedSelection);
  setEditTriggers(EditKeyPressed);
  setAccessibleName(tr("Entries"));
  setContextMenuPolicy(Qt::CustomContextMenu);
  setDragEnabled(true);
  setAcceptDrops(true);
  setHorizontalScrollMode(ScrollPerPixel);
  header()->setStretchLastSection(false);
  header()->setSectionsMovable(true);
  header()->setSectionsClickable(true);
  header()->setContextMenuPolicy(Qt::CustomContextMenu);
  for (int i = 0; i < kCollectionColumns; ++i) {
    const int kept = collection.ColumnWidths()[static_cast<std::size_t>(i)] * kWidthUnitPixels;
    header()->resizeSection(i, kept > 0 ? kept : kFirstWidths[static_cast<std::size_t>(i)]);
    setColumnHidden(i, !IsColumnShownAtFirst(CollectionColumnOf(i)));
  }
  connect(header(), &QWidget::customContextMenuRequested, this,
          [this](const QPoint& at) { AskColumns(header()->mapToGlobal(at)); });
  connect(header(), &QHeaderView::sectionClicked, this, &ZKDBaseListCtrl::SortWanted);
  connect(this, &QWidget::customContextMenuRequested, this,
          [this](const QPoint& at) { emit AskMenu(viewport()->mapToGlobal(at)); });
  connect(this, &QAbstractItemView::doubleClicked, this, [this](const QModelIndex& at) {
    if (at.column() == 0 || !(rows_->flags(at) & Qt::ItemIsEditable))
      emit OpenWanted();
    else
      edit(at);
  });
}

void ZKDBaseListCtrl::AskColumns(const QPoint& at) {
  auto* menu = new QMenu(this);
  menu->setAttribute(Qt::WA_DeleteOnClose);
  for (int i = 1; i < kCollectionColumns; ++i) {
    QAction* entry = menu->addAction(MenuText(ShownUtf8(CollectionColumnLabel(CollectionColumnOf(i)))));
    entry->setCheckable(true);
    entry->setChecked(!isColumnHidden(i));
    connect(entry, &QAction::toggled, this, [this, i](bool on) { setColumnHidden(i, !on); });
  }
  menu->popup(at);
}

void ZKDBaseListCtrl::KeepWidths() {
  for (int i = 0; i < kCollectionColumns; ++i)
    if (!isColumnHidden(i)) collection_.SetColumnWidth(CollectionColumnOf(i), columnWidth(i));
}

EntryId ZKDBaseListCtrl::Current() const {
  return currentIndex().isValid() ? rows_->EntryOf(currentIndex().row()) : 0;
}

std::vector<EntryId> ZKDBaseListCtrl::Selected() const {
  std::vector<int> rows;
  for (const QModelIndex& index : selectionModel()->selectedRows()) rows.push_back(index.row());
  std::sort(rows.begin(), rows.end());
  std::vector<EntryId> entries;
  for (const int row : rows) entries.push_back(rows_->EntryOf(row));
  return entries;
}

void ZKDBaseListCtrl::SelectRows(const std::vector<EntryId>& entries, EntryId current) {
  QItemSelection selection;
  for (const EntryId entry : entries)
    if (const int row = rows_->RowOf(entry); row >= 0)
      selection.append(QItemSelectionRange(rows_->index(row, 0), rows_->index(row, kCollectionColumns - 1)));
  selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
  if (const int row = rows_->RowOf(current); row >= 0)
    selectionModel()->setCurrentIndex(rows_->index(row, 0), QItemSelectionModel::NoUpdate);
}

void ZKDBaseListCtrl::Select(const std::vector<EntryId>& entries) {
  following_ = true;
  SelectRows(entries, entries.empty() ? 0 : entries.front());
  following_ = false;
  if (currentIndex().isValid()) scrollTo(currentIndex());
  emit ShownChanged();
}

void ZKDBaseListCtrl::Follow() {
  const EntryId current = Current();
  const int before = currentIndex().row();
  const std::vector<EntryId> selected = Selected();
  following_ = true;
  if (rows_->Follow()) {
    // What was current and is gone leaves its place to what stands there now.
    const bool there = rows_->RowOf(current) >= 0;
    const EntryId next = there ? current : rows_->EntryOf(std::clamp(before, 0, std::max(0, rows_->rowCount() - 1)));
    SelectRows(there ? selected : std::vector<EntryId>{next}, next);
  }
  following_ = false;
  emit ShownChanged();
}

void ZKDBaseListCtrl::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
    emit OpenWanted();
    return event->accept();
  }
  if (event->key() == Qt::Key_Delete) {
    emit DeleteWanted();
    return event->accept();
  }
  QTreeView::keyPressEvent(event);
}

void ZKDBaseListCtrl::currentChanged(const QModelIndex& current, const QModelIndex& previous) {
  QTreeView::currentChanged(current, previous);
  if (!following_ && current.row() != previous.row()) emit ShownChanged();
}

void ZKDBaseListCtrl::selectionChanged(const QItemSelection& selected, const QItemSelection& deselected) {
  QTreeView::selectionChanged(selected, deselected);
  if (!following_) emit ShownChanged();
}

// ---- dragging -------------------------------------------------------------------------------------------------------

void ZKDBaseListCtrl::startDrag(Qt::DropActions) {
  if (drag_.start) drag_.start();
}

void ZKDBaseListCtrl::dragEnterEvent(QDragEnterEvent* event) {
  DragOver(event);
}

void ZKDBaseListCtrl::dragMoveEvent(QDragMoveEvent* event) {
  DragOver(event);
}

void ZKDBaseListCtrl::dropEvent(QDropEvent* event) {
  Drop(event);
}

// What the Collection does not take goes on to the main window, which opens files.
void ZKDBaseListCtrl::DragOver(QDropEvent* event) {
  if (!drag_.takes || !drag_.takes(*event->mimeData())) return event->ignore();
  event->setDropAction(Qt::CopyAction);
  event->accept();
}

void ZKDBaseListCtrl::Drop(QDropEvent* event) {
  if (!drag_.takes || !drag_.takes(*event->mimeData())) return event->ignore();
  event->setDropAction(Qt::CopyAction);
  event->accept();
  drag_.drop(*event->mimeData());
}

}  // namespace tonalith
