#include "app/document_tabs.h"

#include <QDrag>
#include <QDragEnterEvent>
#include <QMimeData>
#include <QPainter>
#include <QSplitter>
#include <QVBoxLayout>
#include <algorithm>

#include "app/tab_pane.h"
#include "ui/style/colours.h"
#include "ui/style/space.h"
#include "ui/window_base.h"

namespace tonalith {

namespace {

constexpr char kTabMime[] = "application/x-tonalith-tab";
constexpr int kHandle = 4;

QSplitter* MakeSplitter(Qt::Orientation orientation) {
  auto* splitter = new QSplitter(orientation);
  splitter->setChildrenCollapsible(false);
  splitter->setHandleWidth(kHandle);
  return splitter;
}

void Collect(const QSplitter* splitter, std::vector<TabPane*>* panes) {
  for (int i = 0; i < splitter->count(); ++i) {
    if (auto* pane = qobject_cast<TabPane*>(splitter->widget(i))) {
      panes->push_back(pane);
    } else if (const auto* inner = qobject_cast<QSplitter*>(splitter->widget(i))) {
      Collect(inner, panes);
    }
  }
}

}  // namespace

// Shows where a dragged tab will go.
class TabDropMark final : public QWidget {
 public:
  explicit TabDropMark(QWidget* parent) : QWidget(parent) {
    setAttribute(Qt::WA_TransparentForMouseEvents);
    hide();
  }

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    QColor inside = ColourOf(Shade::Accent);
    inside.setAlphaF(0.16F);
    painter.fillRect(rect(), inside);
    painter.setPen(QPen(ColourOf(Shade::Accent), 2));
    painter.drawRect(rect().adjusted(1, 1, -1, -1));
  }
};

DocumentTabs::DocumentTabs(QWidget* parent)
    : QWidget(parent), root_(MakeSplitter(Qt::Horizontal)), mark_(new TabDropMark(this)) {
  auto* column = new QVBoxLayout(this);
  SetSpace(column, 0, 0);
  column->addWidget(root_);
  last_ = MakePane();
  root_->addWidget(last_);
  setAcceptDrops(true);
}

// ---- windows and panes ----------------------------------------------------------------------------------------------

TabPane* DocumentTabs::MakePane() {
  auto* pane = new TabPane;
  WindowTabBar* bar = pane->bar();
  connect(pane, &TabPane::Shown, this, [this, pane](ZKWindow* window) {
    Use(pane);
    emit Shown(window);
  });
  connect(bar, &QTabBar::tabBarClicked, this, [this, bar](int index) {
    if (ZKWindow* window = bar->WindowAt(index)) emit Shown(window);
  });
  connect(bar, &WindowTabBar::CloseWanted, this, &DocumentTabs::CloseWanted);
  connect(bar, &WindowTabBar::DragWanted, this, &DocumentTabs::Drag);
  bar->setContextMenuPolicy(Qt::CustomContextMenu);
  connect(bar, &QWidget::customContextMenuRequested, this,
          [this, bar](const QPoint& at) { emit MenuWanted(bar->mapToGlobal(at)); });
  return pane;
}

std::vector<TabPane*> DocumentTabs::AllPanes() const {
  std::vector<TabPane*> panes;
  Collect(root_, &panes);
  return panes;
}

TabPane* DocumentTabs::PaneOf(const ZKWindow* window) const {
  const auto panes = AllPanes();
  const auto found =
      std::find_if(panes.begin(), panes.end(), [window](const TabPane* pane) { return pane->Holds(window); });
  return window && found != panes.end() ? *found : nullptr;
}

void DocumentTabs::Use(TabPane* pane) {
  last_ = pane;
  for (TabPane* each : AllPanes()) each->bar()->SetActive(each == pane);
}

void DocumentTabs::Add(ZKWindow* window, const ZKWindow* beside) {
  TabPane* pane = PaneOf(beside);
  (pane ? pane : last_)->Add(window);
  Show(window);
}

void DocumentTabs::Take(ZKWindow* window) {
  TabPane* pane = PaneOf(window);
  if (!pane) return;
  pane->Take(window);
  RemoveIfEmpty(pane);
}

void DocumentTabs::Drop(ZKWindow* window) {
  TabPane* pane = PaneOf(window);
  if (!pane) return;
  pane->Drop(window);
  RemoveIfEmpty(pane);
}

