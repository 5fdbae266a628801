#include "core/ApplicationActivation.h"
#include "tests/fakes/FakeRunningApps.h"
#include "tests/fakes/FakeWindowSystem.h"
#include "tests/fakes/ManualScheduler.h"
#include "tests/support/Pump.h"

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;
using hopla::ActivationResult;
using hopla::ApplicationActivationCoordinator;
using hopla::ApplicationActivationFailure;
using hopla::fake::FakeWindow;
using hopla::fake::FakeWindowList;

struct ActivationTest : ::testing::Test {
    hopla::fake::ManualScheduler scheduler;
    hopla::fake::FakeRunningApps runningApps;
    hopla::fake::FakeWindowSystem windows;
    std::unique_ptr<ApplicationActivationCoordinator> coordinator =
        std::make_unique<ApplicationActivationCoordinator>(runningApps, windows, scheduler, "test");
    std::vector<ActivationResult> results;

    std::shared_ptr<hopla::fake::FakeApplication> app(hopla::AppHandle id, bool withWindow = true) {
        auto a = runningApps.add(id, QString("App %1").arg(id));
        if (withWindow) {
            windows.script(id, {std::vector<FakeWindow>{FakeWindow{}}, 0, 0});
        }
        return a;
    }
    void activate(hopla::AppHandle id) {
        coordinator->activate(id, 5,
                              [this](ActivationResult r) { results.push_back(std::move(r)); });
    }
    // Lets the restorer's worker answer, then runs the main queue at the current time.
    void restorerAnswers() {
        ASSERT_TRUE(scheduler.waitForPostedWork(5s));
        scheduler.runDue();
    }
    std::optional<ApplicationActivationFailure> onlyFailure() const {
        if (results.size() != 1) {
            ADD_FAILURE() << results.size() << " completions";
            return std::nullopt;
        }
        const auto* failure = std::get_if<ApplicationActivationFailure>(&results[0]);
        return failure ? std::optional(*failure) : std::nullopt;
    }
};

TEST_F(ActivationTest, AnApplicationThatComesForwardAtOnceSucceedsWhenTheRestorerAnswers) {
    const auto a = app(1);
    activate(1);
    EXPECT_TRUE(results.empty());
    restorerAnswers();
    ASSERT_EQ(results.size(), 1u);
    EXPECT_EQ(std::get<hopla::ApplicationPtr>(results[0]), runningApps.application(1));
    EXPECT_EQ(scheduler.pendingCount(), 0u) << "no poll should be left behind";
}

TEST_F(ActivationTest, PollsSixTimesNudgesOnceFallsBackOnceThenTimesOut) {
    const auto a = app(1);
    a->requestsUntilFrontmost = 0; // accepts, never comes forward
    a->bundle = "/apps/one.desktop";
    runningApps.openActivates = false;
    activate(1);
    restorerAnswers(); // check at 0 s
    const auto start = scheduler.now();
    std::vector<int> callsAt;
    for (int tick = 1; tick <= 10; ++tick) {
        scheduler.advanceTo(start + tick * 100ms);
        callsAt.push_back(a->activateCalls);
        if (tick == 5) {
            EXPECT_EQ(runningApps.openRequests.size(), 1u)
                << "the fallback opens after the 0.5 s check";
        }
    }
    // The nudge comes right before the 0.3 s check, and again 0.3 s into the fallback.
    EXPECT_EQ(callsAt, (std::vector<int>{1, 1, 2, 2, 2, 2, 2, 3, 3, 3}));
    EXPECT_EQ(onlyFailure(), ApplicationActivationFailure::foregroundTimeout);
    EXPECT_EQ(runningApps.openRequests, (std::vector<QString>{"/apps/one.desktop"}));
    scheduler.advance(5s);
    EXPECT_EQ(results.size(), 1u);
}

TEST_F(ActivationTest, TheHalfwayNudgeCanBringItForward) {
    app(1)->requestsUntilFrontmost = 2;
    activate(1);
    restorerAnswers();
    scheduler.advance(250ms);
    EXPECT_TRUE(results.empty());
    scheduler.advance(50ms);
    ASSERT_EQ(results.size(), 1u);
    EXPECT_TRUE(std::holds_alternative<hopla::ApplicationPtr>(results[0]));
}

