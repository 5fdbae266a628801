#include "platform/qt/QtScheduler.h"

#include <QThread>

#include <algorithm>
#include <limits>

namespace hopla {

namespace {

int toMilliseconds(Scheduler::Duration d) {
    using namespace std::chrono;
    const auto ms = ceil<milliseconds>(std::max(d, Scheduler::Duration::zero())).count();
    return static_cast<int>(std::min<long long>(ms, std::numeric_limits<int>::max()));
}

} // namespace

QtScheduler::QtScheduler() = default;

QtScheduler::~QtScheduler() {
    // Children of context_ are deleted with it; make sure none fires while that happens.
    for (auto& [id, timer] : timers_) {
        if (timer) {
            timer->stop();
        }
    }
}

Scheduler::TimePoint QtScheduler::now() const {
    return std::chrono::time_point_cast<Duration>(Clock::now());
}

void QtScheduler::post(Task task) {
    QMetaObject::invokeMethod(&context_, std::move(task), Qt::QueuedConnection);
}

Scheduler::TaskId QtScheduler::after(Duration delay, Task task) {
    return start(delay, true, Qt::PreciseTimer, std::move(task));
}

Scheduler::TaskId QtScheduler::repeat(Duration interval, Duration tolerance, Task task) {
    const bool coarseIsEnough = tolerance * 20 >= interval;
    return start(interval, false, coarseIsEnough ? Qt::CoarseTimer : Qt::PreciseTimer,
                 std::move(task));
}

Scheduler::TaskId QtScheduler::start(Duration interval, bool singleShot, Qt::TimerType type,
                                     Task task) {
    Q_ASSERT(QThread::currentThread() == context_.thread());
    const auto id = static_cast<TaskId>(++lastId_);
    auto* timer = new QTimer(&context_); // owned by context_
    timer->setSingleShot(singleShot);
    timer->setTimerType(type);
    timer->setInterval(toMilliseconds(interval));
    QObject::connect(
        timer, &QTimer::timeout, timer, [this, id, singleShot, task = std::move(task)] {
            if (singleShot) {
                cancel(id); // forget it first, so the task may schedule or cancel freely
            }
            task();
        });
    timers_.emplace(id, timer);
    timer->start();
    return id;
}

void QtScheduler::cancel(TaskId id) {
    Q_ASSERT(QThread::currentThread() == context_.thread());
    const auto node = timers_.extract(id);
    if (node.empty() || !node.mapped()) {
        return;
    }
    node.mapped()->stop();
    node.mapped()->deleteLater(); // it may be the timer whose slot is running right now
}

} // namespace hopla
