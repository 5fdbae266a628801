#pragma once

#include "core/ApplicationWindowRestorer.h"
#include "platform/Identity.h"
#include "platform/Lifetime.h"
#include "platform/RunningApps.h"
#include "platform/Scheduler.h"

#include <functional>
#include <variant>

namespace hopla {

// Why bringing an application to the front failed.
enum class ApplicationActivationFailure {
    unavailable,         // it no longer runs
    requestRejected,     // it refused, and opening it through the runningApps failed too
    windowRestoreFailed, // its minimized window could not be brought back
    reopenFailed,        // it has no window and could not be asked to open one
    foregroundTimeout,   // it never came to the front
};

// Success carries the application that was activated.
using ActivationResult = std::variant<ApplicationPtr, ApplicationActivationFailure>;

// Brings one application to the front and confirms it got there: asks it to activate, has
// the window restorer make a window usable, then polls until the application is active,
// falling back once to opening it through the runningApps. One request is current at a time;
// a newer request or cancel() silences everything an older one still has in flight.
class ApplicationActivationCoordinator {
public:
    using Completion = std::function<void(ActivationResult)>;

    // How long apart the confirmation polls are.
    static constexpr auto pollInterval = std::chrono::milliseconds(100);
    // Polls after a runningApps fallback, whatever the caller asked for.
    static constexpr int fallbackAttempts = 5;

    ApplicationActivationCoordinator(RunningApps& runningApps, WindowSystem& windows,
                                     Scheduler& scheduler, const std::string& restorerLabel);

    // The completion runs at most once, on the main thread; synchronously when the
    // application is unknown or refuses activation without a location to open.
    void activate(AppHandle id, int confirmationAttempts, Completion completion);
    void cancel();

private:
    void confirm(const ApplicationPtr& app, Identity request, int attempts, bool usedFallback,
                 Completion completion);
    void activateByOpening(const ApplicationPtr& app, Identity request,
                           ApplicationActivationFailure failure, Completion completion);
    // Opens the application's location and, once the runningApps answered without error,
    // continues on the main thread; a stale answer does nothing.
    void openThen(const ApplicationPtr& app, Identity request,
                  std::function<void(bool opened)> next);

    RunningApps& runningApps_;
    Scheduler& scheduler_;
    ApplicationWindowRestorer windowRestorer_;
    Identity identity_ = Identity::random();
    Lifetime lifetime_;
};

} // namespace hopla
