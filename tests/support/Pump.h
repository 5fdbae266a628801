#pragma once

#include "platform/fake/ManualScheduler.h"

#include <chrono>

namespace hopla::testing {

// Runs the main queue until the condition holds, waiting (in real time, bounded) for work
// that worker threads post back. False when it never held.
template <typename Condition> bool pumpUntil(fake::ManualScheduler& scheduler, Condition done) {
    using namespace std::chrono_literals;
    for (;;) {
        scheduler.runDue();
        if (done()) {
            return true;
        }
        if (!scheduler.waitForPostedWork(5s)) {
            return false;
        }
    }
}

} // namespace hopla::testing
