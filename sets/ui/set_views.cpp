#include "sets/ui/set_views.h"

#include <QDropEvent>
#include <QHeaderView>
#include <QKeyEvent>
#include <QListView>
#include <QMimeData>
#include <QTreeView>
#include <algorithm>
#include <utility>

#include "sets/ui/set_list.h"
#include "sets/ui/set_tree.h"
#include "store/sets/set_document.h"
#include "ui/plain_text.h"
#include "ui/style/document_header.h"
#include "ui/style/icons.h"
#include "ui/style/list_delegate.h"
#include "ui/style/space.h"

namespace tonalith {

namespace {

constexpr QSize kPanelPicture = DocumentHeader::kPicture * 2;

int ComponentOf(const QModelIndex& index) {
  const QVariant number = index.data(kComponentRole);
  return index.isValid() && number.isValid() ? number.toInt() : -1;
}

// What the three have in common, whatever Qt draws them with.
template <typename Base>
class ViewOf : public Base, public SetView {
 public:
  ViewOf(const SetViewEvents& events, QWidget* parent) : Base(parent), events_(events) {
    this->setSelectionMode(QAbstractItemView::ExtendedSelection);
    SetAccessibleName(this, SetListModel::tr("Components"));
    this->setContextMenuPolicy(Qt::CustomContextMenu);
    this->setEditTriggers(QAbstractItemView::NoEditTriggers);
    this->setDragEnabled(true);
    this->setAcceptDrops(true);
    QObject::connect(this, &QWidget::customContextMenuRequested, this,
                     [this](const QPoint& at) { events_.menu(this->viewport()->mapToGlobal(at)); });
    QObject::connect(this, &QAbstractItemView::doubleClicked, this, [this](const QModelIndex& index) {
      if (ComponentOf(index) >= 0) events_.open();
    });
  }

  QAbstractItemView* widget() override { return this; }
  const QAbstractItemView* widget() const override { return this; }

 protected:
  void keyPressEvent(QKeyEvent* event) override {
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
      if (GetCurSel() >= 0) events_.open();
      return event->accept();
    }
    Base::keyPressEvent(event);
  }
  void currentChanged(const QModelIndex& current, const QModelIndex& previous) override {
    Base::currentChanged(current, previous);
    if (current.row() != previous.row() || current.parent() != previous.parent()) events_.changed();
  }
  void selectionChanged(const QItemSelection& selected, const QItemSelection& deselected) override {
    Base::selectionChanged(selected, deselected);
    events_.changed();
  }
  void startDrag(Qt::DropActions) override {
    if (GetCurSel() >= 0) events_.start(GetCurSel());
  }
  void dragEnterEvent(QDragEnterEvent* event) override { dragMoveEvent(event); }
  // What no component takes goes on to the main window, which opens files.
  void dragMoveEvent(QDragMoveEvent* event) override {
    const int component = ComponentOf(this->indexAt(event->position().toPoint()));
    if (component < 0 || !events_.takes(*event->mimeData(), component)) return event->ignore();
    event->setDropAction(Qt::CopyAction);
    event->accept();
  }
  void dropEvent(QDropEvent* event) override {
    const int component = ComponentOf(this->indexAt(event->position().toPoint()));
    if (component < 0 || !events_.takes(*event->mimeData(), component)) return event->ignore();
    event->setDropAction(Qt::CopyAction);
    event->accept();
    SetCurSel(component);
    events_.drop(*event->mimeData(), component);
  }

