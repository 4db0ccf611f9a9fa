#include "control_walk.h"

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QAbstractSlider>
#include <QAbstractSpinBox>
#include <QAccessible>
#include <QApplication>
#include <QComboBox>
#include <QDialog>
#include <QDockWidget>
#include <QEvent>
#include <QFileDialog>
#include <QGroupBox>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QMdiSubWindow>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QPointer>
#include <QProgressBar>
#include <QScrollBar>
#include <QTabBar>
#include <QTextEdit>
#include <QTimer>
#include <algorithm>
#include <cstdlib>
#include <span>
#include <vector>

#include "ui/style/list_delegate.h"
#include "ui/window_base.h"

namespace tonalith {

namespace {

constexpr int kLeast = 28;
constexpr int kSameLine = 4;  // by how much edges of one line may differ

template <typename... Kinds>
bool IsOneOf(const QWidget* widget) {
  return (qobject_cast<const Kinds*>(widget) || ...);
}

// What Tab reaches, and what it has to reach.
bool IsControl(const QWidget* widget) {
  if (IsOneOf<QScrollBar, QHeaderView, QMenuBar>(widget)) return false;
  if (widget->focusPolicy() & Qt::TabFocus && !widget->focusProxy() &&
      !IsOneOf<ZKWindow, QTabWidget, QMdiSubWindow>(widget))
    return true;
  return IsOneOf<QAbstractButton, QLineEdit, QAbstractSpinBox, QComboBox, QAbstractSlider, QAbstractItemView, QTextEdit,
                 QPlainTextEdit, QTabBar>(widget);
}

// Parts of a control and of the frame of a dock or tab: what they do is reached otherwise.
bool IsPart(const QWidget* widget) {
  if (widget->objectName().startsWith(QStringLiteral("qt_"))) return true;
  const QWidget* parent = widget->parentWidget();
  return IsOneOf<QComboBox, QAbstractSpinBox, QLineEdit, QTabBar, QDockWidget, QHeaderView>(parent) ||
         (IsOneOf<QAbstractButton>(widget) && IsOneOf<QAbstractItemView>(parent)) ||
         parent->objectName() == QStringLiteral("qt_scrollarea_viewport");
}

QString NameOf(const QWidget* control, const QWidget& window) {
  if (!control->accessibleName().isEmpty()) return control->accessibleName();
  if (const auto* button = qobject_cast<const QAbstractButton*>(control)) return button->text();
  if (const auto* group = qobject_cast<const QGroupBox*>(control)) return group->title();
  if (const auto* bar = qobject_cast<const QTabBar*>(control)) return bar->count() ? bar->tabText(0) : QString();
  for (const QLabel* label : window.findChildren<QLabel*>())
    if (const QWidget* buddy = label->buddy(); buddy && (buddy == control || buddy->focusProxy() == control))
      return label->text();
  return {};
}

bool KeepsTab(const QWidget* control) {
  if (const auto* view = qobject_cast<const QAbstractItemView*>(control)) return view->tabKeyNavigation();
  if (const auto* edit = qobject_cast<const QPlainTextEdit*>(control))
    return !edit->isReadOnly() && !edit->tabChangesFocus();
  if (const auto* edit = qobject_cast<const QTextEdit*>(control))
    return !edit->isReadOnly() && !edit->tabChangesFocus();
  return false;
}

// As a screen reader gets it.
bool HasRole(const QWidget* widget) {
  QAccessibleInterface* spoken = QAccessible::queryAccessibleInterface(const_cast<QWidget*>(widget));
  return spoken && spoken->role() != QAccessible::NoRole && spoken->role() != QAccessible::Client;
}

bool HasSpokenName(const QWidget* widget) {
  QAccessibleInterface* spoken = QAccessible::queryAccessibleInterface(const_cast<QWidget*>(widget));
  return spoken && !spoken->text(QAccessible::Name).trimmed().isEmpty();
}

// Marks that only eyes can read.
bool HasSilentMarks(const QAbstractItemView* view, const QModelIndex& parent = {}) {
  constexpr int kMostRows = 64;
  const QAbstractItemModel* model = view->model();
  for (int row = 0; model && row < std::min(model->rowCount(parent), kMostRows); ++row) {
    for (int column = 0; column < model->columnCount(parent); ++column) {
      const QModelIndex index = model->index(row, column, parent);
      const QString said = index.data(Qt::AccessibleTextRole).toString();
      for (const int role : {int{kMarksRole}, int{kAsideMarksRole}})
        if (!MarksIn(index.data(role)).empty() && said.isEmpty()) return true;
      if (column == 0 && HasSilentMarks(view, index)) return true;
    }
  }
  return false;
}

// Off for a reason that is not in sight.
bool HidesReason(const QWidget* control) {
  if (!IsOneOf<QAbstractButton>(control) || control->isEnabled() || !control->accessibleDescription().isEmpty())
    return false;
  const auto* group = qobject_cast<const QGroupBox*>(control->parentWidget());
  return control->parentWidget()->isEnabled() && !(group && group->isCheckable() && !group->isChecked());
}

QStringList FaultsOf(const QWidget* control, const QString& name) {
  QStringList wrong;
  if (name.trimmed().isEmpty() || !HasSpokenName(control)) wrong << QStringLiteral("no name");
  if (!HasRole(control)) wrong << QStringLiteral("no role");
  if (!(control->focusPolicy() & Qt::TabFocus)) wrong << QStringLiteral("not in the Tab order");
  if (KeepsTab(control)) wrong << QStringLiteral("keeps the Tab key");
  if (control->width() < kLeast || control->height() < kLeast)
    wrong << QStringLiteral("%1 x %2").arg(control->width()).arg(control->height());
  if (HidesReason(control)) wrong << QStringLiteral("does not say why it is off");
  if (const auto* view = qobject_cast<const QAbstractItemView*>(control); view && HasSilentMarks(view))
    wrong << QStringLiteral("marks without words");
  return wrong;
}

QString KindOf(const QWidget& widget) {
  return QString::fromLatin1(widget.metaObject()->className()).section(QStringLiteral("::"), -1);
}

// What Tab goes through, beginning where the chain does for the window.
std::vector<QWidget*> TabStops(const QWidget& window) {
  std::vector<QWidget*> stops;
  for (QWidget* at = window.nextInFocusChain(); at && at != &window; at = at->nextInFocusChain())
    if (at->focusPolicy() & Qt::TabFocus && !at->focusProxy() && at->isVisibleTo(&window) && at->isEnabled() &&
        window.isAncestorOf(at))
      stops.push_back(at);
  return stops;
}

// The parts of their nearest common ancestor that two widgets stand in; null where one holds the other.
std::pair<const QWidget*, const QWidget*> PartsOf(const QWidget* one, const QWidget* other) {
  const QWidget* around = one->parentWidget();
  while (around && !around->isAncestorOf(other)) around = around->parentWidget();
  const auto lift = [around](const QWidget* widget) {
    while (widget && widget->parentWidget() != around) widget = widget->parentWidget();
    return widget;
  };
  if (!around || one->isAncestorOf(other) || other->isAncestorOf(one)) return {};
  return {lift(one), lift(other)};
}

bool SameLine(const QRect& one, const QRect& other) {
  return std::abs(one.top() - other.top()) <= kSameLine && std::abs(one.height() - other.height()) <= kSameLine;
}

QString StepFault(const QWidget* from, const QWidget* to, std::span<QWidget* const> later) {
  const auto [before, after] = PartsOf(from, to);
  if (!before || !after) return {};
  const QRect a = before->geometry();
  const QRect b = after->geometry();
  const bool mirrored = before->parentWidget()->isRightToLeft();
  const auto leftOf = [mirrored](const QRect& one, const QRect& other) {
    return mirrored ? one.left() > other.right() : one.right() < other.left();
  };
  if (b.bottom() < a.top() && !leftOf(a, b)) return QStringLiteral("goes up");
  if (leftOf(b, a) && b.top() <= a.bottom() && b.bottom() >= a.top()) return QStringLiteral("goes back");
  if (b.top() <= a.bottom()) return {};
  // Down, while the line goes on.
  for (const QWidget* other : later) {
    const auto [part, left] = PartsOf(from, other);
    if (part == before && left && leftOf(a, left->geometry()) && SameLine(a, left->geometry()))
      return QStringLiteral("leaves the line");
  }
  return {};
}

QString StopName(const QWidget* stop, const QWidget& window) {
  return QStringLiteral("%1 \"%2\"").arg(KindOf(*stop), NameOf(stop, window));
}

// Of what is gone through in this order; `first`: what the first fault leads to.
std::string TabFaults(const QWidget& window, const std::vector<QWidget*>& stops, std::size_t* first) {
  QStringList faults;
  std::set<const QWidget*> left;  // panes that were gone through
  for (std::size_t i = 1; i < stops.size(); ++i) {
    const QWidget* from = stops[i - 1];
    const QWidget* to = stops[i];
    QString wrong = StepFault(from, to, std::span(stops).subspan(i + 1));
    for (const QWidget* pane = from; pane != &window && !pane->isAncestorOf(to); pane = pane->parentWidget())
      left.insert(pane);
    for (const QWidget* pane = to; pane != &window; pane = pane->parentWidget())
      if (left.count(pane) != 0) wrong = QStringLiteral("comes to a pane again");
    if (wrong.isEmpty()) continue;
    if (faults.isEmpty()) *first = i;
    faults << QStringLiteral("Tab order: %1 to %2 %3").arg(StopName(from, window), StopName(to, window), wrong);
  }
  return faults.join(QLatin1Char('\n')).toStdString();
}

ControlWatch* theWatch = nullptr;

}  // namespace

std::string FaultsOfControls(const QWidget& window) {
  QStringList faults;
  for (const QWidget* widget : window.findChildren<QWidget*>()) {
    if (!widget->isVisibleTo(&window) || IsPart(widget)) continue;
    const bool control = IsControl(widget);
    const QString name = control ? NameOf(widget, window) : widget->accessibleName();
    QStringList wrong = control ? FaultsOf(widget, name) : QStringList();
    // What has a name, or moves, is spoken.
    if (!control && !name.isEmpty() && !HasRole(widget)) wrong << QStringLiteral("no role");
    if (IsOneOf<QProgressBar>(widget) && !HasSpokenName(widget)) wrong << QStringLiteral("no name");
    if (!wrong.isEmpty())
      faults << QStringLiteral("%1 \"%2\" %3: %4")
                    .arg(KindOf(*widget), name, widget->objectName(), wrong.join(QStringLiteral(", ")));
  }
  faults.sort();
  return faults.join(QLatin1Char('\n')).toStdString();
}

std::string FaultsOfTabOrder(const QWidget& window) {
  std::vector<QWidget*> stops = TabStops(window);
  std::size_t fault = 0;
  const std::string faults = TabFaults(window, stops, &fault);
  if (faults.empty()) return {};
  // The order is a ring: it may begin where the first fault seems to be.
  std::rotate(stops.begin(), stops.begin() + static_cast<std::ptrdiff_t>(fault), stops.end());
  return TabFaults(window, stops, &fault);
}

ControlWatch::ControlWatch(QObject* parent) : QObject(parent) {
  theWatch = this;
  qApp->installEventFilter(this);
}

ControlWatch* TheControlWatch() {
  return theWatch;
}

void ControlWatch::Walk(QWidget& window) {
  const std::string kind = KindOf(window).toStdString();
  walked_.insert(kind);
  // As the press of the key finds it, without moving the focus.
  QKeyEvent press(QEvent::ShortcutOverride, Qt::Key_Tab, Qt::NoModifier);
  QApplication::sendEvent(&window, &press);
  const std::string order = window.isVisible() ? FaultsOfTabOrder(window) : std::string();
  std::string faults = FaultsOfControls(window);
  if (!faults.empty() && !order.empty()) faults += '\n';
  faults += order;
  if (!faults.empty() && known_.insert(kind + faults).second) ADD_FAILURE() << kind << "\n" << faults;
}

bool ControlWatch::eventFilter(QObject* watched, QEvent* event) {
  auto* widget = event->type() == QEvent::Show ? qobject_cast<QWidget*>(watched) : nullptr;
  // What stands in the toolkit's own dialogs for files is its own.
  if (!widget || qobject_cast<QFileDialog*>(widget) || !IsOneOf<QDialog, QMainWindow, ZKWindow, QDockWidget>(widget))
    return false;
  QTimer::singleShot(0, this, [this, shown = QPointer<QWidget>(widget)] {
    if (shown && shown->isVisible()) Walk(*shown);
  });
  return false;
}

}  // namespace tonalith
