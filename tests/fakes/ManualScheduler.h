#pragma once

#include "platform/Scheduler.h"

#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <unordered_map>

namespace hopla::fake {

// A scheduler on a virtual clock that only moves when a test says so.
//
// Ordering: tasks run in order of the time they fall due; tasks due at the same time run in
// the order they were scheduled (posted work counts as due at the moment it was posted). A
// repeating task falls due again exactly one interval after its previous due time, so it
// never drifts; its tolerance is recorded but never used. Work that a running task
// schedules runs in the same call when it falls due within the time being advanced over.
//
// post() is safe from any thread, so tests can drive a real worker thread that posts its
// answers back; every other call belongs to the test's thread.
class ManualScheduler final : public Scheduler {
public:
    explicit ManualScheduler(TimePoint start = TimePoint{});

    TimePoint now() const override;
    void post(Task task) override;
    TaskId after(Duration delay, Task task) override;
    TaskId repeat(Duration interval, Duration tolerance, Task task) override;
    void cancel(TaskId id) override;

    // Runs everything due at the current time, including what those tasks post.
    // Returns how many tasks ran.
    std::size_t runDue();

    // Moves the clock forward, running each task at its own due time on the way.
    // Returns how many tasks ran.
    std::size_t advance(Duration by);
    std::size_t advanceTo(TimePoint until);

    // Tasks waiting, delayed and repeating ones included.
    std::size_t pendingCount() const;
    // When the earliest waiting task falls due.
    std::optional<TimePoint> nextDue() const;
    // The tolerance a repeating task was scheduled with; nothing for unknown ids.
    std::optional<Duration> toleranceOf(TaskId id) const;

    // Blocks the calling thread until work has been posted that has not run yet, or the real
    // time limit passes. For tests whose answers come from a real worker thread.
    bool waitForPostedWork(std::chrono::milliseconds limit);

private:
    struct Entry {
        TaskId id = TaskId::none;
        Task task;
        Duration interval{}; // zero for one-shot work
        Duration tolerance{};
    };
    using Key = std::pair<TimePoint, std::uint64_t>; // due time, then order of scheduling

    TaskId enqueue(TimePoint due, Entry entry);
    std::optional<std::pair<Key, Entry>> takeNextDueBy(TimePoint limit);

    mutable std::mutex mutex_;
    std::condition_variable posted_;
    TimePoint now_;
    std::uint64_t sequence_ = 0;
    std::uint64_t lastId_ = 0;
    std::map<Key, Entry> queue_;
    std::unordered_map<TaskId, Key> keys_; // delayed and repeating tasks, for cancel()
    std::optional<TaskId> running_;        // the repeating task whose tick runs right now
    bool runningCancelled_ = false;
};

} // namespace hopla::fake
