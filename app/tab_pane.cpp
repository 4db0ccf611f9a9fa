#include "app/tab_pane.h"

#include <QAction>
#include <QApplication>
#include <QHelpEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QStyle>
#include <QStyleOptionTab>
#include <QVBoxLayout>
#include <utility>

#include "app/twin_windows.h"
#include "ui/plain_text.h"
#include "ui/style/colours.h"
#include "ui/style/icons.h"
#include "ui/style/space.h"
#include "ui/style/state_mark.h"
#include "ui/window_base.h"

namespace tonalith {

namespace {

constexpr int kTabCharacters = 48;
constexpr int kLeaveBar = 12;  // so far outside the bar a tab comes off
constexpr int kLeastPaneWidth = 240;
constexpr int kLeastPaneHeight = 160;
// Two panes beside the studio fit a small screen.
constexpr QSize kMostAsked(290, 320);

}  // namespace

WindowTabBar::WindowTabBar(QWidget* parent) : QTabBar(parent) {
  setDocumentMode(true);
  setDrawBase(true);
  setMovable(true);
  setExpanding(false);
  setElideMode(Qt::ElideNone);
  setUsesScrollButtons(true);
  setMouseTracking(true);
  setSelectionBehaviorOnRemove(QTabBar::SelectPreviousTab);
  SetAccessibleName(this, tr("Open windows"));
}

ZKWindow* WindowTabBar::WindowAt(int index) const {
  return index < 0 ? nullptr : static_cast<ZKWindow*>(tabData(index).value<void*>());
}

int WindowTabBar::IndexOf(const ZKWindow* window) const {
  for (int i = 0; i < count(); ++i) {
    if (WindowAt(i) == window) return i;
  }
  return -1;
}

void WindowTabBar::Name(int index) {
  const ZKWindow* window = WindowAt(index);
  if (!window) return;
  const QString title = window->WithTwin(ShownTitle(window));
  const QString text = fontMetrics().elidedText(window->WithTwin(TabName(*window)), Qt::ElideMiddle,
                                                kTabCharacters * fontMetrics().averageCharWidth());
  setTabText(index, MenuText(text));
  const QString whole = window->isWindowModified() ? tr("%1, %2").arg(title, MarkText(Mark::Changed)) : title;
  setTabToolTip(index, ToolTipText(whole));
  setAccessibleTabName(index, whole);
  update(tabRect(index));
}

void WindowTabBar::SetActive(bool active) {
  if (active == active_) return;
  active_ = active;
  update();
}

QSize WindowTabBar::tabSizeHint(int index) const {
  const QSize text = QTabBar::tabSizeHint(index);
  // The tab in front is written in the heavier font.
  const QString words = tabText(index);
  const int heavier =
      QFontMetrics(HeadingFont(font())).horizontalAdvance(words) - fontMetrics().horizontalAdvance(words);
  return {text.width() + qMax(0, heavier) + kTarget + kGap, qMax(text.height(), kTarget + 2 * kSmallGap)};
}

void WindowTabBar::initStyleOption(QStyleOptionTab* option, int index) const {
  QTabBar::initStyleOption(option, index);
  option->rightButtonSize = QSize(kTarget, kTarget);
  if (!active_) option->state.setFlag(QStyle::State_HasFocus, false);
}

QRect WindowTabBar::EndOf(int index) const {
  const QRect tab = tabRect(index);
  const QRect end(0, tab.top() + (tab.height() - kTarget) / 2, kTarget, kTarget);
  return isRightToLeft() ? end.translated(tab.left() + kSmallGap, 0)
                         : end.translated(tab.right() - kTarget - kSmallGap + 1, 0);
}

void WindowTabBar::paintEvent(QPaintEvent* event) {
  QTabBar::paintEvent(event);
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  for (int i = 0; i < count(); ++i) {
    const ZKWindow* window = WindowAt(i);
    if (!window) continue;
    const QRect end = EndOf(i);
    const bool over = i == hovered_;
    if (window->isWindowModified() && !(over && onEnd_)) {
      PaintMark(&painter, QRect(QPoint(), QSize(kMarkSize, kMarkSize)).translated(end.center() - QPoint(5, 5)),
                Mark::Changed);
      continue;
    }
    if (!over && i != currentIndex()) continue;
    if (over && onEnd_) {
      painter.setPen(Qt::NoPen);
      painter.setBrush(ColourOf(Shade::Hover));
      painter.drawRoundedRect(end.adjusted(3, 3, -3, -3), kSmallGap, kSmallGap);
    }
    const int inset = (kTarget - kGlyph) / 2 + 1;
    PaintGlyph(&painter, end.adjusted(inset, inset, -inset, -inset), Glyph::Close, ColourOf(Shade::Secondary));
  }
}

void WindowTabBar::Hover(const QPoint& at) {
  const int tab = tabAt(at);
  const bool end = tab >= 0 && EndOf(tab).contains(at);
  if (tab == hovered_ && end == onEnd_) return;
  hovered_ = tab;
  onEnd_ = end;
  update();
}

void WindowTabBar::mousePressEvent(QMouseEvent* event) {
  const QPoint at = event->position().toPoint();
  const int tab = tabAt(at);
  const bool closes = tab >= 0 && (event->button() == Qt::MiddleButton ||
                                   (event->button() == Qt::LeftButton && EndOf(tab).contains(at)));
  closing_ = closes ? tab : -1;
  dragging_ = false;
  if (!closes) QTabBar::mousePressEvent(event);
}

void WindowTabBar::mouseMoveEvent(QMouseEvent* event) {
  const QPoint at = event->position().toPoint();
  Hover(at);
  if (closing_ >= 0) return;
  const bool outside = at.y() < -kLeaveBar || at.y() > height() + kLeaveBar;
  if (!(event->buttons() & Qt::LeftButton) || !outside || dragging_) return QTabBar::mouseMoveEvent(event);
  ZKWindow* window = WindowAt(currentIndex());
  if (!window) return;
  // What began as a change of the order ends here.
  dragging_ = true;
  QMouseEvent release(QEvent::MouseButtonRelease, event->position(), event->globalPosition(), Qt::LeftButton,
                      Qt::NoButton, event->modifiers());
  QTabBar::mouseReleaseEvent(&release);
  emit DragWanted(window);
}

void WindowTabBar::mouseReleaseEvent(QMouseEvent* event) {
  const int pressed = std::exchange(closing_, -1);
  if (pressed < 0) return QTabBar::mouseReleaseEvent(event);
  const QPoint at = event->position().toPoint();
  if (tabAt(at) != pressed || (event->button() == Qt::LeftButton && !EndOf(pressed).contains(at))) return;
  if (ZKWindow* window = WindowAt(pressed)) emit CloseWanted(window);
}

void WindowTabBar::leaveEvent(QEvent* event) {
  Hover({-1, -1});
  QTabBar::leaveEvent(event);
}

bool WindowTabBar::event(QEvent* event) {
  if (event->type() == QEvent::ToolTip) {
    const auto* help = static_cast<QHelpEvent*>(event);
    const int tab = tabAt(help->pos());
    if (tab >= 0 && EndOf(tab).contains(help->pos())) {
      ShowToolTip(help->globalPos(), tr("Close"), this, EndOf(tab));
      return true;
    }
  }
  return QTabBar::event(event);
}

QSize PageStack::sizeHint() const {
  return currentWidget() ? currentWidget()->sizeHint().expandedTo(minimumSize()) : minimumSize();
}

QSize PageStack::minimumSize() const {
  const QSize least(kLeastPaneWidth, kLeastPaneHeight);
  return currentWidget() ? currentWidget()->minimumSizeHint().boundedTo(kMostAsked).expandedTo(least) : least;
}

// ---- the pane -------------------------------------------------------------------------------------------------------

TabPane::TabPane(QWidget* parent) : QWidget(parent), bar_(new WindowTabBar(this)), stack_(new PageStack) {
  auto* column = new QVBoxLayout(this);
  SetSpace(column, 0, 0);
  column->addWidget(bar_);
  column->addLayout(stack_, 1);
  SetGround(bar_, Shade::Dock);
  connect(bar_, &QTabBar::currentChanged, this, &TabPane::CurrentChanged);
}

void TabPane::Add(ZKWindow* window, int index) {
  stack_->addWidget(window);
  quiet_ = true;
  const int at = index < 0 || index > bar_->count() ? bar_->addTab({}) : bar_->insertTab(index, QString());
  bar_->setTabData(at, QVariant::fromValue(static_cast<void*>(window)));
  bar_->Name(at);
  quiet_ = false;
  stack_->setCurrentWidget(Current());
}

void TabPane::Drop(ZKWindow* window) {
  const int at = bar_->IndexOf(window);
  if (at < 0) return;
  quiet_ = true;
  bar_->removeTab(at);
  quiet_ = false;
  if (ZKWindow* next = Current()) stack_->setCurrentWidget(next);
}

void TabPane::Take(ZKWindow* window) {
  Drop(window);
  stack_->removeWidget(window);
  window->setParent(nullptr);
}

void TabPane::Show(ZKWindow* window) {
  const int at = bar_->IndexOf(window);
  if (at < 0) return;
  quiet_ = true;
  bar_->setCurrentIndex(at);
  quiet_ = false;
  stack_->setCurrentWidget(window);
}

bool TabPane::Holds(const ZKWindow* window) const {
  return bar_->IndexOf(window) >= 0;
}

bool TabPane::Empty() const {
  return bar_->count() == 0;
}

ZKWindow* TabPane::Current() const {
  return bar_->WindowAt(bar_->currentIndex());
}

std::vector<ZKWindow*> TabPane::Windows() const {
  std::vector<ZKWindow*> windows;
  for (int i = 0; i < bar_->count(); ++i) windows.push_back(bar_->WindowAt(i));
  return windows;
}

void TabPane::CurrentChanged(int index) {
  ZKWindow* window = bar_->WindowAt(index);
  if (quiet_ || !window) return;
  stack_->setCurrentWidget(window);
  emit Shown(window);
}

}  // namespace tonalith
