#pragma once

#include "platform/AppHandle.h"
#include "platform/Scheduler.h"
#include "platform/SerialQueue.h"
#include "platform/WindowAccess.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace hopla {

// One window of an inspected application, as the choice of which window to restore sees it.
struct WindowCandidate {
    int id = 0; // position in the application's window list, auxiliary windows left out
    bool minimized = false;
    bool focused = false;
    bool main = false;

    // The window to unminimize: nothing while any window is visible (or there is none);
    // otherwise the focused one, else the main one, else the first.
    static std::optional<int> restorationTarget(const std::vector<WindowCandidate>& candidates);
};

// Makes sure an application that was just asked to come forward has a window to show:
// unminimizes one when all are minimized, or says that the application must reopen one.
// Windows are inspected on a worker thread of its own; the answer comes back on the main
// thread, and never for a request that was cancelled or replaced.
class ApplicationWindowRestorer {
public:
    enum class Result { ready, reopen, failed };
    using Completion = std::function<void(Result)>;
    // How long the window manager may take to show a window again: as long as a switch
    // has to come to the front.
    static constexpr auto unminimizeLimit = std::chrono::milliseconds(500);

    // The label names the worker thread ("<application id>.restore-window").
    ApplicationWindowRestorer(WindowSystem& windows, Scheduler& mainQueue,
                              const std::string& label);
    ~ApplicationWindowRestorer();
    ApplicationWindowRestorer(const ApplicationWindowRestorer&) = delete;
    ApplicationWindowRestorer& operator=(const ApplicationWindowRestorer&) = delete;

    // Cancels the request in flight and starts inspecting the application's windows.
    void restoreIfNeeded(AppHandle application, Completion completion);
    // The request in flight will never answer.
    void cancel();

private:
    class Request;
    static std::optional<Result> inspect(ApplicationWindows& windows, const Request& request);

    WindowSystem& windows_;
    Scheduler& mainQueue_;
    std::shared_ptr<Request> request_;
    SerialQueue queue_; // last: its thread stops before the rest goes
};

} // namespace hopla