TEST_F(ActivationTest, RefusalOpensThroughTheDesktopWithoutTouchingWindows) {
    const auto a = app(1, false);
    a->refusesActivation = true;
    a->bundle = "/apps/one.desktop";
    activate(1);
    EXPECT_EQ(runningApps.openRequests.size(), 1u);
    scheduler.runDue(); // the runningApps's answer hops to the main queue
    ASSERT_EQ(results.size(), 1u);
    EXPECT_TRUE(std::holds_alternative<hopla::ApplicationPtr>(results[0]));
    EXPECT_EQ(windows.minimizedReads(), 0);

    results.clear();
    runningApps.openError = "no such application";
    activate(1);
    scheduler.runDue();
    EXPECT_EQ(onlyFailure(), ApplicationActivationFailure::requestRejected);
}

TEST_F(ActivationTest, WithoutUsableWindowsItReopensThroughTheDesktopOrSaysWhatFailed) {
    app(1, false)->bundle = "/apps/one.desktop"; // unreadable windows: reopened, confirmed
    activate(1);
    restorerAnswers();
    scheduler.runDue();
    ASSERT_EQ(results.size(), 1u);
    EXPECT_TRUE(std::holds_alternative<hopla::ApplicationPtr>(results[0]));
    EXPECT_EQ(runningApps.openRequests.size(), 1u);

    app(2, false); // nowhere to reopen from
    app(3, false)->bundle = "/apps/three.desktop";
    app(4, false);
    windows.script(4, {std::vector<FakeWindow>{{hopla::WindowRole::normal, true, true}}, {}, {}});
    runningApps.openError = "broken entry"; // for 3
    for (const auto& [id, failure] : {std::pair{2, ApplicationActivationFailure::reopenFailed},
                                      {3, ApplicationActivationFailure::reopenFailed},
                                      {4, ApplicationActivationFailure::windowRestoreFailed}}) {
        results.clear();
        activate(id);
        restorerAnswers();
        scheduler.runDue();
        EXPECT_EQ(onlyFailure(), failure) << id;
    }
}

TEST_F(ActivationTest, OnlyTheCurrentRequestEverCompletes) {
    app(1)->requestsUntilFrontmost = 0;
    app(2)->requestsUntilFrontmost = 0;
    activate(1);
    activate(2); // supersedes 1
    // The first inspection may still post a (silent) answer: wait for the second request's
    // first confirmation poll to be scheduled instead.
    ASSERT_TRUE(hopla::testing::pumpUntil(scheduler, [&] {
        const auto due = scheduler.nextDue();
        return due && *due > scheduler.now();
    }));
    runningApps.bringToFront(1); // the first comes forward: nobody is waiting for it
    scheduler.advance(150ms);
    EXPECT_TRUE(results.empty());
    runningApps.bringToFront(2);
    scheduler.advance(100ms);
    ASSERT_EQ(results.size(), 1u);
    EXPECT_EQ(std::get<hopla::ApplicationPtr>(results[0])->handle(), 2);

    results.clear();
    runningApps.bringToFront(0);
    activate(2);
    coordinator->cancel(); // while the restorer works
    activate(2);
    restorerAnswers();
    coordinator->cancel(); // while a poll is pending
    scheduler.advance(2s);
    runningApps.bringToFront(2);
    scheduler.advance(2s);
    EXPECT_TRUE(results.empty());
}

TEST_F(ActivationTest, TerminationWhilePollingIsUnavailableAndAReleasedCoordinatorIsSilent) {
    const auto a = app(1);
    a->requestsUntilFrontmost = 0;
    activate(1);
    restorerAnswers();
    a->terminated = true;
    scheduler.advance(100ms);
    EXPECT_EQ(onlyFailure(), ApplicationActivationFailure::unavailable);

    results.clear();
    app(2)->requestsUntilFrontmost = 0;
    activate(2);
    restorerAnswers();
    coordinator.reset(); // polls still scheduled must find it gone
    runningApps.bringToFront(2);
    scheduler.advance(2s);
    EXPECT_TRUE(results.empty());
}

} // namespace
