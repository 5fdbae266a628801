#include "core/ApplicationSwitcherController.h"
#include "tests/fakes/FakeRunningApps.h"
#include "tests/fakes/FakeWindowSystem.h"
#include "tests/support/Images.h"
#include "tests/support/Pump.h"
#include "tests/support/RecordingPanel.h"

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;
using hopla::AppHandle;
using hopla::ApplicationActivationFailure;
using hopla::ApplicationSwitcherController;
using hopla::GestureAction;

struct ControllerTest : ::testing::Test {
    hopla::fake::ManualScheduler scheduler;
    hopla::fake::FakeRunningApps runningApps{/*currentProcess=*/1};
    hopla::fake::FakeWindowSystem windows;
    hopla::testing::RecordingPanel panel;
    std::vector<AppHandle> requested;
    std::vector<AppHandle> activated;
    std::vector<ApplicationActivationFailure> failures;
    int dismissals = 0;
    std::unique_ptr<ApplicationSwitcherController> controller =
        std::make_unique<ApplicationSwitcherController>(
            panel, runningApps, windows, scheduler,
            ApplicationSwitcherController::Options{
                .restorerLabel = "test",
                .doubleClickInterval = [] { return hopla::Scheduler::Duration(400ms); },
                .dismissed = [this] { ++dismissals; },
                .failed = [this](ApplicationActivationFailure f) { failures.push_back(f); },
                .activationRequested = [this](AppHandle id) { requested.push_back(id); },
                .activated =
                    [this](const hopla::ApplicationPtr& a) { activated.push_back(a->handle()); }});

    void SetUp() override { controller->start(); }
    std::shared_ptr<hopla::fake::FakeApplication> app(AppHandle id, const char* name) {
        auto a = runningApps.add(id, name);
        windows.script(id, {std::vector<hopla::fake::FakeWindow>{{}}, 0, 0});
        return a;
    }
    // Applications 10, 20, 30… with these names.
    void apps(std::initializer_list<const char*> names) {
        AppHandle id = 0;
        for (const char* name : names) {
            app(id += 10, name);
        }
    }
    static std::vector<AppHandle> ids(const hopla::SwitchSession& session) {
        std::vector<AppHandle> ids;
        for (const auto& e : session.apps()) {
            ids.push_back(e.id);
        }
        return ids;
    }
    std::vector<AppHandle> candidates() const { return ids(*controller->session()); }
    // Lets activations that went to the window restorer come back and finish.
    bool settle(std::size_t activations) {
        return hopla::testing::pumpUntil(
            scheduler, [&] { return activated.size() + failures.size() >= activations; });
    }
};

TEST_F(ControllerTest, SwitchTabListsByRecencySelectsThePreviousAndReleaseActivatesIt) {
    apps({"Alpha", "Bravo", "Charlie"});
    runningApps.add(40, "Tray helper")->policy = hopla::TaskbarPolicy::accessory;
    runningApps.add(1, "Hopla itself");
    runningApps.bringToFront(30);
    runningApps.bringToFront(20); // recency [B, C]
    controller->stop();
    runningApps.bringToFront(10); // A is frontmost, unnoticed
    controller->start();
    scheduler.runDue(); // the panel is handed what a switch would open now
    ASSERT_EQ(panel.prepared.size(), 1u);
    EXPECT_EQ(ids(panel.prepared.back()), (std::vector<AppHandle>{10, 20, 30}));
    EXPECT_EQ(panel.prepared.back().selectedId(), 20);

    EXPECT_TRUE(controller->route(GestureAction::tab(false)));
    EXPECT_EQ(candidates(), (std::vector<AppHandle>{10, 20, 30}));
    EXPECT_EQ(controller->session()->selectedId(), 20);
    EXPECT_TRUE(panel.shown);

    EXPECT_TRUE(controller->route(GestureAction::release()));
    EXPECT_FALSE(controller->session());
    EXPECT_FALSE(panel.shown);
    ASSERT_TRUE(settle(1));
    EXPECT_EQ(requested, (std::vector<AppHandle>{20}));
    EXPECT_EQ(activated, (std::vector<AppHandle>{20}));
    scheduler.runDue(); // prepared anew, after the activation notice
    EXPECT_EQ(ids(panel.prepared.back()), (std::vector<AppHandle>{20, 10, 30}));
}

