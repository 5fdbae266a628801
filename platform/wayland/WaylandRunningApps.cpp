#include "platform/wayland/WaylandRunningApps.h"

#include "platform/xdg/ThemedIcon.h"

#include <algorithm>
#include <functional>

namespace hopla::wayland {

std::optional<QString> WaylandApplication::localizedName() const {
    if (entry_ && !entry_->name.isEmpty()) {
        return entry_->name;
    }
    if (!appId_.isEmpty()) {
        return appId_;
    }
    return toplevels_.empty() ? std::nullopt : std::optional(toplevels_.front().title);
}

std::optional<QString> WaylandApplication::launchPath() const {
    return entry_ ? std::optional(entry_->file) : std::nullopt;
}

std::optional<QString> WaylandApplication::desktopId() const {
    return entry_ ? std::optional(entry_->id) : std::nullopt;
}

bool WaylandApplication::isActive() const {
    return !terminated_ && std::any_of(toplevels_.begin(), toplevels_.end(),
                                       [](const Toplevel& t) { return t.activated; });
}

QImage WaylandApplication::icon() const {
    // The entry's icon, else a theme icon named like the app id (how docks find most).
    const QString name = entry_ && !entry_->icon.isEmpty() ? entry_->icon : appId_;
    return name.isEmpty() ? QImage() : xdg::themedIcon(name, apps_.iconSize_);
}

std::vector<AppWindow> WaylandApplication::windows() const {
    std::vector<AppWindow> shown;
    for (const Toplevel& t : toplevels_) {
        shown.push_back({static_cast<WindowRef>(t.id), t.title, t.minimized});
    }
    return shown;
}

bool WaylandApplication::activate() {
    if (terminated_ || toplevels_.empty()) {
        return false;
    }
    const Toplevel& latest = toplevels_.front();
    if (latest.minimized) {
        apps_.source_.unminimize(latest.id);
    } else {
        apps_.source_.activate(latest.id);
    }
    return true;
}

WaylandRunningApps::WaylandRunningApps(ToplevelSource& source, QString ownAppId,
                                       std::vector<std::pair<QString, QString>> initialOrder)
    : source_(source)
    , ownAppId_(std::move(ownAppId))
    , initialOrder_(std::move(initialOrder)) {
    loginSession_ = std::make_unique<xdg::LoginSession>(
        [this] { observers_.notify(&RunningAppsObserver::sessionResignedActive); });
    source_.setListener([this](std::vector<Toplevel> list) {
        QMetaObject::invokeMethod(
            this, [this, list = std::move(list)]() mutable { accept(std::move(list)); },
            Qt::QueuedConnection);
    });
    // The applications are there from the start: the switcher's first recency is read at once.
    accept(source_.current());
}

WaylandRunningApps::~WaylandRunningApps() {
    source_.setListener(nullptr);
}

void WaylandRunningApps::accept(std::vector<Toplevel> list) {
    std::erase_if(list, [this](const Toplevel& t) { return t.appId == ownAppId_; });
    reorder(list);
    regroup(list);
}

void WaylandRunningApps::reorder(const std::vector<Toplevel>& list) {
    std::erase_if(recency_, [&](std::uint64_t id) {
        return std::none_of(list.begin(), list.end(),
                            [id](const Toplevel& t) { return t.id == id; });
    });
    // Toplevels new to the list: in the order the compositor knew from before, else behind
    // the known ones.
    std::vector<Toplevel> fresh;
    for (const Toplevel& t : list) {
        if (std::find(recency_.begin(), recency_.end(), t.id) == recency_.end()) {
            fresh.push_back(t);
        }
    }
    // Both lists are read at nearly the same moment, but a title may change in between (a
    // shell sets its terminal's) and an Xwayland window may go by its class in one and its
    // instance in the other: the pair first, then the title, then the app id alone.
    auto rank = [this](const Toplevel& t) {
        using Known = std::pair<QString, QString>;
        const std::function<bool(const Known&)> matches[] = {
            [&](const Known& known) { return known == Known(t.appId, t.title); },
            [&](const Known& known) { return known.second == t.title; },
            [&](const Known& known) {
                return known.first.compare(t.appId, Qt::CaseInsensitive) == 0;
            }};
        for (const auto& match : matches) {
            const auto it = std::find_if(initialOrder_.begin(), initialOrder_.end(), match);
            if (it != initialOrder_.end()) {
                return it - initialOrder_.begin();
            }
        }
        return static_cast<std::ptrdiff_t>(initialOrder_.size());
    };
    std::stable_sort(fresh.begin(), fresh.end(),
                     [&](const Toplevel& a, const Toplevel& b) { return rank(a) < rank(b); });
    for (const Toplevel& t : fresh) {
        recency_.push_back(t.id);
    }
    for (const Toplevel& t : list) {
        if (t.activated && (recency_.empty() || recency_.front() != t.id)) {
            std::erase(recency_, t.id);
            recency_.insert(recency_.begin(), t.id);
            initialOrder_.clear(); // from the first activation on, Hopla knows better
        }
    }
}

void WaylandRunningApps::regroup(const std::vector<Toplevel>& list) {
    std::map<AppHandle, std::vector<Toplevel>> grouped;
    std::map<AppHandle, std::pair<QString, std::optional<xdg::DesktopEntry>>> identities;
    for (const std::uint64_t id : recency_) {
        const auto t =
            std::find_if(list.begin(), list.end(), [id](const Toplevel& x) { return x.id == id; });
        const std::optional<xdg::DesktopEntry> entry = entryFor(t->appId);
        const QString key = entry                ? QStringLiteral("entry:") + entry->id
                            : t->appId.isEmpty() ? QStringLiteral("window:%1").arg(id)
                                                 : QStringLiteral("id:") + t->appId;
        auto [handle, added] = handles_.try_emplace(key, nextHandle_);
        if (added) {
            ++nextHandle_;
        }
        grouped[handle->second].push_back(*t);
        identities.try_emplace(handle->second, t->appId, entry);
    }
    std::vector<std::shared_ptr<WaylandApplication>> gone;
    std::erase_if(apps_, [&](const auto& app) {
        if (grouped.count(app->handle_)) {
            return false;
        }
        app->terminated_ = true;
        app->toplevels_.clear();
        gone.push_back(app);
        return true;
    });
    for (auto& [handle, toplevels] : grouped) {
        auto it = std::find_if(apps_.begin(), apps_.end(),
                               [handle](const auto& a) { return a->handle_ == handle; });
        if (it == apps_.end()) {
            auto& [appId, entry] = identities[handle];
            apps_.push_back(std::make_shared<WaylandApplication>(*this, handle, appId, entry));
            it = std::prev(apps_.end());
        }
        (*it)->toplevels_ = std::move(toplevels);
    }
    auto owners = std::make_shared<ToplevelOwners>();
    for (const auto& app : apps_) {
        owners->windows[app->handle_] = app->toplevels_;
    }
    {
        std::lock_guard guard(ownersLock_);
        owners_ = std::move(owners);
    }
    for (const auto& app : gone) {
        observers_.notify(&RunningAppsObserver::terminated, ApplicationPtr(app));
    }
    if (const auto active = activeApplication(); active && active->handle() != lastActive_) {
        lastActive_ = active->handle();
        observers_.notify(&RunningAppsObserver::activated, active);
    }
}

std::optional<xdg::DesktopEntry> WaylandRunningApps::entryFor(const QString& appId) {
    if (appId.isEmpty()) {
        return std::nullopt;
    }
    // Looked up once per app id: a miss would read every installed entry again.
    const auto known = entryByAppId_.find(appId);
    if (known != entryByAppId_.end()) {
        return known->second;
    }
    auto entry = entries_.byId(appId);
    if (!entry) {
        entry = entries_.forWindowClass(appId, appId);
    }
    if (!entry) {
        entry = entries_.byProgram(appId);
    }
    entryByAppId_.emplace(appId, entry);
    return entry;
}

std::shared_ptr<const ToplevelOwners> WaylandRunningApps::owners() const {
    std::lock_guard guard(ownersLock_);
    return owners_;
}

std::vector<ApplicationPtr> WaylandRunningApps::runningApplications() {
    return {apps_.begin(), apps_.end()};
}

ApplicationPtr WaylandRunningApps::activeApplication() {
    const auto it =
        std::find_if(apps_.begin(), apps_.end(), [](const auto& a) { return a->isActive(); });
    return it == apps_.end() ? nullptr : *it;
}

ApplicationPtr WaylandRunningApps::application(AppHandle id) {
    const auto it =
        std::find_if(apps_.begin(), apps_.end(), [id](const auto& a) { return a->handle_ == id; });
    return it == apps_.end() ? nullptr : *it;
}

std::vector<AppHandle> WaylandRunningApps::recencyOrder() {
    std::vector<AppHandle> order;
    for (const std::uint64_t id : recency_) {
        for (const auto& app : apps_) {
            const bool owns = std::any_of(app->toplevels_.begin(), app->toplevels_.end(),
                                          [id](const Toplevel& t) { return t.id == id; });
            if (owns && std::find(order.begin(), order.end(), app->handle_) == order.end()) {
                order.push_back(app->handle_);
            }
        }
    }
    return order;
}

void WaylandRunningApps::openApplication(const QString& launchPath,
                                         std::optional<AppHandle> running, OpenAnswer answer) {
    if (running) {
        if (const auto app = application(*running); app && app->activate()) {
            answer(std::nullopt); // a running application is brought forward, never started again
            return;
        }
    }
    launcher_.async([launchPath, answer = std::move(answer)] {
        answer(xdg::DesktopEntries::open(launchPath));
    });
}

Subscription WaylandRunningApps::observe(RunningAppsObserver observer) {
    return observers_.add(std::move(observer));
}

} // namespace hopla::wayland
