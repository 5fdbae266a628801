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

TEST_F(ManualSchedulerTest, RunsByDueTimeThenBySchedulingOrderAndOnlyWhenTimeReachesThem) {
    scheduler.after(300ms, record("c"));
    scheduler.after(100ms, record("a"));
    scheduler.post(record("posted"));
    scheduler.after(100ms, record("b")); // same due time as "a": runs after it
    scheduler.after(0ms, record("zero"));

    EXPECT_EQ(scheduler.runDue(), 2u);
    EXPECT_EQ(log, "posted@0 zero@0 ");
    EXPECT_EQ(scheduler.advance(99ms), 0u);
    EXPECT_EQ(scheduler.advance(1ms), 2u);
    EXPECT_EQ(log, "posted@0 zero@0 a@100 b@100 ");
    scheduler.advance(1s);
    EXPECT_EQ(log, "posted@0 zero@0 a@100 b@100 c@300 ");
    EXPECT_EQ(elapsedMs(), 1100);
    EXPECT_EQ(scheduler.pendingCount(), 0u);
}

TEST_F(ManualSchedulerTest, WorkScheduledByATaskRunsInTheSameAdvanceWhenItFallsDueInside) {
    scheduler.after(100ms, [this] {
        record("outer")();
        scheduler.post(record("posted-inside"));
        scheduler.after(50ms, record("inner"));
        scheduler.after(500ms, record("late"));
    });
    scheduler.after(120ms, record("between"));
    scheduler.advance(200ms);
    EXPECT_EQ(log, "outer@100 posted-inside@100 between@120 inner@150 ");
    EXPECT_EQ(scheduler.nextDue(), start + 600ms);
}

TEST_F(ManualSchedulerTest, RepeatsWithoutDriftAndRecordsItsTolerance) {
    const auto id = scheduler.repeat(100ms, 20ms, record("tick"));
    EXPECT_EQ(scheduler.toleranceOf(id), Scheduler::Duration(20ms));
    scheduler.advance(350ms);
    EXPECT_EQ(log, "tick@100 tick@200 tick@300 ");
    scheduler.cancel(id);
    scheduler.advance(1s);
    EXPECT_EQ(log, "tick@100 tick@200 tick@300 ");
}

TEST_F(ManualSchedulerTest, CancelStopsPendingWorkIncludingFromInsideATaskOrItsOwnTick) {
    const auto doomed = scheduler.after(200ms, record("doomed"));
    scheduler.after(100ms, [&] { scheduler.cancel(doomed); });
    Scheduler::TaskId self{};
    int ticks = 0;
    self = scheduler.repeat(50ms, 0ms, [&] {
        if (++ticks == 2) {
            scheduler.cancel(self);
        }
    });
    scheduler.cancel(static_cast<Scheduler::TaskId>(9999)); // unknown: ignored
    scheduler.advance(1s);
    EXPECT_EQ(log, "");
    EXPECT_EQ(ticks, 2);
    EXPECT_EQ(scheduler.pendingCount(), 0u);
}

TEST_F(ManualSchedulerTest, ScheduledTaskCancelsWhenDroppedOrReplaced) {
    {
        ScheduledTask timer(scheduler, scheduler.repeat(100ms, 0ms, record("dropped")));
        EXPECT_TRUE(timer.active());
    }
    ScheduledTask kept(scheduler, scheduler.after(100ms, record("first")));
    kept = ScheduledTask(scheduler, scheduler.after(100ms, record("second")));
    ScheduledTask moved = std::move(kept);
    EXPECT_FALSE(kept.active());
    scheduler.advance(1s);
    EXPECT_EQ(log, "second@100 ");
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