TEST_F(ControllerTest, DesktopRecencySeedsOnceWithoutOverridingWhatWasSeen) {
    apps({"Alpha", "Bravo", "Charlie"});
    controller->stop();
    runningApps.recency = {30, 20, 10}; // Charlie used last, Bravo before it
    controller->start();
    EXPECT_TRUE(controller->route(GestureAction::tab(false)));
    EXPECT_EQ(candidates(), (std::vector<AppHandle>{30, 20, 10}));
    EXPECT_EQ(controller->session()->selectedId(), 30); // nothing in front: the one just left
    controller->dismiss();

    runningApps.bringToFront(10); // seen: now the most recent
    controller->stop();
    controller->start(); // a later start only appends what it did not know
    EXPECT_EQ(controller->recent().ids(), (std::vector<AppHandle>{10, 30, 20}));
}

TEST_F(ControllerTest, ShiftTabSelectsTheLastAndTabStepsAndClearsTheFailureMark) {
    apps({"Alpha", "Bravo", "Charlie"});
    EXPECT_TRUE(controller->route(GestureAction::tab(true)));
    EXPECT_EQ(controller->session()->selectedId(), candidates().back());
    panel.model().setFailedId(20);
    EXPECT_TRUE(controller->route(GestureAction::tab(false)));
    EXPECT_EQ(controller->session()->selectedId(), candidates().front());
    EXPECT_EQ(panel.model().failedId(), std::nullopt);
    EXPECT_EQ(panel.calls.back(), "update");
}

TEST_F(ControllerTest, NothingToSwitchToShowsNoPanel) {
    runningApps.add(1, "Hopla itself");
    runningApps.add(50, "Daemon")->policy = hopla::TaskbarPolicy::prohibited;
    EXPECT_FALSE(controller->route(GestureAction::tab(false)));
    EXPECT_EQ(std::count(panel.calls.begin(), panel.calls.end(), "show"), 0);
    EXPECT_EQ(dismissals, 1);
    EXPECT_FALSE(controller->route(GestureAction::letterKey('A')));
    EXPECT_FALSE(controller->route(GestureAction::cancel()));
    EXPECT_FALSE(controller->route(GestureAction::release()));
}

TEST_F(ControllerTest, AnAmbiguousLetterWaitsOneDoubleClickAndTypingItAgainMovesOn) {
    apps({"Safari", "Slack", "Notes"});
    controller->route(GestureAction::tab(false));
    // By name: Notes (30), Safari (10), Slack (20).
    controller->route(GestureAction::letterKey('S'));
    EXPECT_EQ(controller->session()->selectedId(), 10);
    scheduler.advance(200ms);
    EXPECT_TRUE(requested.empty());
    controller->route(GestureAction::letterKey('S')); // 200 ms in: on to the next S
    EXPECT_EQ(controller->session()->selectedId(), 20);
    scheduler.advance(399ms);
    EXPECT_TRUE(requested.empty()) << "the first wait must have been cut off";
    scheduler.advance(1ms);
    EXPECT_EQ(requested, (std::vector<AppHandle>{20}));
    ASSERT_TRUE(settle(1));
    EXPECT_EQ(activated, (std::vector<AppHandle>{20}));
    EXPECT_FALSE(controller->session()) << "the panel closes once the application is in front";

    // Tab, release or a click during the wait take over from it.
    requested.clear();
    controller->route(GestureAction::tab(false));
    controller->route(GestureAction::letterKey('S'));
    controller->route(GestureAction::tab(false));
    scheduler.advance(1s);
    EXPECT_TRUE(requested.empty());
    controller->route(GestureAction::release());
    EXPECT_EQ(requested.size(), 1u);
    ASSERT_TRUE(settle(2));

    requested.clear();
    runningApps.fake(10)->requestsUntilFrontmost = 0; // Safari is slow: the panel stays up
    controller->route(GestureAction::tab(false));
    controller->route(GestureAction::letterKey('S')); // Slack, switching in 400 ms
    panel.model().onSelect(10);                       // Safari, clicked
    scheduler.advance(450ms);
    EXPECT_EQ(requested, (std::vector<AppHandle>{10}))
        << "the letter's switch must not run as well";
}

