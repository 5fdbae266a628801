#include "core/ApplicationWindowRestorer.h"
#include "tests/fakes/FakeWindowSystem.h"
#include "tests/support/Pump.h"

#include <gtest/gtest.h>

#include <future>

namespace {

using hopla::ApplicationWindowRestorer;
using hopla::WindowCandidate;
using hopla::WindowRole;
using hopla::fake::FakeWindow;
using hopla::fake::FakeWindowList;
using Result = ApplicationWindowRestorer::Result;

TEST(WindowCandidate, RestoresOnlyWhenEveryWindowIsMinimizedPreferringFocusedThenMain) {
    const auto target = [](std::vector<WindowCandidate> c) {
        return WindowCandidate::restorationTarget(c);
    };
    EXPECT_EQ(target({{0, true, false, false}, {1, true, true, false}, {2, true, false, true}}), 1);
    EXPECT_EQ(target({{0, true, false, false}, {1, true, false, true}}), 1);
    EXPECT_EQ(target({{3, true, false, false}, {5, true, false, false}}), 3);
    EXPECT_EQ(target({{0, true, true, true}, {1, false, false, false}}), std::nullopt);
    EXPECT_EQ(target({}), std::nullopt);
}

struct WindowRestorerTest : ::testing::Test {
    hopla::fake::ManualScheduler scheduler;
    hopla::fake::FakeWindowSystem windows;
    ApplicationWindowRestorer restorer{windows, scheduler, "test"};

    std::optional<Result> restore(hopla::AppHandle app) {
        std::optional<Result> answer;
        restorer.restoreIfNeeded(app, [&](Result r) { answer = r; });
        hopla::testing::pumpUntil(scheduler, [&] { return answer.has_value(); });
        return answer;
    }
};

TEST_F(WindowRestorerTest, AskForAReopenWhenThereIsNoUsableWindowList) {
    EXPECT_EQ(restore(1), Result::reopen); // unreadable list
    windows.script(2, {});
    EXPECT_EQ(restore(2), Result::reopen); // empty list
    windows.script(3, {std::vector<FakeWindow>{{WindowRole::auxiliary, true, false}}, 0, 0});
    EXPECT_EQ(restore(3), Result::reopen); // only an auxiliary window
    EXPECT_TRUE(windows.unminimized().empty());
}

TEST_F(WindowRestorerTest, WindowsWhoseStateCannotBeReadAreNeverChosenButStillCount) {
    windows.script(1, {std::vector<FakeWindow>{{WindowRole::normal, std::nullopt, false},
                                               {std::nullopt, std::nullopt, false}},
                       {},
                       {}});
    EXPECT_EQ(restore(1), Result::ready);
    EXPECT_TRUE(windows.unminimized().empty());
}

TEST_F(WindowRestorerTest, UnminimizesAndRaisesTheFocusedWindowSkippingAuxiliaryOnes) {
    // Positions count after auxiliary windows are left out: the focused window is the third
    // listed but the second candidate.
    windows.script(1, {std::vector<FakeWindow>{{WindowRole::normal, true, false},
                                               {WindowRole::auxiliary, false, false},
                                               {WindowRole::dialog, true, false}},
                       2, 0});
    EXPECT_EQ(restore(1), Result::ready);
    EXPECT_EQ(windows.unminimized(), (std::vector<std::pair<int, std::size_t>>{{1, 2}}));
    EXPECT_EQ(windows.raised(), (std::vector<std::pair<int, std::size_t>>{{1, 2}}));
}

TEST_F(WindowRestorerTest, RefusedUnminimizeFailsAndAVisibleFirstWindowCostsOneRead) {
    windows.script(1, {std::vector<FakeWindow>{{WindowRole::normal, true, true}}, {}, {}});
    EXPECT_EQ(restore(1), Result::failed);
    EXPECT_TRUE(windows.raised().empty());

    windows.script(2, {std::vector<FakeWindow>(5, FakeWindow{}), {}, {}});
    const int readsBefore = windows.minimizedReads();
    EXPECT_EQ(restore(2), Result::ready);
    EXPECT_EQ(windows.minimizedReads() - readsBefore, 1);
}

TEST_F(WindowRestorerTest, CancelledOrSupersededRequestsNeverAnswer) {
    windows.script(1, {std::vector<FakeWindow>{{WindowRole::normal, true, false}}, {}, {}});
    windows.script(2, {std::vector<FakeWindow>{FakeWindow{}}, {}, {}});

    // Cancelled while the worker is inside the inspection.
    std::promise<void> entered;
    std::promise<void> resume;
    auto resumed = resume.get_future().share();
    windows.onListRead([&entered, resumed] {
        entered.set_value();
        resumed.wait();
    });
    int firstAnswers = 0;
    restorer.restoreIfNeeded(1, [&](Result) { ++firstAnswers; });
    entered.get_future().wait();
    windows.onListRead(nullptr);
    restorer.cancel();
    resume.set_value();

    // Cancelled after its answer was already posted to the main queue.
    int secondAnswers = 0;
    restorer.restoreIfNeeded(2, [&](Result) { ++secondAnswers; });
    ASSERT_TRUE(scheduler.waitForPostedWork(std::chrono::seconds(5)));
    restorer.cancel();

    // Superseded: only the newest request answers.
    int thirdAnswers = 0;
    restorer.restoreIfNeeded(2, [&](Result) { ++thirdAnswers; });
    EXPECT_EQ(restore(2), Result::ready);

    scheduler.runDue();
    EXPECT_EQ(firstAnswers, 0);
    EXPECT_EQ(secondAnswers, 0);
    EXPECT_EQ(thirdAnswers, 0);
    EXPECT_TRUE(windows.unminimized().empty()) << "a cancelled inspection went on to unminimize";
}

} // namespace