void DocumentTabs::Show(ZKWindow* window) {
  TabPane* pane = PaneOf(window);
  if (!pane) return;
  pane->Show(window);
  Use(pane);
}

ZKWindow* DocumentTabs::Current() const {
  return last_->Current();
}

std::vector<ZKWindow*> DocumentTabs::Windows() const {
  std::vector<ZKWindow*> windows;
  for (const TabPane* pane : AllPanes()) {
    for (ZKWindow* window : pane->Windows()) windows.push_back(window);
  }
  return windows;
}

void DocumentTabs::Rename(const ZKWindow* window) {
  if (TabPane* pane = PaneOf(window)) pane->bar()->Name(pane->bar()->IndexOf(window));
}

int DocumentTabs::Panes() const {
  return static_cast<int>(AllPanes().size());
}

// The last pane stays.  A splitter with one part gives way to it.  What goes is deleted later: a window that is closing
// may still be inside.
void DocumentTabs::RemoveIfEmpty(TabPane* pane) {
  if (!pane->Empty() || Panes() == 1) return;
  auto* splitter = static_cast<QSplitter*>(pane->parentWidget());
  pane->hide();
  pane->setParent(nullptr);
  pane->deleteLater();
  while (splitter != root_ && splitter->count() == 1) {
    auto* outer = static_cast<QSplitter*>(splitter->parentWidget());
    outer->replaceWidget(outer->indexOf(splitter), splitter->widget(0));
    splitter->hide();
    splitter->setParent(nullptr);
    splitter->deleteLater();
    splitter = outer;
  }
  if (pane == last_) Use(AllPanes().front());
}

// ---- splitting ------------------------------------------------------------------------------------------------------

bool DocumentTabs::CanSplit(const ZKWindow* window) const {
  const TabPane* pane = PaneOf(window);
  return pane && pane->bar()->count() > 1 && static_cast<std::size_t>(Panes()) < kMostPanes;
}

void DocumentTabs::Split(TabPane* pane, QWidget* added, Side side) {
  const Qt::Orientation wanted = side == Side::Left || side == Side::Right ? Qt::Horizontal : Qt::Vertical;
  auto* splitter = static_cast<QSplitter*>(pane->parentWidget());
  const int half = (wanted == Qt::Horizontal ? pane->width() : pane->height()) / 2;
  if (splitter->count() == 1) splitter->setOrientation(wanted);
  if (splitter->orientation() != wanted) {
    const QList<int> outer = splitter->sizes();
    QSplitter* inner = MakeSplitter(wanted);
    splitter->replaceWidget(splitter->indexOf(pane), inner);
    inner->addWidget(pane);
    pane->show();
    splitter->setSizes(outer);
    splitter = inner;
  }
  const int at = splitter->indexOf(pane);
  QList<int> sizes = splitter->sizes();
  if (splitter->count() == 1) sizes = {half};
  sizes[at] = half;
  const int place = side == Side::Left || side == Side::Top ? at : at + 1;
  splitter->insertWidget(place, added);
  sizes.insert(place, half);
  splitter->setSizes(sizes);
}

bool DocumentTabs::Move(ZKWindow* window, Side side, TabPane* target, int index) {
  TabPane* from = PaneOf(window);
  if (!target) target = from;
  if (!from || !target) return false;
  if (side == Side::Middle) {
    if (target == from) return false;
    from->Take(window);
    target->Add(window, index);
  } else {
    if (target == from && from->bar()->count() == 1) return false;
    if (static_cast<std::size_t>(Panes()) >= kMostPanes) return false;
    from->Take(window);
    TabPane* fresh = MakePane();
    Split(target, fresh, side);
    fresh->Add(window);
  }
  RemoveIfEmpty(from);
  Show(window);
  emit Shown(window);
  return true;
}

QRect DocumentTabs::PlaceOf(const ZKWindow* window) const {
  const TabPane* pane = PaneOf(window);
  return pane ? QRect(pane->mapTo(this, QPoint()), pane->size()) : QRect();
}

