#pragma once

#include "platform/AppHandle.h"
#include "platform/Subscription.h"
#include "platform/WindowAccess.h"

#include <QImage>
#include <QString>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace hopla {

using WallClockTime = std::chrono::system_clock::time_point;

// How an application takes part in the desktop: regular applications show in the
// switcher; accessory ones (tray-only helpers) and prohibited ones (background services) do not.
enum class TaskbarPolicy { regular, accessory, prohibited };

// One window of an application, as the switcher lists it.
struct AppWindow {
    WindowRef ref{};
    QString title;
    bool minimized = false;

    bool operator==(const AppWindow&) const = default;
};

// One running application, as the desktop sees it: the windows of one identity, in one
// process or several (or, on Wayland, in none Hopla can name). Its state is read live: isActive()
// answers for the moment it is asked. Main thread only.
class Application {
public:
    virtual ~Application() = default;

    // The handle the backend gave the application; stable while it runs.
    virtual AppHandle handle() const = 0;
    virtual std::optional<QString> localizedName() const = 0;
    // Where the application is installed: its desktop entry, or else its executable.
    virtual std::optional<QString> launchPath() const = 0;
    virtual std::optional<QString> executableLocation() const = 0;
    virtual std::optional<QString> desktopId() const = 0;
    virtual std::optional<WallClockTime> launchDate() const = 0;
    virtual TaskbarPolicy taskbarPolicy() const = 0;
    virtual bool isTerminated() const = 0;
    virtual bool isActive() const = 0;
    // The application's own icon; a null image when it has none.
    virtual QImage icon() const = 0;
    // The windows the taskbar shows, most recently used first.
    virtual std::vector<AppWindow> windows() const = 0;

    // Asks the application to come to the front. False when the request was refused.
    virtual bool activate() = 0;
};

using ApplicationPtr = std::shared_ptr<Application>;

// What the runningApps tells its observers, on the main thread. Any handler may be left empty.
struct RunningAppsObserver {
    std::function<void(const ApplicationPtr&)> activated;
    std::function<void(const ApplicationPtr&)> terminated;
    std::function<void()> sessionResignedActive; // the login session became inactive or locked
    std::function<void()> activeSpaceChanged;    // the user moved to another desktop
};

// The running applications of the desktop and what can be done with them. Main thread only,
// except where noted.
class RunningApps {
public:
    // An error text, or nothing on success; may arrive on any thread.
    using OpenAnswer = std::function<void(std::optional<QString> error)>;

    virtual ~RunningApps() = default;

    virtual std::vector<ApplicationPtr> runningApplications() = 0;
    virtual ApplicationPtr activeApplication() = 0;
    // The running application with this handle; null when there is none.
    virtual ApplicationPtr application(AppHandle id) = 0;
    // Hopla's own handle, given to no other application.
    virtual AppHandle ownHandle() const = 0;
    // The regular applications by their most recently used window, most recent first, each
    // once: the best guess of recency before any activation was seen.
    virtual std::vector<AppHandle> recencyOrder() = 0;

    // Opens the application installed at the location, as the desktop's launcher would, and
    // makes it active. `running` names the running application the open is meant for: while
    // it still has windows it is brought forward by another route than activate(), never
    // started again. The answer arrives later, possibly on another thread.
    virtual void openApplication(const QString& launchPath, std::optional<AppHandle> running,
                                 OpenAnswer answer) = 0;

    // Registers the observer until the subscription is dropped.
    [[nodiscard]] virtual Subscription observe(RunningAppsObserver observer) = 0;
};

} // namespace hopla
