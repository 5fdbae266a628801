#include "tests/fakes/FakeRunningApps.h"

#include <algorithm>

namespace hopla::fake {

FakeApplication::FakeApplication(FakeRunningApps& runningApps, AppHandle id, QString name)
    : name(std::move(name))
    , runningApps_(runningApps)
    , id_(id) {}

bool FakeApplication::isActive() const {
    return !terminated && runningApps_.frontmost_ == id_;
}

bool FakeApplication::activate() {
    ++activateCalls;
    if (refusesActivation || terminated) {
        return false;
    }
    if (requestsUntilFrontmost > 0 && activateCalls >= requestsUntilFrontmost) {
        runningApps_.bringToFront(id_);
    }
    return true;
}

FakeRunningApps::FakeRunningApps(AppHandle currentProcess)
    : currentProcess_(currentProcess) {}

std::shared_ptr<FakeApplication> FakeRunningApps::add(AppHandle id, QString name) {
    auto app = std::make_shared<FakeApplication>(*this, id, std::move(name));
    apps_.push_back(app);
    return app;
}

std::shared_ptr<FakeApplication> FakeRunningApps::fake(AppHandle id) const {
    const auto it =
        std::find_if(apps_.begin(), apps_.end(), [id](const auto& a) { return a->handle() == id; });
    return it == apps_.end() ? nullptr : *it;
}

void FakeRunningApps::bringToFront(AppHandle id) {
    if (frontmost_ == id) {
        return;
    }
    frontmost_ = id;
    if (const auto app = fake(id)) {
        observers_.notify(&RunningAppsObserver::activated, ApplicationPtr(app));
    }
}

void FakeRunningApps::terminate(AppHandle id) {
    const auto app = fake(id);
    if (!app) {
        return;
    }
    app->terminated = true;
    std::erase(apps_, app);
    if (frontmost_ == id) {
        frontmost_ = 0;
    }
    observers_.notify(&RunningAppsObserver::terminated, ApplicationPtr(app));
}

void FakeRunningApps::resignSession() {
    observers_.notify(&RunningAppsObserver::sessionResignedActive);
}

void FakeRunningApps::changeSpace() {
    observers_.notify(&RunningAppsObserver::activeSpaceChanged);
}

std::vector<ApplicationPtr> FakeRunningApps::runningApplications() {
    return {apps_.begin(), apps_.end()};
}

ApplicationPtr FakeRunningApps::activeApplication() {
    return fake(frontmost_);
}

ApplicationPtr FakeRunningApps::application(AppHandle id) {
    return fake(id);
}

void FakeRunningApps::openApplication(const QString& launchPath, std::optional<AppHandle>,
                                      OpenAnswer answer) {
    openRequests.push_back(launchPath);
    finishOpen(launchPath, answer, openError);
}

void FakeRunningApps::finishOpen(const QString& location, const OpenAnswer& answer,
                                 const std::optional<QString>& error) {
    if (!error && openActivates) {
        const auto it = std::find_if(apps_.begin(), apps_.end(),
                                     [&](const auto& a) { return a->bundle == location; });
        if (it != apps_.end()) {
            bringToFront((*it)->handle());
        }
    }
    answer(error);
}

Subscription FakeRunningApps::observe(RunningAppsObserver observer) {
    return observers_.add(std::move(observer));
}

} // namespace hopla::fake
