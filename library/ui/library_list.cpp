#include "library/ui/library_list.h"

#include <QDropEvent>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QMimeData>
#include <algorithm>

#include "platform/text.h"
#include "store/library/library_document.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"
#include "ui/style/icons.h"
#include "ui/style/list_delegate.h"

namespace tonalith {

namespace {

LibraryColumn ColumnOf(int column) {
  return static_cast<LibraryColumn>(column);
}

// Those that are shown at first.
bool IsShownAtFirst(LibraryColumn column) {
  if (const auto slot = KeywordSlotOf(column)) return *slot < 3;
  return column != LibraryColumn::Copyright && column != LibraryColumn::Song && column != LibraryColumn::Musician &&
         column != LibraryColumn::Band && column != LibraryColumn::LongName;
}

int Characters(LibraryColumn column) {
  if (column == LibraryColumn::Name) return 24;
  if (column == LibraryColumn::Comment || column == LibraryColumn::Date) return 26;
  return KeywordSlotOf(column) ? 13 : 16;
}

}  // namespace

// ---- the rows -------------------------------------------------------------------------------------------------------

LibraryListModel::LibraryListModel(ZKLibDoc& library, LibraryView& view, QObject* parent)
    : QAbstractTableModel(parent), library_(library), view_(view), shown_(view.Listed()) {}

bool LibraryListModel::Follow() {
  if (shown_ == view_.Listed()) {
    if (!shown_.empty()) emit dataChanged(index(0, 0), index(static_cast<int>(shown_.size()) - 1, kLibraryColumns - 1));
    return false;
  }
  beginResetModel();
  shown_ = view_.Listed();
  endResetModel();
  return true;
}

EntryId LibraryListModel::EntryOf(int row) const {
  return row >= 0 && static_cast<std::size_t>(row) < shown_.size() ? shown_[static_cast<std::size_t>(row)] : 0;
}

int LibraryListModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(shown_.size());
}

int LibraryListModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : kLibraryColumns;
}

QString LibraryListModel::Spoken(EntryId entry) const {
  const std::string& name = library_.NameOf(entry);
  QStringList parts{name.empty() ? tr("<unnamed>") : ShownLatin1(name)};
  for (const std::string& word : library_.Keywords(entry)) parts << ShownUtf8(word);
  if (const std::string text = library_.Text(entry, LibraryColumn::Comment); !text.empty()) parts << ShownUtf8(text);
  return parts.join(QStringLiteral(", "));
}

QVariant LibraryListModel::data(const QModelIndex& index, int role) const {
  const EntryId entry = EntryOf(index.row());
  if (entry == 0) return {};
  const LibraryColumn column = ColumnOf(index.column());
  const bool name = column == LibraryColumn::Name;
  switch (role) {
    case Qt::DisplayRole: {
      const std::string text = library_.Text(entry, column);
      return name && text.empty() ? tr("<unnamed>") : ShownUtf8(text);
    }
    case Qt::EditRole:
      return FromUtf8(library_.Text(entry, column));
    case Qt::DecorationRole:
      return name ? QVariant(IconOf(Glyph::Patch)) : QVariant();
    case Qt::AccessibleTextRole:
      return name ? QVariant(Spoken(entry)) : this->data(index, Qt::DisplayRole);
    case kQuietRole:
      return name && library_.NameOf(entry).empty();
    default:
      return {};
  }
}

QVariant LibraryListModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
  return ShownUtf8(LibraryColumnLabel(ColumnOf(section)));
}

Qt::ItemFlags LibraryListModel::flags(const QModelIndex& index) const {
  Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren | Qt::ItemIsDragEnabled;
  const LibraryColumn column = ColumnOf(index.column());
  const bool editable = column != LibraryColumn::Date && (column != LibraryColumn::Name || library_.NameLength() > 0);
  if (editable && (!refusal_ || refusal_().isEmpty())) flags |= Qt::ItemIsEditable;
  return flags;
}

bool LibraryListModel::setData(const QModelIndex& index, const QVariant& value, int role) {
  const EntryId entry = EntryOf(index.row());
  if (role != Qt::EditRole || entry == 0) return false;
  const LibraryColumn column = ColumnOf(index.column());
  const QString wanted = value.toString();
  const Result set =
      library_.SetText({&entry, 1}, column, ToUtf8(wanted),
                       column == LibraryColumn::Name ? "Rename" : "Change " + LibraryColumnLabel(column));
  if (!set.ok()) {
    emit Explained(ShownUtf8(set.text));
    return false;
  }
  const std::string now = library_.Text(entry, column);
  if (TrimmedView(now) != TrimmedView(ToUtf8(wanted)))
    emit Explained(tr("The text was taken as \"%1\".").arg(ShownUtf8(now)));
  return true;
}

// ---- typing ---------------------------------------------------------------------------------------------------------

LibraryDelegate::LibraryDelegate(const ZKLibDoc& library, ZKLibListCtrl* list)
    : ListDelegate(list), library_(library), list_(list) {}

