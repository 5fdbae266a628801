#include "core/ApplicationSwitcherController.h"

#include <QFileInfo>
#include <QGuiApplication>
#include <QStyleHints>

#include <algorithm>
#include <unordered_set>

namespace hopla {

namespace {

bool isCandidate(const Application& app, AppHandle self) {
    return !app.isTerminated() && app.handle() != self &&
           app.taskbarPolicy() == TaskbarPolicy::regular;
}

QString displayName(const Application& app) {
    if (auto name = app.localizedName(); name && !name->isEmpty()) {
        return *name;
    }
    if (auto location = app.launchPath(); location && !location->isEmpty()) {
        return QFileInfo(*location).completeBaseName();
    }
    return QStringLiteral("App");
}

bool hasCandidate(const SwitchSession& session, AppHandle id) {
    return std::any_of(session.apps().begin(), session.apps().end(),
                       [id](const AppEntry& e) { return e.id == id; });
}

} // namespace

ApplicationSwitcherController::ApplicationSwitcherController(SwitcherPanelInterface& panel,
                                                             RunningApps& runningApps,
                                                             WindowSystem& windows,
                                                             Scheduler& scheduler, Options options)
    : panel_(panel)
    , runningApps_(runningApps)
    , windows_(windows)
    , scheduler_(scheduler)
    , options_(std::move(options))
    , activationCoordinator_(runningApps, windows, scheduler, options_.restorerLabel) {
    panel_.model().onSelect = [self = lifetime_.weak(this)](AppHandle id) {
        if (auto* controller = self.get()) {
            controller->select(id);
        }
    };
}

ApplicationSwitcherController::~ApplicationSwitcherController() {
    panel_.model().onSelect = nullptr;
}

void ApplicationSwitcherController::start() {
    if (observers_.active()) {
        return;
    }
    // Until the first activation is seen, the desktop's stacking order stands for recency,
    // so the very first switch already goes to the previous application.
    recent_.seed(runningApps_.recencyOrder());
    const auto self = lifetime_.weak(this);
    observers_ = runningApps_.observe({
        .activated =
            [self](const ApplicationPtr& app) {
                auto* controller = self.get();
                if (controller && app && app->taskbarPolicy() == TaskbarPolicy::regular) {
                    controller->recent_.activate(app->handle());
                    controller->prepareUpcomingSession();
                }
            },
        .terminated =
            [self](const ApplicationPtr& app) {
                auto* controller = self.get();
                if (!controller || !app) {
                    return;
                }
                if (const auto& windows = controller->windowCandidates_) {
                    // Window entries are numbered, not handles: only their own application's
                    // end concerns them.
                    if (windows->app->handle() == app->handle()) {
                        controller->dismiss();
                    }
                } else {
                    controller->removeCandidate(app->handle());
                }
                controller->prepareUpcomingSession();
            },
        .sessionResignedActive =
            [self] {
                if (auto* controller = self.get()) {
                    controller->dismiss();
                }
            },
        .activeSpaceChanged = nullptr,
    });
    prepareUpcomingSession();
}

void ApplicationSwitcherController::stop() {
    dismiss();
    observers_.reset();
}

void ApplicationSwitcherController::setSession(std::optional<SwitchSession> session) {
    session_ = std::move(session);
}

void ApplicationSwitcherController::cancelActivation() {
    activationIdentity_ = Identity::random();
    activationCoordinator_.cancel();
}

bool ApplicationSwitcherController::route(const GestureAction& action) {
    switch (action.kind) {
    case GestureAction::Kind::tab: {
        if (!session_) {
            return action.windows ? openWindowSession(action.backwards)
                                  : openSession(action.backwards);
        }
        SwitchSession next = *session_;
        next.step(action.backwards);
        setSession(std::move(next));
        cancelActivation();
        panel_.model().setFailedId(std::nullopt);
        panel_.update(*session_);
        return true;
    }
    case GestureAction::Kind::letter: {
        if (!session_) {
            return false;
        }
        SwitchSession next = *session_;
        const auto target = next.letter(action.letter);
        setSession(std::move(next));
        if (!target) {
            return true;
        }
        panel_.model().setFailedId(std::nullopt);
        panel_.update(*session_);
        if (session_->matchCount(action.letter) == 1) {
            activate(*target, true);
            return true;
        }
        cancelActivation();
        const Identity intent = activationIdentity_;
        const Identity owner = sessionIdentity_;
        scheduler_.after(doubleClickInterval(),
                         [self = lifetime_.weak(this), intent, owner, target = *target] {
                             auto* controller = self.get();
                             if (controller && controller->activationIdentity_ == intent &&
                                 controller->sessionIdentity_ == owner && controller->session_ &&
                                 controller->session_->selectedId() == target) {
                                 controller->activate(target, true);
                             }
                         });
        return true;
    }
    case GestureAction::Kind::cancel:
        if (!session_) {
            return false;
        }
        dismiss();
        return true;
    case GestureAction::Kind::release: {
        if (!session_) {
            return false;
        }
        const bool needsCommit = session_->needsCommit();
        const auto selected = session_->selectedId();
        const auto windows = std::move(windowCandidates_);
        dismiss();
        if (needsCommit && selected) {
            if (windows) {
                activateWindow(*windows, *selected);
            } else {
                activate(*selected, false);
            }
        }
        return true;
    }
    }
    return false;
}

std::vector<ApplicationPtr> ApplicationSwitcherController::candidates() {
    const AppHandle self = runningApps_.ownHandle();
    std::vector<ApplicationPtr> apps;
    for (auto& app : runningApps_.runningApplications()) {
        if (app && isCandidate(*app, self)) {
            apps.push_back(std::move(app));
        }
    }
    return apps;
}

SwitchSession ApplicationSwitcherController::orderedSession(const std::vector<ApplicationPtr>& apps,
                                                            RecentApps& recent, bool backwards) {
    const auto front = runningApps_.activeApplication();
    if (front) {
        recent.activate(front->handle());
    }
    std::vector<AppEntry> entries;
    entries.reserve(apps.size());
    for (const auto& app : apps) {
        entries.emplace_back(app->handle(), displayName(*app));
    }
    // With the desktop or nothing in front, the first candidate is the application just left.
    const bool frontFirst = front && std::any_of(apps.begin(), apps.end(), [&](const auto& app) {
                                return app->handle() == front->handle();
                            });
    return SwitchSession(recent.ordered(std::move(entries)), backwards,
                         SwitchSession::Scope::applications, frontFirst);
}

bool ApplicationSwitcherController::openSession(bool backwards) {
    cancelActivation();
    const auto apps = candidates();
    if (apps.empty()) {
        dismiss();
        return false;
    }
    sessionIdentity_ = Identity::random();
    setSession(orderedSession(apps, recent_, backwards));
    startSessionApplicationRefresh();
    present(apps);
    return true;
}

bool ApplicationSwitcherController::openWindowSession(bool backwards) {
    cancelActivation();
    const auto front = runningApps_.activeApplication();
    std::vector<AppWindow> windows;
    if (front && isCandidate(*front, runningApps_.ownHandle())) {
        windows = front->windows();
    }
    if (windows.empty()) {
        dismiss();
        return false;
    }
    std::vector<AppEntry> entries;
    entries.reserve(windows.size());
    for (std::size_t i = 0; i < windows.size(); ++i) {
        const QString& title = windows[i].title;
        AppEntry entry(static_cast<AppHandle>(i + 1),
                       title.isEmpty() ? displayName(*front) : title);
        entry.shortcut.reset(); // letters choose applications, not windows
        entries.push_back(std::move(entry));
    }
    windowCandidates_ = WindowCandidates{front, std::move(windows)};
    sessionIdentity_ = Identity::random();
    setSession(SwitchSession(std::move(entries), backwards, SwitchSession::Scope::windows));
    startSessionApplicationRefresh();
    present({front});
    return true;
}

void ApplicationSwitcherController::present(const std::vector<ApplicationPtr>& apps) {
    auto [cached, missing] = cachedIcons(apps);
    IconMap icons;
    for (const auto& app : apps) {
        if (const auto icon = cached.find(app->handle()); icon != cached.end()) {
            for (const AppHandle entry : iconEntries(*app)) {
                icons.insert_or_assign(entry, icon->second);
            }
        }
    }
    panel_.show(*session_, icons);
    fillMissingIcons(std::move(missing), std::move(icons), sessionIdentity_);
}

std::vector<AppHandle> ApplicationSwitcherController::iconEntries(const Application& app) const {
    if (!session_) {
        return {};
    }
    if (!windowCandidates_) {
        return hasCandidate(*session_, app.handle()) ? std::vector<AppHandle>{app.handle()}
                                                     : std::vector<AppHandle>{};
    }
    std::vector<AppHandle> entries;
    if (windowCandidates_->app->handle() == app.handle()) {
        for (const AppEntry& entry : session_->apps()) {
            entries.push_back(entry.id);
        }
    }
    return entries;
}

void ApplicationSwitcherController::prepareUpcomingSession() {
    if (upcomingPosted_) {
        return;
    }
    upcomingPosted_ = true;
    scheduler_.post([self = lifetime_.weak(this)] {
        auto* controller = self.get();
        if (!controller) {
            return;
        }
        controller->upcomingPosted_ = false;
        if (controller->session_ || !controller->observers_.active()) {
            return;
        }
        const auto apps = controller->candidates();
        if (apps.empty()) {
            return;
        }
        RecentApps recent = controller->recent_; // the prediction changes nothing
        controller->panel_.prepare(controller->orderedSession(apps, recent, false),
                                   controller->cachedIcons(apps).first);
    });
}

void ApplicationSwitcherController::select(AppHandle id) {
    if (!session_ || !hasCandidate(*session_, id)) {
        return;
    }
    SwitchSession next = *session_;
    next.select(id);
    setSession(std::move(next));
    panel_.update(*session_);
    activate(id, true);
}

void ApplicationSwitcherController::activateWindow(const WindowCandidates& candidates,
                                                   AppHandle entry) {
    const auto index = static_cast<std::size_t>(entry) - 1;
    if (entry < 1 || index >= candidates.windows.size()) {
        return;
    }
    if (options_.activationRequested) {
        options_.activationRequested(candidates.app->handle());
    }
    // A window that closed meanwhile leaves nothing to do.
    if (const auto access = windows_.windowsOf(candidates.app->handle())) {
        access->activate(candidates.windows[index].ref);
    }
}

void ApplicationSwitcherController::activate(AppHandle id, bool hideWhenReady) {
    if (windowCandidates_) {
        const WindowCandidates windows = *windowCandidates_;
        dismiss(); // a window comes forward at once: nothing to wait for with the panel
        activateWindow(windows, id);
        return;
    }
    cancelActivation();
    if (options_.activationRequested) {
        options_.activationRequested(id);
    }
    const Identity request = activationIdentity_;
    const Identity owner = sessionIdentity_;
    auto completion = [self = lifetime_.weak(this), id, request, owner,
                       hideWhenReady](ActivationResult result) {
        auto* controller = self.get();
        if (!controller || controller->activationIdentity_ != request) {
            return;
        }
        if (const auto* failure = std::get_if<ApplicationActivationFailure>(&result)) {
            if (*failure == ApplicationActivationFailure::unavailable) {
                controller->removeCandidate(id);
            } else if (controller->sessionIdentity_ == owner) {
                controller->panel_.model().setFailedId(id);
            }
            if (controller->options_.failed) {
                controller->options_.failed(*failure);
            }
            return;
        }
        if (controller->sessionIdentity_ == owner && controller->session_) {
            SwitchSession next = *controller->session_;
            next.activationSucceeded(id);
            controller->setSession(std::move(next));
        }
        if (controller->options_.activated) {
            controller->options_.activated(std::get<ApplicationPtr>(result));
        }
        if (hideWhenReady && controller->sessionIdentity_ == owner) {
            controller->dismiss();
        }
    };
    activationCoordinator_.activate(id, confirmationAttempts, std::move(completion));
}

void ApplicationSwitcherController::dismiss() {
    sessionIdentity_ = Identity::random();
    cancelActivation();
    sessionApplicationTimer_.reset();
    setSession(std::nullopt);
    windowCandidates_.reset();
    panel_.hide();
    if (options_.dismissed) {
        options_.dismissed();
    }
    prepareUpcomingSession();
}

void ApplicationSwitcherController::removeCandidate(AppHandle id) {
    if (!session_ || !hasCandidate(*session_, id)) {
        return;
    }
    SwitchSession next = *session_;
    next.remove(id);
    setSession(std::move(next));
    if (!session_->apps().empty()) {
        panel_.update(*session_);
    } else {
        dismiss();
    }
}

void ApplicationSwitcherController::startSessionApplicationRefresh() {
    sessionApplicationTimer_.reset();
    const auto id =
        scheduler_.repeat(refreshInterval, refreshTolerance, [self = lifetime_.weak(this)] {
            auto* controller = self.get();
            if (!controller || !controller->session_) {
                return;
            }
            if (controller->windowCandidates_) {
                controller->refreshWindowCandidates();
                return;
            }
            std::unordered_set<AppHandle> running;
            for (const auto& app : controller->runningApps_.runningApplications()) {
                if (app && !app->isTerminated() && app->taskbarPolicy() == TaskbarPolicy::regular) {
                    running.insert(app->handle());
                }
            }
            // Reading the list may itself report a termination that closed the session.
            if (!controller->session_) {
                return;
            }
            const std::vector<AppEntry> snapshot = controller->session_->apps();
            for (const AppEntry& entry : snapshot) {
                if (!running.contains(entry.id)) {
                    controller->removeCandidate(entry.id);
                }
            }
        });
    sessionApplicationTimer_ = ScheduledTask(scheduler_, id);
}

void ApplicationSwitcherController::refreshWindowCandidates() {
    const auto app = runningApps_.application(windowCandidates_->app->handle());
    if (!windowCandidates_) {
        return; // reading reported the application's end, which closed the session
    }
    if (!app || app->isTerminated()) {
        dismiss(); // the application quit under the panel
        return;
    }
    const auto open = app->windows();
    const auto listed = windowCandidates_->windows;
    for (std::size_t i = 0; i < listed.size(); ++i) {
        const bool stillOpen = std::any_of(
            open.begin(), open.end(), [&](const AppWindow& w) { return w.ref == listed[i].ref; });
        if (!stillOpen) {
            removeCandidate(static_cast<AppHandle>(i + 1));
            if (!windowCandidates_) {
                return; // the last one went: dismissed
            }
        }
    }
}

std::pair<IconMap, std::vector<ApplicationPtr>>
ApplicationSwitcherController::cachedIcons(const std::vector<ApplicationPtr>& apps) {
    std::vector<ApplicationIconIdentity> identities;
    identities.reserve(apps.size());
    for (const auto& app : apps) {
        identities.emplace_back(*app);
    }
    iconCache_.retain(identities);
    IconMap icons;
    std::vector<ApplicationPtr> missing;
    for (std::size_t i = 0; i < apps.size(); ++i) {
        if (auto icon = iconCache_.cached(identities[i])) {
            icons.emplace(apps[i]->handle(), std::move(*icon));
        } else {
            missing.push_back(apps[i]);
        }
    }
    return {std::move(icons), std::move(missing)};
}

void ApplicationSwitcherController::fillMissingIcons(std::vector<ApplicationPtr> missing,
                                                     IconMap icons, Identity session) {
    if (missing.empty()) {
        return;
    }
    scheduler_.post([self = lifetime_.weak(this), missing = std::move(missing),
                     icons = std::move(icons), session]() mutable {
        auto* controller = self.get();
        if (!controller || controller->sessionIdentity_ != session || !controller->session_) {
            return;
        }
        for (const auto& app : missing) {
            const auto entries = controller->iconEntries(*app);
            if (app->isTerminated() || entries.empty()) {
                continue;
            }
            if (auto icon = controller->iconCache_.load(ApplicationIconIdentity(*app),
                                                        [&app] { return app->icon(); })) {
                for (const AppHandle entry : entries) {
                    icons.insert_or_assign(entry, *icon);
                }
            }
        }
        if (controller->sessionIdentity_ == session) {
            controller->panel_.update(icons);
        }
    });
}

Scheduler::Duration ApplicationSwitcherController::doubleClickInterval() const {
    if (options_.doubleClickInterval) {
        return options_.doubleClickInterval();
    }
    if (qobject_cast<QGuiApplication*>(QCoreApplication::instance())) {
        return std::chrono::milliseconds(QGuiApplication::styleHints()->mouseDoubleClickInterval());
    }
    return std::chrono::milliseconds(400); // the usual desktop default
}

} // namespace hopla
