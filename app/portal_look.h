#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <optional>

namespace tonalith {

// Asks the desktop's settings portal whether the desktop is dark, and hears of it when that changes.  Where there is no
// portal nothing happens.
class PortalLook final : public QObject {
  Q_OBJECT

 public:
  explicit PortalLook(const QDBusConnection& bus, QObject* parent = nullptr);

 private slots:
  void SettingChanged(const QDBusMessage& message);

 private:
  void Ask();

  QDBusConnection bus_;
};

// The bus of the session, when it has one; none is started.
std::optional<QDBusConnection> SessionBus();

}  // namespace tonalith
