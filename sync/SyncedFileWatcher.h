#pragma once

#include "platform/WakeupEvent.h"

#include <QString>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <thread>

namespace hopla {

// Tells its owner when one configuration file is written, replaced, moved away or removed
// by anyone (the user's sync tool bringing another machine's version included), and when
// a sync tool's conflict copy of it appears or goes. It watches the file's folder with
// inotify on a thread of its own and filters the folder's events down to those names;
// moves onto and away from the name count, so an atomic replacement
// is seen (Qt's file watcher loses a file replaced that way). When the folder itself goes,
// it waits for the folder to come back and watches it again. It carries no data: the owner
// reads the file when told. `onChange` runs on the monitor's thread.
class SyncedFileWatcher {
public:
    SyncedFileWatcher(const QString& path, std::function<void()> onChange);
    ~SyncedFileWatcher();
    SyncedFileWatcher(const SyncedFileWatcher&) = delete;
    SyncedFileWatcher& operator=(const SyncedFileWatcher&) = delete;

    // Both idempotent; call them from the owner's thread. start() answers why nothing can
    // be watched (the system's inotify limits), or nothing when watching.
    std::optional<QString> start();
    void stop();
    bool monitoring() const { return thread_.joinable(); }
    const QString& watchedPath() const { return watched_; }

private:
    void run();

    QString watched_; // the file, its path standardised
    std::function<void()> onChange_;
    std::thread thread_;
    std::unique_ptr<WakeupEvent> wake_;
    int inotify_ = -1;
    int watchDescriptor_ = -1;    // handed to the thread at start
    bool watchingFolder_ = false; // or, while the folder is missing, a folder above it
    std::atomic<bool> stopping_ = false;
};

} // namespace hopla