TEST_F(ControllerTest, AUniqueLetterSwitchesAtOnceAndALetterNobodyCarriesDoesNothing) {
    apps({"Alpha", "Zulu"});
    controller->route(GestureAction::tab(false));
    EXPECT_TRUE(controller->route(GestureAction::letterKey('Q')));
    EXPECT_TRUE(requested.empty());
    EXPECT_TRUE(controller->route(GestureAction::letterKey('Z')));
    EXPECT_EQ(requested, (std::vector<AppHandle>{20}));
    EXPECT_TRUE(controller->session()) << "open until the switch is confirmed";
    ASSERT_TRUE(settle(1));
    EXPECT_FALSE(controller->session());
    EXPECT_FALSE(panel.shown);
}

TEST_F(ControllerTest, ReleaseWhileALetterActivationConfirmsActivatesAgainAndIgnoresTheFirst) {
    app(10, "Alpha");
    const auto zulu = app(20, "Zulu");
    zulu->requestsUntilFrontmost = 2; // the second request brings it forward
    controller->route(GestureAction::tab(false));
    controller->route(GestureAction::letterKey('Z'));
    controller->route(GestureAction::release());
    EXPECT_FALSE(controller->session());
    EXPECT_EQ(requested, (std::vector<AppHandle>{20, 20}));
    ASSERT_TRUE(settle(1));
    scheduler.advance(3s);
    EXPECT_EQ(activated, (std::vector<AppHandle>{20}));
    EXPECT_TRUE(failures.empty());
}

TEST_F(ControllerTest, CandidatesThatQuitLeaveTheSession) {
    app(10, "Alpha");
    app(20, "Bravo");
    const auto charlie = app(30, "Charlie");
    runningApps.bringToFront(10);
    controller->route(GestureAction::tab(false)); // [10, 20, 30] on 20
    runningApps.terminate(20);                    // the selected one, by notice
    EXPECT_EQ(candidates(), (std::vector<AppHandle>{10, 30}));
    EXPECT_EQ(controller->session()->selectedId(), 30);
    EXPECT_TRUE(controller->session()->needsCommit());

    charlie->terminated = true; // gone without a notice: the refresh tick notices
    scheduler.advance(100ms);
    EXPECT_EQ(candidates(), (std::vector<AppHandle>{10}));
    runningApps.terminate(10); // the last one
    EXPECT_FALSE(controller->session());
    EXPECT_FALSE(panel.shown);
    scheduler.runDue(); // what is posted for the next session
    EXPECT_EQ(scheduler.pendingCount(), 0u) << "the refresh timer stops with the session";
}

TEST_F(ControllerTest, AFailedSwitchMarksTheCandidateAndUnavailableRemovesIt) {
    app(10, "Alpha");
    app(20, "Zulu")->refusesActivation = true; // and nowhere to open it from
    const auto yankee = app(30, "Yankee");
    controller->route(GestureAction::tab(false));
    controller->route(GestureAction::letterKey('Z'));
    EXPECT_EQ(failures, (std::vector<ApplicationActivationFailure>{
                            ApplicationActivationFailure::requestRejected}));
    EXPECT_EQ(panel.model().failedId(), 20);
    EXPECT_TRUE(controller->session());

    yankee->terminated = true;
    controller->route(GestureAction::letterKey('Y'));
    EXPECT_EQ(failures.back(), ApplicationActivationFailure::unavailable);
    EXPECT_EQ(candidates(), (std::vector<AppHandle>{10, 20}));
}

TEST_F(ControllerTest, AClickSelectsAndSwitchesThenThePanelCloses) {
    apps({"Alpha", "Bravo", "Charlie"});
    controller->route(GestureAction::tab(false));
    panel.model().onSelect(30);
    EXPECT_EQ(controller->session()->selectedId(), 30);
    EXPECT_EQ(requested, (std::vector<AppHandle>{30}));
    panel.model().onSelect(999); // not a candidate: ignored
    EXPECT_EQ(requested.size(), 1u);
    ASSERT_TRUE(settle(1));
    EXPECT_FALSE(controller->session());
}

TEST_F(ControllerTest, ObserversInstallOnceAndALockedSessionCloses) {
    controller->start();
    EXPECT_EQ(runningApps.observerCount(), 1u);
    app(10, "Alpha");
    controller->route(GestureAction::tab(false));
    runningApps.resignSession();
    EXPECT_FALSE(controller->session());
    controller->stop();
    EXPECT_EQ(runningApps.observerCount(), 0u);
    controller->start();
    EXPECT_EQ(runningApps.observerCount(), 1u);
    controller.reset();
    EXPECT_EQ(runningApps.observerCount(), 0u);
}

