#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <utility>

namespace hopla {

// Everything in Hopla that waits goes through one Scheduler: work posted to the main
// queue, work run once after a delay, and work repeated at an interval. Production runs it
// on the Qt event loop; tests run it on a virtual clock and advance time by hand.
//
// post() may be called from any thread. Everything else belongs to the main thread, and
// every task runs on the main thread.
class Scheduler {
public:
    using Clock = std::chrono::steady_clock;
    using Duration = std::chrono::nanoseconds;
    using TimePoint = std::chrono::time_point<Clock, Duration>;
    using Task = std::function<void()>;

    // Names one delayed or repeating task so that it can be cancelled. Zero names nothing.
    enum class TaskId : std::uint64_t { none = 0 };

    virtual ~Scheduler() = default;

    // The scheduler's clock; tasks fall due against it.
    virtual TimePoint now() const = 0;

    // Runs the task on the main thread as soon as it gets there, after work posted before it.
    virtual void post(Task task) = 0;

    // Runs the task once, `delay` from now.
    virtual TaskId after(Duration delay, Task task) = 0;

    // Runs the task every `interval`, the first time one interval from now. The scheduler
    // may fire up to `tolerance` late to save wake-ups.
    virtual TaskId repeat(Duration interval, Duration tolerance, Task task) = 0;

    // Stops a delayed or repeating task; it will not run again. Unknown ids are ignored.
    virtual void cancel(TaskId id) = 0;
};

// Owns one repeating or delayed task and cancels it when reset or destroyed.
// The scheduler must outlive the timer.
class ScheduledTask {
public:
    ScheduledTask() = default;
    ScheduledTask(Scheduler& scheduler, Scheduler::TaskId id)
        : scheduler_(&scheduler)
        , id_(id) {}
    ScheduledTask(ScheduledTask&& other) noexcept
        : scheduler_(other.scheduler_)
        , id_(std::exchange(other.id_, Scheduler::TaskId::none)) {}
    ScheduledTask& operator=(ScheduledTask&& other) noexcept {
        if (this != &other) {
            reset();
            scheduler_ = other.scheduler_;
            id_ = std::exchange(other.id_, Scheduler::TaskId::none);
        }
        return *this;
    }
    ScheduledTask(const ScheduledTask&) = delete;
    ScheduledTask& operator=(const ScheduledTask&) = delete;
    ~ScheduledTask() { reset(); }

    bool active() const { return id_ != Scheduler::TaskId::none; }

    void reset() {
        if (active()) {
            scheduler_->cancel(std::exchange(id_, Scheduler::TaskId::none));
        }
    }

private:
    Scheduler* scheduler_ = nullptr;
    Scheduler::TaskId id_ = Scheduler::TaskId::none;
};

} // namespace hopla
