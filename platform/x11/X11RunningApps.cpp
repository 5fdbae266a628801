#include "platform/x11/X11RunningApps.h"
#include "platform/x11/XConnection.h"

#include "platform/x11/ProcessInfo.h"
#include "platform/x11/WindowIcon.h"
#include "platform/x11/X11WindowSystem.h"
#include "platform/xdg/ThemedIcon.h"

#include <QCoreApplication>

#include <algorithm>
#include <set>
#include <unistd.h>

namespace hopla::x11 {

namespace {

constexpr std::uint32_t iconPropertyLimit = 4 << 20; // bytes: a 1024×1024 icon
constexpr std::size_t forgottenWindowsKept = 64;

// What a window's identity is worked out from; when it changes, it is worked out again.
QString identityFacts(const ClientWindow& w) {
    return QStringList{w.instance, w.className, w.gtkApplicationId, w.kdeDesktopFile,
                       w.pid ? QString::number(*w.pid) : QString()}
        .join(QChar(0));
}

} // namespace

X11Application::X11Application(X11RunningApps& runningApps, AppHandle handle, AppIdentity identity,
                               std::optional<Pid> pid)
    : runningApps_(runningApps)
    , handle_(handle)
    , identity_(std::move(identity)) {
    if (pid) {
        executable_ = executablePath(*pid);
        launched_ = processStartTime(*pid);
    }
}

std::optional<QString> X11Application::localizedName() const {
    if (const auto& entry = identity_.entry; entry && !entry->name.isEmpty()) {
        return entry->name;
    }
    for (const auto& w : windows_) {
        if (!w.className.isEmpty()) {
            return w.className;
        }
    }
    for (const auto& w : windows_) {
        if (!w.title.isEmpty()) {
            return w.title;
        }
    }
    return std::nullopt;
}

std::optional<QString> X11Application::launchPath() const {
    if (identity_.entry) {
        return identity_.entry->file;
    }
    return executable_;
}

std::optional<QString> X11Application::desktopId() const {
    return identity_.entry ? std::optional(identity_.entry->id) : std::nullopt;
}

TaskbarPolicy X11Application::taskbarPolicy() const {
    const bool regular = std::any_of(windows_.begin(), windows_.end(),
                                     [](const auto& w) { return w.countsAsApplication; });
    return regular ? TaskbarPolicy::regular : TaskbarPolicy::accessory;
}

bool X11Application::isActive() const {
    if (terminated_ || runningApps_.connectionLost()) {
        return false;
    }
    const auto owner = runningApps_.owner(readActiveWindow(*runningApps_.x_));
    return owner && owner->handle_ == handle_;
}

QImage X11Application::icon() const {
    // The icon users know from menus and docks comes first; then what the window itself
    // offers, newest form first.
    const int size = runningApps_.iconSize_;
    if (identity_.entry) {
        if (QImage themed = xdg::themedIcon(identity_.entry->icon, size); !themed.isNull()) {
            return themed;
        }
    }
    for (const auto& w : windows_) {
        if (const auto data =
                runningApps_.x_->cardinals(w.id, runningApps_.x_->ewmh()->_NET_WM_ICON,
                                           XCB_ATOM_CARDINAL, iconPropertyLimit)) {
            if (QImage image = imageFromWmIcon(*data, size); !image.isNull()) {
                return image;
            }
        }
    }
    for (const auto& w : windows_) {
        if (QImage old = readPixmapIcon(*runningApps_.x_, w.id); !old.isNull()) {
            return old;
        }
    }
    return {};
}

std::vector<AppWindow> X11Application::windows() const {
    std::vector<AppWindow> shown;
    for (const auto& w : windows_) {
        if (w.countsAsApplication) {
            shown.push_back({static_cast<WindowRef>(w.id), w.title, w.minimized});
        }
    }
    return shown;
}

const ClientWindow* X11Application::focusTarget() const {
    const auto it = std::find_if(windows_.begin(), windows_.end(), [](const ClientWindow& w) {
        return w.acceptsFocus && w.role != WindowRole::auxiliary;
    });
    return it == windows_.end() ? nullptr : &*it;
}

bool X11Application::activate() {
    if (terminated_ || runningApps_.connectionLost()) {
        return false;
    }
    const ClientWindow* target = focusTarget();
    if (!target) {
        return false; // nothing of it can take the focus
    }
    auto& x = *runningApps_.x_;
    // Where it is now: it may have moved to another desktop since it was last read.
    requestActivation(x, readClientWindow(x, target->id).value_or(*target),
                      runningApps_.timestamp());
    return true;
}

bool X11Application::forceForward() {
    if (terminated_ || runningApps_.connectionLost()) {
        return false;
    }
    const ClientWindow* target = focusTarget();
    if (!target) {
        return false;
    }
    auto& x = *runningApps_.x_;
    const xcb_window_t w = target->id;
    // The key's time when there is one. A server time read off some property change may be
    // older than the last focus change, and the server ignores a focus request older than
    // that; with no key time the request is made for now.
    const xcb_timestamp_t time = runningApps_.userTime_;
    // ICCCM: mapping an iconic window asks for Normal state; for a window that shows
    // already it changes nothing. Asked every time: what was read of it may be older than
    // a minimize that is still on its way here.
    xcb_map_window(x.raw(), w);
    // Asking as the application itself (source 1) is the route window managers with a
    // strict focus-stealing policy still honour for a window of the focused client.
    constexpr auto fromApplication = XCB_EWMH_CLIENT_SOURCE_TYPE_NORMAL;
    xcb_ewmh_request_change_active_window(x.ewmh(), x.screenNumber(), w, fromApplication, time,
                                          readActiveWindow(x));
    const std::uint32_t above = XCB_STACK_MODE_ABOVE;
    xcb_configure_window(x.raw(), w, XCB_CONFIG_WINDOW_STACK_MODE, &above);
    xcb_set_input_focus(x.raw(), XCB_INPUT_FOCUS_PARENT, w, time);
    xcb_flush(x.raw());
    return true;
}

std::unique_ptr<X11RunningApps> X11RunningApps::open(std::string* error) {
    auto x = XConnection::open(nullptr, error);
    if (!x) {
        return nullptr;
    }
    if (!x->cardinals(x->root(), x->ewmh()->_NET_CLIENT_LIST, XCB_ATOM_WINDOW, 4)) {
        // An empty list still reads; a missing one means no EWMH window manager.
        const auto check =
            x->cardinal(x->root(), x->ewmh()->_NET_SUPPORTING_WM_CHECK, XCB_ATOM_WINDOW);
        if (!check) {
            if (error) {
                *error = "no EWMH window manager is running on this display";
            }
            return nullptr;
        }
    }
    auto events = XConnection::open(nullptr, error);
    if (!events) {
        return nullptr;
    }
    return std::unique_ptr<X11RunningApps>(new X11RunningApps(std::move(x), std::move(events)));
}

X11RunningApps::X11RunningApps(std::unique_ptr<XConnection> x, std::unique_ptr<XConnection> events)
    : x_(std::move(x))
    , selfPid_(static_cast<Pid>(::getpid()))
    , events_(std::move(events)) {
    const std::uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(events_->raw(), events_->root(), XCB_CW_EVENT_MASK, &mask);
    xcb_flush(events_->raw());
    notifier_ = std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(events_->raw()),
                                                  QSocketNotifier::Read);
    connect(notifier_.get(), &QSocketNotifier::activated, this, &X11RunningApps::drainEvents);
    loginSession_ = std::make_unique<LoginSession>(
        [this] { observers_.notify(&RunningAppsObserver::sessionResignedActive); });
    refresh();
    if (const auto active = owner(active_)) {
        lastActive_ = active->handle_;
    }
}