TEST_F(ControllerTest, IconsShowFromTheCacheAndTheRestArriveOneTurnLaterForTheSameSessionOnly) {
    const auto alpha = app(10, "Alpha");
    const auto bravo = app(20, "Bravo");
    alpha->ownIcon = bravo->ownIcon = hopla::testing::solidImage(Qt::red, 4);

    controller->route(GestureAction::tab(false));
    EXPECT_TRUE(panel.model().icons().empty());
    scheduler.runDue();
    EXPECT_EQ(panel.model().icons().size(), 2u);
    controller->route(GestureAction::cancel());

    bravo->launched = std::chrono::system_clock::now(); // as if relaunched: a new identity
    controller->route(GestureAction::tab(false));
    EXPECT_EQ(panel.model().icons().size(), 1u) << "alpha from the cache at once";
    EXPECT_EQ(panel.model().icons().count(10), 1u);
    controller->route(GestureAction::cancel()); // before the missing ones load
    const auto callsBefore = panel.calls.size();
    scheduler.runDue();
    EXPECT_EQ(panel.calls.size(), callsBefore) << "late icons for a closed session";
    EXPECT_EQ(controller->iconCache().size(), 1u);
}

TEST_F(ControllerTest, WithTheDesktopInFrontTheSwitchGoesBackToTheApplicationJustLeft) {
    apps({"Alpha", "Bravo"});
    runningApps.bringToFront(20);
    runningApps.bringToFront(10);
    runningApps.bringToFront(0); // a click on the desktop
    ASSERT_TRUE(controller->route(GestureAction::tab(false)));
    EXPECT_EQ(controller->session()->selectedId(), 10);
}

TEST_F(ControllerTest, TheKeyAboveTabGoesThroughTheFrontApplicationsWindows) {
    apps({"Alpha", "Bravo"});
    auto alpha = runningApps.fake(10);
    for (std::size_t i = 0; i < 3; ++i) {
        alpha->ownWindows.push_back({static_cast<hopla::WindowRef>(i), QString("doc %1").arg(i)});
    }
    alpha->ownWindows[1].title.clear(); // untitled: named after its application
    windows.script(10, {std::vector<hopla::fake::FakeWindow>(3), 0, 0});
    runningApps.bringToFront(10);

    EXPECT_TRUE(controller->route(GestureAction::tab(false, true)));
    const auto& session = *controller->session();
    EXPECT_EQ(session.scope(), hopla::SwitchSession::Scope::windows);
    ASSERT_EQ(session.apps().size(), 3u);
    EXPECT_EQ(session.apps()[1].name, "Alpha");
    EXPECT_EQ(session.selectedId(), 2); // the window used before the current one
    EXPECT_EQ(session.badge(session.apps()[0]), "");
    controller->route(GestureAction::letterKey('D')); // letters pick nothing here
    controller->route(GestureAction::tab(false, true));
    EXPECT_EQ(controller->session()->selectedId(), 3);
    EXPECT_TRUE(controller->route(GestureAction::release()));
    EXPECT_EQ(windows.activated(), (std::vector<std::pair<AppHandle, std::size_t>>{{10, 2}}));

    // Another application quitting leaves the windows alone, whatever its handle.
    app(2, "Charlie");
    controller->route(GestureAction::tab(false, true));
    runningApps.terminate(2);
    EXPECT_EQ(candidates(), (std::vector<AppHandle>{1, 2, 3}));
    controller->dismiss();

    // A window that closes under the panel leaves it; the last one closes the panel.
    controller->route(GestureAction::tab(false, true));
    alpha->ownWindows.erase(alpha->ownWindows.begin());
    scheduler.advance(ApplicationSwitcherController::refreshInterval * 2);
    EXPECT_EQ(candidates(), (std::vector<AppHandle>{2, 3}));
    alpha->ownWindows.clear();
    scheduler.advance(ApplicationSwitcherController::refreshInterval * 2);
    EXPECT_FALSE(controller->session());

    // Nothing in front with a window: nothing opens, and the key is not taken.
    EXPECT_FALSE(controller->route(GestureAction::tab(false, true)));
}

} // namespace
