#include "ui/style/spoken.h"

#include <QAccessibleWidget>
#include <QCoreApplication>
#include <QKeyEvent>
#include <QProgressBar>
#include <QVariant>

#include "ui/style/plain_text.h"

namespace tonalith {

namespace {

constexpr char kRole[] = "tonalithRole";
constexpr char kTip[] = "tonalithTip";

class SpokenWidget final : public QAccessibleWidget {
 public:
  using QAccessibleWidget::QAccessibleWidget;

  QStringList actionNames() const override {
    QStringList names = QAccessibleWidget::actionNames();
    if (role() == QAccessible::Button) names << pressAction();
    return names;
  }
  void doAction(const QString& name) override {
    if (name != pressAction()) return QAccessibleWidget::doAction(name);
    QKeyEvent press(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
    QCoreApplication::sendEvent(widget(), &press);
  }
};

QAccessibleInterface* MakeSpoken(const QString&, QObject* object) {
  if (!object || !object->isWidgetType()) return nullptr;
  const QVariant role = object->property(kRole);
  return role.isValid() ? new SpokenWidget(static_cast<QWidget*>(object), static_cast<QAccessible::Role>(role.toInt()))
                        : nullptr;
}

bool HasSpokenName(QWidget* widget) {
  QAccessibleInterface* spoken = QAccessible::queryAccessibleInterface(widget);
  return spoken && !spoken->text(QAccessible::Name).isEmpty();
}

}  // namespace

void SetRole(QWidget* widget, QAccessible::Role role) {
  static const bool kInstalled = [] {
    QAccessible::installFactory(MakeSpoken);
    return true;
  }();
  (void)kInstalled;
  widget->setProperty(kRole, static_cast<int>(role));
}

void EnableUnless(QWidget* control, const QString& refusal, const QString& tip) {
  if (!tip.isNull() || !control->property(kTip).isValid())
    control->setProperty(kTip, tip.isNull() ? control->toolTip() : tip);
  QString text = control->property(kTip).toString();
  if (!refusal.isEmpty()) text += (text.isEmpty() ? QString() : QStringLiteral("\n")) + refusal;
  SetToolTip(control, text);
  control->setAccessibleDescription(ShownLine(refusal));
  control->setEnabled(refusal.isEmpty());
}

void NameAsShown(QWidget* widget) {
  if (auto* bar = qobject_cast<QProgressBar*>(widget); bar && !HasSpokenName(bar))
    SetAccessibleName(bar, PlainLabel::tr("Progress"));
  const auto* label = qobject_cast<const PlainLabel*>(widget);
  QWidget* named = label ? label->buddy() : nullptr;
  while (named && named->focusProxy()) named = named->focusProxy();
  if (!named || HasSpokenName(named)) return;
  QString name = label->text().remove(QLatin1Char('&'));
  if (name.endsWith(QLatin1Char(':'))) name.chop(1);
  SetAccessibleName(named, name);
}

}  // namespace tonalith