X11RunningApps::~X11RunningApps() = default;

bool X11RunningApps::connectionLost() const {
    return x_->broken() || events_->broken();
}

void X11RunningApps::refresh() {
    listStale_ = true;
    activeStale_ = true;
    for (const auto& [window, read] : windows_) {
        staleWindows_.insert(window);
    }
    update();
}

void X11RunningApps::update() {
    if (connectionLost()) {
        clientList_.clear();
        windows_.clear();
        staleWindows_.clear();
        recency_.clear();
        active_ = XCB_WINDOW_NONE;
        regroup();
        return;
    }
    if (!listStale_ && staleWindows_.empty() && !activeStale_) {
        return; // nothing changed since the last look: no round trip
    }
    std::vector<WindowId> appeared;
    if (listStale_) {
        listStale_ = false;
        clientList_ = readClientList(*x_).value_or(std::vector<xcb_window_t>{});
        const std::set<xcb_window_t> listed(clientList_.begin(), clientList_.end());
        std::erase_if(windows_, [&](const auto& entry) { return !listed.contains(entry.first); });
        // A window that leaves the list keeps its place for a while: a window manager that
        // restarts lists every window again.
        if (recency_.size() > 2 * clientList_.size() + forgottenWindowsKept) {
            std::erase_if(recency_, [&](WindowId w) { return !listed.contains(w); });
        }
        const std::uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
        for (const xcb_window_t w : clientList_) {
            if (!windows_.contains(w)) {
                // Changes to it are told from now on; it is read after asking for them.
                xcb_change_window_attributes(events_->raw(), w, XCB_CW_EVENT_MASK, &mask);
                staleWindows_.insert(w);
            }
            if (std::find(recency_.begin(), recency_.end(), w) == recency_.end()) {
                appeared.push_back(w);
            }
        }
        xcb_flush(events_->raw());
    }
    if (!staleWindows_.empty()) {
        const std::vector<xcb_window_t> stale(staleWindows_.begin(), staleWindows_.end());
        staleWindows_.clear();
        for (const xcb_window_t w : stale) {
            windows_.erase(w); // a window that vanished meanwhile stays out
        }
        for (auto& read : readClientWindows(*x_, stale)) {
            if (std::find(clientList_.begin(), clientList_.end(), read.id) != clientList_.end()) {
                windows_.insert_or_assign(read.id, std::move(read));
            }
        }
    }
    const bool activeRead = activeStale_;
    if (activeStale_) {
        activeStale_ = false;
        active_ = readActiveWindow(*x_);
    }
    if (!appeared.empty() || activeRead) {
        updateRecency(appeared);
    }
    regroup();
}

