#include "app/Preferences.h"
#include "platform/xdg/XdgAutostart.h"
#include "tests/support/Files.h"
#include "tests/support/ScriptedAutostart.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

namespace {

using hopla::AppAppearance;
using hopla::AutostartStatus;
using hopla::testing::ScriptedAutostart;

struct PreferencesTest : ::testing::Test {
    QTemporaryDir dir;
    QSettings settings{dir.filePath("hopla.ini"), QSettings::IniFormat};
    ScriptedAutostart login;
};

TEST_F(PreferencesTest, FreshDefaultsAndBadStoredValuesReadAsTheDefaults) {
    hopla::Preferences fresh(settings, login);
    EXPECT_TRUE(fresh.enabled());
    EXPECT_TRUE(fresh.showsTrayIcon());
    EXPECT_EQ(fresh.appearance(), AppAppearance::system);
    EXPECT_FALSE(fresh.folderSyncEnabled());
    EXPECT_EQ(fresh.syncStatus, QString::fromUtf8("仅保存在本机"));

    settings.setValue("appearance", "Dark");
    settings.setValue("switchingEnabled", "perhaps");
    settings.setValue("showsTrayIcon", false);
    hopla::Preferences odd(settings, login);
    EXPECT_EQ(odd.appearance(), AppAppearance::system);
    EXPECT_TRUE(odd.enabled());
    EXPECT_FALSE(odd.showsTrayIcon());
}

TEST_F(PreferencesTest, SettingsStoredUnderEarlierNamesMoveOnceAndNewerValuesWin) {
    settings.setValue("showsMenuBarIcon", false);
    settings.setValue("iCloudSyncEnabled", true);
    settings.setValue("folderSyncEnabled", false); // written by this version: it stays
    settings.setValue("NativeUpdater.hopla.prompt.58", 12.5);
    hopla::moveRenamedSettings(settings);
    EXPECT_EQ(settings.value("showsTrayIcon"), false);
    EXPECT_EQ(settings.value("folderSyncEnabled"), false);
    EXPECT_EQ(settings.value("updater.hopla.prompt.58"), 12.5);
    EXPECT_EQ(settings.allKeys().size(), 3) << settings.allKeys().join(' ').toStdString();
}

TEST_F(PreferencesTest, EveryAssignmentIsWrittenAndAnnouncedEvenOfTheSameValue) {
    hopla::Preferences preferences(settings, login);
    int enabledCalls = 0, changes = 0;
    std::vector<AppAppearance> applied;
    QObject::connect(&preferences, &hopla::Preferences::enabledAssigned, [&] { ++enabledCalls; });
    QObject::connect(&preferences, &hopla::Preferences::appearanceAssigned,
                     [&](AppAppearance a) { applied.push_back(a); });
    QObject::connect(&preferences, &hopla::Preferences::changed, [&] { ++changes; });
    preferences.setEnabled(true); // unchanged, still written and announced
    EXPECT_EQ(settings.value("switchingEnabled").toBool(), true);
    EXPECT_EQ(enabledCalls, 1);
    preferences.setAppearance(AppAppearance::dark);
    EXPECT_EQ(settings.value("appearance").toString(), "dark");
    EXPECT_EQ(applied, (std::vector<AppAppearance>{AppAppearance::dark}));
    EXPECT_GE(changes, 2);
    EXPECT_EQ(hopla::Preferences(settings, login).appearance(), AppAppearance::dark);
}

TEST_F(PreferencesTest, AutostartStateAndRefusalsAreReported) {
    hopla::Preferences preferences(settings, login);
    int changes = 0;
    QObject::connect(&preferences, &hopla::Preferences::changed, [&] { ++changes; });
    login.current = AutostartStatus::enabled;
    preferences.refreshLoginStatus();
    EXPECT_TRUE(preferences.loginEnabled());
    preferences.refreshLoginStatus();
    EXPECT_EQ(changes, 1) << "re-reading an unchanged state is not news";

    login.current = AutostartStatus::notRegistered;
    login.refusal = "read-only configuration folder";
    preferences.setLoginEnabled(true);
    ASSERT_TRUE(preferences.loginError());
    EXPECT_TRUE(preferences.loginError()->endsWith("\nread-only configuration folder"));
    EXPECT_FALSE(preferences.loginEnabled()) << "shows what the system holds";
    login.refusal.reset();
    preferences.setLoginEnabled(true);
    EXPECT_FALSE(preferences.loginError()) << "a success clears the message";
    EXPECT_TRUE(preferences.loginEnabled());
}

struct AutostartTest : ::testing::Test {
    QTemporaryDir config;
    void SetUp() override { qputenv("XDG_CONFIG_HOME", config.path().toUtf8()); }
    void TearDown() override { qunsetenv("XDG_CONFIG_HOME"); }
};

TEST_F(AutostartTest, TheEntryRoundTripsDesktopsOptOutsAreHonouredAndRefusalsSayWhy) {
    hopla::XdgAutostart autostart("io.hopla.Hopla", "Hopla",
                                  {"/opt/my apps/hopla", "--login-item"});
    EXPECT_EQ(autostart.status(), AutostartStatus::notRegistered);
    ASSERT_EQ(autostart.setEnabled(true), std::nullopt);
    EXPECT_EQ(autostart.status(), AutostartStatus::enabled);
    const QString text = QString::fromUtf8(hopla::testing::readAll(autostart.entryPath()));
    EXPECT_TRUE(text.contains("Exec=\"/opt/my apps/hopla\" --login-item")) << text.toStdString();

    for (const char* optOut : {"Hidden=true", "X-GNOME-Autostart-enabled=false"}) {
        ASSERT_TRUE(hopla::testing::write(
            autostart.entryPath(),
            QByteArray("[Desktop Entry]\nType=Application\nExec=hopla\n") + optOut + "\n"));
        EXPECT_EQ(autostart.status(), AutostartStatus::notRegistered) << optOut;
    }
    ASSERT_EQ(autostart.setEnabled(false), std::nullopt);
    EXPECT_FALSE(QFile::exists(autostart.entryPath()));

    QDir(config.filePath("autostart")).removeRecursively();
    ASSERT_TRUE(hopla::testing::write(config.filePath("autostart"), {})) << "where the folder goes";
    EXPECT_EQ(autostart.setEnabled(true),
              config.filePath("autostart") + ": " + QString::fromLocal8Bit(std::strerror(ENOTDIR)))
        << "an unwritable folder gives the system's reason";
}

} // namespace
