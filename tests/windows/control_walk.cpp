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

#include "ui/style/list_delegate.h"
#include "ui/window_base.h"

namespace tonalith {

namespace {

constexpr int kLeast = 28;

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

ControlWatch* theWatch = nullptr;

// The child of `above` that holds a widget.
const QWidget* BranchOf(const QWidget* widget, const QWidget* above) {
  while (widget->parentWidget() != above) widget = widget->parentWidget();
  return widget;
}

// Whether the eye comes to `next` before `now`: it stands in a line above it without being the column beside it, or in
// the same line before it.  Compared where both stand in one place, so that columns are read one after the other.
bool IsReadBefore(const QWidget* next, const QWidget* now, const QWidget& window) {
  constexpr int kTolerance = 4;
  const QWidget* above = now->parentWidget();
  while (above != &window && !above->isAncestorOf(next)) above = above->parentWidget();
  const QRect from = BranchOf(now, above)->geometry(), to = BranchOf(next, above)->geometry();
  const bool leftToRight = window.layoutDirection() == Qt::LeftToRight;
  const bool behind = leftToRight ? to.left() >= from.right() - kTolerance : to.right() <= from.left() + kTolerance;
  const bool before = leftToRight ? to.right() <= from.left() + kTolerance : to.left() >= from.right() - kTolerance;
  if (to.bottom() <= from.top() + kTolerance) return !behind;
  const int common = std::min(from.bottom(), to.bottom()) - std::max(from.top(), to.top());
  return before && common > std::min(from.height(), to.height()) / 2;
}

// What Tab reaches, in its order; the first one is the one that the eye comes to first.
QStringList FaultsOfOrder(const QWidget& window) {
  std::vector<const QWidget*> chain;
  for (const QWidget* widget = window.nextInFocusChain(); widget != &window; widget = widget->nextInFocusChain()) {
    if (!window.isAncestorOf(widget) || !widget->isVisibleTo(&window) || IsPart(widget) || !IsControl(widget)) continue;
    if (widget->focusPolicy() & Qt::TabFocus) chain.push_back(widget);
  }
  QStringList faults;
  for (std::size_t i = 1; i < chain.size(); ++i)
    if (IsReadBefore(chain[i], chain[i - 1], window))
      faults << QStringLiteral("Tab goes back from %1 \"%2\" to %3 \"%4\"")
                    .arg(KindOf(*chain[i - 1]), NameOf(chain[i - 1], window), KindOf(*chain[i]),
                         NameOf(chain[i], window));
  return faults;
}

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
  if (qobject_cast<const QDialog*>(&window) || qobject_cast<const ZKWindow*>(&window)) faults += FaultsOfOrder(window);
  faults.sort();
  return faults.join(QLatin1Char('\n')).toStdString();
}

ControlWatch::ControlWatch(QObject* parent) : QObject(parent) {
  theWatch = this;
  qApp->installEventFilter(this);
}

ControlWatch* TheControlWatch() {
  return theWatch;
}

void ControlWatch::Walk(const QWidget& window) {
  const std::string kind = KindOf(window).toStdString();
  walked_.insert(kind);
  const std::string faults = FaultsOfControls(window);
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
