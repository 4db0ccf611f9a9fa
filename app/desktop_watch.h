#pragma once

#include <QDBusConnection>
#include <QDBusVariant>
#include <QObject>
#include <QString>

namespace tonalith {

// Follows the desktop from light to dark and back while the program runs: by the desktop portal's settings service
// (color-scheme of org.freedesktop.appearance) where the session has one, and by the toolkit's own theme change.
// Without either, what the toolkit found at the start stays.  What is heard matters only while the windows look as the
// desktop does.
class DesktopWatch final : public QObject {
  Q_OBJECT

 public:
  // What the portal says arrives with the event loop; nothing waits for it.
  explicit DesktopWatch(const QDBusConnection& bus, QObject* parent = nullptr);

  // The bus of the user's session, when there is one; a missing one is not started.
  static QDBusConnection SessionBus();

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private slots:
  void OnSettingChanged(const QString& group, const QString& key, const QDBusVariant& value);

 private:
  void AskPortal();
  void Take(const QVariant& scheme);

  QDBusConnection bus_;
};

}  // namespace tonalith
