#pragma once

#include "platform/Scheduler.h"

#include <QObject>
#include <QPointer>
#include <QTimer>

#include <unordered_map>

namespace hopla {

// The production scheduler: the Qt event loop of the thread that created it (the main
// thread). Delayed and repeating work runs on QTimers; a tolerance of at least 5% of the
// interval lets Qt coalesce the wake-ups (a coarse timer), anything tighter is precise.
class QtScheduler final : public Scheduler {
public:
    QtScheduler();
    ~QtScheduler() override;
    QtScheduler(const QtScheduler&) = delete;
    QtScheduler& operator=(const QtScheduler&) = delete;

    TimePoint now() const override;
    void post(Task task) override;
    TaskId after(Duration delay, Task task) override;
    TaskId repeat(Duration interval, Duration tolerance, Task task) override;
    void cancel(TaskId id) override;

private:
    TaskId start(Duration interval, bool singleShot, Qt::TimerType type, Task task);

    QObject context_; // lives on the main thread; parent of every timer
    std::unordered_map<TaskId, QPointer<QTimer>> timers_;
    std::uint64_t lastId_ = 0;
};

} // namespace hopla
