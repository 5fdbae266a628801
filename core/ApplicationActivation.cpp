#include "core/ApplicationActivation.h"

namespace hopla {

ApplicationActivationCoordinator::ApplicationActivationCoordinator(RunningApps& runningApps,
                                                                   WindowSystem& windows,
                                                                   Scheduler& scheduler,
                                                                   const std::string& restorerLabel)
    : runningApps_(runningApps)
    , scheduler_(scheduler)
    , windowRestorer_(windows, scheduler, restorerLabel) {}

void ApplicationActivationCoordinator::cancel() {
    identity_ = Identity::random();
    windowRestorer_.cancel();
}

void ApplicationActivationCoordinator::activate(AppHandle id, int confirmationAttempts,
                                                Completion completion) {
    cancel();
    const Identity request = identity_;
    const ApplicationPtr app = runningApps_.application(id);
    if (!app || app->isTerminated()) {
        completion(ApplicationActivationFailure::unavailable);
        return;
    }
    if (!app->activate()) {
        activateByOpening(app, request, ApplicationActivationFailure::requestRejected,
                          std::move(completion));
        return;
    }
    windowRestorer_.restoreIfNeeded(
        id, [self = lifetime_.weak(this), app, request, confirmationAttempts,
             completion = std::move(completion)](ApplicationWindowRestorer::Result result) {
            auto* coordinator = self.get();
            if (!coordinator || coordinator->identity_ != request) {
                return;
            }
            switch (result) {
            case ApplicationWindowRestorer::Result::ready:
                coordinator->confirm(app, request, confirmationAttempts, false, completion);
                return;
            case ApplicationWindowRestorer::Result::failed:
                completion(ApplicationActivationFailure::windowRestoreFailed);
                return;
            case ApplicationWindowRestorer::Result::reopen:
                coordinator->openThen(
                    app, request,
                    [coordinator, app, request, confirmationAttempts, completion](bool opened) {
                        if (!opened) {
                            completion(ApplicationActivationFailure::reopenFailed);
                            return;
                        }
                        coordinator->confirm(app, request, confirmationAttempts, false, completion);
                    });
                return;
            }
        });
}

void ApplicationActivationCoordinator::confirm(const ApplicationPtr& app, Identity request,
                                               int attempts, bool usedFallback,
                                               Completion completion) {
    if (identity_ != request) {
        return;
    }
    if (app->isActive()) {
        completion(app);
        return;
    }
    if (app->isTerminated()) {
        completion(ApplicationActivationFailure::unavailable);
        return;
    }
    if (attempts > 0) {
        scheduler_.after(pollInterval, [self = lifetime_.weak(this), app, request, attempts,
                                        usedFallback, completion = std::move(completion)] {
            auto* coordinator = self.get();
            if (!coordinator || coordinator->identity_ != request) {
                return;
            }
            if (attempts == 3) {
                app->activate(); // one more nudge half-way through; its answer does not matter
            }
            coordinator->confirm(app, request, attempts - 1, usedFallback, completion);
        });
        return;
    }
    if (!usedFallback) {
        activateByOpening(app, request, ApplicationActivationFailure::foregroundTimeout,
                          std::move(completion));
        return;
    }
    completion(ApplicationActivationFailure::foregroundTimeout);
}

void ApplicationActivationCoordinator::activateByOpening(const ApplicationPtr& app,
                                                         Identity request,
                                                         ApplicationActivationFailure failure,
                                                         Completion completion) {
    openThen(app, request,
             [this, app, request, failure, completion = std::move(completion)](bool opened) {
                 if (!opened) {
                     completion(failure);
                     return;
                 }
                 confirm(app, request, fallbackAttempts, true, completion);
             });
}

void ApplicationActivationCoordinator::openThen(const ApplicationPtr& app, Identity request,
                                                std::function<void(bool opened)> next) {
    const auto location = app->launchPath();
    if (!location) {
        next(false);
        return;
    }
    // The answer may come on any thread: hop to the main queue before reading anything.
    // The scheduler outlives the coordinator, so the answer may use it even when the
    // coordinator is gone by then.
    runningApps_.openApplication(
        *location, app->handle(),
        [scheduler = &scheduler_, self = lifetime_.weak(this), request,
         next = std::move(next)](std::optional<QString> error) {
            scheduler->post([self, request, failed = error.has_value(), next] {
                auto* coordinator = self.get();
                if (!coordinator || coordinator->identity_ != request) {
                    return;
                }
                next(!failed);
            });
        });
}

} // namespace hopla
