// The look follows the desktop: a bus of its own, and a settings portal on it that says what the test wants.
#include "app/portal_look.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QProcess>
#include <QStandardPaths>

#include "ui/style/colours.h"
#include "ui/style/look.h"
#include "window_test_tools.h"

namespace tonalith {
namespace {

const QString kPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString kInterface = QStringLiteral("org.freedesktop.portal.Settings");
const QString kGroup = QStringLiteral("org.freedesktop.appearance");
const QString kKey = QStringLiteral("color-scheme");

class Portal final : public QDBusVirtualObject {
 public:
  QString introspect(const QString&) const override { return {}; }
  bool handleMessage(const QDBusMessage& message, const QDBusConnection& bus) override {
    if (message.interface() != kInterface || message.member() != QLatin1String("Read")) return false;
    asked.append(message.arguments().value(1).toString());
    const QDBusVariant inner(QVariant::fromValue(scheme));
    return bus.send(message.createReply(QVariant::fromValue(QDBusVariant(QVariant::fromValue(inner)))));
  }
  uint scheme = 0;
  QStringList asked;
};

class PortalLookTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const QString program = QStandardPaths::findExecutable(QStringLiteral("dbus-daemon"));
    if (program.isEmpty()) GTEST_SKIP() << "there is no dbus-daemon";
    daemon_.start(program,
                  {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--print-address")});
    ASSERT_TRUE(daemon_.waitForReadyRead(5000));
    address_ = QString::fromLatin1(daemon_.readLine().trimmed());
  }
  void TearDown() override {
    for (const char* name : {"portal", "program"}) QDBusConnection::disconnectFromBus(QLatin1String(name));
    if (daemon_.state() != QProcess::NotRunning) {
      daemon_.terminate();
      daemon_.waitForFinished(5000);
    }
    SetDesktopLook(Look::System);
    SetLook(former_);
  }
  void Tell(const QString& group, const QString& key, uint scheme) {
    QDBusMessage signal = QDBusMessage::createSignal(kPath, kInterface, QStringLiteral("SettingChanged"));
    signal << group << key << QVariant::fromValue(QDBusVariant(scheme));
    ASSERT_TRUE(bus_.send(signal));
  }

  const Look former_ = ShownLook();
  QProcess daemon_;
  QString address_;
  QDBusConnection bus_{QString()};
};

TEST_F(PortalLookTest, FollowsThePortalWhereTheUserWantsIt) {
  bus_ = QDBusConnection::connectToBus(address_, QStringLiteral("portal"));
  ASSERT_TRUE(bus_.isConnected());
  Portal portal;
  portal.scheme = 1;
  ASSERT_TRUE(bus_.registerVirtualObject(kPath, &portal));
  ASSERT_TRUE(bus_.registerService(QStringLiteral("org.freedesktop.portal.Desktop")));
  SetLook(Look::System);
  const bool dark = IsDark();
  const PortalLook look(QDBusConnection::connectToBus(address_, QStringLiteral("program")));
  EXPECT_TRUE(WaitFor([] { return IsDark(); })) << "what was read at the start";
  EXPECT_EQ(portal.asked, QStringList{kKey});
  EXPECT_TRUE(DesktopTellsLook());
  Tell(kGroup, kKey, 2);
  EXPECT_TRUE(WaitFor([] { return !IsDark(); })) << "a change";
  Tell(kGroup, QStringLiteral("accent-color"), 1);
  Tell(QStringLiteral("org.gnome.desktop.interface"), kKey, 1);
  SetLook(Look::Light);
  Tell(kGroup, kKey, 1);
  ASSERT_TRUE(WaitFor([] {
    SetLook(Look::System);
    const bool told = IsDark();
    SetLook(Look::Light);
    return told;
  })) << "what was told meanwhile is known";
  EXPECT_FALSE(IsDark()) << "the user's own choice stays";
  SetLook(Look::System);
  EXPECT_TRUE(IsDark());
  Tell(kGroup, kKey, 7);
  EXPECT_TRUE(WaitFor([dark] { return IsDark() == dark; })) << "no preference";
  EXPECT_FALSE(DesktopTellsLook());
}

TEST_F(PortalLookTest, WithoutAPortalNothingChanges) {
  SetLook(Look::System);
  const bool dark = IsDark();
  const PortalLook alone(QDBusConnection::connectToBus(address_, QStringLiteral("program")));
  Settle();
  EXPECT_EQ(IsDark(), dark);
  const PortalLook nobody(
      QDBusConnection::connectToBus(QStringLiteral("unix:path=/nonexistent"), QStringLiteral("portal")));
  Settle();
  EXPECT_EQ(IsDark(), dark);
}

}  // namespace
}  // namespace tonalith
