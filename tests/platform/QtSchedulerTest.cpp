#include "platform/qt/QtScheduler.h"
#include "tests/support/Pump.h"

#include <QCoreApplication>
#include <QThread>

#include <gtest/gtest.h>

#include <thread>
#include <vector>

using namespace std::chrono_literals;
using hopla::QtScheduler;

namespace {

TEST(QtScheduler, PostFromAnyThreadRunsOnTheMainThreadInOrder) {
    QtScheduler scheduler;
    std::vector<int> order;
    std::vector<bool> onMain;
    std::thread worker([&] {
        for (int i = 0; i < 3; ++i) {
            scheduler.post([&, i] {
                order.push_back(i);
                onMain.push_back(QThread::currentThread() ==
                                 QCoreApplication::instance()->thread());
            });
        }
    });
    worker.join();
    ASSERT_TRUE(hopla::testing::waitUntil([&] { return order.size() == 3; }));
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2}));
    EXPECT_EQ(onMain, (std::vector<bool>{true, true, true}));
}

TEST(QtScheduler, DelayedWorkRunsOnceAndCancelledWorkNever) {
    QtScheduler scheduler;
    int ran = 0;
    int cancelled = 0;
    const auto doomed = scheduler.after(1ms, [&] { ++cancelled; });
    scheduler.cancel(doomed);
    scheduler.after(5ms, [&] { ++ran; });
    ASSERT_TRUE(hopla::testing::waitUntil([&] { return ran == 1; }));
    int ticks = 0;
    hopla::Scheduler::TaskId repeating{};
    repeating = scheduler.repeat(1ms, 0ms, [&] {
        if (++ticks == 3) {
            scheduler.cancel(repeating); // cancelling from its own tick is allowed
        }
    });
    ASSERT_TRUE(hopla::testing::waitUntil([&] { return ticks >= 3; }));
    bool later = false; // twenty intervals on: a live repeating timer would have ticked again
    scheduler.after(20ms, [&] { later = true; });
    ASSERT_TRUE(hopla::testing::waitUntil([&] { return later; }));
    EXPECT_EQ(ticks, 3);
    EXPECT_EQ(ran, 1);
    EXPECT_EQ(cancelled, 0);
}

} // namespace
