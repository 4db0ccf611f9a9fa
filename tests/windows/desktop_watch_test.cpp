// The windows follow a desktop that turns dark, said by a portal on a bus of the test's own.
#include <gtest/gtest.h>

#include <QApplication>
#include <QDBusConnection>
#include <QDBusVariant>
#include <QProcess>

#include "app/desktop_watch.h"
#include "ui/style/colours.h"
#include "ui/style/look.h"
#include "window_test_tools.h"

namespace tonalith {

class FakePortal final : public QObject {
  Q_OBJECT
  Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Settings")

 public:
  void Say(uint scheme, const QString& key = QStringLiteral("color-scheme")) {
    scheme_ = scheme;
    emit SettingChanged(QStringLiteral("org.freedesktop.appearance"), key, QDBusVariant(scheme));
  }

 public slots:
  QDBusVariant Read(const QString& group, const QString& key) {
    EXPECT_EQ((group + "/" + key).toStdString(), "org.freedesktop.appearance/color-scheme");
    return QDBusVariant(QVariant::fromValue(QDBusVariant(scheme_)));  // wrapped twice, as portals answer
  }

 signals:
  void SettingChanged(const QString& group, const QString& key, const QDBusVariant& value);

 private:
  uint scheme_ = 1;
};

namespace {

bool IsPalette(bool dark) {
  return QApplication::palette().color(QPalette::Window) == PaletteOf(dark).color(QPalette::Window);
}

}  // namespace

TEST(DesktopWatch, WindowsTurnDarkAndLightWithTheDesktop) {
  QProcess daemon;
  daemon.start(QStringLiteral("dbus-daemon"), {"--session", "--nofork", "--print-address", "--nopidfile"});
  if (!daemon.waitForStarted() || !daemon.waitForReadyRead()) GTEST_SKIP() << "no bus to test with";
  const QString address = QString::fromLatin1(daemon.readLine()).trimmed();
  {
    QDBusConnection theirs = QDBusConnection::connectToBus(address, QStringLiteral("portal"));
    FakePortal portal;
    ASSERT_TRUE(theirs.registerObject(QStringLiteral("/org/freedesktop/portal/desktop"), &portal,
                                      QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals));
    ASSERT_TRUE(theirs.registerService(QStringLiteral("org.freedesktop.portal.Desktop")));
    SetLook(Look::System);
    const DesktopWatch look(QDBusConnection::connectToBus(address, QStringLiteral("program")));
    EXPECT_TRUE(WaitFor([] { return IsPalette(true); })) << "what the portal says at the start";
    EXPECT_TRUE(DesktopIsHeard());
    for (const bool dark : {false, true, false}) {
      portal.Say(dark ? 1 : 2);
      EXPECT_TRUE(WaitFor([dark] { return IsPalette(dark); })) << dark;
    }
    // Another setting, and a user who chose for himself.
    portal.Say(1, QStringLiteral("contrast"));
    portal.Say(7);
    Settle();
    SetLook(Look::Light);
    portal.Say(1);
    EXPECT_FALSE(WaitFor([] { return IsPalette(true); }, 200));
    SetLook(Look::System);
    EXPECT_TRUE(IsPalette(true)) << "what was said meanwhile is known";
    SetDesktopScheme(DesktopScheme::Unknown);
    SetLook(Look::Light);
  }
  QDBusConnection::disconnectFromBus(QStringLiteral("portal"));
  QDBusConnection::disconnectFromBus(QStringLiteral("program"));
  daemon.terminate();
  EXPECT_TRUE(daemon.waitForFinished());
}

}  // namespace tonalith

#include "desktop_watch_test.moc"
