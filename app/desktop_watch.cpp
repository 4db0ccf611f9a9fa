#include "app/desktop_watch.h"

#include <QCoreApplication>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QEvent>
#include <QFileInfo>
#include <QWidget>

#include "ui/style/look.h"

namespace tonalith {

namespace {

constexpr char kPortalService[] = "org.freedesktop.portal.Desktop";
constexpr char kPortalPath[] = "/org/freedesktop/portal/desktop";
constexpr char kPortalSettings[] = "org.freedesktop.portal.Settings";
constexpr char kAppearance[] = "org.freedesktop.appearance";
constexpr char kColourScheme[] = "color-scheme";
constexpr int kAnswerMs = 5000;

// What the portal may answer.
enum class ColourScheme : uint { NoPreference = 0, Dark = 1, Light = 2 };

}  // namespace

DesktopWatch::DesktopWatch(const QDBusConnection& bus, QObject* parent) : QObject(parent), bus_(bus) {
  QCoreApplication::instance()->installEventFilter(this);
  if (!bus_.isConnected()) return;
  // From any sender: the portal may be started, or started again, later.
  bus_.connect(QString(), QLatin1String(kPortalPath), QLatin1String(kPortalSettings), QStringLiteral("SettingChanged"),
               this, SLOT(OnSettingChanged(QString, QString, QDBusVariant)));
  AskPortal();
}

QDBusConnection DesktopWatch::SessionBus() {
  const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
  const bool there = !qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS") ||
                     (!runtime.isEmpty() && QFileInfo::exists(runtime + QStringLiteral("/bus")));
  return there ? QDBusConnection::sessionBus() : QDBusConnection(QStringLiteral("none"));
}

void DesktopWatch::AskPortal() {
  QDBusMessage read = QDBusMessage::createMethodCall(QLatin1String(kPortalService), QLatin1String(kPortalPath),
                                                     QLatin1String(kPortalSettings), QStringLiteral("Read"));
  read << QString::fromLatin1(kAppearance) << QString::fromLatin1(kColourScheme);
  auto* answer = new QDBusPendingCallWatcher(bus_.asyncCall(read, kAnswerMs), this);
  connect(answer, &QDBusPendingCallWatcher::finished, this, [this, answer] {
    answer->deleteLater();
    const QDBusPendingReply<QDBusVariant> reply = *answer;
    if (!reply.isError()) Take(reply.value().variant());
  });
}

void DesktopWatch::OnSettingChanged(const QString& group, const QString& key, const QDBusVariant& value) {
  if (group == QLatin1String(kAppearance) && key == QLatin1String(kColourScheme)) Take(value.variant());
}

void DesktopWatch::Take(const QVariant& scheme) {
  // Read wraps its answer once more.
  if (scheme.canConvert<QDBusVariant>()) return Take(scheme.value<QDBusVariant>().variant());
  bool number = false;
  const auto wanted = static_cast<ColourScheme>(scheme.toUInt(&number));
  if (!number) return;
  SetDesktopScheme(wanted == ColourScheme::Dark    ? DesktopScheme::Dark
                   : wanted == ColourScheme::Light ? DesktopScheme::Light
                                                   : DesktopScheme::Unknown);
}

// The toolkit tells every window when the theme of the desktop is another.
bool DesktopWatch::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::ThemeChange && watched->isWidgetType() && static_cast<QWidget*>(watched)->isWindow())
    FollowDesktop();
  return QObject::eventFilter(watched, event);
}

}  // namespace tonalith
