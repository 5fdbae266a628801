#include "core/ApplicationWindowRestorer.h"

#include <algorithm>
#include <mutex>

namespace hopla {

std::optional<int>
WindowCandidate::restorationTarget(const std::vector<WindowCandidate>& candidates) {
    if (candidates.empty() || std::any_of(candidates.begin(), candidates.end(),
                                          [](const auto& c) { return !c.minimized; })) {
        return std::nullopt;
    }
    for (const auto pick : {&WindowCandidate::focused, &WindowCandidate::main}) {
        const auto it = std::find_if(candidates.begin(), candidates.end(),
                                     [pick](const auto& c) { return c.*pick; });
        if (it != candidates.end()) {
            return it->id;
        }
    }
    return candidates.front().id;
}

// Shared by the main thread, the worker and the delivery; only `cancelled` changes.
class ApplicationWindowRestorer::Request {
public:
    void cancel() {
        std::lock_guard lock(mutex_);
        cancelled_ = true;
    }
    bool cancelled() const {
        std::lock_guard lock(mutex_);
        return cancelled_;
    }

private:
    mutable std::mutex mutex_;
    bool cancelled_ = false;
};

ApplicationWindowRestorer::ApplicationWindowRestorer(WindowSystem& windows, Scheduler& mainQueue,
                                                     const std::string& label)
    : windows_(windows)
    , mainQueue_(mainQueue)
    , queue_(label + ".restore-window") {}

ApplicationWindowRestorer::~ApplicationWindowRestorer() {
    cancel();
}

void ApplicationWindowRestorer::cancel() {
    if (request_) {
        request_->cancel();
        request_.reset();
    }
}

void ApplicationWindowRestorer::restoreIfNeeded(AppHandle application, Completion completion) {
    cancel();
    auto request = std::make_shared<Request>();
    request_ = request;
    queue_.async([this, application, request, completion = std::move(completion)]() mutable {
        if (request->cancelled()) {
            return;
        }
        const auto windows = windows_.windowsOf(application);
        const auto result = windows ? inspect(*windows, *request) : std::optional(Result::reopen);
        if (!result) {
            return; // cancelled part-way
        }
        mainQueue_.post([request, result = *result, completion = std::move(completion)] {
            if (!request->cancelled()) {
                completion(result);
            }
        });
    });
}

std::optional<ApplicationWindowRestorer::Result>
ApplicationWindowRestorer::inspect(ApplicationWindows& access, const Request& request) {
    const auto focused = access.focusedWindow();
    const auto main = access.mainWindow();
    const auto listed = access.windows();
    const bool unreadable = !listed;

    std::vector<WindowRef> windows;
    for (const WindowRef window : listed.value_or(std::vector<WindowRef>{})) {
        if (access.role(window) != WindowRole::auxiliary) { // unreadable roles are kept
            windows.push_back(window);
        }
    }

    std::vector<WindowCandidate> candidates;
    for (std::size_t i = 0; i < windows.size(); ++i) {
        if (request.cancelled()) {
            return std::nullopt;
        }
        const auto minimized = access.isMinimized(windows[i]);
        if (!minimized) {
            continue; // unreadable: never chosen
        }
        candidates.push_back(
            {static_cast<int>(i), *minimized, windows[i] == focused, windows[i] == main});
        if (!*minimized) {
            break; // a visible window: nothing to restore
        }
    }
    if (request.cancelled()) {
        return std::nullopt;
    }

    const auto target = WindowCandidate::restorationTarget(candidates);
    if (!target) {
        return unreadable || windows.empty() ? Result::reopen : Result::ready;
    }
    const WindowRef window = windows[static_cast<std::size_t>(*target)];
    if (!access.unminimize(window, unminimizeLimit)) {
        return Result::failed;
    }
    if (!request.cancelled()) {
        access.raise(window);
    }
    return Result::ready;
}

} // namespace hopla
