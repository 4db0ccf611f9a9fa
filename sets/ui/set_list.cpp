#include "sets/ui/set_list.h"

#include <QDropEvent>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLocale>
#include <QMimeData>
#include <algorithm>

#include "store/sets/set_document.h"
#include "ui/plain_text.h"
#include "ui/style/icons.h"
#include "ui/style/list_delegate.h"

namespace tonalith {

namespace {

QVariant ComponentMarks(const ZKGrpDoc& set, int component) {
  const EntryState state = set.StateOf(component);
  if (state.busy) return MarksOf({Mark::Busy});
  std::vector<Mark> marks;
  if (set.IsChanged(component)) marks.push_back(Mark::Changed);
  if (!set.LinkProblem(component).empty())
    marks.push_back(Mark::Missing);
  else if (state.content == EntryContent::kUndefined)
    marks.push_back(Mark::Undefined);
  return MarksOf(marks);
}

Glyph GlyphOfComponent(const ZKGrpDoc& set, int component) {
  if (set.StateOf(component).linked) return Glyph::Link;
  const Synth& synth = *set.GetDataFile(component)->synth;
  constexpr int kMulti = 3, kMultiBank = 4;
  if (synth.dataKind == kMulti || synth.dataKind == kMultiBank) return Glyph::Multi;
  return synth.isBank ? Glyph::Bank : Glyph::Patch;
}

QString SizeText(std::uint32_t bytes) {
  return bytes == 0 ? QString() : SetListModel::tr("%1 bytes").arg(QLocale().toString(bytes));
}

}  // namespace

QString ComponentState(const ZKGrpDoc& set, int component) {
  const EntryState state = set.StateOf(component);
  if (state.busy) return SetListModel::tr("Being transferred");
  QStringList words;
  if (state.inactive) words << SetListModel::tr("inactive");
  if (state.linked) words << SetListModel::tr("linked");
  if (!set.LinkProblem(component).empty())
    words << SetListModel::tr("file missing");
  else if (state.content == EntryContent::kUndefined)
    words << SetListModel::tr("undefined");
  else if (state.content == EntryContent::kEmpty)
    words << SetListModel::tr("empty");
  if (words.isEmpty()) words << SetListModel::tr("active");
  words.front().replace(0, 1, words.front().at(0).toUpper());
  return words.join(QStringLiteral(", "));
}

// ---- the rows -------------------------------------------------------------------------------------------------------

SetListModel::SetListModel(ZKGrpDoc& set, QObject* parent)
    : QAbstractTableModel(parent), set_(set), rows_(set.GetDataFileCount()) {
  listener_ = set_.AddListener([this](const DocumentChange& change) { Changed(change); });
}

SetListModel::~SetListModel() {
  set_.RemoveListener(listener_);
}

void SetListModel::Changed(const DocumentChange& change) {
  if (set_.GetDataFileCount() != rows_) {
    beginResetModel();
    rows_ = set_.GetDataFileCount();
    endResetModel();
  } else if (change.kind == DocumentChange::Kind::Item) {
    emit dataChanged(index(change.item, 0), index(change.item, kColumns - 1));
  } else if (rows_ > 0) {
    emit dataChanged(index(0, 0), index(rows_ - 1, kColumns - 1));
  }
}

int SetListModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : rows_;
}

int SetListModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : kColumns;
}

QString SetListModel::Spoken(int component) const {
  QStringList parts{ShownUtf8(set_.TypeName(component)), ComponentState(set_, component)};
  if (const QString size = SizeText(set_.SysExBytes(component)); !size.isEmpty()) parts << size;
  if (set_.IsChanged(component)) parts << MarkText(Mark::Changed);
  return parts.join(QStringLiteral(", "));
}

QString SetListModel::Tip(int component) const {
  QString text = ShownUtf8(set_.TitleOf(component)) + QStringLiteral("\n") + Spoken(component);
  if (set_.StateOf(component).linked) text += QStringLiteral("\n") + ShownUtf8(set_.LinkPath(component));
  if (!set_.LinkProblem(component).empty()) text += QStringLiteral("\n") + ShownUtf8(set_.LinkProblem(component));
  return ToolTipText(text);
}

QVariant SetListModel::data(const QModelIndex& index, int role) const {
  const int component = index.row();
  if (!set_.Has(component)) return {};
  switch (role) {
    case Qt::DisplayRole:
      if (index.column() == kName) return ShownUtf8(set_.TypeName(component));
      return index.column() == kState ? ComponentState(set_, component) : SizeText(set_.SysExBytes(component));
    case Qt::DecorationRole:
      return index.column() == kName ? QVariant(IconOf(GlyphOfComponent(set_, component))) : QVariant();
    case Qt::TextAlignmentRole:
      return index.column() == kSize ? QVariant(Qt::AlignRight | Qt::AlignVCenter) : QVariant();
    case Qt::ToolTipRole:
      return Tip(component);
    case Qt::AccessibleTextRole:
      return index.column() == kName ? QVariant(Spoken(component)) : this->data(index, Qt::DisplayRole);
    case kNumberRole:
      return index.column() == kSize;
    case kQuietRole:
      return set_.StateOf(component).inactive || set_.StateOf(component).content == EntryContent::kUndefined;
    case kMarksRole:
      return index.column() == kName ? ComponentMarks(set_, component) : QVariant();
    default:
      return {};
  }
}

