#include "platform/fake/ManualScheduler.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

using namespace std::chrono_literals;
using hopla::ScheduledTask;
using hopla::Scheduler;
using hopla::fake::ManualScheduler;

namespace {

struct ManualSchedulerTest : ::testing::Test {
    ManualScheduler scheduler;
    std::string log;
    Scheduler::TimePoint start = scheduler.now();

    auto record(std::string what) {
        return [this, what] { log += what + "@" + std::to_string(elapsedMs()) + " "; };
    }
    long elapsedMs() const {
        return static_cast<long>(
            std::chrono::duration_cast<std::chrono::milliseconds>(scheduler.now() - start).count());
    }
};

TEST_F(ManualSchedulerTest, RunsByDueTimeThenOrderIncludingWorkScheduledOnTheWay) {
    scheduler.after(300ms, record("c"));
    scheduler.after(100ms, [this] {
        record("a")();
        scheduler.post(record("posted-inside"));
        scheduler.after(50ms, record("inner"));
    });
    scheduler.post(record("posted"));
    scheduler.after(100ms, record("b")); // same due time as "a": runs after it
    EXPECT_EQ(scheduler.runDue(), 1u);
    EXPECT_EQ(scheduler.advance(99ms), 0u);
    scheduler.advance(1s);
    EXPECT_EQ(log, "posted@0 a@100 b@100 posted-inside@100 inner@150 c@300 ");
    EXPECT_EQ(elapsedMs(), 1099);
    EXPECT_EQ(scheduler.pendingCount(), 0u);
}

TEST_F(ManualSchedulerTest, RepeatsWithoutDriftAndCancelsFromAnywhereOrWhenDropped) {
    const auto tick = scheduler.repeat(100ms, 20ms, record("tick"));
    EXPECT_EQ(scheduler.toleranceOf(tick), Scheduler::Duration(20ms));
    const auto doomed = scheduler.after(250ms, record("doomed"));
    scheduler.after(150ms, [&] { scheduler.cancel(doomed); });
    Scheduler::TaskId self{};
    self = scheduler.repeat(50ms, 0ms, [&] { scheduler.cancel(self); }); // from its own tick
    { ScheduledTask dropped(scheduler, scheduler.after(10ms, record("dropped"))); }
    ScheduledTask kept(scheduler, scheduler.after(100ms, record("first")));
    kept = ScheduledTask(scheduler, scheduler.after(100ms, record("second")));
    scheduler.advance(350ms);
    scheduler.cancel(tick);
    scheduler.advance(1s);
    EXPECT_EQ(log, "tick@100 second@100 tick@200 tick@300 ");
    EXPECT_EQ(scheduler.pendingCount(), 0u);
}

TEST_F(ManualSchedulerTest, WorkPostedFromAnotherThreadIsSeenAndRunsOnTheTestThread) {
    std::thread::id ranOn;
    std::thread worker([&] { scheduler.post([&] { ranOn = std::this_thread::get_id(); }); });
    ASSERT_TRUE(scheduler.waitForPostedWork(5s));
    worker.join();
    EXPECT_EQ(scheduler.runDue(), 1u);
    EXPECT_EQ(ranOn, std::this_thread::get_id());
    EXPECT_FALSE(scheduler.waitForPostedWork(1ms));
}

} // namespace
