#pragma once

#include "platform/ObserverList.h"
#include "platform/RunningApps.h"
#include "platform/SerialQueue.h"
#include "platform/wayland/Toplevels.h"
#include "platform/xdg/DesktopEntries.h"
#include "platform/xdg/LoginSession.h"

#include <QObject>

#include <map>
#include <memory>
#include <mutex>

namespace hopla::wayland {

class WaylandRunningApps;

// Which toplevels each application has, most recently used first, for readers on any thread.
struct ToplevelOwners {
    std::map<AppHandle, std::vector<Toplevel>> windows;
};

// One running application: the toplevels of one identity (the desktop entry their app id
// names, else the app id itself).
class WaylandApplication final : public Application {
public:
    WaylandApplication(WaylandRunningApps& apps, AppHandle handle, QString appId,
                       std::optional<xdg::DesktopEntry> entry)
        : apps_(apps)
        , handle_(handle)
        , appId_(std::move(appId))
        , entry_(std::move(entry)) {}

    AppHandle handle() const override { return handle_; }
    std::optional<QString> localizedName() const override;
    std::optional<QString> launchPath() const override;
    std::optional<QString> executableLocation() const override { return std::nullopt; }
    std::optional<QString> desktopId() const override;
    std::optional<WallClockTime> launchDate() const override { return std::nullopt; }
    TaskbarPolicy taskbarPolicy() const override { return TaskbarPolicy::regular; }
    bool isTerminated() const override { return terminated_; }
    bool isActive() const override;
    QImage icon() const override;
    std::vector<AppWindow> windows() const override;
    bool activate() override;

private:
    friend class WaylandRunningApps;
    WaylandRunningApps& apps_;
    AppHandle handle_;
    QString appId_;
    std::optional<xdg::DesktopEntry> entry_;
    std::vector<Toplevel> toplevels_; // most recently used first
    bool terminated_ = false;
};

// The running applications of a Wayland session, from the toplevels a compositor protocol
// lists: grouped by identity, with recency from the activated state. Main thread only, but
// owners().
class WaylandRunningApps final : public QObject, public RunningApps {
public:
    // `ownAppId` is the app id of Hopla's own windows, never listed. `initialOrder` is the
    // order of use the compositor knew before Hopla started, most recent first, as app id
    // and title: the toplevels listed before any activation is seen are put in this order.
    WaylandRunningApps(ToplevelSource& source, QString ownAppId,
                       std::vector<std::pair<QString, QString>> initialOrder);
    ~WaylandRunningApps() override;

    std::vector<ApplicationPtr> runningApplications() override;
    ApplicationPtr activeApplication() override;
    ApplicationPtr application(AppHandle id) override;
    AppHandle ownHandle() const override { return ownHandle_; }
    std::vector<AppHandle> recencyOrder() override;
    void openApplication(const QString& launchPath, std::optional<AppHandle> running,
                         OpenAnswer answer) override;
    [[nodiscard]] Subscription observe(RunningAppsObserver observer) override;

    void setIconSize(int pixels) { iconSize_ = pixels; }
    // Any thread.
    std::shared_ptr<const ToplevelOwners> owners() const;
    ToplevelSource& source() { return source_; }

private:
    friend class WaylandApplication;
    void accept(std::vector<Toplevel> list);
    void reorder(const std::vector<Toplevel>& list);
    void regroup(const std::vector<Toplevel>& list);
    // The desktop entry an app id names: by id, by the class it claims, by its program.
    std::optional<xdg::DesktopEntry> entryFor(const QString& appId);
    static constexpr AppHandle ownHandle_ = 0;

    ToplevelSource& source_;
    QString ownAppId_;
    xdg::DesktopEntries entries_;
    std::vector<std::uint64_t> recency_; // latest use first
    std::vector<std::pair<QString, QString>> initialOrder_;
    std::vector<std::shared_ptr<WaylandApplication>> apps_; // in order of first appearance
    std::map<QString, AppHandle> handles_;                  // every identity seen
    std::map<QString, std::optional<xdg::DesktopEntry>> entryByAppId_;
    AppHandle nextHandle_ = ownHandle_ + 1;
    AppHandle lastActive_ = ownHandle_;
    int iconSize_ = 80;
    mutable std::mutex ownersLock_;
    std::shared_ptr<const ToplevelOwners> owners_ = std::make_shared<ToplevelOwners>();
    ObserverList<RunningAppsObserver> observers_;
    std::unique_ptr<xdg::LoginSession> loginSession_;
    SerialQueue launcher_{"hopla-launch"};
};

} // namespace hopla::wayland
