// The desktop's colour scheme followed live: a stand-in settings portal on a private session
// bus announces changes as the real one does.
#include "app/ColorScheme.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QProcess>

#include "tests/support/Pump.h"

#include <gtest/gtest.h>

namespace {

using hopla::testing::waitUntil;

struct ColorSchemeTest : ::testing::Test {
    QProcess bus;

    void SetUp() override {
        bus.start("dbus-daemon", {"--session", "--nofork", "--print-address=1"});
        ASSERT_TRUE(bus.waitForReadyRead(10000)) << "dbus-daemon did not start";
        // Before anything in this program opens the session bus.
        qputenv("DBUS_SESSION_BUS_ADDRESS", bus.readLine().trimmed());
        qunsetenv("GTK_THEME");
        ASSERT_TRUE(QDBusConnection::sessionBus().registerService(
            QStringLiteral("org.freedesktop.portal.Desktop")));
    }
    void announce(const QString& key, uint value) {
        QDBusMessage signal = QDBusMessage::createSignal(
            QStringLiteral("/org/freedesktop/portal/desktop"),
            QStringLiteral("org.freedesktop.portal.Settings"), QStringLiteral("SettingChanged"));
        // Newer portals wrap the value twice.
        signal << QStringLiteral("org.freedesktop.appearance") << key
               << QVariant::fromValue(QDBusVariant(QVariant::fromValue(QDBusVariant(value))));
        QDBusConnection::sessionBus().send(signal);
    }
};

TEST_F(ColorSchemeTest, FollowsThePortalsColourSchemeAndIgnoresOtherSettings) {
    hopla::DesktopColorScheme scheme;
    EXPECT_FALSE(scheme.dark()) << "no answer to Read and no GTK_THEME: light";
    std::vector<bool> heard;
    QObject::connect(&scheme, &hopla::DesktopColorScheme::changed,
                     [&](bool dark) { heard.push_back(dark); });
    announce(QStringLiteral("accent-color"), 1);
    announce(QStringLiteral("color-scheme"), 1); // 1: prefer dark
    ASSERT_TRUE(waitUntil([&] { return scheme.dark(); }));
    announce(QStringLiteral("color-scheme"), 2); // 2: prefer light
    ASSERT_TRUE(waitUntil([&] { return !scheme.dark(); }));
    EXPECT_EQ(heard, (std::vector<bool>{true, false}));
}

} // namespace