 private:
  SetViewEvents events_;
};

class ZKGroupListCtl final : public ViewOf<QTreeView> {
 public:
  ZKGroupListCtl(ZKGrpDoc& set, const SetViewEvents& events, QWidget* parent) : ViewOf(events, parent) {
    setModel(new SetListModel(set, this));
    DressList(this)->SetMarkPlaces(2);
    // Marks stand before the names alone.
    for (const int column : {SetListModel::kState, SetListModel::kSize})
      setItemDelegateForColumn(column, new ListDelegate(this));
    setRootIsDecorated(false);
    setUniformRowHeights(true);
    header()->setStretchLastSection(false);
    header()->setSectionsMovable(false);
    header()->setSectionResizeMode(SetListModel::kName, QHeaderView::Stretch);
    header()->setSectionResizeMode(SetListModel::kState, QHeaderView::ResizeToContents);
    header()->setSectionResizeMode(SetListModel::kSize, QHeaderView::ResizeToContents);
  }
  QModelIndex IndexOf(int component) const override { return model()->index(component, 0); }
};

class ZKGroupCustomCtl final : public ViewOf<QListView> {
 public:
  ZKGroupCustomCtl(ZKGrpDoc& set, const SetViewEvents& events, QWidget* parent) : ViewOf(events, parent) {
    auto* rows = new SetListModel(set, this);
    rows->ShowTiles();
    setModel(rows);
    DressList(this)->SetMarkPlaces(2);
    setUniformItemSizes(true);
    setSpacing(1);
    picture_->setAlignment(Qt::AlignCenter);
    const QString instrument = ShownUtf8(set.InstrumentOf(0));
    picture_->setPixmap(InstrumentPicture(instrument.section(QLatin1Char(' '), 0, 0),
                                          instrument.section(QLatin1Char(' '), 1), kPanelPicture, devicePixelRatioF()));
    SetAccessibleName(picture_, instrument);
    setViewportMargins(0, kPanelPicture.height() + 2 * kGap, 0, 0);
  }
  QModelIndex IndexOf(int component) const override { return model()->index(component, 0); }

 protected:
  void resizeEvent(QResizeEvent* event) override {
    ViewOf::resizeEvent(event);
    picture_->setGeometry(0, 0, width(), kPanelPicture.height() + 2 * kGap);
  }

 private:
  PlainLabel* picture_ = new PlainLabel(this);  // of the instrument, above the tiles
};

class ZKGroupTreeCtl final : public ViewOf<QTreeView> {
 public:
  ZKGroupTreeCtl(ZKGrpDoc& set, const SetViewEvents& events, QWidget* parent)
      : ViewOf(events, parent), rows_(new SetTreeModel(set, this)) {
    setModel(rows_);
    DressList(this);
    setHeaderHidden(true);
    setUniformRowHeights(true);
    expandAll();
    QObject::connect(rows_, &QAbstractItemModel::rowsInserted, this, [this] { expandAll(); });
  }
  QModelIndex IndexOf(int component) const override { return rows_->IndexOf(component); }

 private:
  SetTreeModel* rows_;
};

}  // namespace

int SetView::GetCurSel() const {
  return ComponentOf(widget()->currentIndex());
}

// Whatever keys are held: the component alone is selected.
void SetView::SetCurSel(int component) {
  widget()->selectionModel()->setCurrentIndex(IndexOf(component),
                                              QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
}

std::vector<int> SetView::Selected() const {
  std::vector<int> components;
  for (const QModelIndex& index : widget()->selectionModel()->selectedIndexes())
    if (const int component = ComponentOf(index); index.column() == 0 && component >= 0)
      components.push_back(component);
  std::sort(components.begin(), components.end());
  return components;
}

void SetView::Select(const std::vector<int>& components, int current) {
  constexpr auto kRows = QItemSelectionModel::Rows;
  QItemSelectionModel* selection = widget()->selectionModel();
  selection->setCurrentIndex(IndexOf(current), QItemSelectionModel::ClearAndSelect | kRows);
  for (const int component : components) selection->select(IndexOf(component), QItemSelectionModel::Select | kRows);
}

SetView* MakeSetView(SetViewKind kind, ZKGrpDoc& set, const SetViewEvents& events, QWidget* parent) {
  switch (kind) {
    case SetViewKind::Panel:
      return new ZKGroupCustomCtl(set, events, parent);
    case SetViewKind::Tree:
      return new ZKGroupTreeCtl(set, events, parent);
    default:
      return new ZKGroupListCtl(set, events, parent);
  }
}

}  // namespace tonalith