QWidget* LibraryDelegate::createEditor(QWidget* parent, const QStyleOptionViewItem& option,
                                       const QModelIndex& index) const {
  QWidget* editor = ListDelegate::createEditor(parent, option, index);
  auto* line = qobject_cast<QLineEdit*>(editor);
  const DataFile* data = library_.Data(list_->rows()->EntryOf(index.row()));
  if (line && data) {
    line->setMaxLength(static_cast<int>(LongestEntryText(*data, ColumnOf(index.column()))));
    SetAccessibleName(line, ShownUtf8(LibraryColumnLabel(ColumnOf(index.column()))));
  }
  return editor;
}

bool LibraryDelegate::eventFilter(QObject* watched, QEvent* event) {
  auto* editor = qobject_cast<QWidget*>(watched);
  if (editor && event->type() == QEvent::KeyPress) {
    const int key = static_cast<QKeyEvent*>(event)->key();
    if (key == Qt::Key_Return || key == Qt::Key_Enter) {
      emit commitData(editor);
      // The row may be listed no more with the new text, and its field is gone.
      if (!list_->IsTyping()) return true;
      emit closeEditor(editor, NoHint);
      list_->EditBelow();
      return true;
    }
  }
  return ListDelegate::eventFilter(watched, event);
}

// ---- the list -------------------------------------------------------------------------------------------------------

ZKLibListCtrl::ZKLibListCtrl(ZKLibDoc& library, LibraryView& view, QWidget* parent)
    : QTreeView(parent), view_(view), rows_(new LibraryListModel(library, view, this)) {
  setModel(rows_);
  DressList(this);
  setItemDelegate(new LibraryDelegate(library, this));
  setRootIsDecorated(false);
  setUniformRowHeights(true);
  setSelectionMode(ExtendedSelection);
  setEditTriggers(EditKeyPressed);
  setAccessibleName(tr("Patches"));
  setContextMenuPolicy(Qt::CustomContextMenu);
  setDragEnabled(true);
  setAcceptDrops(true);
  setHorizontalScrollMode(ScrollPerPixel);
  header()->setStretchLastSection(false);
  header()->setSectionsMovable(true);
  header()->setSectionsClickable(true);
  header()->setContextMenuPolicy(Qt::CustomContextMenu);
  const int character = fontMetrics().averageCharWidth();
  for (int i = 0; i < kLibraryColumns; ++i) {
    header()->resizeSection(i, character * Characters(ColumnOf(i)));
    setColumnHidden(i, !IsShownAtFirst(ColumnOf(i)));
  }
  connect(header(), &QWidget::customContextMenuRequested, this,
          [this](const QPoint& at) { AskColumns(header()->mapToGlobal(at)); });
  connect(header(), &QHeaderView::sectionClicked, this, &ZKLibListCtrl::SortWanted);
  connect(this, &QWidget::customContextMenuRequested, this,
          [this](const QPoint& at) { emit AskMenu(viewport()->mapToGlobal(at)); });
  connect(this, &QAbstractItemView::doubleClicked, this, [this](const QModelIndex& at) {
    if (rows_->flags(at) & Qt::ItemIsEditable)
      edit(at);
    else
      emit OpenWanted();
  });
}

void ZKLibListCtrl::ShowColumn(LibraryColumn column, bool shown) {
  setColumnHidden(static_cast<int>(column), !shown);
}

void ZKLibListCtrl::AskColumns(const QPoint& at) {
  auto* menu = new QMenu(this);
  menu->setAttribute(Qt::WA_DeleteOnClose);
  for (int i = 1; i < kLibraryColumns; ++i) {
    QAction* entry = menu->addAction(MenuText(ShownUtf8(LibraryColumnLabel(ColumnOf(i)))));
    entry->setCheckable(true);
    entry->setChecked(!isColumnHidden(i));
    connect(entry, &QAction::toggled, this, [this, i](bool on) { ShowColumn(ColumnOf(i), on); });
  }
  menu->popup(at);
}

EntryId ZKLibListCtrl::Current() const {
  return currentIndex().isValid() ? rows_->EntryOf(currentIndex().row()) : 0;
}

void ZKLibListCtrl::GoTo(EntryId entry) {
  const std::vector<EntryId>& listed = view_.Listed();
  const auto at = std::find(listed.begin(), listed.end(), entry);
  if (at == listed.end()) return;
  const QModelIndex index = rows_->index(static_cast<int>(at - listed.begin()), 0);
  // Whatever keys are held: the row alone is selected.
  selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
  scrollTo(index);
}

void ZKLibListCtrl::GoToSelected() {
  const std::vector<EntryId> selected = view_.Selected();
  const std::vector<EntryId>& listed = view_.Listed();
  if (selected.empty()) return;
  const auto at = std::find(listed.begin(), listed.end(), selected.front());
  const QModelIndex index = rows_->index(static_cast<int>(at - listed.begin()), 0);
  following_ = true;
  selectionModel()->setCurrentIndex(index, QItemSelectionModel::NoUpdate);
  following_ = false;
  scrollTo(index);
}

