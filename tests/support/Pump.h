#pragma once

#include "tests/fakes/ManualScheduler.h"

#include <QCoreApplication>
#include <QDeadlineTimer>

#include <chrono>
#include <functional>

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

// Runs the Qt event loop until the condition holds or the limit passes (in real time: for
// work that other threads and processes hand back). False when it never held.
inline bool waitUntil(const std::function<bool()>& condition,
                      std::chrono::milliseconds limit = std::chrono::seconds(5)) {
    QDeadlineTimer deadline(limit);
    while (!condition() && !deadline.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    }
    return condition();
}

} // namespace hopla::testing