void X11RunningApps::updateRecency(const std::vector<WindowId>& appeared) {
    if (!appeared.empty()) {
        // The server's own stacking: some window managers list theirs in mapping order.
        auto stacking = readServerStacking(*x_, appeared);
        if (stacking.empty()) {
            stacking = readStacking(*x_).value_or(std::vector<xcb_window_t>{});
        }
        std::vector<WindowId> newcomers = appeared;
        const auto height = [&](WindowId w) {
            return std::find(stacking.begin(), stacking.end(), w) - stacking.begin();
        };
        std::stable_sort(newcomers.begin(), newcomers.end(),
                         [&](WindowId a, WindowId b) { return height(a) > height(b); });
        recency_.insert(recency_.end(), newcomers.begin(), newcomers.end());
    }
    const auto active = std::find(recency_.begin(), recency_.end(), active_);
    if (active != recency_.end()) {
        std::rotate(recency_.begin(), active, active + 1);
    }
}

const AppIdentity& X11RunningApps::identityOf(const ClientWindow& window) {
    const QString facts = identityFacts(window);
    auto known = identities_.find(window.id);
    if (known == identities_.end() || known->second.facts != facts) {
        QString sandbox;
        if (window.pid) {
            auto cached = sandboxIds_.find(*window.pid);
            if (cached == sandboxIds_.end()) {
                cached = sandboxIds_.emplace(*window.pid, sandboxAppId(*window.pid)).first;
            }
            sandbox = cached->second.value_or(QString());
        }
        known = identities_
                    .insert_or_assign(window.id,
                                      KnownIdentity{facts, identify(window, sandbox, entries_)})
                    .first;
    }
    return known->second.identity;
}

void X11RunningApps::regroup() {
    // Windows by application, each application's most recent first.
    std::map<QString, std::vector<ClientWindow>> byKey;
    std::vector<const AppIdentity*> order;
    std::set<Pid> processes;
    for (const WindowId w : recency_) {
        const auto read = windows_.find(w);
        if (read == windows_.end() || read->second.pid == selfPid_) {
            continue; // not read yet, or Hopla's own
        }
        const AppIdentity& identity = identityOf(read->second);
        auto& list = byKey[identity.key];
        if (list.empty()) {
            order.push_back(&identity);
        }
        list.push_back(read->second);
        if (read->second.pid) {
            processes.insert(*read->second.pid);
        }
    }
    std::erase_if(identities_, [&](const auto& entry) { return !windows_.contains(entry.first); });
    std::erase_if(sandboxIds_, [&](const auto& entry) { return !processes.contains(entry.first); });

    std::vector<std::shared_ptr<X11Application>> gone;
    std::vector<std::shared_ptr<X11Application>> next;
    for (auto& app : apps_) {
        if (auto it = byKey.find(app->identity_.key); it != byKey.end()) {
            app->windows_ = std::move(it->second);
            byKey.erase(it);
            next.push_back(app);
        } else {
            app->terminated_ = true;
            app->windows_.clear();
            gone.push_back(app);
        }
    }
    for (const AppIdentity* identity : order) {
        auto it = byKey.find(identity->key);
        if (it == byKey.end()) {
            continue; // already known
        }
        // An application seen before keeps its handle, and with it its place in recency.
        const auto [known, fresh] = handles_.try_emplace(identity->key, nextHandle_);
        nextHandle_ += fresh ? 1 : 0;
        auto app = std::make_shared<X11Application>(*this, known->second, *identity,
                                                    it->second.front().pid);
        app->windows_ = std::move(it->second);
        next.push_back(std::move(app));
    }
    apps_ = std::move(next);
    WindowOwners::Map owners;
    for (const auto& app : apps_) {
        auto& ids = owners[app->handle_];
        for (const auto& w : app->windows_) {
            ids.push_back(w.id);
        }
    }
    owners_->set(std::move(owners));
    for (const auto& app : gone) {
        observers_.notify(&RunningAppsObserver::terminated, ApplicationPtr(app));
    }
}

