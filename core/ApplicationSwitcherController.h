#pragma once

#include "core/ApplicationActivation.h"
#include "core/ApplicationIconCache.h"
#include "core/KeyboardGesture.h"
#include "core/PanelModel.h"
#include "core/RecentApps.h"
#include "core/SwitchSession.h"
#include "platform/Identity.h"
#include "platform/Lifetime.h"
#include "platform/RunningApps.h"
#include "platform/Scheduler.h"
#include "platform/Subscription.h"

#include <functional>
#include <optional>

namespace hopla {

struct ApplicationSwitcherOptions {
    // Names the window restorer's worker thread.
    std::string restorerLabel = "hopla";
    // How long an ambiguous letter waits for another key before it switches. The default
    // asks the desktop's double-click interval.
    std::function<Scheduler::Duration()> doubleClickInterval;

    // What happened, told on the main thread; any may be left empty.
    std::function<void()> dismissed;                          // the session closed
    std::function<void(ApplicationActivationFailure)> failed; // a switch did not take
    std::function<void(AppHandle)> activationRequested;       // a switch was asked for
    std::function<void(const ApplicationPtr&)> activated;     // a switch was confirmed
};

// Turns key actions into switching: opens a session over the running applications, steps
// and jumps by letter, activates the choice and reads back the result, keeps the session in
// step with applications that quit, and closes it. The only place where a session changes.
// Main thread only.
class ApplicationSwitcherController {
public:
    using Options = ApplicationSwitcherOptions;

    // How often the candidates are checked against the running applications.
    static constexpr auto refreshInterval = std::chrono::milliseconds(100);
    static constexpr auto refreshTolerance = std::chrono::milliseconds(20);
    static constexpr int confirmationAttempts = 5;

    ApplicationSwitcherController(SwitcherPanelInterface& panel, RunningApps& runningApps,
                                  WindowSystem& windows, Scheduler& scheduler,
                                  Options options = {});
    ~ApplicationSwitcherController();
    ApplicationSwitcherController(const ApplicationSwitcherController&) = delete;
    ApplicationSwitcherController& operator=(const ApplicationSwitcherController&) = delete;

    // Starts following the runningApps's activations, terminations and session changes. Once.
    void start();
    // Dismisses and stops following the runningApps.
    void stop();

    // Applies a key action; true when it was used.
    bool route(const GestureAction& action);
    // Gathers the candidates and shows the panel; false when there is nothing to switch to.
    bool openSession(bool backwards);
    // The same over the windows of the frontmost application.
    bool openWindowSession(bool backwards);
    // Selects the candidate and activates it at once (a click on the panel).
    void select(AppHandle id);
    // Closes the session and the panel.
    void dismiss();

    const std::optional<SwitchSession>& session() const { return session_; }
    const RecentApps& recent() const { return recent_; }
    ApplicationIconCache& iconCache() { return iconCache_; }

private:
    void setSession(std::optional<SwitchSession> session);
    std::vector<ApplicationPtr> candidates();
    // A session over the candidates in recency order, the frontmost application counted as
    // the most recent.
    SwitchSession orderedSession(const std::vector<ApplicationPtr>& apps, RecentApps& recent,
                                 bool backwards);
    // Soon, while no session is open: hands the panel the session a switch would open now,
    // so that opening it has nothing left to draw.
    void prepareUpcomingSession();
    void cancelActivation();
    void activate(AppHandle id, bool hideWhenReady);
    struct WindowCandidates;
    void activateWindow(const WindowCandidates& candidates, AppHandle entry);
    // Drops the windows that closed since the window session opened.
    void refreshWindowCandidates();
    void removeCandidate(AppHandle id);
    void startSessionApplicationRefresh();
    std::pair<IconMap, std::vector<ApplicationPtr>>
    cachedIcons(const std::vector<ApplicationPtr>& apps);
    void fillMissingIcons(std::vector<ApplicationPtr> missing, IconMap icons, Identity session);
    // Shows the panel over the session just begun, with the icons at hand; the rest follow.
    void present(const std::vector<ApplicationPtr>& apps);
    // The entries an application's icon goes to: its own, or every window's.
    std::vector<AppHandle> iconEntries(const Application& app) const;
    Scheduler::Duration doubleClickInterval() const;

    // The application whose windows a window session lists; entry i + 1 is windows[i].
    struct WindowCandidates {
        ApplicationPtr app;
        std::vector<AppWindow> windows;
    };

    SwitcherPanelInterface& panel_;
    RunningApps& runningApps_;
    WindowSystem& windows_;
    Scheduler& scheduler_;
    Options options_;
    std::optional<SwitchSession> session_;
    std::optional<WindowCandidates> windowCandidates_; // while a window session is open
    ApplicationActivationCoordinator activationCoordinator_;
    RecentApps recent_;
    ApplicationIconCache iconCache_;
    Subscription observers_;
    ScheduledTask sessionApplicationTimer_;
    Identity sessionIdentity_ = Identity::random();
    Identity activationIdentity_ = Identity::random();
    bool upcomingPosted_ = false;
    Lifetime lifetime_;
};

} // namespace hopla
