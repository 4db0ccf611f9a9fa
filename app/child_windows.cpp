#include "app/child_windows.h"

#include <QAction>
#include <QKeySequence>
#include <QList>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenu>
#include <QTabBar>
#include <algorithm>

#include "platform/message_numbers.h"
#include "services/window_counters.h"
#include "services/window_places.h"
#include "ui/plain_text.h"
#include "ui/window_base.h"

namespace tonalith {

namespace {

// How much of the studio stays inside when its place lies outside.
constexpr int kInsideX = 300;
constexpr int kInsideY = 200;
constexpr int kNumberedWindows = 9;
constexpr int kTabCharacters = 56;

}  // namespace

ChildWindows::ChildWindows(WindowPlaces& places, WindowCounters& counters, QWidget* parent)
    : QObject(parent), places_(places), counters_(counters), area_(new QMdiArea(parent)) {
  area_->setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
  area_->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
  connect(area_, &QMdiArea::subWindowActivated, this, &ChildWindows::Changed);
}

ChildWindows::~ChildWindows() {
  if (!area_) return;
  for (ZKWindow* window : All()) disconnect(window, nullptr, this, nullptr);
  disconnect(area_, nullptr, this, nullptr);
  delete area_.data();
}

// ---- which there are ------------------------------------------------------------------------------------------------

void ChildWindows::Add(ZKWindow* window) {
  counters_.Count(window->TypeCode());
  window->setAttribute(Qt::WA_DeleteOnClose);
  const QSize size = window->size();
  QMdiSubWindow* sub = area_->addSubWindow(window);
  const QSize frame = sub->size() - sub->contentsRect().size();
  sub->resize((size + frame).boundedTo(area_->viewport()->size()));
  Place(sub, window);
  sub->setAttribute(Qt::WA_DeleteOnClose);
  connect(window, &ZKWindow::StateChanged, this, &ChildWindows::Changed);
  connect(window, &ZKWindow::StatusMessage, this, &ChildWindows::StatusMessage);
  connect(window, &ZKWindow::StateChanged, this, &ChildWindows::NameTabs, Qt::QueuedConnection);
  connect(sub, &QWidget::windowTitleChanged, this, &ChildWindows::NameTabs, Qt::QueuedConnection);
  connect(window, &ZKWindow::Closing, this, [this, window] { StorePlace(window); });
  // Its own Close would make the menu's shortcut ambiguous.
  for (QAction* action : sub->actions()) action->setShortcuts(QList<QKeySequence>());
  if (QMenu* own = sub->systemMenu()) {
    for (QAction* action : own->actions()) action->setShortcuts(QList<QKeySequence>());
  }
  sub->show();
  // The free place that was found may lie outside.
  const QSize room = area_->viewport()->size() - sub->size();
  sub->move(std::clamp(sub->x(), 0, std::max(0, room.width())), std::clamp(sub->y(), 0, std::max(0, room.height())));
  window->setFocus();
  NameTabs();
  emit Changed();
}

void ChildWindows::Activate(ZKWindow* window) {
  QMdiSubWindow* sub = SubWindowOf(window);
  if (!sub) return;
  if (sub->isMinimized()) sub->showNormal();
  area_->setActiveSubWindow(sub);
  window->setFocus();
}

ZKWindow* ChildWindows::Active() const {
  QMdiSubWindow* sub = area_->currentSubWindow();
  return sub ? qobject_cast<ZKWindow*>(sub->widget()) : nullptr;
}

std::vector<ZKWindow*> ChildWindows::All() const {
  std::vector<ZKWindow*> windows;
  for (QMdiSubWindow* sub : area_->subWindowList()) {
    if (auto* window = qobject_cast<ZKWindow*>(sub->widget())) windows.push_back(window);
  }
  return windows;
}

bool ChildWindows::Empty() const {
  return area_->subWindowList().isEmpty();
}

QMdiSubWindow* ChildWindows::SubWindowOf(const ZKWindow* window) const {
  for (QMdiSubWindow* sub : area_->subWindowList()) {
    if (sub->widget() == window) return sub;
  }
  return nullptr;
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

bool ChildWindows::VerifyCloseAll() const {
  std::vector<QPointer<ZKWindow>> windows;
  for (ZKWindow* window : All()) windows.emplace_back(window);
  return std::all_of(windows.begin(), windows.end(),
                     [](const QPointer<ZKWindow>& window) { return !window || window->VerifyClose(); });
}

bool ChildWindows::CloseAll() {
  if (!VerifyCloseAll()) return false;
  ForEach([](ZKWindow& window) { window.CloseVerified(); });
  return true;
}

void ChildWindows::CloseActive() {
  if (QMdiSubWindow* sub = area_->activeSubWindow()) sub->close();
}

// ---- arranging ------------------------------------------------------------------------------------------------------

void ChildWindows::ShowAsTabs(bool tabs) {
  area_->setViewMode(tabs ? QMdiArea::TabbedView : QMdiArea::SubWindowView);
  area_->setTabsClosable(true);
  area_->setTabsMovable(true);
  area_->setDocumentMode(true);
  NameTabs();
}

// The area takes a title for the text of its tab as it is; there every '&' would be a mnemonic.
void ChildWindows::NameTabs() {
  auto* tabs = area_->findChild<QTabBar*>(QString(), Qt::FindDirectChildrenOnly);
  const QList<QMdiSubWindow*> windows = area_->subWindowList();
  if (!tabs || tabs->count() != windows.size()) return;
  for (int i = 0; i < tabs->count(); ++i) {
    const QString title = ShownTitle(windows[i]);
    const QString shown =
        tabs->fontMetrics().elidedText(title, Qt::ElideMiddle, kTabCharacters * tabs->fontMetrics().averageCharWidth());
    tabs->setTabText(i, MenuText(windows[i]->isWindowModified() ? shown + '*' : shown));
    tabs->setTabToolTip(i, shown == title ? QString() : ToolTipText(title));
  }
}

bool ChildWindows::AsTabs() const {
  return area_->viewMode() == QMdiArea::TabbedView;
}

void ChildWindows::Cascade() {
  area_->cascadeSubWindows();
}

void ChildWindows::Tile() {
  area_->tileSubWindows();
}

void ChildWindows::Next() {
  area_->activateNextSubWindow();
}

void ChildWindows::StorePlaces() const {
  for (const ZKWindow* window : All()) StorePlace(window);
}

void ChildWindows::StorePlace(const ZKWindow* window) const {
  const QMdiSubWindow* sub = SubWindowOf(window);
  if (!sub || sub->isMaximized() || sub->isMinimized()) return;
  const QRect place = sub->geometry();
  places_.Store(static_cast<int>(window->TypeCode()),
                {std::max(0, place.x()), std::max(0, place.y()), place.width(), place.height()});
}

// There is one studio: it comes back where it was.  Of the others the size is kept.
void ChildWindows::Place(QMdiSubWindow* sub, const ZKWindow* window) const {
  WindowPlace place;
  if (!places_.Read(static_cast<int>(window->TypeCode()), place)) return;
  const QSize area = area_->viewport()->size();
  sub->resize(QSize(place.width, place.height).expandedTo(sub->minimumSizeHint()).boundedTo(area));
  if (window->TypeCode() != WindowType::Studio) return;
  sub->move(std::clamp(place.left, 0, std::max(0, area.width() - kInsideX)),
            std::clamp(place.top, 0, std::max(0, area.height() - kInsideY)));
}

void ChildWindows::ListIn(QMenu* menu) {
  for (QAction* action : listed_) delete action;
  listed_.clear();
  if (Empty()) return;
  listed_.push_back(menu->addSeparator());
  int number = 0;
  for (ZKWindow* window : All()) {
    const QString title = ShownTitle(window);
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
