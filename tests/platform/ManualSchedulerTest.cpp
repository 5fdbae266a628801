#include "tests/fakes/ManualScheduler.h"

#include <gtest/gtest.h>

#include <string>

using namespace std::chrono_literals;
using hopla::ScheduledTask;
using hopla::Scheduler;

namespace {

// The virtual clock every timing test stands on, and the owning handle of a scheduled task.
TEST(ManualScheduler, RunsByDueTimeThenOrderAndCancelsFromAnywhereOrWhenTheHandleGoes) {
    hopla::fake::ManualScheduler scheduler;
    const auto start = scheduler.now();
    std::string log;
    const auto record = [&](std::string what) {
        return [&, what] {
            log += what + "@" + std::to_string((scheduler.now() - start) / 1ms) + " ";
        };
    };
    scheduler.after(300ms, record("c"));
    scheduler.after(100ms, [&] {
        record("a")();
        scheduler.post(record("posted-inside"));
        scheduler.after(50ms, record("inner"));
    });
    scheduler.post(record("posted"));
    scheduler.after(100ms, record("b")); // same due time as "a": runs after it
    const auto tick = scheduler.repeat(100ms, 20ms, record("tick"));
    const auto doomed = scheduler.after(250ms, record("doomed"));
    scheduler.after(150ms, [&] { scheduler.cancel(doomed); });
    Scheduler::TaskId self{};
    self = scheduler.repeat(50ms, 0ms, [&] { scheduler.cancel(self); }); // from its own tick
    { ScheduledTask dropped(scheduler, scheduler.after(10ms, record("dropped"))); }
    ScheduledTask kept(scheduler, scheduler.after(100ms, record("first")));
    kept = ScheduledTask(scheduler, scheduler.after(100ms, record("second")));
    EXPECT_EQ(scheduler.runDue(), 1u);
    EXPECT_EQ(scheduler.advance(49ms), 0u);
    scheduler.advance(301ms);
    scheduler.cancel(tick);
    scheduler.advance(1s);
    EXPECT_EQ(log, "posted@0 a@100 b@100 tick@100 second@100 posted-inside@100 inner@150 "
                   "tick@200 c@300 tick@300 ");
    EXPECT_EQ(scheduler.pendingCount(), 0u);
}

} // namespace