std::shared_ptr<X11Application> X11RunningApps::owner(xcb_window_t window) {
    if (window == XCB_WINDOW_NONE) {
        return nullptr;
    }
    for (const auto& app : apps_) {
        for (const auto& w : app->windows_) {
            if (w.id == window) {
                return app;
            }
        }
    }
    return nullptr;
}

std::vector<ApplicationPtr> X11RunningApps::runningApplications() {
    drainEvents(); // what the server already told: no round trip unless something changed
    return {apps_.begin(), apps_.end()};
}

std::vector<AppHandle> X11RunningApps::recencyOrder() {
    drainEvents();
    std::vector<AppHandle> order;
    for (const WindowId w : recency_) {
        const auto app = owner(w);
        if (app && app->taskbarPolicy() == TaskbarPolicy::regular &&
            std::find(order.begin(), order.end(), app->handle_) == order.end()) {
            order.push_back(app->handle_);
        }
    }
    return order;
}

ApplicationPtr X11RunningApps::activeApplication() {
    if (connectionLost()) {
        return nullptr;
    }
    drainEvents();
    auto app = owner(active_);
    if (!app && active_ != XCB_WINDOW_NONE) {
        refresh(); // a window newer than the last look
        app = owner(active_);
    }
    if (app) {
        noteActive(app);
    }
    return app;
}

ApplicationPtr X11RunningApps::application(AppHandle id) {
    drainEvents();
    const auto it =
        std::find_if(apps_.begin(), apps_.end(), [id](const auto& a) { return a->handle_ == id; });
    return it == apps_.end() ? nullptr : *it;
}

void X11RunningApps::openApplication(const QString& launchPath, std::optional<AppHandle> running,
                                     OpenAnswer answer) {
    // Opening an application that runs brings it forward rather than starting a copy (on
    // X11 a second launch of most programs opens a new instance). Only an application
    // with no window left is launched.
    drainEvents();
    for (const auto& app : apps_) {
        if (running && app->handle_ == *running && !app->windows_.empty()) {
            const bool forward = app->forceForward();
            answer(forward
                       ? std::nullopt
                       : std::optional(
                             QStringLiteral("no window of %1 takes the focus").arg(launchPath)));
            return;
        }
    }
    launcher_.async(
        [launchPath, answer = std::move(answer)] { answer(DesktopEntries::open(launchPath)); });
}

Subscription X11RunningApps::observe(RunningAppsObserver observer) {
    return observers_.add(std::move(observer));
}

void X11RunningApps::drainEvents() {
    if (connectionLost()) {
        if (notifier_->isEnabled()) {
            notifier_->setEnabled(false);
            update(); // every application has gone with the connection
        }
        return;
    }
    bool activeChanged = false;
    bool desktopChanged = false;
    auto* e = x_->ewmh();
    while (const Reply<xcb_generic_event_t> event{xcb_poll_for_event(events_->raw())}) {
        if ((event->response_type & 0x7f) != XCB_PROPERTY_NOTIFY) {
            continue;
        }
        const auto* property = reinterpret_cast<const xcb_property_notify_event_t*>(event.get());
        lastServerTime_ = property->time;
        if (property->window != x_->root()) {
            if (windows_.contains(property->window)) {
                staleWindows_.insert(property->window); // a name, state or hint changed
            }
            continue;
        }
        listStale_ |= property->atom == e->_NET_CLIENT_LIST;
        activeChanged |= property->atom == e->_NET_ACTIVE_WINDOW;
        desktopChanged |= property->atom == e->_NET_CURRENT_DESKTOP;
    }
    const bool clientsChanged = listStale_;
    activeStale_ |= activeChanged;
    update();
    if (activeChanged || clientsChanged) {
        handleActiveWindowChange();
    }
    if (desktopChanged) {
        observers_.notify(&RunningAppsObserver::activeSpaceChanged);
    }
}

void X11RunningApps::handleActiveWindowChange() {
    if (active_ == XCB_WINDOW_NONE) {
        return; // focus is between windows: wait for where it lands
    }
    auto app = owner(active_);
    if (!app) {
        refresh();
        app = owner(active_);
    }
    if (app) {
        noteActive(app);
    }
}

void X11RunningApps::noteActive(const std::shared_ptr<X11Application>& app) {
    if (app->handle_ == lastActive_) {
        return;
    }
    lastActive_ = app->handle_;
    observers_.notify(&RunningAppsObserver::activated, ApplicationPtr(app));
}

} // namespace hopla::x11
