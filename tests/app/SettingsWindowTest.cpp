// The settings window: its height rule, what the permission card says, and the controls
// bound both ways to the preferences.
#include "app/SettingsWindow.h"
#include "app/HoplaIcons.h"
#include "app/SettingsWidgets.h"
#include "tests/support/ScriptedAutostart.h"
#include "tests/support/UpdaterHost.h"
#include "updater/UpdaterText.h"

#include "appearance/Accessibility.h"

#include <QAbstractButton>
#include <QAccessible>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

using hopla::AppAppearance;

struct SettingsTest : ::testing::Test, hopla::testing::UpdaterHost {
    bool accessible = (hopla::installAccessibility(), true); // before any control exists
    hopla::testing::ScriptedAutostart login;
    hopla::Preferences preferences{settings, login};
    std::unique_ptr<hopla::AccentAppearance> appearance = hopla::HoplaAppearance::make(settings);
    std::unique_ptr<hopla::SelfUpdater> updates = updater();
    int permissionRequests = 0;
    hopla::SettingsWindow window{
        preferences, *appearance, *updates, {[this] { ++permissionRequests; }, {}, {}}};

    void status(bool ready, bool listening) {
        preferences.displayReady = ready;
        preferences.listening = listening;
        preferences.announce();
    }
};

TEST_F(SettingsTest, ThePermissionCardSaysWhatStandsBetweenTheUserAndSwitching) {
    window.show();
    const hopla::SettingsView& view = *window.view();

    status(false, false);
    EXPECT_EQ(view.permissionTitle(), QStringLiteral("还差一步：这个桌面还不能切换"));
    EXPECT_EQ(view.permissionSubtitle(), QStringLiteral("授权后即可接管快捷键，不记录文字输入。"));
    EXPECT_TRUE(view.permissionButton()->isVisible());
    view.permissionButton()->click();
    EXPECT_EQ(permissionRequests, 1);

    status(true, false);
    EXPECT_EQ(view.permissionTitle(), QStringLiteral("切换已暂停"));
    EXPECT_EQ(view.permissionSubtitle(), QStringLiteral("开启应用切换后，即可使用快捷键。"));
    EXPECT_FALSE(view.permissionButton()->isVisible());

    status(true, true);
    EXPECT_EQ(view.permissionTitle(), QStringLiteral("准备就绪"));
    preferences.runtimeError = QStringLiteral("目标应用未能进入前台，请重试。");
    status(true, true);
    EXPECT_EQ(view.permissionSubtitle(), *preferences.runtimeError) << "a failure is told first";

    // A rival holding the shortcut is named whatever else is true.
    preferences.conflictingApp = QStringLiteral("占用 Super+Tab 的程序");
    status(false, false);
    EXPECT_EQ(view.permissionTitle(), QStringLiteral("另一个切换器正在运行"));
    EXPECT_EQ(view.permissionSubtitle(),
              QStringLiteral("请先退出 占用 Super+Tab 的程序，避免快捷键被重复处理。"));
}

TEST_F(SettingsTest, ControlsChangeThePreferencesAndFollowChangesMadeElsewhere) {
    window.show();
    const hopla::SettingsView& view = *window.view();
    EXPECT_TRUE(view.enabledSwitch()->isChecked());
    view.enabledSwitch()->click();
    EXPECT_FALSE(preferences.enabled());

    view.loginSwitch()->click();
    EXPECT_EQ(login.requests, (std::vector<bool>{true}));
    EXPECT_TRUE(view.loginSwitch()->isChecked());

    view.appearanceButton(AppAppearance::dark)->click();
    EXPECT_EQ(preferences.appearance(), AppAppearance::dark);

    // A screen reader acts through the controls' accessible actions (AT-SPI's "Toggle").
    const auto toggle = [](QWidget* control) {
        QAccessible::queryAccessibleInterface(control)->actionInterface()->doAction(
            QAccessibleActionInterface::toggleAction());
    };
    toggle(view.traySwitch());
    EXPECT_FALSE(preferences.showsTrayIcon());
    toggle(view.appearanceButton(AppAppearance::system));
    EXPECT_EQ(preferences.appearance(), AppAppearance::system);
    toggle(view.traySwitch());

    preferences.setShowsTrayIcon(false); // as from the tray or a synced file
    EXPECT_FALSE(view.traySwitch()->isChecked());
    preferences.setAppearance(AppAppearance::light);
    EXPECT_TRUE(view.appearanceButton(AppAppearance::light)->isChecked());

    // The update row shows what the updater does and asks it for its next step.
    using hopla::updaterCopy;
    view.updateSwitch()->click();
    EXPECT_TRUE(updates->automaticallyChecksForUpdates());
    EXPECT_EQ(view.updateSubtitle(), updaterCopy("自动提示新版已开启"));
    view.updateButton()->click();
    EXPECT_EQ(fetcher.requests, 1);
    EXPECT_EQ(view.updateSubtitle(), updaterCopy("正在检查更新…"));
    EXPECT_FALSE(view.updateButton()->isEnabled());
    fetcher.answer({std::nullopt, "offline"});
    EXPECT_TRUE(view.updateButton()->isEnabled());
    EXPECT_EQ(view.updateButton()->text(), updaterCopy("检查更新"));
    view.historyButton()->click();
    EXPECT_EQ(opened.size(), 1u);
}

TEST_F(SettingsTest, CapturesShowTheTopOrTheBottomOfThePage) {
    const QString top = dir.filePath("top.png"), bottom = dir.filePath("bottom.png");
    EXPECT_FALSE(window.capture(top, false)) << "no window before the first show";
    window.show();
    ASSERT_TRUE(window.capture(top, false));
    ASSERT_TRUE(window.capture(bottom, true));
    const QImage first(top), last(bottom);
    EXPECT_EQ(first.width(), hopla::SettingsWindow::width);
    EXPECT_EQ(first.size(), last.size());
    EXPECT_NE(first, last) << "the page is taller than the window, so scrolling shows more";
    EXPECT_FALSE(window.capture(dir.filePath("missing/folder/shot.png"), false));
}

} // namespace