QWidget* DocumentTabs::Build(const TabLayout& layout, const std::vector<ZKWindow*>& windows) {
  if (layout.parts.empty()) {
    TabPane* pane = MakePane();
    for (const std::size_t place : layout.windows) pane->Add(windows[place]);
    if (!pane->Empty()) pane->Show(pane->Windows().back());
    return pane;
  }
  QSplitter* splitter = MakeSplitter(layout.sideBySide ? Qt::Horizontal : Qt::Vertical);
  for (const TabLayout& part : layout.parts) splitter->addWidget(Build(part, windows));
  splitter->setSizes(QList<int>(layout.shares.begin(), layout.shares.end()));
  return splitter;
}

void DocumentTabs::Arrange(const std::vector<ZKWindow*>& windows, std::span<const DesktopRect> places) {
  if (windows.empty() || windows.size() != places.size()) return;
  ZKWindow* front = Current();
  for (ZKWindow* window : windows) {
    if (TabPane* pane = PaneOf(window)) pane->Take(window);
  }
  const std::vector<TabPane*> former = AllPanes();
  QWidget* built = Build(LayoutOf(places), windows);
  root_->addWidget(built);
  last_ = nullptr;
  for (TabPane* pane : former) {
    if (!pane->Empty()) last_ = pane;
  }
  if (!last_) last_ = AllPanes().back();
  for (TabPane* pane : former) RemoveIfEmpty(pane);
  Show(front ? front : windows.back());
}

// ---- dragging -------------------------------------------------------------------------------------------------------

void DocumentTabs::Drag(ZKWindow* window) {
  dragged_ = window;
  auto* mime = new QMimeData;
  mime->setData(QString::fromLatin1(kTabMime), QByteArray());
  QDrag drag(this);
  drag.setMimeData(mime);
  drag.exec(Qt::MoveAction);
  mark_->hide();
  dragged_.clear();
}

// In the outer quarters of a pane: beside it; in its bar or its middle: among its tabs.
DocumentTabs::DropPlace DocumentTabs::PlaceAt(const QPoint& at) const {
  for (TabPane* pane : AllPanes()) {
    const QRect whole(pane->mapTo(this, QPoint()), pane->size());
    if (!whole.contains(at)) continue;
    const QPoint inside = at - whole.topLeft();
    if (inside.y() < pane->bar()->height()) {
      const QRect bar(whole.topLeft(), QSize(whole.width(), pane->bar()->height()));
      return {pane, Side::Middle, pane->bar()->tabAt(inside), bar};
    }
    const int left = inside.x() * 4;
    const int top = (inside.y() - pane->bar()->height()) * 4;
    const int high = whole.height() - pane->bar()->height();
    const QSize half = whole.size() / 2;
    if (left < whole.width())
      return {pane, Side::Left, -1, QRect(whole.topLeft(), QSize(half.width(), whole.height()))};
    if (left > whole.width() * 3) return {pane, Side::Right, -1, whole.adjusted(half.width(), 0, 0, 0)};
    if (top < high) return {pane, Side::Top, -1, QRect(whole.topLeft(), QSize(whole.width(), half.height()))};
    if (top > high * 3) return {pane, Side::Bottom, -1, whole.adjusted(0, half.height(), 0, 0)};
    return {pane, Side::Middle, -1, whole};
  }
  return {};
}

void DocumentTabs::dragEnterEvent(QDragEnterEvent* event) {
  if (dragged_ && event->mimeData()->hasFormat(QString::fromLatin1(kTabMime))) event->acceptProposedAction();
}

void DocumentTabs::dragMoveEvent(QDragMoveEvent* event) {
  const DropPlace place = PlaceAt(event->position().toPoint());
  mark_->setVisible(dragged_ && place.pane);
  if (!dragged_ || !place.pane) return event->ignore();
  mark_->setGeometry(place.mark);
  mark_->raise();
  event->acceptProposedAction();
}

void DocumentTabs::dragLeaveEvent(QDragLeaveEvent*) {
  mark_->hide();
}

// The tab moves once the drag is over: until then its bar still has the mouse.
void DocumentTabs::dropEvent(QDropEvent* event) {
  mark_->hide();
  const DropPlace place = PlaceAt(event->position().toPoint());
  if (!dragged_ || !place.pane) return;
  event->acceptProposedAction();
  const auto move = [this, window = dragged_, pane = QPointer<TabPane>(place.pane), place] {
    if (window && pane) Move(window, place.side, pane, place.index);
  };
  QMetaObject::invokeMethod(this, move, Qt::QueuedConnection);
}

}  // namespace tonalith
