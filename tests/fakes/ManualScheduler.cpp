#include "tests/fakes/ManualScheduler.h"

#include <algorithm>

namespace hopla::fake {

ManualScheduler::ManualScheduler(TimePoint start)
    : now_(start) {}

Scheduler::TimePoint ManualScheduler::now() const {
    std::lock_guard lock(mutex_);
    return now_;
}

void ManualScheduler::post(Task task) {
    {
        std::lock_guard lock(mutex_);
        queue_.emplace(Key{now_, ++sequence_}, Entry{TaskId::none, std::move(task), {}, {}});
    }
    posted_.notify_all();
}

Scheduler::TaskId ManualScheduler::after(Duration delay, Task task) {
    std::lock_guard lock(mutex_);
    const auto due = now_ + std::max(delay, Duration::zero());
    return enqueue(due, Entry{static_cast<TaskId>(++lastId_), std::move(task), {}, {}});
}

Scheduler::TaskId ManualScheduler::repeat(Duration interval, Duration tolerance, Task task) {
    std::lock_guard lock(mutex_);
    // A zero interval would make advance() spin forever; one nanosecond is the floor.
    interval = std::max(interval, Duration(1));
    return enqueue(now_ + interval,
                   Entry{static_cast<TaskId>(++lastId_), std::move(task), interval, tolerance});
}

Scheduler::TaskId ManualScheduler::enqueue(TimePoint due, Entry entry) {
    const auto id = entry.id;
    const Key key{due, ++sequence_};
    queue_.emplace(key, std::move(entry));
    keys_[id] = key;
    return id;
}

void ManualScheduler::cancel(TaskId id) {
    std::lock_guard lock(mutex_);
    if (running_ == id) {
        runningCancelled_ = true;
    }
    if (const auto it = keys_.find(id); it != keys_.end()) {
        queue_.erase(it->second);
        keys_.erase(it);
    }
}

std::optional<std::pair<ManualScheduler::Key, ManualScheduler::Entry>>
ManualScheduler::takeNextDueBy(TimePoint limit) {
    std::lock_guard lock(mutex_);
    if (queue_.empty() || queue_.begin()->first.first > limit) {
        return std::nullopt;
    }
    auto node = queue_.extract(queue_.begin());
    if (node.mapped().id != TaskId::none) {
        keys_.erase(node.mapped().id);
    }
    now_ = std::max(now_, node.key().first);
    if (node.mapped().interval != Duration::zero()) {
        running_ = node.mapped().id;
        runningCancelled_ = false;
    }
    return std::pair{node.key(), std::move(node.mapped())};
}

std::size_t ManualScheduler::advanceTo(TimePoint until) {
    std::size_t ran = 0;
    while (auto next = takeNextDueBy(until)) {
        auto& [key, entry] = *next;
        entry.task();
        ++ran;
        if (entry.interval != Duration::zero()) {
            std::lock_guard lock(mutex_);
            if (!runningCancelled_) {
                const auto due = key.first + entry.interval;
                enqueue(due, std::move(entry));
            }
            running_.reset();
        }
    }
    std::lock_guard lock(mutex_);
    now_ = std::max(now_, until);
    return ran;
}

std::size_t ManualScheduler::advance(Duration by) {
    return advanceTo(now() + by);
}

std::size_t ManualScheduler::runDue() {
    return advanceTo(now());
}

std::size_t ManualScheduler::pendingCount() const {
    std::lock_guard lock(mutex_);
    return queue_.size();
}

std::optional<Scheduler::TimePoint> ManualScheduler::nextDue() const {
    std::lock_guard lock(mutex_);
    if (queue_.empty()) {
        return std::nullopt;
    }
    return queue_.begin()->first.first;
}

std::optional<Scheduler::Duration> ManualScheduler::toleranceOf(TaskId id) const {
    std::lock_guard lock(mutex_);
    const auto it = keys_.find(id);
    if (it == keys_.end()) {
        return std::nullopt;
    }
    return queue_.at(it->second).tolerance;
}

bool ManualScheduler::waitForPostedWork(std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    return posted_.wait_for(
        lock, limit, [this] { return !queue_.empty() && queue_.begin()->first.first <= now_; });
}

} // namespace hopla::fake
