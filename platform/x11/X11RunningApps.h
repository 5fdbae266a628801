#pragma once

#include "platform/ObserverList.h"
#include "platform/RunningApps.h"
#include "platform/SerialQueue.h"
#include "platform/x11/ClientWindows.h"
#include "platform/x11/DesktopEntries.h"
#include "platform/x11/LoginSession.h"

#include <QObject>
#include <QSocketNotifier>

#include <map>
#include <memory>
#include <set>
#include <string>

namespace hopla::x11 {

class X11RunningApps;

// One running application: the managed windows of one process.
class X11Application final : public Application {
public:
    X11Application(X11RunningApps& runningApps, AppHandle pid);

    AppHandle handle() const override { return pid_; }
    std::optional<QString> localizedName() const override;
    std::optional<QString> launchPath() const override;
    std::optional<QString> executableLocation() const override { return executable_; }
    std::optional<QString> desktopId() const override;
    std::optional<WallClockTime> launchDate() const override { return launched_; }
    TaskbarPolicy taskbarPolicy() const override;
    bool isTerminated() const override { return terminated_; }
    bool isActive() const override;
    QImage icon() const override;
    bool activate() override;
    // Brings the application's most recent window forward without the window manager's
    // consent: maps it when minimized, raises it and gives it the input focus. False when
    // it has no window that takes the focus.
    bool forceForward();

    const std::vector<ClientWindow>& windows() const { return windows_; }

private:
    friend class X11RunningApps;
    // The window to bring forward: the topmost of those that take the focus.
    const ClientWindow* focusTarget() const;

    X11RunningApps& runningApps_;
    AppHandle pid_;
    std::vector<ClientWindow> windows_; // in client-list order
    std::optional<DesktopEntry> entry_;
    std::optional<QString> executable_;
    std::optional<WallClockTime> launched_;
    bool terminated_ = false;
};

// The desktop's running applications over EWMH: _NET_CLIENT_LIST grouped by process,
// _NET_ACTIVE_WINDOW for the frontmost one, and property changes on the root window for
// the notifications. Main thread only; needs a running Qt event loop for notifications.
class X11RunningApps final : public QObject, public RunningApps {
    Q_OBJECT
public:
    // Nothing, with the reason, when there is no X server or no EWMH window manager.
    static std::unique_ptr<X11RunningApps> open(std::string* error);
    ~X11RunningApps() override;

    std::vector<ApplicationPtr> runningApplications() override;
    ApplicationPtr activeApplication() override;
    ApplicationPtr application(AppHandle id) override;
    AppHandle ownHandle() const override { return self_; }
    std::vector<AppHandle> stackingOrder() override;
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

private:
    friend class X11Application;
    X11RunningApps(std::unique_ptr<XConnection> x, std::unique_ptr<XConnection> events);
    void drainEvents();
    // Reads what the notifications marked as changed, then regroups the applications.
    void update();
    void regroup();
    void handleActiveWindowChange();
    // Tells observers when the active application differs from the one last noted. Called
    // on every read of the active window, so what observers hear matches what was read.
    void noteActive(const std::shared_ptr<X11Application>& app);
    std::shared_ptr<X11Application> owner(WindowId window);
    ServerTime timestamp() const { return userTime_ != currentTime ? userTime_ : lastServerTime_; }

    std::unique_ptr<XConnection> x_;
    AppHandle self_;
    DesktopEntries entries_;
    std::vector<std::shared_ptr<X11Application>> apps_; // in order of first appearance
    std::vector<WindowId> clientList_;                  // _NET_CLIENT_LIST as last read
    std::map<WindowId, ClientWindow> windows_;          // what was read of each client
    std::set<WindowId> staleWindows_;                   // changed since they were read
    bool listStale_ = true;
    bool activeStale_ = true;
    WindowId active_ = noWindow;
    AppHandle lastActive_ = 0;
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
