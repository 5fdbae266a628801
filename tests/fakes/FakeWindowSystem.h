#pragma once

#include "platform/WindowAccess.h"

#include <functional>
#include <map>
#include <mutex>

namespace hopla::fake {

// One scripted window. Unreadable properties are nothing.
struct FakeWindow {
    std::optional<WindowRole> role = WindowRole::normal;
    std::optional<bool> minimized = false;
    bool refusesUnminimize = false;
};

// One application's scripted windows: nothing for a list that cannot be read.
struct FakeWindowList {
    std::optional<std::vector<FakeWindow>> windows = std::vector<FakeWindow>{};
    std::optional<std::size_t> focused; // index into windows
    std::optional<std::size_t> main;
};

// In-memory windows for every application, safe to use from the restorer's worker thread.
// Applications not scripted have an unreadable window list.
class FakeWindowSystem final : public WindowSystem {
public:
    void script(AppHandle application, FakeWindowList windows);

    // Runs on the worker thread when an inspection starts reading an application's window
    // list: lets a test hold the worker at a known point.
    void onListRead(std::function<void()> hook);

    // What was asked, as (application, window index) pairs, and how many minimized states were
    // read.
    std::vector<std::pair<AppHandle, std::size_t>> unminimized() const;
    std::vector<std::pair<AppHandle, std::size_t>> raised() const;
    std::vector<std::pair<AppHandle, std::size_t>> activated() const;
    int minimizedReads() const;

    std::unique_ptr<ApplicationWindows> windowsOf(AppHandle application) override;

private:
    friend class FakeApplicationWindows;
    mutable std::mutex mutex_;
    std::map<AppHandle, FakeWindowList> lists_;
    std::function<void()> onListRead_;
    std::vector<std::pair<AppHandle, std::size_t>> unminimized_;
    std::vector<std::pair<AppHandle, std::size_t>> raised_;
    std::vector<std::pair<AppHandle, std::size_t>> activated_;
    int minimizedReads_ = 0;
};

} // namespace hopla::fake
