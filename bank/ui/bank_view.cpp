#include "bank/ui/bank_view.h"

#include <QDragEnterEvent>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPainter>
#include <QScrollBar>
#include <algorithm>
#include <array>
#include <optional>

#include "bank/bank_document.h"
#include "bank/ui/bank_drag.h"
#include "bank/ui/bank_model.h"
#include "ui/plain_text.h"
#include "ui/style/colours.h"
#include "ui/style/list_delegate.h"
#include "ui/style/space.h"

namespace tonalith {

namespace {

constexpr float kCueStrength = 0.18F;  // of what is filled in the accent colour

// The name where its end is cut off, and what the marks mean.
QString TipOf(const BankPatchView& view, const QModelIndex& patch) {
  const QString name = patch.data().toString();
  const QString marks = MarksText(MarksIn(patch.data(kMarksRole)));
  if (view.fontMetrics().horizontalAdvance(name) <= view.visualRect(patch).width()) return marks;
  return marks.isEmpty() ? name : name + QLatin1Char('\n') + marks;
}

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

// Over the whole name, with the text where it stood.
void BankNameDelegate::updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                                            const QModelIndex&) const {
  editor->setGeometry(option.rect.adjusted(-kGap, 0, kSmallGap, 0));
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

// ---- patches that are shown -----------------------------------------------------------------------------------------

BankPatchView::BankPatchView(ZKBankDoc& document, BankListModel* model, QWidget* parent)
    : QListView(parent), document_(document), model_(model) {
  setModel(model_);
  setModelColumn(BankListModel::kName);
  setItemDelegate(new BankNameDelegate(document, this));
  setSelectionMode(ExtendedSelection);
  setEditTriggers(EditKeyPressed);
  setFrameShape(NoFrame);
  setMouseTracking(true);
  setVerticalScrollMode(ScrollPerPixel);
  setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  connect(model_, &QAbstractItemModel::modelReset, this, &BankPatchView::Filter);
}

// What is left of the view when a subclass is gone cannot lay anything out.
BankPatchView::~BankPatchView() {
  ready_ = false;
}

void BankPatchView::Begin() {
  Filter();
  setCurrentIndex(model_->index(0, BankListModel::kName));
}

void BankPatchView::SetDrag(BankDrag* drag) {
  drag_ = drag;
  setDragEnabled(drag != nullptr);
  setAcceptDrops(drag != nullptr);
  viewport()->setAcceptDrops(drag != nullptr);
}

int BankPatchView::SetFilter(const SearchWords& words) {
  words_ = words;
  Filter();
  return Shown();
}

void BankPatchView::Filter() {
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
    selectionModel()->setCurrentIndex(model_->index(patches_.front(), BankListModel::kName),
                                      QItemSelectionModel::ClearAndSelect);
  ready_ = true;
  Measure();
  Arrange();
}

int BankPatchView::PlaceOf(int patch) const {
  return patch >= 0 && static_cast<std::size_t>(patch) < places_.size() ? places_[static_cast<std::size_t>(patch)] : -1;
}

QModelIndex BankPatchView::IndexOf(int place) const {
  return place >= 0 && place < Shown() ? model_->index(PatchOf(place), BankListModel::kName) : QModelIndex();
}

QRect BankPatchView::visualRect(const QModelIndex& index) const {
  const int place = index.isValid() ? PlaceOf(index.row()) : -1;
  const QRect cell = place < 0 ? QRect() : CellOf(place);
  if (cell.isEmpty()) return {};
  return index.column() == BankListModel::kNumber ? NumberIn(cell) : NameIn(cell);
}

QModelIndex BankPatchView::indexAt(const QPoint& point) const {
  return ready_ ? IndexOf(PlaceAt(point)) : QModelIndex();
}

bool BankPatchView::isIndexHidden(const QModelIndex& index) const {
  return PlaceOf(index.row()) < 0;
}

void BankPatchView::doItemsLayout() {
  if (!ready_) return;
  Measure();
  Arrange();
  QAbstractItemView::doItemsLayout();
}

void BankPatchView::updateGeometries() {
  if (ready_) Arrange();
  QAbstractItemView::updateGeometries();
}

void BankPatchView::resizeEvent(QResizeEvent* event) {
  QAbstractItemView::resizeEvent(event);
  if (ready_) Arrange();
}

void BankPatchView::changeEvent(QEvent* event) {
  QListView::changeEvent(event);
  if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange) doItemsLayout();
}

void BankPatchView::dataChanged(const QModelIndex& first, const QModelIndex& last, const QVector<int>& roles) {
  QAbstractItemView::dataChanged(first, last, roles);
  viewport()->update();
}

// ---- selection ------------------------------------------------------------------------------------------------------

int BankPatchView::CurrentPatch() const {
  return currentIndex().isValid() ? currentIndex().row() : -1;
}

bool BankPatchView::IsSelected(int patch) const {
  return selectionModel()->isSelected(model_->index(patch, BankListModel::kName));
}

std::vector<int> BankPatchView::SelectedPatches() const {
  // Asking the selection for each patch would take as long as there are ranges.
  std::vector<bool> chosen(static_cast<std::size_t>(model_->rowCount()));
  const QItemSelection selection = selectionModel()->selection();
  for (const QItemSelectionRange& range : selection)
    for (int row = range.top(); row <= range.bottom(); ++row) chosen[static_cast<std::size_t>(row)] = true;
  std::vector<int> patches;
  for (const int patch : patches_)
    if (static_cast<std::size_t>(patch) < chosen.size() && chosen[static_cast<std::size_t>(patch)])
      patches.push_back(patch);
  return patches;
}

void BankPatchView::SelectPatches(const std::vector<int>& patches) {
  QItemSelection selection;
  for (const int patch : patches)
    selection.append(QItemSelectionRange(model_->index(patch, 0), model_->index(patch, BankListModel::kColumns - 1)));
  selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
  if (patches.empty()) return;
  anchor_ = patches.front();
  selectionModel()->setCurrentIndex(model_->index(patches.front(), BankListModel::kName),
                                    QItemSelectionModel::NoUpdate);
}

void BankPatchView::SelectBetween(int onePlace, int otherPlace) {
  QItemSelection selection;
  for (int place = std::max(0, std::min(onePlace, otherPlace)); place <= std::max(onePlace, otherPlace); ++place) {
    const int patch = PatchOf(place);
    selection.append(QItemSelectionRange(model_->index(patch, 0), model_->index(patch, BankListModel::kColumns - 1)));
  }
  selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
}

void BankPatchView::selectAll() {
  if (Shown() > 0) SelectBetween(0, Shown() - 1);
}

// Whatever the rectangle touches: of a press one patch, of a rubber band many.
void BankPatchView::setSelection(const QRect& rect, QItemSelectionModel::SelectionFlags command) {
  QItemSelection selection;
  for (int place = 0; place < Shown(); ++place) {
    if (!CellOf(place).intersects(rect)) continue;
    const int patch = PatchOf(place);
    selection.append(QItemSelectionRange(model_->index(patch, 0), model_->index(patch, BankListModel::kColumns - 1)));
  }
  selectionModel()->select(selection, command);
}

QRegion BankPatchView::visualRegionForSelection(const QItemSelection& selection) const {
  QRegion region;
  for (const QModelIndex& index : selection.indexes())
    if (const int place = PlaceOf(index.row()); place >= 0) region += CellOf(place);
  return region;
}

// ---- keys -----------------------------------------------------------------------------------------------------------

// Nothing is behind the last name.
QModelIndex BankPatchView::moveCursor(CursorAction action, Qt::KeyboardModifiers) {
  const int now = PlaceOf(CurrentPatch());
  if (Shown() == 0) return {};
  if (now < 0) return IndexOf(0);
  switch (action) {
    case MoveNext:
      return IndexOf(now + 1);
    case MovePrevious:
      return IndexOf(now - 1);
    case MoveUp:
    case MoveDown:
    case MoveLeft:
    case MoveRight:
      return IndexOf(Neighbour(now, action));
    case MovePageUp:
      return IndexOf(std::max(0, now - PlacesOfPage()));
    case MovePageDown:
      return IndexOf(std::min(Shown() - 1, now + PlacesOfPage()));
    case MoveHome:
      return IndexOf(0);
    case MoveEnd:
      break;
  }
  return IndexOf(Shown() - 1);
}

namespace {

// The way a key leads; none for other keys.
std::optional<int> WayOf(int key) {
  switch (key) {
    case Qt::Key_Up:
      return 0;
    case Qt::Key_Down:
      return 1;
    case Qt::Key_Left:
      return 2;
    case Qt::Key_Right:
      return 3;
    case Qt::Key_Home:
      return 4;
    case Qt::Key_End:
      return 5;
    case Qt::Key_PageUp:
      return 6;
    case Qt::Key_PageDown:
      return 7;
    default:
      return std::nullopt;
  }
}

constexpr int kArrowKeys = 4;  // the first of them

}  // namespace

QAbstractItemView::CursorAction BankPatchView::ActionOf(int way) {
  constexpr std::array kActions = {MoveUp, MoveDown, MoveLeft, MoveRight, MoveHome, MoveEnd, MovePageUp, MovePageDown};
  return kActions[static_cast<std::size_t>(way)];
}

bool BankPatchView::MovesPatch(QKeyEvent* event) {
  const std::optional<int> way = WayOf(event->key());
  if (!way || *way >= kArrowKeys || (event->modifiers() & ~Qt::KeypadModifier) != Qt::ControlModifier) return false;
  const int from = CurrentPatch();
  if (PlaceOf(from) < 0) return true;
  const int to = PatchOf(Neighbour(PlaceOf(from), ActionOf(*way)));
  if (to != from) emit MovePatch(from, to);
  return true;
}

bool BankPatchView::SelectsRange(QKeyEvent* event) {
  const std::optional<int> way = WayOf(event->key());
  if (!way || !(event->modifiers() & Qt::ShiftModifier) || Shown() == 0) return false;
  if (PlaceOf(anchor_) < 0) anchor_ = CurrentPatch();
  const QModelIndex to = moveCursor(ActionOf(*way), event->modifiers());
  if (!to.isValid() || PlaceOf(anchor_) < 0) return true;
  SelectBetween(PlaceOf(anchor_), PlaceOf(to.row()));
  selectionModel()->setCurrentIndex(to, QItemSelectionModel::NoUpdate);
  return true;
}

void BankPatchView::keyPressEvent(QKeyEvent* event) {
  if (MovesPatch(event) || SelectsRange(event)) return event->accept();
  const bool enter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
  if (enter && event->modifiers() == Qt::NoModifier && state() != EditingState) {
    if (CurrentPatch() >= 0) emit OpenPatch();
    return event->accept();
  }
  const int before = CurrentPatch();
  QListView::keyPressEvent(event);
  if (CurrentPatch() != before) anchor_ = CurrentPatch();
}

// ---- mouse ----------------------------------------------------------------------------------------------------------

void BankPatchView::mousePressEvent(QMouseEvent* event) {
  pressed_ = event->pos();
  const int place = PlaceAt(event->pos());
  if (event->button() == Qt::LeftButton) {
    if (place >= 0 && event->modifiers() & Qt::ShiftModifier && PlaceOf(anchor_) >= 0) {
      SelectBetween(PlaceOf(anchor_), place);
      selectionModel()->setCurrentIndex(IndexOf(place), QItemSelectionModel::NoUpdate);
      return event->accept();
    }
    if (event->modifiers() == Qt::NoModifier && PressedBeside(event->pos())) return event->accept();
    if (place >= 0) anchor_ = PatchOf(place);
  }
  QListView::mousePressEvent(event);
}

void BankPatchView::mouseMoveEvent(QMouseEvent* event) {
  QListView::mouseMoveEvent(event);
  if (state() == DragSelectingState) {
    band_ = QRect(pressed_, event->pos()).normalized();
    viewport()->update();
  }
  const int place = PlaceAt(event->pos());
  SetHover(place < 0 ? -1 : PatchOf(place));
}

void BankPatchView::mouseReleaseEvent(QMouseEvent* event) {
  QListView::mouseReleaseEvent(event);
  if (!band_.isEmpty()) viewport()->update();
  band_ = QRect();
}

void BankPatchView::leaveEvent(QEvent* event) {
  QListView::leaveEvent(event);
  SetHover(-1);
}

void BankPatchView::SetHover(int patch) {
  if (patch == hover_) return;
  hover_ = patch;
  viewport()->update();
  emit Pointed(patch);
}

void BankPatchView::mouseDoubleClickEvent(QMouseEvent* event) {
  const QModelIndex index = indexAt(event->pos());
  if (!index.isValid() || event->button() != Qt::LeftButton) return QListView::mouseDoubleClickEvent(event);
  const bool name = visualRect(index).contains(event->pos());
  if (name && model_->flags(index) & Qt::ItemIsEditable) return edit(index);
  emit OpenPatch();
}

void BankPatchView::contextMenuEvent(QContextMenuEvent* event) {
  if (event->reason() == QContextMenuEvent::Mouse) return emit AskMenu(event->globalPos());
  const int place = PlaceOf(CurrentPatch());
  emit AskMenu(viewport()->mapToGlobal(place < 0 ? QPoint() : CellOf(place).center()));
}

bool BankPatchView::viewportEvent(QEvent* event) {
  if (event->type() == QEvent::ToolTip) {
    const auto* help = static_cast<QHelpEvent*>(event);
    const QModelIndex index = indexAt(help->pos());
    ShowToolTip(help->globalPos(), index.isValid() ? TipOf(*this, index) : QString(), viewport(), visualRect(index));
    return true;
  }
  return QListView::viewportEvent(event);
}

void BankPatchView::RenameCurrent() {
  if (CurrentPatch() < 0) return;
  const QModelIndex name = model_->index(CurrentPatch(), BankListModel::kName);
  setCurrentIndex(name);
  if (model_->flags(name) & Qt::ItemIsEditable) edit(name);
}

void BankPatchView::TakeName() {
  QWidget* editor = state() == EditingState ? indexWidget(currentIndex()) : nullptr;
  if (!editor) return;
  commitData(editor);
  closeEditor(editor, QAbstractItemDelegate::NoHint);
}

// ---- dragging -------------------------------------------------------------------------------------------------------

void BankPatchView::startDrag(Qt::DropActions) {
  if (drag_ && drag_->CanStart()) drag_->Start(this);
}

DropCue BankPatchView::CueAt(const QDropEvent& event) const {
  const QPoint at = event.position().toPoint();
  const int place = PlaceAt(at);
  if (!drag_) return {};
  const bool behind = place >= 0 && at.y() > CellOf(place).center().y();
  return drag_->Look(event, place < 0 ? -1 : PatchOf(place), behind);
}

void BankPatchView::dragEnterEvent(QDragEnterEvent* event) {
  dragMoveEvent(event);
}

void BankPatchView::dragMoveEvent(QDragMoveEvent* event) {
  const DropCue cue = CueAt(*event);
  if (cue.kind == DropKind::None) {
    event->ignore();
  } else {
    event->setDropAction(cue.kind == DropKind::Copy ? Qt::CopyAction : Qt::MoveAction);
    event->accept();
  }
  // Only what changes is drawn again, so that a drag over many patches stays smooth.
  if (cue.patch == cuePatch_ && cue.count == cueCount_ && static_cast<int>(cue.kind) == cueKind_) return;
  cuePatch_ = cue.patch;
  cueCount_ = cue.count;
  cueKind_ = static_cast<int>(cue.kind);
  viewport()->update();
}

void BankPatchView::dragLeaveEvent(QDragLeaveEvent* event) {
  event->accept();
  cueKind_ = 0;
  cuePatch_ = -1;
  viewport()->update();
}

void BankPatchView::dropEvent(QDropEvent* event) {
  const DropCue cue = CueAt(*event);
  cueKind_ = 0;
  cuePatch_ = -1;
  viewport()->update();
  if (!drag_ || cue.kind == DropKind::None || !drag_->Drop(*event, cue)) return event->ignore();
  // The patches were moved by a command of their own; the toolkit must not take any away.
  event->setDropAction(Qt::CopyAction);
  event->accept();
}

// ---- drawing --------------------------------------------------------------------------------------------------------

void BankPatchView::paintEvent(QPaintEvent* event) {
  QPainter painter(viewport());
  painter.fillRect(event->rect(), ColourOf(Shade::Surface));
  if (Shown() == 0 && !nothingFound_.isEmpty()) {
    painter.setPen(ColourOf(Shade::Secondary));
    painter.drawText(viewport()->rect().adjusted(0, kWideGap, 0, 0),
                     static_cast<int>(Qt::AlignTop | Qt::AlignHCenter) | Qt::TextWordWrap, nothingFound_);
  }
  PaintPatches(&painter, event->rect());
  painter.setClipping(false);
  if (!band_.isEmpty()) {
    QColor inside = ColourOf(Shade::Accent);
    inside.setAlphaF(kCueStrength);
    painter.setPen(ColourOf(Shade::Accent));
    painter.setBrush(inside);
    painter.drawRect(band_.adjusted(0, 0, -1, -1));
  }
  PaintCue(&painter);
}

// Exchange: outlines; copy: filled; insert: a line between two patches.
void BankPatchView::PaintCue(QPainter* painter) const {
  const auto kind = static_cast<DropKind>(cueKind_);
  if (kind == DropKind::None || cuePatch_ < 0) return;
  const QColor accent = ColourOf(Shade::Accent);
  if (kind == DropKind::Insert) {
    const int place = cuePatch_ < bank().PatchCount() ? PlaceOf(cuePatch_) : Shown();
    if (place >= 0) painter->fillRect(LineBefore(place), accent);
    return;
  }
  QColor inside = accent;
  inside.setAlphaF(kCueStrength);
  painter->setBrush(kind == DropKind::Copy ? QBrush(inside) : QBrush(Qt::NoBrush));
  painter->setPen(QPen(accent, 2));
  for (int patch = cuePatch_; patch < cuePatch_ + cueCount_; ++patch) {
    const int place = PlaceOf(patch);
    if (place >= 0) painter->drawRoundedRect(QRectF(CellOf(place)).adjusted(1, 1, -1, -1), kSmallGap, kSmallGap);
    if (patch == bank().PatchCount()) painter->fillRect(LineBefore(Shown()), accent);
  }
}

}  // namespace tonalith
