// The appearance audit's own checks, over plain widgets: a window that keeps its colours
// fails the phase that should have changed them; a run that cannot restore the desktop's
// colours fails after capturing every phase.
#include "appearance/AppearanceAudit.h"
#include "appearance/DrawnMenu.h"
#include "appearance/MenuStyle.h"
#include "tests/support/Files.h"

#include <QApplication>
#include <QFile>
#include <QImage>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMenu>
#include <QSystemTrayIcon>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

namespace audit = hopla::AppearanceAudit;

struct AppearanceAudit : ::testing::Test {
    QSystemTrayIcon tray;
    QMenu menu;
    QTemporaryDir evidence;
    QWidget window;
    const QPalette original = QApplication::palette();
    bool followsDesktop = true;
    audit::Appearance appearance{
        [](std::optional<bool> dark) {
            QApplication::setPalette(
                QPalette(dark && *dark ? QColor(30, 30, 32) : QColor(236, 236, 238)));
        },
        [this] { return followsDesktop; }};

    AppearanceAudit() {
        menu.addAction(QStringLiteral("打开 Hopla"));
        hopla::TrayMenu::attach(tray, menu);
        window.resize(240, 120);
    }
    ~AppearanceAudit() override {
        hopla::TrayMenu::detach(tray);
        QApplication::setPalette(original);
    }
    audit::Result run() {
        return audit::run({{QStringLiteral("plain"),
                            [this](QString&) {
                                window.show();
                                return &window;
                            }}},
                          appearance, evidence.path());
    }
    QJsonObject summary(const audit::Result& result) {
        QString error;
        EXPECT_TRUE(audit::writeSummary(result, evidence.path(), &error)) << error.toStdString();
        return QJsonDocument::fromJson(hopla::testing::readAll(evidence.filePath("summary.json")))
            .object();
    }
};

TEST_F(AppearanceAudit, AWindowThatKeepsItsColoursFailsTheDarkPhase) {
    window.setPalette(QPalette(QColor(250, 250, 250))); // pinned: ignores the application's
    const audit::Result result = run();
    EXPECT_FALSE(result.passed);
    EXPECT_EQ(result.error, "Appearance did not update: dark");
    ASSERT_EQ(result.captures.size(), 2u) << "the light phase's window and menu";
    EXPECT_FALSE(QImage(evidence.filePath("plain-light.png")).isNull());
    EXPECT_FALSE(QImage(evidence.filePath("status-menu-light.png")).isNull());
    EXPECT_FALSE(QFile::exists(evidence.filePath("plain-dark.png")));
    EXPECT_EQ(QApplication::palette(), original) << "the colours before the run come back";

    const QJsonObject written = summary(result);
    EXPECT_EQ(written["status"].toString(), "failed");
    EXPECT_EQ(written["error"].toString(), "Appearance did not update: dark");
}

TEST_F(AppearanceAudit, ColoursNotGivenBackToTheDesktopFailAfterEveryPhase) {
    followsDesktop = false;
    const audit::Result result = run();
    EXPECT_EQ(result.error, "System appearance was not restored");
    EXPECT_EQ(result.captures.size(), 6u);
    EXPECT_FALSE(hopla::DrawnMenu::shared().isOpen()) << "Escape closed the menu each time";
    const QImage light(evidence.filePath("plain-light.png"));
    const QImage dark(evidence.filePath("plain-dark.png"));
    EXPECT_GT(light.pixelColor(5, 5).lightness(), 128);
    EXPECT_LT(dark.pixelColor(5, 5).lightness(), 128);
}

} // namespace
