#include "platform/fake/FakeWorkspace.h"

#include <algorithm>

namespace hopla::fake {

FakeApplication::FakeApplication(FakeWorkspace& workspace, ProcessId id, QString name)
    : name(std::move(name))
    , workspace_(workspace)
    , id_(id) {}

bool FakeApplication::isActive() const {
    return !terminated && workspace_.frontmost_ == id_;
}

void FakeApplication::unhide() {
    ++unhideCalls;
    hidden = false;
}

bool FakeApplication::activate() {
    ++activateCalls;
    if (refusesActivation || terminated) {
        return false;
    }
    if (requestsUntilFrontmost > 0 && activateCalls >= requestsUntilFrontmost) {
        workspace_.bringToFront(id_);
    }
    return true;
}

FakeWorkspace::FakeWorkspace(ProcessId currentProcess)
    : currentProcess_(currentProcess) {}

std::shared_ptr<FakeApplication> FakeWorkspace::add(ProcessId id, QString name) {
    auto app = std::make_shared<FakeApplication>(*this, id, std::move(name));
    apps_.push_back(app);
    return app;
}

std::shared_ptr<FakeApplication> FakeWorkspace::fake(ProcessId id) const {
    const auto it = std::find_if(apps_.begin(), apps_.end(),
                                 [id](const auto& a) { return a->processId() == id; });
    return it == apps_.end() ? nullptr : *it;
}

void FakeWorkspace::bringToFront(ProcessId id) {
    if (frontmost_ == id) {
        return;
    }
    frontmost_ = id;
    if (const auto app = fake(id)) {
        observers_.notify(&WorkspaceObserver::activated, RunningApplicationPtr(app));
    }
}

void FakeWorkspace::terminate(ProcessId id) {
    const auto app = fake(id);
    if (!app) {
        return;
    }
    app->terminated = true;
    std::erase(apps_, app);
    if (frontmost_ == id) {
        frontmost_ = 0;
    }
    observers_.notify(&WorkspaceObserver::terminated, RunningApplicationPtr(app));
}

void FakeWorkspace::resignSession() {
    observers_.notify(&WorkspaceObserver::sessionResignedActive);
}

void FakeWorkspace::changeSpace() {
    observers_.notify(&WorkspaceObserver::activeSpaceChanged);
}

std::vector<RunningApplicationPtr> FakeWorkspace::runningApplications() {
    return {apps_.begin(), apps_.end()};
}

RunningApplicationPtr FakeWorkspace::frontmostApplication() {
    return fake(frontmost_);
}

RunningApplicationPtr FakeWorkspace::application(ProcessId id) {
    return fake(id);
}

void FakeWorkspace::openApplication(const QString& bundleLocation, std::optional<ProcessId>,
                                    OpenAnswer answer) {
    openRequests.push_back(bundleLocation);
    if (holdOpenAnswers) {
        held_.emplace_back(bundleLocation, std::move(answer));
        return;
    }
    finishOpen(bundleLocation, answer, openError);
}

void FakeWorkspace::answerOpen(std::optional<QString> error) {
    if (held_.empty()) {
        return;
    }
    auto [location, answer] = std::move(held_.front());
    held_.erase(held_.begin());
    finishOpen(location, answer, error);
}

void FakeWorkspace::finishOpen(const QString& location, const OpenAnswer& answer,
                               const std::optional<QString>& error) {
    if (!error && openActivates) {
        const auto it = std::find_if(apps_.begin(), apps_.end(),
                                     [&](const auto& a) { return a->bundle == location; });
        if (it != apps_.end()) {
            bringToFront((*it)->processId());
        }
    }
    answer(error);
}

Subscription FakeWorkspace::observe(WorkspaceObserver observer) {
    return observers_.add(std::move(observer));
}

} // namespace hopla::fake
