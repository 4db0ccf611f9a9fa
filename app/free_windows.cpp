#include "app/free_windows.h"

#include <QAction>
#include <QKeySequence>
#include <QMenu>
#include <QScrollBar>
#include <algorithm>

#include "services/window_places.h"
#include "ui/style/colours.h"
#include "ui/window_base.h"

namespace tonalith {

namespace {

// How much of the studio stays inside when its place lies outside.
constexpr int kInsideX = 300;
constexpr int kInsideY = 200;
// Nobody works in less.
constexpr QSize kLeast(320, 240);
// Of a frame: the size that the program gave it; while it has that size, nobody chose it.
constexpr char kArranged[] = "arranged";

// The area's own keys would make those of the menus ambiguous.
void WithoutKeys(const QList<QAction*>& actions) {
  for (QAction* action : actions) action->setShortcuts(QList<QKeySequence>());
}

// By how much a view of this width must move to show a part of what is in it; of a part that is larger, its beginning.
int ShiftTo(int first, int last, int width) {
  if (first < 0) return first;
  return last < width ? 0 : std::min(first, last - width + 1);
}

}  // namespace

FreeWindows::FreeWindows(WindowPlaces& places, QWidget* parent) : QMdiArea(parent), places_(places) {
  setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
  setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
  setBackground(ColourOf(Shade::Window));
  setFrameShape(QFrame::NoFrame);
  connect(this, &QMdiArea::subWindowActivated, this, [this](QMdiSubWindow* frame) {
    if (auto* window = frame ? qobject_cast<ZKWindow*>(frame->widget()) : nullptr) emit Shown(window);
  });
}

QMdiSubWindow* FreeWindows::FrameOf(const ZKWindow* window) const {
  for (QMdiSubWindow* frame : subWindowList()) {
    if (window && frame->widget() == window) return frame;
  }
  return nullptr;
}

void FreeWindows::Add(ZKWindow* window) {
  const QSize size = window->size();
  QMdiSubWindow* frame = addSubWindow(window);
  const QSize border = frame->size() - frame->contentsRect().size();
  frame->resize((size + border).boundedTo(viewport()->size()));
  Place(frame, window);
  frame->setAttribute(Qt::WA_DeleteOnClose);
  WithoutKeys(frame->actions());
  if (QMenu* own = frame->systemMenu()) WithoutKeys(own->actions());
  window->show();
  frame->show();
  // The free place that was found may lie outside.
  const QSize room = viewport()->size() - frame->size();
  frame->move(std::clamp(frame->x(), 0, std::max(0, room.width())),
              std::clamp(frame->y(), 0, std::max(0, room.height())));
}

void FreeWindows::Take(ZKWindow* window) {
  QMdiSubWindow* frame = FrameOf(window);
  if (!frame) return;
  frame->setWidget(nullptr);
  window->setParent(nullptr);
  removeSubWindow(frame);
  delete frame;
}

void FreeWindows::Show(ZKWindow* window) {
  QMdiSubWindow* frame = FrameOf(window);
  if (!frame) return;
  if (frame->isMinimized()) frame->showNormal();
  setActiveSubWindow(frame);
  BringIntoView(frame);
}

// More windows than there is room for lie outside.
void FreeWindows::BringIntoView(const QMdiSubWindow* frame) {
  if (!frame) return;
  const QRect place = frame->geometry();
  for (QScrollBar* bar : {horizontalScrollBar(), verticalScrollBar()}) {
    const bool across = bar->orientation() == Qt::Horizontal;
    bar->setValue(bar->value() + (across ? ShiftTo(place.left(), place.right(), viewport()->width())
                                         : ShiftTo(place.top(), place.bottom(), viewport()->height())));
  }
}

ZKWindow* FreeWindows::Current() const {
  QMdiSubWindow* frame = currentSubWindow();
  return frame ? qobject_cast<ZKWindow*>(frame->widget()) : nullptr;
}

// ---- places ---------------------------------------------------------------------------------------------------------

bool FreeWindows::IsArranged(const QMdiSubWindow* frame) {
  return frame->property(kArranged).toSize() == frame->size();
}

void FreeWindows::Cascade() {
  cascadeSubWindows();
  KeepAsArranged(subWindowList());
  BringIntoView(currentSubWindow());
}

void FreeWindows::Tile() {
  tileSubWindows();
  KeepAsArranged(subWindowList());
  BringIntoView(currentSubWindow());
}

void FreeWindows::KeepAsArranged(const QList<QMdiSubWindow*>& frames) {
  for (QMdiSubWindow* frame : frames) frame->setProperty(kArranged, frame->size());
}

// Tiles follow the area.
void FreeWindows::resizeEvent(QResizeEvent* event) {
  QList<QMdiSubWindow*> arranged;
  for (QMdiSubWindow* frame : subWindowList()) {
    if (IsArranged(frame)) arranged << frame;
  }
  QMdiArea::resizeEvent(event);
  KeepAsArranged(arranged);
}

void FreeWindows::StorePlace(const ZKWindow* window) const {
  const QMdiSubWindow* frame = FrameOf(window);
  if (!frame || frame->isMaximized() || frame->isMinimized() || IsArranged(frame)) return;
  const QRect place = frame->geometry();
  if (place.width() < kLeast.width() || place.height() < kLeast.height()) return;
  places_.Store(static_cast<int>(window->TypeCode()),
                {std::max(0, place.x()), std::max(0, place.y()), place.width(), place.height()});
}

// There is one studio: it comes back where it was.  Of the others the size is kept.
void FreeWindows::Place(QMdiSubWindow* frame, const ZKWindow* window) const {
  WindowPlace place;
  if (!places_.Read(static_cast<int>(window->TypeCode()), place)) return;
  const QSize area = viewport()->size();
  const QSize size = QSize(place.width, place.height).expandedTo(kLeast);
  frame->resize(size.expandedTo(frame->minimumSizeHint()).boundedTo(area));
  if (window->TypeCode() != WindowType::Studio) return;
  frame->move(std::clamp(place.left, 0, std::max(0, area.width() - kInsideX)),
              std::clamp(place.top, 0, std::max(0, area.height() - kInsideY)));
}

std::optional<QRect> FreeWindows::PlaceOf(const ZKWindow* window) const {
  const QMdiSubWindow* frame = FrameOf(window);
  if (!frame || frame->isMaximized() || frame->isMinimized()) return std::nullopt;
  return frame->geometry();
}

void FreeWindows::Move(const ZKWindow* window, const QRect& place) {
  QMdiSubWindow* frame = FrameOf(window);
  if (!frame) return;
  frame->setGeometry(place);
  KeepAsArranged({frame});
}

}  // namespace tonalith
