#pragma once

#include "platform/ObserverList.h"
#include "platform/RunningApps.h"

#include <map>

namespace hopla::fake {

class FakeRunningApps;

// A scriptable running application. Tests set its fields directly; it records how often it
// was asked to activate.
class FakeApplication final : public Application {
public:
    FakeApplication(FakeRunningApps& runningApps, AppHandle id, QString name);

    // Scripted state.
    std::optional<QString> name;
    std::optional<QString> bundle;
    std::optional<QString> executable;
    std::optional<QString> identifier;
    std::optional<WallClockTime> launched;
    TaskbarPolicy policy = TaskbarPolicy::regular;
    bool terminated = false;
    QImage ownIcon;
    std::vector<AppWindow> ownWindows;
    // How the application answers activate(): refused, or accepted and frontmost after this
    // many requests (1: at once; 0: never, it stays behind whatever it says).
    bool refusesActivation = false;
    int requestsUntilFrontmost = 1;

    // What it was asked.
    int activateCalls = 0;

    AppHandle handle() const override { return id_; }
    std::optional<QString> localizedName() const override { return name; }
    std::optional<QString> launchPath() const override { return bundle; }
    std::optional<QString> executableLocation() const override { return executable; }
    std::optional<QString> desktopId() const override { return identifier; }
    std::optional<WallClockTime> launchDate() const override { return launched; }
    TaskbarPolicy taskbarPolicy() const override { return policy; }
    bool isTerminated() const override { return terminated; }
    bool isActive() const override;
    QImage icon() const override { return ownIcon; }
    std::vector<AppWindow> windows() const override { return ownWindows; }
    bool activate() override;

private:
    FakeRunningApps& runningApps_;
    AppHandle id_;
};

// An in-memory desktop. Applications are listed in the order they were added.
class FakeRunningApps final : public RunningApps {
public:
    explicit FakeRunningApps(AppHandle currentProcess = 1);

    std::shared_ptr<FakeApplication> add(AppHandle id, QString name);
    std::shared_ptr<FakeApplication> fake(AppHandle id) const;

    // Makes the application frontmost (or nobody, with 0) and tells observers it was activated.
    void bringToFront(AppHandle id);
    // Marks the application terminated, removes it from the list and tells observers.
    void terminate(AppHandle id);
    void resignSession();
    void changeSpace();

    // The error an open answers with; nothing means success.
    std::optional<QString> openError;
    // Whether a successful open brings the application at that location to the front.
    bool openActivates = true;
    std::vector<QString> openRequests;
    // What recencyOrder() answers, most recent first.
    std::vector<AppHandle> recency;
    std::size_t observerCount() const { return observers_.size(); }

    std::vector<ApplicationPtr> runningApplications() override;
    ApplicationPtr activeApplication() override;
    ApplicationPtr application(AppHandle id) override;
    AppHandle ownHandle() const override { return currentProcess_; }
    std::vector<AppHandle> recencyOrder() override { return recency; }
    void openApplication(const QString& launchPath, std::optional<AppHandle> running,
                         OpenAnswer answer) override;
    [[nodiscard]] Subscription observe(RunningAppsObserver observer) override;

private:
    friend class FakeApplication;
    void finishOpen(const QString& location, const OpenAnswer& answer,
                    const std::optional<QString>& error);

    AppHandle currentProcess_;
    AppHandle frontmost_ = 0;
    std::vector<std::shared_ptr<FakeApplication>> apps_;
    ObserverList<RunningAppsObserver> observers_;
};

} // namespace hopla::fake
