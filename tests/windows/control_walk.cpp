#include "control_walk.h"

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QAbstractSlider>
#include <QAbstractSpinBox>
#include <QComboBox>
#include <QDockWidget>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QScrollBar>
#include <QTabBar>
#include <QTextEdit>

namespace tonalith {

namespace {

constexpr int kLeast = 28;

template <typename... Kinds>
bool IsOneOf(const QWidget* widget) {
  return (qobject_cast<const Kinds*>(widget) || ...);
}

bool IsControl(const QWidget* widget) {
  if (IsOneOf<QScrollBar, QHeaderView, QMenuBar>(widget)) return false;
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

}  // namespace

std::string FaultsOfControls(const QWidget& window) {
  QStringList faults;
  for (const QWidget* control : window.findChildren<QWidget*>()) {
    if (!IsControl(control) || IsPart(control) || !control->isVisibleTo(&window)) continue;
    const QString name = NameOf(control, window);
    QStringList wrong;
    if (name.trimmed().isEmpty()) wrong << QStringLiteral("no name");
    if (!(control->focusPolicy() & Qt::TabFocus)) wrong << QStringLiteral("not in the Tab order");
    if (KeepsTab(control)) wrong << QStringLiteral("keeps the Tab key");
    if (control->width() < kLeast || control->height() < kLeast)
      wrong << QStringLiteral("%1 x %2").arg(control->width()).arg(control->height());
    if (wrong.isEmpty()) continue;
    faults << QStringLiteral("%1 \"%2\" %3: %4")
                  .arg(QString::fromLatin1(control->metaObject()->className()), name, control->objectName(),
                       wrong.join(QStringLiteral(", ")));
  }
  faults.sort();
  return faults.join(QLatin1Char('\n')).toStdString();
}

}  // namespace tonalith
