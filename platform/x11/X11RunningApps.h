#pragma once

#include "platform/ObserverList.h"
#include "platform/RunningApps.h"
#include "platform/SerialQueue.h"
#include "platform/x11/AppIdentity.h"
#include "platform/x11/ClientWindows.h"
#include "platform/x11/WindowOwners.h"
#include "platform/xdg/DesktopEntries.h"
#include "platform/xdg/LoginSession.h"

#include <QObject>
#include <QSocketNotifier>

#include <map>
#include <memory>
#include <set>
#include <string>

namespace hopla::x11 {

using xdg::LoginSession;

class X11RunningApps;

// One running application: the managed windows of one identity (AppIdentity), in any
// number of processes.
class X11Application final : public Application {
public:
    X11Application(X11RunningApps& runningApps, AppHandle handle, AppIdentity identity,
                   std::optional<Pid> pid);

    AppHandle handle() const override { return handle_; }
    std::optional<QString> localizedName() const override;
    std::optional<QString> launchPath() const override;
    std::optional<QString> executableLocation() const override { return executable_; }
    std::optional<QString> desktopId() const override;
    std::optional<WallClockTime> launchDate() const override { return launched_; }
    TaskbarPolicy taskbarPolicy() const override;
    bool isTerminated() const override { return terminated_; }
    bool isActive() const override;
    QImage icon() const override;
    std::vector<AppWindow> windows() const override;
    bool activate() override;
    // Brings the application's most recent window forward without the window manager's
    // consent: maps it when minimized, raises it and gives it the input focus. False when
    // it has no window that takes the focus.
    bool forceForward();

    // Every managed window of it, most recently used first.
    const std::vector<ClientWindow>& clientWindows() const { return windows_; }
    const AppIdentity& identity() const { return identity_; }

private:
    friend class X11RunningApps;
    // The window to bring forward: the most recently used of those that take the focus.
    const ClientWindow* focusTarget() const;

    X11RunningApps& runningApps_;
    AppHandle handle_;
    AppIdentity identity_;
    std::vector<ClientWindow> windows_; // most recently used first
    std::optional<QString> executable_; // of the process of its first window
    std::optional<WallClockTime> launched_;
    bool terminated_ = false;
};

// The desktop's running applications over EWMH: _NET_CLIENT_LIST grouped by identity,
// _NET_ACTIVE_WINDOW for the frontmost one and for each window's recency, and property
// changes on the root window for the notifications. Main thread only; needs a running Qt
// event loop for notifications.
class X11RunningApps final : public QObject, public RunningApps {
    Q_OBJECT
public:
    // Nothing, with the reason, when there is no X server or no EWMH window manager.
    static std::unique_ptr<X11RunningApps> open(std::string* error);
    ~X11RunningApps() override;

    std::vector<ApplicationPtr> runningApplications() override;
    ApplicationPtr activeApplication() override;
    ApplicationPtr application(AppHandle id) override;
    AppHandle ownHandle() const override { return ownHandle_; }
    std::vector<AppHandle> recencyOrder() override;
    void openApplication(const QString& launchPath, std::optional<AppHandle> running,
                         OpenAnswer answer) override;
    [[nodiscard]] Subscription observe(RunningAppsObserver observer) override;

    // The X server time of the user's latest input, sent with activation requests so the
    // window manager's focus-stealing prevention lets them through.
    void setUserTime(ServerTime time) { userTime_ = time; }
    // The size in device pixels icons are wanted at (the panel's tile at the screen's
    // device pixel ratio): window icons are picked the nearest at or above it.
    void setIconSize(int pixels) { iconSize_ = pixels; }

    // Re-reads every window now; observers hear of applications that went away. Otherwise
    // the applications are kept up to date from the server's notifications (client list,
    // active window, and property changes of every client window), so asking for them
    // costs no round trip unless something changed.
    void refresh();
    bool connectionLost() const;
    // Which windows each application has, for readers on other threads.
    std::shared_ptr<const WindowOwners> owners() const { return owners_; }

private:
    friend class X11Application;
    X11RunningApps(std::unique_ptr<XConnection> x, std::unique_ptr<XConnection> events);
    void drainEvents();
    // Reads what the notifications marked as changed, then regroups the applications.
    void update();
    void regroup();
    // Puts windows new to the list behind the known ones, topmost first, and the active
    // window in front.
    void updateRecency(const std::vector<WindowId>& appeared);
    const AppIdentity& identityOf(const ClientWindow& window);
    void handleActiveWindowChange();
    // Tells observers when the active application differs from the one last noted. Called
    // on every read of the active window, so what observers hear matches what was read.
    void noteActive(const std::shared_ptr<X11Application>& app);
    std::shared_ptr<X11Application> owner(WindowId window);
    ServerTime timestamp() const { return userTime_ != currentTime ? userTime_ : lastServerTime_; }

    // A window's identity, kept while what it was worked out from stays the same.
    struct KnownIdentity {
        QString facts;
        AppIdentity identity;
    };
    static constexpr AppHandle ownHandle_ = 0; // the handles of others count from 1

    std::unique_ptr<XConnection> x_;
    Pid selfPid_;
    DesktopEntries entries_;
    std::vector<std::shared_ptr<X11Application>> apps_; // in order of first appearance
    std::vector<WindowId> clientList_;                  // _NET_CLIENT_LIST as last read
    std::map<WindowId, ClientWindow> windows_;          // what was read of each client
    std::set<WindowId> staleWindows_;                   // changed since they were read
    std::vector<WindowId> recency_; // latest use first; the listed windows, and some that were
    std::map<WindowId, KnownIdentity> identities_;
    std::map<QString, AppHandle> handles_;             // every identity seen, with its handle
    std::map<Pid, std::optional<QString>> sandboxIds_; // per process seen, while it has windows
    std::shared_ptr<WindowOwners> owners_ = std::make_shared<WindowOwners>();
    bool listStale_ = true;
    bool activeStale_ = true;
    WindowId active_ = noWindow;
    AppHandle lastActive_ = ownHandle_;
    AppHandle nextHandle_ = ownHandle_ + 1;
    int iconSize_ = 80;
    ServerTime userTime_ = currentTime;
    ServerTime lastServerTime_ = currentTime;
    ObserverList<RunningAppsObserver> observers_;
    // Events arrive on a connection of their own that never waits for replies, so none
    // can sit unread in xcb's queue while the socket looks idle.
    std::unique_ptr<XConnection> events_;
    std::unique_ptr<QSocketNotifier> notifier_;
    std::unique_ptr<LoginSession> loginSession_;
    SerialQueue launcher_{"hopla-launch"};
};

} // namespace hopla::x11