QVariant SetListModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal) return {};
  if (role == Qt::TextAlignmentRole && section == kSize) return QVariant(Qt::AlignRight | Qt::AlignVCenter);
  if (role != Qt::DisplayRole) return {};
  return section == kName ? tr("Component") : section == kState ? tr("State") : tr("Size");
}

Qt::ItemFlags SetListModel::flags(const QModelIndex& index) const {
  Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren | Qt::ItemIsDropEnabled;
  if (set_.StateOf(index.row()).content == EntryContent::kDefined) flags |= Qt::ItemIsDragEnabled;
  return flags;
}

// ---- the list -------------------------------------------------------------------------------------------------------

ZKGroupListCtl::ZKGroupListCtl(ZKGrpDoc& set, QWidget* parent) : QTreeView(parent) {
  setModel(new SetListModel(set, this));
  DressList(this)->SetMarkPlaces(1);
  // Marks stand before the names alone.
  for (const int column : {SetListModel::kState, SetListModel::kSize})
    setItemDelegateForColumn(column, new ListDelegate(this));
  setRootIsDecorated(false);
  setUniformRowHeights(true);
  setSelectionMode(ExtendedSelection);
  setAccessibleName(tr("Components"));
  setContextMenuPolicy(Qt::CustomContextMenu);
  setDragEnabled(true);
  setAcceptDrops(true);
  setDropIndicatorShown(true);
  header()->setStretchLastSection(false);
  header()->setSectionsMovable(false);
  header()->setSectionResizeMode(SetListModel::kName, QHeaderView::Stretch);
  header()->setSectionResizeMode(SetListModel::kState, QHeaderView::ResizeToContents);
  header()->setSectionResizeMode(SetListModel::kSize, QHeaderView::ResizeToContents);
  connect(this, &QWidget::customContextMenuRequested, this,
          [this](const QPoint& at) { emit AskMenu(viewport()->mapToGlobal(at)); });
  connect(this, &QAbstractItemView::doubleClicked, this, [this] { emit OpenWanted(); });
}

int ZKGroupListCtl::GetCurSel() const {
  return currentIndex().isValid() ? currentIndex().row() : -1;
}

// Whatever keys are held: the row alone is selected.
void ZKGroupListCtl::SetCurSel(int component) {
  selectionModel()->setCurrentIndex(model()->index(component, 0),
                                    QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
}

std::vector<int> ZKGroupListCtl::Selected() const {
  std::vector<int> rows;
  for (const QModelIndex& index : selectionModel()->selectedRows()) rows.push_back(index.row());
  std::sort(rows.begin(), rows.end());
  return rows;
}

void ZKGroupListCtl::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
    emit OpenWanted();
    return event->accept();
  }
  QTreeView::keyPressEvent(event);
}

void ZKGroupListCtl::startDrag(Qt::DropActions) {
  if (drag_.start && GetCurSel() >= 0) drag_.start(GetCurSel());
}

void ZKGroupListCtl::dragEnterEvent(QDragEnterEvent* event) {
  dragMoveEvent(event);
}

// What no component takes goes on to the main window, which opens files.
void ZKGroupListCtl::dragMoveEvent(QDragMoveEvent* event) {
  const QModelIndex at = indexAt(event->position().toPoint());
  if (at.isValid() && drag_.takes && drag_.takes(*event->mimeData(), at.row())) {
    event->setDropAction(Qt::CopyAction);
    event->accept();
  } else {
    event->ignore();
  }
}

void ZKGroupListCtl::dropEvent(QDropEvent* event) {
  const QModelIndex at = indexAt(event->position().toPoint());
  if (!at.isValid() || !drag_.takes || !drag_.takes(*event->mimeData(), at.row())) return event->ignore();
  event->setDropAction(Qt::CopyAction);
  event->accept();
  SetCurSel(at.row());
  drag_.drop(*event->mimeData(), at.row());
}

void ZKGroupListCtl::currentChanged(const QModelIndex& current, const QModelIndex& previous) {
  QTreeView::currentChanged(current, previous);
  if (current.row() != previous.row()) emit ShownChanged();
}

void ZKGroupListCtl::selectionChanged(const QItemSelection& selected, const QItemSelection& deselected) {
  QTreeView::selectionChanged(selected, deselected);
  emit ShownChanged();
}

}  // namespace tonalith
