#pragma once

#include "app/BackendChoice.h"
#include "app/ColorScheme.h"
#include "app/LaunchOptions.h"
#include "app/Preferences.h"
#include "app/ReadinessRefresh.h"
#include "app/SettingsWindow.h"
#include "app/StatusMenu.h"
#include "appearance/AccentAppearance.h"
#include "appearance/AppearanceAudit.h"
#include "core/ApplicationSwitcherController.h"
#include "core/KeyboardTap.h"
#include "core/panel/SwitcherPanel.h"
#include "platform/Autostart.h"
#include "platform/DesktopBackend.h"
#include "platform/qt/QtScheduler.h"
#include "updater/HttpsFetcher.h"
#include "updater/SelfUpdater.h"

#include <QSettings>

#include <memory>

namespace hopla {

// Owns and wires the running application: the display server's backend, the panel, the switcher
// controller, the keyboard tap, the tray menu and the settings window. Keeps the tap in
// step with the preferences and with whether the desktop lets Hopla see the keyboard
// (checked every 2 s). Main thread only.
class AppController {
public:
    static constexpr auto refreshInterval = std::chrono::milliseconds(2000);

    // Builds everything and runs the launch sequence. Nothing, with the reason, when no
    // display server answers.
    static std::unique_ptr<AppController>
    create(const LaunchOptions& options, const UpdateConfiguration& updates, QString* error);
    ~AppController();

    Preferences& preferences() { return *preferences_; }
    ApplicationSwitcherController& switcher() { return *switcher_; }
    SwitcherPanel& panel() { return *panel_; }

    // Applies permission, switching setting and conflicts now (also run by the timer).
    void refresh();
    // Hopla was launched again: the settings come forward (in preview, the panel).
    void reopen();
    // A press of the switch key the compositor handed over through `hopla --switch`.
    void switchPressed(const QString& action);

    // The tray menu's and settings window's actions.
    void toggleEnabled();
    void showSettings();
    void requestPermission();
    // Removes the window manager's own binding of the switch shortcut, where it can be told.
    void releaseShortcut();
    void quit();

private:
    explicit AppController(LaunchOptions options);
    void launch();
    void buildMenu(bool desktopDark);
    // With --verify-dark-theme: hands the process to the audit of light and dark colours.
    bool runAppearanceAudit();
    void report(ApplicationActivationFailure failure);
    // The backend's, unless the session is one this build cannot switch on.
    Readiness readiness();

    LaunchOptions options_;
    AppearanceAudit::Defaults defaults_; // the user's settings, or the audit's throwaway
    QSettings& settings_;
    BackendChoice choice_;
    QtScheduler scheduler_;
    std::unique_ptr<AccentAppearance> appearance_;
    std::unique_ptr<DesktopColorScheme> colorScheme_;
    std::unique_ptr<Autostart> autostart_;
    std::unique_ptr<Preferences> preferences_;
    std::unique_ptr<HttpsFetcher> fetcher_;
    std::unique_ptr<SelfUpdater> updater_;
    std::unique_ptr<DesktopBackend> backend_;
    std::unique_ptr<SwitcherPanel> panel_;
    std::unique_ptr<ApplicationSwitcherController> switcher_;
    std::unique_ptr<KeyboardTap> tap_;
    std::unique_ptr<ReadinessRefresh> readinessRefresh_;
    std::unique_ptr<StatusMenu> statusMenu_;
    std::unique_ptr<SettingsWindow> settingsWindow_;
    ScheduledTask refreshTimer_;
    ScheduledTask settingsScreenshot_;
    ScheduledTask settingsCapture_; // a task of its own: the first one is running when it is set
    ScheduledTask panelScreenshot_;
    ScheduledTask releaseRetry_;
    QString loggedStatus_; // the settings card's text last written to the log
    Lifetime lifetime_;
};

} // namespace hopla
