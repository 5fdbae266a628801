// Hopla itself on a headless sway: real Wayland clients (foot, GNOME Calculator) beside an
// Xwayland one (xterm), keys typed on a virtual keyboard that holds Super as a person does,
// the focus read back from sway.
#include "tests/compositor/harness/SwaySession.h"

#include <QCoreApplication>

#include <gtest/gtest.h>

namespace {

using hopla::testing::SwaySession;

const QString foot = QStringLiteral("foot"), xterm = QStringLiteral("XTerm"),
              calculator = QStringLiteral("org.gnome.Calculator");

// Three applications used in the order Calculator, XTerm, Foot (Foot in front), then Hopla
// started as at login.
struct HoplaOnSway : ::testing::Test {
    std::unique_ptr<SwaySession> sway;
    SwaySession::Keyboard keys;
    QProcess* hopla = nullptr;
    QString log;

    // Hopla as on a wlroots compositor other than sway: no IPC, the compositor's own
    // bindings run `hopla --switch`.
    bool withoutIpc = false;

    void SetUp() override {
        QString error;
        sway = SwaySession::start(&error);
        ASSERT_TRUE(sway) << error.toStdString();
        ASSERT_EQ(sway->open(QStringLiteral("gnome-calculator"), calculator), "");
        ASSERT_EQ(sway->open(QStringLiteral("xterm"), xterm), "");
        ASSERT_EQ(sway->open(QStringLiteral("foot"), foot), "");
        keys = sway->keyboard();
        hopla = sway->launch(QStringLiteral(HOPLA_BINARY), {QStringLiteral("--login-item")},
                             QProcess::SeparateChannels,
                             withoutIpc ? QStringList{"SWAYSOCK"} : QStringList{});
        if (withoutIpc) {
            return;
        }
        ASSERT_TRUE(SwaySession::waitFor([&] { return logged("Ready"); }))
            << "Hopla never got ready ("
            << (hopla->state() == QProcess::Running ? "running" : "ended")
            << "): " << log.toStdString() << hopla->readAllStandardOutput().toStdString();
    }
    bool logged(const QString& text) {
        log += QString::fromUtf8(hopla->readAllStandardError());
        return log.contains(text);
    }
    bool focusBecomes(const QString& app) {
        return SwaySession::waitFor([&] { return sway->focusedApp() == app; },
                                    std::chrono::seconds(5));
    }
    // How many pixels in the middle of the output are the panel's dark backdrop.
    int panelPixels(const QString& output = QStringLiteral("HEADLESS-1")) {
        const QImage shot = sway->screenshot(output);
        int dark = 0;
        for (int x = shot.width() / 2 - 100; x < shot.width() / 2 + 100; x += 4) {
            const QColor c = shot.pixelColor(x, shot.height() / 2 - 70);
            dark += c.isValid() && c.lightness() < 90;
        }
        return dark;
    }
};

TEST_F(HoplaOnSway, SuperTabSwitchesToThePreviousThenTheThirdApplication) {
    ASSERT_TRUE(keys.type({"press LEFTMETA", "tap TAB", "release LEFTMETA"}));
    EXPECT_TRUE(focusBecomes(xterm)) << "focused: " << sway->focusedApp().toStdString();
    ASSERT_TRUE(keys.type({"press LEFTMETA", "tap TAB", "tap TAB", "release LEFTMETA"}));
    EXPECT_TRUE(focusBecomes(calculator)) << "focused: " << sway->focusedApp().toStdString();
}

TEST_F(HoplaOnSway, ALetterOnlyOneApplicationCarriesSwitchesWhileSuperIsHeld) {
    // C is Calculator's (named by its desktop entry, not its app id). Letters reach Hopla
    // once the panel holds the keyboard: a person sees it first.
    ASSERT_TRUE(keys.type({"press LEFTMETA", "tap TAB", "sleep 200", "tap C"}));
    EXPECT_TRUE(focusBecomes(calculator)) << "focused: " << sway->focusedApp().toStdString();
    ASSERT_TRUE(keys.type({"release LEFTMETA"}));
}

TEST_F(HoplaOnSway, ThePanelShowsWhileSuperIsHeldAndEscapeCancels) {
    const int before = panelPixels();
    ASSERT_TRUE(keys.type({"press LEFTMETA", "tap TAB", "sleep 300"}));
    EXPECT_GT(panelPixels(), before + 20) << "no panel in the middle of the output";
    ASSERT_TRUE(keys.type({"tap ESC", "release LEFTMETA", "sleep 300"}));
    EXPECT_EQ(sway->focusedApp(), foot);
    EXPECT_LE(panelPixels(), before + 5) << "the panel stayed";
}

TEST_F(HoplaOnSway, SuperGraveGoesToTheOtherWindowOfTheApplicationInFront) {
    ASSERT_EQ(sway->open(QStringLiteral("foot -T second-foot"), foot), "");
    ASSERT_EQ(sway->open(QStringLiteral("foot -T third-foot"), foot), "");
    ASSERT_TRUE(keys.type({"press LEFTMETA", "tap GRAVE", "release LEFTMETA"}));
    EXPECT_TRUE(SwaySession::waitFor([&] { return sway->focusedTitle() == "second-foot"; }))
        << "focused: " << sway->focusedTitle().toStdString();
}

TEST_F(HoplaOnSway, ThePanelOpensOnTheOutputOfTheFocusedWindow) {
    sway->message({"create_output"});
    sway->message({"focus", "output", "HEADLESS-2"});
    ASSERT_EQ(sway->open(QStringLiteral("foot -T on-the-second"), foot), "");
    ASSERT_TRUE(keys.type({"press LEFTMETA", "tap TAB", "sleep 300"}));
    EXPECT_GT(panelPixels(QStringLiteral("HEADLESS-2")), 20);
    ASSERT_TRUE(keys.type({"release LEFTMETA"}));
    EXPECT_TRUE(focusBecomes(xterm)) << "focused: " << sway->focusedApp().toStdString();
}

struct HoplaOnOtherWlroots : HoplaOnSway {
    HoplaOnOtherWlroots() { withoutIpc = true; }
};

TEST_F(HoplaOnOtherWlroots, TheCardGivesTheBindingLinesAndThoseLinesSwitch) {
    ASSERT_TRUE(SwaySession::waitFor([&] { return logged("exec hopla --switch-back"); }))
        << log.toStdString();
    // What the user adds to the compositor's configuration, with Hopla's path for "hopla".
    sway->message({"--", "bindsym", "Mod4+Tab", "exec", HOPLA_BINARY, "--switch"});
    ASSERT_TRUE(keys.type({"press LEFTMETA", "tap TAB", "release LEFTMETA"}));
    ASSERT_TRUE(SwaySession::waitFor([&] { return logged("Ready"); })) << log.toStdString();
    ASSERT_TRUE(keys.type({"press LEFTMETA", "tap TAB", "release LEFTMETA"}));
    EXPECT_TRUE(focusBecomes(xterm)) << "focused: " << sway->focusedApp().toStdString();
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
