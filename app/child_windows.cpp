#include "app/child_windows.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QMenu>
#include <QStackedWidget>
#include <algorithm>

#include "app/document_tabs.h"
#include "app/free_windows.h"
#include "app/studio_dock.h"
#include "app/twin_windows.h"
#include "platform/message_numbers.h"
#include "services/window_counters.h"
#include "ui/plain_text.h"
#include "ui/style/colours.h"
#include "ui/window_base.h"

namespace tonalith {

namespace {

constexpr int kNumberedWindows = 9;

// The window that a widget is in; null: none.
ZKWindow* WindowAround(QWidget* widget) {
  while (widget && !qobject_cast<ZKWindow*>(widget)) widget = widget->isWindow() ? nullptr : widget->parentWidget();
  return qobject_cast<ZKWindow*>(widget);
}

}  // namespace

ChildWindows::ChildWindows(WindowPlaces& places, WindowCounters& counters, StudioDock& dock, QWidget* parent)
    : QObject(parent),
      counters_(counters),
      dock_(dock),
      centre_(new QStackedWidget(parent)),
      tabs_(new DocumentTabs(centre_)),
      free_(new FreeWindows(places, centre_)) {
  centre_->addWidget(tabs_);
  centre_->addWidget(free_);
  connect(tabs_, &DocumentTabs::Shown, this, &ChildWindows::Focus);
  connect(tabs_, &DocumentTabs::CloseWanted, this, [](ZKWindow* window) { window->CloseAsked(); });
  connect(tabs_, &DocumentTabs::MenuWanted, this, &ChildWindows::BackgroundMenu);
  connect(free_, &FreeWindows::Shown, this, &ChildWindows::SetActive);
  free_->setContextMenuPolicy(Qt::CustomContextMenu);
  connect(free_, &QWidget::customContextMenuRequested, this, [this](const QPoint& at) {
    if (!free_->viewport()->childAt(at)) emit BackgroundMenu(free_->viewport()->mapToGlobal(at));
  });
  connect(qApp, &QApplication::focusChanged, this, [this](QWidget*, QWidget* now) { FocusMoved(now); });
}

ChildWindows::~ChildWindows() = default;

void ChildWindows::DeleteAll() {
  disconnect(qApp, nullptr, this, nullptr);
  disconnect(free_, nullptr, this, nullptr);
  disconnect(tabs_, nullptr, this, nullptr);
  for (ZKWindow* window : All()) disconnect(window, nullptr, this, nullptr);
  windows_.clear();
  for (const auto& window : closed_) delete window.data();
  delete dock_.Take();
  delete centre_.data();
}

QWidget* ChildWindows::centre() const {
  return centre_;
}

void ChildWindows::SetEmptyPage(QWidget* empty) {
  empty_ = empty;
  centre_->addWidget(empty);
  SetGround(empty, Shade::Surface);
  empty->setContextMenuPolicy(Qt::CustomContextMenu);
  connect(empty, &QWidget::customContextMenuRequested, this,
          [this, empty](const QPoint& at) { emit BackgroundMenu(empty->mapToGlobal(at)); });
  ShowPage();
}

void ChildWindows::ShowPage() {
  const bool bare = std::none_of(windows_.begin(), windows_.end(),
                                 [this](const QPointer<ZKWindow>& window) { return window && !InDock(window); });
  QWidget* shown = isFree_ ? static_cast<QWidget*>(free_) : tabs_;
  centre_->setCurrentWidget(bare && empty_ ? empty_ : shown);
}

// ---- which there are ------------------------------------------------------------------------------------------------

bool ChildWindows::InDock(const ZKWindow* window) const {
  return !isFree_ && window->TypeCode() == WindowType::Studio;
}

void ChildWindows::Host(ZKWindow* window) {
  if (InDock(window)) return dock_.Hold(window);
  if (isFree_) return free_->Add(window);
  // Windows of a kind stand together.
  const auto same = std::find_if(windows_.rbegin(), windows_.rend(), [window](const QPointer<ZKWindow>& other) {
    return other && other != window && other->TypeCode() == window->TypeCode();
  });
  tabs_->Add(window, same == windows_.rend() ? nullptr : same->data());
}

void ChildWindows::Unhost(ZKWindow* window) {
  if (InDock(window)) {
    dock_.Take();
  } else if (isFree_) {
    free_->Take(window);
  } else {
    tabs_->Take(window);
  }
}

void ChildWindows::Add(ZKWindow* window) {
  counters_.Count(window->TypeCode());
  window->setAttribute(Qt::WA_DeleteOnClose);
  SetGround(window, window->TypeCode() == WindowType::Studio ? Shade::Dock : Shade::Surface);
  windows_.emplace_back(window);
  ShowPage();
  Host(window);
  connect(window, &ZKWindow::StateChanged, this, [this, window] { Rename(window); });
  connect(window, &QWidget::windowTitleChanged, this, [this, window] { Rename(window); });
  Rename(window);
  connect(window, &ZKWindow::StateChanged, this, &ChildWindows::Changed);
  connect(window, &ZKWindow::StatusMessage, this, &ChildWindows::StatusMessage);
  connect(window, &ZKWindow::Asking, this, [this, window] { Activate(window); });
  connect(window, &ZKWindow::Closing, this, [this, window] { Closing(window); });
  SetActive(window);
  window->setFocus();
  emit Changed();
}

// Another may have got, or lost, a twin by it; null: one has gone.
void ChildWindows::Rename(ZKWindow* window) {
  std::vector<ZKWindow*> there;
  for (const auto& one : windows_)
    if (one) there.push_back(one);
  const std::vector<ZKWindow*> twins = NumberTwins(there);
  for (ZKWindow* twin : twins) tabs_->Rename(twin);
  if (window && std::find(twins.begin(), twins.end(), window) == twins.end()) tabs_->Rename(window);
}

std::vector<ZKWindow*> ChildWindows::All() const {
  std::vector<ZKWindow*> all;
  for (const auto& window : windows_) {
    if (window) all.push_back(window);
  }
  if (isFree_) return all;
  const std::vector<ZKWindow*> tabs = tabs_->Windows();
  const auto rank = [&tabs](ZKWindow* window) {
    const auto at = std::find(tabs.begin(), tabs.end(), window);
    return at == tabs.end() ? -1 : at - tabs.begin();
  };
  std::stable_sort(all.begin(), all.end(), [&](ZKWindow* one, ZKWindow* other) { return rank(one) < rank(other); });
  return all;
}

ZKWindow* ChildWindows::FirstThat(const std::function<bool(ZKWindow&)>& fits) const {
  for (ZKWindow* window : All()) {
    if (fits(*window)) return window;
  }
  return nullptr;
}

void ChildWindows::ForEach(const std::function<void(ZKWindow&)>& action) const {
  std::vector<QPointer<ZKWindow>> windows;
  for (ZKWindow* window : All()) windows.emplace_back(window);
  for (const auto& window : windows) {
    if (window) action(*window);
  }
}

// ---- which is active ------------------------------------------------------------------------------------------------

void ChildWindows::Activate(ZKWindow* window) {
  if (InDock(window)) {
    dock_.Reveal();
  } else if (isFree_) {
    free_->Show(window);
  } else {
    tabs_->Show(window);
  }
  Focus(window);
}

// Where somebody worked in the window last, or where it begins.  What a button did is done: its list is next.
void ChildWindows::Focus(ZKWindow* window) {
  if (moving_) return;
  SetActive(window);
  QWidget* last = window->focusWidget();
  const bool there = last && last->isEnabled() && last->isVisibleTo(window);
  (there && !qobject_cast<QAbstractButton*>(last) ? last : window)->setFocus();
}

void ChildWindows::FocusFront() {
  if (ZKWindow* front = InFront()) Focus(front);
}

void ChildWindows::SetActive(ZKWindow* window) {
  if (moving_ || window == active_) return;
  active_ = window;
  emit Changed();
}

void ChildWindows::FocusMoved(QWidget* now) {
  ZKWindow* window = WindowAround(now);
  // One inside another speaks for that.
  while (window && std::find(windows_.begin(), windows_.end(), window) == windows_.end())
    window = WindowAround(window->parentWidget());
  if (!window) return;
  if (!isFree_ && !InDock(window)) tabs_->Show(window);
  SetActive(window);
}

ZKWindow* ChildWindows::InFront() const {
  ZKWindow* front = isFree_ ? free_->Current() : tabs_->Current();
  return front ? front : dock_.Held();
}

// ---- messages -------------------------------------------------------------------------------------------------------

void ChildWindows::DistributeToAllWindows(std::uint32_t message, std::uint64_t wParam, std::int64_t lParam) const {
  ForEach([&](ZKWindow& window) { window.WindowProc(message, wParam, lParam); });
}

void ChildWindows::DistributeCntrlToAllWindows(int controller, int value) const {
  DistributeToAllWindows(static_cast<std::uint32_t>(ChildWindowMessage::Controller),
                         static_cast<std::uint64_t>(controller), value);
}

void ChildWindows::DistributeMIDIToAllWindows(int port, std::uint32_t shortMessage) const {
  DistributeToAllWindows(static_cast<std::uint32_t>(ChildWindowMessage::ShortMidi), static_cast<std::uint64_t>(port),
                         shortMessage);
}

// ---- closing --------------------------------------------------------------------------------------------------------

// What is in front next gets the focus when the window that goes has it.
void ChildWindows::Closing(ZKWindow* window) {
  const bool focused = !QApplication::focusWidget() || WindowAround(QApplication::focusWidget()) == window;
  if (isFree_) free_->StorePlace(window);
  std::erase(windows_, window);
  std::erase(closed_, nullptr);
  closed_.emplace_back(window);
  disconnect(window, nullptr, this, nullptr);
  if (InDock(window)) {
    dock_.Drop();
  } else if (!isFree_) {
    tabs_->Drop(window);
  }
  if (active_ == window) active_ = nullptr;
  Rename(nullptr);
  ShowPage();
  // A free window's place is taken by another as soon as it is gone.
  ZKWindow* next = InFront();
  if (next == window) next = nullptr;
  if (!active_ && next) SetActive(next);
  if (focused && next && !isFree_) Focus(next);
  emit Changed();
}

bool ChildWindows::VerifyCloseAll() const {
  std::vector<QPointer<ZKWindow>> windows;
  for (ZKWindow* window : All()) windows.emplace_back(window);
  return std::all_of(windows.begin(), windows.end(),
                     [](const QPointer<ZKWindow>& window) { return !window || window->VerifyClose(); });
}

bool ChildWindows::CloseAll() {
  if (!VerifyCloseAll()) return false;
  ForEach([this](ZKWindow& window) {
    if (!InDock(&window)) window.CloseVerified();
  });
  return true;
}

void ChildWindows::CloseActive() {
  if (active_) active_->CloseAsked();
}

// ---- arranging ------------------------------------------------------------------------------------------------------

void ChildWindows::ShowFree(bool free) {
  if (free == isFree_) return;
  StorePlaces();
  const std::vector<ZKWindow*> windows = All();
  moving_ = true;
  for (ZKWindow* window : windows) Unhost(window);
  isFree_ = free;
  ShowPage();
  for (ZKWindow* window : windows) Host(window);
  moving_ = false;
  dock_.ShowWhenUsed();
  if (active_) Activate(active_);
  emit Changed();
}

void ChildWindows::Cascade() {
  free_->Cascade();
}

void ChildWindows::Tile() {
  free_->Tile();
}

void ChildWindows::Next() {
  const std::vector<ZKWindow*> all = All();
  if (all.empty()) return;
  const auto at = std::find(all.begin(), all.end(), active_.data());
  Activate(at == all.end() || at + 1 == all.end() ? all.front() : *(at + 1));
}

bool ChildWindows::CanSplit() const {
  return !isFree_ && active_ && tabs_->CanSplit(active_);
}

void ChildWindows::Split(bool right) {
  if (active_) tabs_->Move(active_, right ? DocumentTabs::Side::Right : DocumentTabs::Side::Bottom);
}

void ChildWindows::StorePlaces() const {
  if (!isFree_) return;
  for (const ZKWindow* window : All()) free_->StorePlace(window);
}

std::optional<QRect> ChildWindows::PlaceOf(const ZKWindow* window) const {
  if (isFree_) return free_->PlaceOf(window);
  if (InDock(window)) return std::nullopt;
  return tabs_->PlaceOf(window);
}

void ChildWindows::Arrange(const std::vector<ZKWindow*>& windows, std::span<const DesktopRect> places) {
  if (isFree_) {
    for (std::size_t i = 0; i < windows.size(); ++i) {
      const DesktopRect place = ClampedToArea(places[i], free_->viewport()->width(), free_->viewport()->height());
      free_->Move(windows[i], QRect(place.x, place.y, place.width, place.height));
    }
    return;
  }
  std::vector<ZKWindow*> tabs;
  std::vector<DesktopRect> panes;
  for (std::size_t i = 0; i < windows.size(); ++i) {
    if (InDock(windows[i])) continue;
    tabs.push_back(windows[i]);
    panes.push_back(places[i]);
  }
  moving_ = true;
  tabs_->Arrange(tabs, panes);
  moving_ = false;
  // The keys go where one looks, not to the last that was made.
  if (ZKWindow* front = InFront()) Activate(front);
}

void ChildWindows::ListIn(QMenu* menu) {
  for (QAction* action : listed_) delete action;
  listed_.clear();
  if (Empty()) return;
  listed_.push_back(menu->addSeparator());
  int number = 0;
  for (ZKWindow* window : All()) {
    const QString title = window->WithTwin(ShownTitle(window));
    const QString digit = ++number <= kNumberedWindows ? QStringLiteral("&%1 ").arg(number) : QString();
    QAction* action = menu->addAction(digit + MenuText(title), this, [this, kept = QPointer<ZKWindow>(window)] {
      if (kept) Activate(kept);
    });
    SetToolTip(action, title);
    action->setCheckable(true);
    action->setChecked(window == Active());
    listed_.push_back(action);
  }
}

}  // namespace tonalith
