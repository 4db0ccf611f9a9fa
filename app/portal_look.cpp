#include "app/portal_look.h"

#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QStringList>
#include <QVariant>
#include <QVariantList>
#include <cstdlib>

#include "platform/atomic_file.h"
#include "platform/log.h"
#include "platform/path_resolver.h"
#include "ui/style/look.h"

namespace tonalith {

namespace {

constexpr char kPortal[] = "org.freedesktop.portal.Desktop";
constexpr char kObject[] = "/org/freedesktop/portal/desktop";
constexpr char kSettings[] = "org.freedesktop.portal.Settings";
constexpr char kAppearance[] = "org.freedesktop.appearance";
constexpr char kColourScheme[] = "color-scheme";
// Its values; any other is no preference.
constexpr unsigned kDark = 1, kLight = 2;

// What is read has one variant more around it than what is told.
Look LookOf(QVariant value) {
  while (value.canConvert<QDBusVariant>()) value = value.value<QDBusVariant>().variant();
  const unsigned scheme = value.toUInt();
  if (scheme == kDark) return Look::Dark;
  return scheme == kLight ? Look::Light : Look::System;
}

}  // namespace

PortalLook::PortalLook(const QDBusConnection& bus, QObject* parent) : QObject(parent), bus_(bus) {
  const QStringList which{QLatin1String(kAppearance), QLatin1String(kColourScheme)};
  const bool hears = bus_.connect(QLatin1String(kPortal), QLatin1String(kObject), QLatin1String(kSettings),
                                  QStringLiteral("SettingChanged"), which, QStringLiteral("ssv"), this,
                                  SLOT(SettingChanged(QDBusMessage)));
  if (!hears) DebugLog("%s", "Changes of the desktop's look are not heard of.");
  Ask();
}

void PortalLook::Ask() {
  QDBusMessage question = QDBusMessage::createMethodCall(QLatin1String(kPortal), QLatin1String(kObject),
                                                         QLatin1String(kSettings), QStringLiteral("Read"));
  question << QLatin1String(kAppearance) << QLatin1String(kColourScheme);
  auto* answer = new QDBusPendingCallWatcher(bus_.asyncCall(question), this);
  connect(answer, &QDBusPendingCallWatcher::finished, this, [answer] {
    const QDBusPendingReply<QDBusVariant> reply = *answer;
    if (reply.isValid()) SetDesktopLook(LookOf(reply.value().variant()));
    answer->deleteLater();
  });
}

// Group, key and value.  The bus passes on only what was asked for, other senders' messages not at all.
void PortalLook::SettingChanged(const QDBusMessage& message) {
  const QVariantList said = message.arguments();
  if (said.size() == 3) SetDesktopLook(LookOf(said[2]));
}

std::optional<QDBusConnection> SessionBus() {
  const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  const bool there = (address && *address) || (runtime && *runtime && FileExists(JoinPath(runtime, "bus")));
  if (!there) return std::nullopt;
  QDBusConnection bus = QDBusConnection::sessionBus();
  if (!bus.isConnected()) return std::nullopt;
  return bus;
}

}  // namespace tonalith
