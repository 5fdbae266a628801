// The shell's small parts: the command line, the drawn icons, the tray menu, translations.
#include "app/HoplaIcons.h"
#include "app/LaunchOptions.h"
#include "app/Preferences.h"
#include "app/StatusMenu.h"
#include "app/Translations.h"
#include "appearance/IconRecoloring.h"

#include <QApplication>
#include <QLocale>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

TEST(LaunchOptions, SwitchesMatchWholeArgumentsAndPathsNeedAFollowingArgument) {
    const auto options =
        hopla::LaunchOptions::parse({"hopla", "--preview", "--dark", "--light",
                                     "--panel-screenshot", "/tmp/p.png", "--settings-screenshot"});
    EXPECT_TRUE(options.preview);
    EXPECT_TRUE(options.dark && options.light);
    EXPECT_EQ(options.panelScreenshot, QStringLiteral("/tmp/p.png"));
    EXPECT_FALSE(options.settingsScreenshot) << "no path follows";
    EXPECT_TRUE(options.bypassesSingleInstance());

    const auto plain = hopla::LaunchOptions::parse({"hopla", "--previews", "--login-item"});
    EXPECT_FALSE(plain.preview);
    EXPECT_TRUE(plain.autostart);
    EXPECT_FALSE(plain.bypassesSingleInstance());
    EXPECT_TRUE(
        hopla::LaunchOptions::parse({"hopla", "--verify-app-shortcuts"}).bypassesSingleInstance());
}

TEST(RabbitMenuIcon, InkedHeadAndEarsWithClearEyes) {
    const QImage icon = hopla::RabbitMenuIcon::image(Qt::black, 200);
    const auto alphaAt = [&](double x, double y) { // in the 20-unit design, y up
        return qAlpha(icon.pixel(static_cast<int>((2 + 0.8 * x) * 10),
                                 static_cast<int>((18 - 0.8 * y) * 10)));
    };
    EXPECT_EQ(alphaAt(10, 4), 255) << "head";
    EXPECT_EQ(alphaAt(5, 16), 255) << "left ear";
    EXPECT_EQ(alphaAt(13, 17), 255) << "right ear";
    EXPECT_EQ(alphaAt(7.5, 7.75), 0) << "left eye";
    EXPECT_EQ(alphaAt(12.5, 7.75), 0) << "right eye";
    EXPECT_EQ(alphaAt(1, 1), 0) << "outside";
    EXPECT_EQ(alphaAt(10, 16), 0) << "between the ears";
}

TEST(HoplaIcon, TheBaseIconIsBlueAndEachPaletteRecoloursIt) {
    const QImage base = hopla::hoplaBaseIcon();
    ASSERT_EQ(base.size(), QSize(512, 512));
    const QColor corner = base.pixelColor(140, 470); // blue, clear of the rabbit
    EXPECT_NEAR(corner.hsvHueF(), hopla::hoplaBaseHue, 0.01);
    EXPECT_EQ(base.pixelColor(256, 330), QColor(Qt::white)) << "the rabbit's head";

    QTemporaryDir dir;
    QSettings settings(dir.filePath("hopla.ini"), QSettings::IniFormat);
    const auto appearance = hopla::HoplaAppearance::make(settings);
    const QImage forest = appearance->icon(hopla::AccentPalette::forest);
    const double forestHue = hopla::color(hopla::AccentPalette::forest).hsvHueF();
    EXPECT_NEAR(forest.pixelColor(140, 470).hsvHueF(), forestHue, 0.05);
    EXPECT_EQ(forest.pixelColor(256, 330), QColor(Qt::white)) << "white stays white";
}

TEST(StatusMenu, ItemsInOrderWithTheSwitchingCheckMark) {
    int toggles = 0, settingsShown = 0;
    hopla::StatusMenu menu({[&] { ++settingsShown; }, [&] { ++toggles; }, {}, [] {}}, Qt::black);
    QStringList titles;
    for (QAction* action : menu.menu().actions()) {
        titles << (action->isSeparator() ? QStringLiteral("-") : action->text());
    }
    EXPECT_EQ(titles,
              (QStringList{"打开 Hopla", "暂停 / 恢复切换", "检查更新…", "-", "退出 Hopla"}));
    EXPECT_FALSE(menu.menu().actions()[2]->isEnabled()) << "no updater to ask yet";
    EXPECT_EQ(menu.trayIcon().toolTip(), QStringLiteral("Hopla · 首字母切换"));

    menu.enabledItem().trigger();
    menu.menu().actions()[0]->trigger();
    EXPECT_EQ(toggles, 1);
    EXPECT_EQ(settingsShown, 1);
    menu.setEnabledChecked(false);
    EXPECT_FALSE(menu.enabledItem().isChecked());
}

TEST(Translations, ChineseForChineseUsersEnglishForEveryoneElse) {
    EXPECT_TRUE(hopla::wantsChineseTexts({"zh-Hans-CN", "en-US"}));
    EXPECT_FALSE(hopla::wantsChineseTexts({"en-GB", "zh-CN"}));
    EXPECT_FALSE(hopla::wantsChineseTexts({}));

    const QLocale before;
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    const auto english = hopla::installTranslations(*QCoreApplication::instance());
    QLocale::setDefault(before);
    ASSERT_TRUE(english) << "the compiled English translation is built in";
    EXPECT_EQ(hopla::localized("准备就绪"), QStringLiteral("Ready"));
    EXPECT_EQ(hopla::localized("版本 %1（%2）"), QStringLiteral("Version %1 (%2)"));
    QCoreApplication::removeTranslator(english.get());
    EXPECT_EQ(hopla::localized("准备就绪"), QStringLiteral("准备就绪"));
}

} // namespace
