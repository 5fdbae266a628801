// When the keyboard tap runs: readiness, the switching setting and a rival holding the shortcut,
// each appearing and going away.
#include "app/ReadinessRefresh.h"
#include "tests/fakes/FakeKeyEventSource.h"
#include "tests/fakes/ManualScheduler.h"
#include "tests/support/ScriptedAutostart.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

using Failure = hopla::KeyEventSource::StartFailure;

struct ReadinessRefreshTest : ::testing::Test {
    QTemporaryDir dir;
    QSettings settings{dir.filePath("hopla.ini"), QSettings::IniFormat};
    hopla::testing::ScriptedAutostart login;
    hopla::Preferences preferences{settings, login};
    hopla::fake::ManualScheduler mainQueue;
    hopla::fake::FakeKeyEventSource source;
    hopla::KeyboardTap tap{source, mainQueue, {}, {}}; // letters play no part here
    hopla::Readiness readiness{true, {}};
    int dismissals = 0;
    std::vector<bool> checkMarks;
    hopla::ReadinessRefresh refresh{tap,
                                    source,
                                    preferences,
                                    [this] { return readiness; },
                                    [this] { ++dismissals; },
                                    [this](bool on) { checkMarks.push_back(on); }};
};

TEST_F(ReadinessRefreshTest, TheTapRunsWhileSwitchingIsOnAndStopsTheMomentItIsTurnedOff) {
    refresh.run();
    EXPECT_TRUE(source.running());
    EXPECT_TRUE(preferences.listening);
    EXPECT_TRUE(preferences.displayReady);
    EXPECT_EQ(dismissals, 0);

    preferences.setEnabled(false);
    refresh.run();
    EXPECT_FALSE(source.running());
    EXPECT_FALSE(preferences.listening);
    EXPECT_EQ(dismissals, 1) << "an open panel closes with the tap";
    refresh.run();
    EXPECT_EQ(dismissals, 1) << "nothing changed, nothing to dismiss";

    preferences.setEnabled(true);
    refresh.run();
    EXPECT_TRUE(source.running());
    EXPECT_EQ(checkMarks, (std::vector<bool>{true, false, false, true}));
}

TEST_F(ReadinessRefreshTest, LosingTrustStopsTheTapAndSaysWhyRegainingItStartsAgain) {
    refresh.run();
    preferences.runtimeError = QStringLiteral("目标应用未能进入前台，请重试。");
    readiness = {false, QStringLiteral("The connection to the X server was lost.")};
    refresh.run();
    EXPECT_FALSE(source.running());
    EXPECT_FALSE(preferences.displayReady);
    EXPECT_EQ(dismissals, 1);
    EXPECT_EQ(preferences.runtimeError, readiness.reason) << "replaces the activation message";

    // With switching off the tap is already gone, yet a change of readiness alone still
    // dismisses whatever is open.
    preferences.setEnabled(false);
    readiness = {true, {}};
    refresh.run();
    EXPECT_EQ(dismissals, 2);
    EXPECT_FALSE(preferences.runtimeError);

    preferences.setEnabled(true);
    refresh.run();
    EXPECT_TRUE(source.running());
    EXPECT_TRUE(preferences.listening);
}

TEST_F(ReadinessRefreshTest, EachReasonTheTapCannotStartIsNamedUntilItGoesAway) {
    using Reason = Failure::Reason;
    using Kind = hopla::ShortcutHolder::Kind;
    source.refusal = Failure{Reason::shortcutTaken, "Super+Tab", {Kind::unknown, "", false}};
    refresh.run();
    EXPECT_FALSE(source.running());
    EXPECT_EQ(preferences.conflictingApp, QStringLiteral("占用 Super+Tab 的程序"));
    EXPECT_FALSE(preferences.runtimeError) << "the conflict is the whole story";
    EXPECT_FALSE(preferences.listening);

    source.refusal = Failure{Reason::shortcutTaken, "Super+Tab", {Kind::switcher, "alttab", false}};
    refresh.run();
    EXPECT_EQ(preferences.conflictingApp, QStringLiteral("alttab"));

    source.refusal =
        Failure{Reason::shortcutTaken, "Super+Tab", {Kind::windowManager, "Xfwm4", true}};
    refresh.run();
    EXPECT_FALSE(preferences.conflictingApp);
    EXPECT_EQ(preferences.windowManagerConflict,
              (hopla::WindowManagerConflict{"Xfwm4", "Super+Tab", false, true}));

    source.refusal = Failure{Reason::noModifier, "Super", {}};
    refresh.run();
    EXPECT_FALSE(preferences.windowManagerConflict);
    EXPECT_TRUE(preferences.runtimeError && preferences.runtimeError->contains("Super"));

    source.refusal = Failure{Reason::unavailable, "no XInput", {}};
    refresh.run();
    EXPECT_EQ(preferences.runtimeError, QStringLiteral("键盘监听不可用，请检查权限后重启。"));
    EXPECT_EQ(dismissals, 5);

    source.refusal.reset();
    refresh.run();
    EXPECT_TRUE(source.running());
    EXPECT_TRUE(preferences.listening);
    EXPECT_FALSE(preferences.runtimeError) << "the next refresh clears it";
    EXPECT_FALSE(preferences.conflictingApp);
}

TEST_F(ReadinessRefreshTest, AWindowManagerTakingTheModifierAndANewShortcutAreTakenLive) {
    refresh.run();
    source.interceptor =
        hopla::ShortcutHolder{hopla::ShortcutHolder::Kind::windowManager, "IceWM", false};
    refresh.run();
    EXPECT_TRUE(source.running()) << "keeps listening, so it notices when the key comes back";
    ASSERT_TRUE(preferences.windowManagerConflict);
    EXPECT_TRUE(preferences.windowManagerConflict->takesModifier);
    EXPECT_EQ(preferences.windowManagerConflict->windowManager, "IceWM");

    source.interceptor.reset();
    const int starts = source.starts;
    preferences.setSwitchModifier(hopla::SwitchModifier::alt);
    refresh.run();
    EXPECT_FALSE(preferences.windowManagerConflict);
    EXPECT_EQ(source.modifier, hopla::SwitchModifier::alt);
    EXPECT_EQ(source.starts, starts + 1) << "grabbed afresh with the new modifier";
    EXPECT_EQ(settings.value("switchModifier").toString(), "alt");
}

} // namespace