// Runs of selected rows, as the view has them.
void ZKLibListCtrl::SelectRows() {
  const std::vector<EntryId>& listed = view_.Listed();
  QItemSelection selection;
  for (std::size_t i = 0; i < listed.size();) {
    std::size_t end = i;
    while (end < listed.size() && view_.IsSelected(listed[end])) ++end;
    if (end > i)
      selection.append(QItemSelectionRange(rows_->index(static_cast<int>(i), 0),
                                           rows_->index(static_cast<int>(end) - 1, kLibraryColumns - 1)));
    i = end + 1;
  }
  selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
}

void ZKLibListCtrl::Follow() {
  const EntryId current = Current();
  const int column = currentIndex().column();
  const int before = currentIndex().row();
  const bool typing = state() == EditingState;
  following_ = true;
  if (!rows_->Follow()) {
    SelectRows();
    following_ = false;
    return;
  }
  // The field that something was typed in is gone, and the keys go back to the list.
  if (typing) setFocus();
  const std::vector<EntryId>& listed = view_.Listed();
  const auto at = std::find(listed.begin(), listed.end(), current);
  // What was current and is gone leaves its place to what stands there now.
  int row = at == listed.end() ? std::min(before, rows_->rowCount() - 1) : static_cast<int>(at - listed.begin());
  if (before < 0) row = listed.empty() ? -1 : 0;
  if (row >= 0)
    selectionModel()->setCurrentIndex(rows_->index(row, std::max(column, 0)), QItemSelectionModel::NoUpdate);
  SelectRows();
  following_ = false;
  if (row >= 0) scrollTo(currentIndex());
}

void ZKLibListCtrl::EditCurrent() {
  const QModelIndex current = currentIndex();
  edit(rows_->flags(current) & Qt::ItemIsEditable ? current : current.siblingAtColumn(0));
}

void ZKLibListCtrl::EditBelow() {
  const QModelIndex below = currentIndex().siblingAtRow(currentIndex().row() + 1);
  if (!below.isValid()) return;
  setCurrentIndex(below);
  edit(below);
}

// From a text to the next, or the one before, in the order of the columns as they are shown; nothing is behind the
// last.
QModelIndex ZKLibListCtrl::moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers) {
  if ((action != MoveNext && action != MovePrevious) || !currentIndex().isValid())
    return QTreeView::moveCursor(action, modifiers);
  const int step = action == MoveNext ? 1 : -1;
  int row = currentIndex().row();
  int place = header()->visualIndex(currentIndex().column());
  while (row >= 0 && row < rows_->rowCount()) {
    for (place += step; place >= 0 && place < kLibraryColumns; place += step) {
      const QModelIndex at = rows_->index(row, header()->logicalIndex(place));
      if (!isColumnHidden(at.column()) && rows_->flags(at) & Qt::ItemIsEditable) return at;
    }
    row += step;
    place = step > 0 ? -1 : kLibraryColumns;
  }
  return {};
}

void ZKLibListCtrl::keyPressEvent(QKeyEvent* event) {
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

void ZKLibListCtrl::currentChanged(const QModelIndex& current, const QModelIndex& previous) {
  QTreeView::currentChanged(current, previous);
  if (!following_ && current.row() != previous.row()) emit ShownChanged();
}

void ZKLibListCtrl::selectionChanged(const QItemSelection& selected, const QItemSelection& deselected) {
  QTreeView::selectionChanged(selected, deselected);
  if (following_) return;
  view_.ClearSelection();
  for (const QItemSelectionRange& range : selectionModel()->selection())
    for (int row = range.top(); row <= range.bottom(); ++row) view_.Select(rows_->EntryOf(row));
  emit ShownChanged();
}

// ---- dragging -------------------------------------------------------------------------------------------------------

void ZKLibListCtrl::startDrag(Qt::DropActions) {
  if (drag_.start) drag_.start();
}

void ZKLibListCtrl::dragEnterEvent(QDragEnterEvent* event) {
  dragMoveEvent(event);
}

// What the Library does not take goes on to the main window, which opens files.
void ZKLibListCtrl::dragMoveEvent(QDragMoveEvent* event) {
  DragOver(event);
}

void ZKLibListCtrl::dropEvent(QDropEvent* event) {
  Drop(event);
}

void ZKLibListCtrl::DragOver(QDropEvent* event) {
  if (!drag_.takes || !drag_.takes(*event->mimeData())) return event->ignore();
  event->setDropAction(Qt::CopyAction);
  event->accept();
}

void ZKLibListCtrl::Drop(QDropEvent* event) {
  if (!drag_.takes || !drag_.takes(*event->mimeData())) return event->ignore();
  event->setDropAction(Qt::CopyAction);
  event->accept();
  drag_.drop(*event->mimeData());
}

}  // namespace tonalith
