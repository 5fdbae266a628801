#include "app/AppController.h"

#include "app/ApplicationShortcutVerification.h"
#include "app/Backends.h"
#include "appearance/Accessibility.h"
#include "appearance/MenuStyle.h"
#include "platform/xdg/XdgAutostart.h"
#include "updater/UpdateAlert.h"

#include "app/ColorScheme.h"
#include "app/HoplaIcons.h"

#include <QApplication>
#include <QCursor>
#include <QDateTime>
#include <QDesktopServices>
#include <QMessageBox>

#include <cstdio>

namespace hopla {

namespace {

constexpr auto settingsScreenshotDelay = std::chrono::milliseconds(1000);
constexpr auto captureDelay = std::chrono::milliseconds(500);

QImage panelIcon(AccentAppearance& appearance) {
    return appearance.applicationIcon().scaled(SwitcherView::iconSize, SwitcherView::iconSize,
                                               Qt::KeepAspectRatio, Qt::SmoothTransformation);
}

// The tray sits on the desktop's panel, whose colours follow the desktop, not Hopla.
QColor trayInk(bool desktopDark) {
    return desktopDark ? QColor(0xf2, 0xf2, 0xf2) : QColor(0x20, 0x20, 0x22);
}

} // namespace

AppController::AppController(LaunchOptions options)
    : options_(std::move(options))
    , defaults_(QCoreApplication::arguments())
    , settings_(defaults_.settings()) {
    moveRenamedSettings(settings_);
}

std::unique_ptr<AppController> AppController::create(const LaunchOptions& options,
                                                     const UpdateConfiguration& updates,
                                                     QString* error) {
    std::unique_ptr<AppController> app(new AppController(options));
    app->choice_ = chooseBackend(SessionFacts::current(QGuiApplication::platformName()));
    app->backend_ = openBackend(app->choice_, error);
    if (!app->backend_) {
        return nullptr;
    }
    DesktopBackend& backend = *app->backend_;
    AppController* self = app.get();
    app->appearance_ = HoplaAppearance::make(app->settings_, [](const QImage& icon) {
        QApplication::setWindowIcon(QPixmap::fromImage(icon));
    });
    MenuStyle::install(); // every menu of Hopla in the kit's look
    installAccessibility();
    app->autostart_ = std::make_unique<XdgAutostart>(
        QStringLiteral("hopla"), QStringLiteral("Hopla"),
        QStringList{QCoreApplication::applicationFilePath(), QStringLiteral("--login-item")});
    app->preferences_ = std::make_unique<Preferences>(app->settings_, *app->autostart_);
    app->fetcher_ = std::make_unique<HttpsFetcher>();
    app->updater_ = std::make_unique<SelfUpdater>(
        updates,
        SelfUpdater::Environment{
            .scheduler = app->scheduler_,
            .fetcher = *app->fetcher_,
            .defaults = app->settings_,
            .promptHistory = app->settings_,
            .alert = modalUpdateAlert(),
            .openURL = [](const QUrl& url) { QDesktopServices::openUrl(url); },
            .quit = [self] { self->quit(); },
            .running = AppBundle::running(),
            .secondsSince1970 = [] { return QDateTime::currentMSecsSinceEpoch() / 1000.0; },
        });

    PanelSurface& surface = backend.panelSurface();
    app->panel_ = std::make_unique<SwitcherPanel>(
        localized("Hopla 应用切换器"), [self] { return self->appearance_->accent(); }, false,
        [](const QString& text) { return localized(text.toUtf8().constData()); },
        panelIcon(*app->appearance_),
        SwitcherPanelEnvironment{
            &app->scheduler_, &backend.runningApps(), [&surface] { return surface.compositing(); },
            [&surface](const QWidget& w) {
                return surface.isOnScreen(surface.showsPanel() ? WId{} : w.winId());
            },
            [&surface] { return surface.pointer(); },
            surface.holdsImages()
                ? std::function<void(QWidget&, const QImage&)>(
                      [&surface](QWidget& w, const QImage& image) {
                          surface.setWindowImage(surface.showsPanel() ? WId{} : w.winId(), image);
                      })
                : nullptr,
            surface.showsPanel() ? std::function<void()>([&surface] { surface.showPanel(); })
                                 : nullptr,
            surface.showsPanel() ? std::function<void()>([&surface] { surface.hidePanel(); })
                                 : nullptr});
    surface.setClickHandler([self](QPoint at) { self->panel_->click(at); });
    QObject::connect(
        app->appearance_.get(), &AccentAppearance::selectionChanged, &app->panel_->view(),
        [self] { self->panel_->view().setFallbackIcon(panelIcon(*self->appearance_)); });
    backend.setIconSize(
        qRound(SwitcherView::iconSize * qApp->devicePixelRatio())); // sharp on HiDPI screens
    ApplicationSwitcherOptions switching;
    switching.dismissed = [self] { self->tap_->sessionDismissed(); };
    switching.failed = [self](ApplicationActivationFailure failure) { self->report(failure); };
    app->switcher_ = std::make_unique<ApplicationSwitcherController>(
        *app->panel_, backend.runningApps(), backend.windows(), app->scheduler_,
        std::move(switching));
    app->tap_ = std::make_unique<KeyboardTap>(
        backend.keys(), app->scheduler_, [&backend] { return backend.letters(); },
        KeyboardTap::Switcher{[self](const GestureAction& action) {
                                  // The window manager lets a switch through when it carries the
                                  // key's time.
                                  self->backend_->noteSwitchKey();
                                  return self->switcher_->route(action);
                              },
                              [self] { return self->switcher_->session().has_value(); }});
    app->readinessRefresh_ = std::make_unique<ReadinessRefresh>(
        *app->tap_, backend.keys(), *app->preferences_, [self] { return self->readiness(); },
        [self] { self->switcher_->dismiss(); },
        [self](bool on) { // the tray menu is built at launch, after this
            if (self->statusMenu_) {
                self->statusMenu_->setEnabledChecked(on);
            }
        });
    app->settingsWindow_ = std::make_unique<SettingsWindow>(
        *app->preferences_, *app->appearance_, *app->updater_,
        SettingsWindow::Actions{[self] { self->requestPermission(); },
                                [self] { self->showSettings(); }, [self] { self->quit(); },
                                [self] { self->releaseShortcut(); }});
    app->launch();
    return app;
}

void AppController::launch() {
    appearance_->applyApplicationIcon();
    colorScheme_ = std::make_unique<DesktopColorScheme>();
    const bool desktopDark = colorScheme_->dark();
    applyAppearance(preferences_->appearance(), desktopDark);
    if (options_.preview && (options_.dark || options_.light)) {
        applyAppearance(options_.light ? AppAppearance::light : AppAppearance::dark, desktopDark);
    }
    QObject::connect(
        preferences_.get(), &Preferences::appearanceAssigned, preferences_.get(),
        [this](AppAppearance appearance) { applyAppearance(appearance, colorScheme_->dark()); });
    buildMenu(desktopDark);
    if (runAppearanceAudit()) {
        return;
    }
    // "跟随系统" and the tray's ink follow the desktop while Hopla runs.
    QObject::connect(colorScheme_.get(), &DesktopColorScheme::changed, colorScheme_.get(),
                     [this](bool dark) {
                         statusMenu_->setInk(trayInk(dark));
                         if (!options_.preview || !(options_.dark || options_.light)) {
                             applyAppearance(preferences_->appearance(), dark);
                         }
                     });
    const auto restartSwitching = [this] {
        switcher_->dismiss();
        refresh();
    };
    QObject::connect(preferences_.get(), &Preferences::enabledAssigned, preferences_.get(),
                     restartSwitching);
    QObject::connect(preferences_.get(), &Preferences::switchModifierAssigned, preferences_.get(),
                     restartSwitching);
    if (options_.settingsScreenshot) {
        settingsScreenshot_ =
            ScheduledTask(scheduler_, scheduler_.after(settingsScreenshotDelay, [this] {
                showSettings();
                settingsCapture_ = ScheduledTask(scheduler_, scheduler_.after(captureDelay, [this] {
                    const QString& path = *options_.settingsScreenshot;
                    if (!settingsWindow_->capture(path, options_.settingsScrollBottom)) {
                        std::fprintf(stderr, "hopla: cannot write %s\n", qPrintable(path));
                    }
                }));
            }));
    }
    statusMenu_->setVisible(preferences_->showsTrayIcon());
    QObject::connect(preferences_.get(), &Preferences::trayIconAssigned, preferences_.get(),
                     [this] { statusMenu_->setVisible(preferences_->showsTrayIcon()); });
    // Coming to the front (the settings window) re-reads the login item, which the user may
    // have changed elsewhere.
    QObject::connect(qApp, &QGuiApplication::applicationStateChanged, preferences_.get(),
                     [this](Qt::ApplicationState state) {
                         if (state == Qt::ApplicationActive) {
                             preferences_->refreshLoginStatus();
                         }
                     });
    switcher_->start();
    if (options_.verifyShortcuts) {
        // Beside the user's Hopla: no keyboard tap, no update checks, just the window.
        if (!options_.autostart) {
            showSettings();
        }
        std::string reason;
        auto keys = backend_->syntheticKeyboard(&reason);
        ApplicationShortcutVerification::run(std::move(keys), QString::fromStdString(reason));
        return;
    }
    if (!options_.preview) {
        refresh();
        updater_->startAutomaticChecks(); // a preview beside a running Hopla does not
        refreshTimer_ =
            ScheduledTask(scheduler_, scheduler_.repeat(refreshInterval, refreshInterval / 10,
                                                        [this] { refresh(); }));
        if (!options_.autostart) {
            showSettings();
        }
        return;
    }
    switcher_->openSession(false);
    if (options_.panelScreenshot) {
        panelScreenshot_ = ScheduledTask(scheduler_, scheduler_.after(captureDelay, [this] {
            if (!panel_->capture(*options_.panelScreenshot)) {
                std::fprintf(stderr, "hopla: cannot write %s\n",
                             qPrintable(*options_.panelScreenshot));
            }
        }));
    }
}

void AppController::buildMenu(bool desktopDark) {
    statusMenu_ = std::make_unique<StatusMenu>(
        StatusMenu::Actions{[this] { showSettings(); }, [this] { toggleEnabled(); },
                            [this] { updater_->checkForUpdates(true); }, [this] { quit(); }},
        trayInk(desktopDark));
    statusMenu_->setEnabledChecked(preferences_->enabled());
}

bool AppController::runAppearanceAudit() {
    using namespace AppearanceAudit;
    const auto showSettingsScrolled = [this](bool toBottom) {
        settingsWindow_->show();
        scroll(*settingsWindow_->window(), toBottom);
        return settingsWindow_->window();
    };
    std::vector<Scene> scenes{
        {QStringLiteral("settings-top"),
         [this, showSettingsScrolled](QString&) {
             switcher_->dismiss();
             return showSettingsScrolled(false);
         }},
        {QStringLiteral("settings-bottom"),
         [showSettingsScrolled](QString&) { return showSettingsScrolled(true); }},
        {QStringLiteral("switcher"),
         [this](QString& error) -> QWidget* {
             switcher_->dismiss();
             if (!switcher_->openSession(false)) {
                 error = QStringLiteral("HoplaAppearance: the switcher did not open (no "
                                        "application to show)");
                 return nullptr;
             }
             return &panel_->window();
         }},
        errorScene(),
    };
    const auto appearanceOf = [](std::optional<bool> dark) {
        return !dark ? AppAppearance::system : *dark ? AppAppearance::dark : AppAppearance::light;
    };
    return runIfRequested(QCoreApplication::arguments(), std::move(scenes),
                          Appearance{[this, appearanceOf](std::optional<bool> dark) {
                                         applyAppearance(appearanceOf(dark), colorScheme_->dark());
                                     },
                                     [this] {
                                         const QPalette desktop =
                                             colorScheme_->dark() ? darkPalette() : lightPalette();
                                         return QApplication::palette().color(QPalette::Window) ==
                                                desktop.color(QPalette::Window);
                                     }});
}

AppController::~AppController() {
    refreshTimer_.reset();
    releaseRetry_.reset();
    settingsScreenshot_.reset();
    settingsCapture_.reset();
    panelScreenshot_.reset();
    if (tap_) {
        tap_->stop();
    }
    if (switcher_) {
        switcher_->stop();
    }
    if (panel_) {
        panel_->hide();
    }
}

Readiness AppController::readiness() {
    return choice_.available ? backend_->readiness() : Readiness{false, choice_.reason};
}

void AppController::refresh() {
    readinessRefresh_->run();
    backend_->panelSurface().recheckCompositing(); // a compositor may have come or gone
    // What the settings card says goes to the log too, once per change: the reason switching
    // does not work stays findable without opening the window.
    const PermissionCardText card = permissionCardText(*preferences_);
    const QString status = card.title + QStringLiteral(": ") + card.subtitle;
    if (status != loggedStatus_) {
        loggedStatus_ = status;
        std::fprintf(stderr, "hopla: %s\n", qPrintable(status));
    }
}

void AppController::switchPressed(const QString& action) {
    backend_->switchKeyPressed(action);
}

void AppController::reopen() {
    if (!options_.preview) {
        showSettings();
        return;
    }
    if (const auto& session = switcher_->session()) {
        panel_->update(*session);
    } else {
        switcher_->openSession(false);
    }
}

void AppController::toggleEnabled() {
    preferences_->setEnabled(!preferences_->enabled());
}

void AppController::showSettings() {
    switcher_->dismiss();
    settingsWindow_->show();
}

void AppController::requestPermission() {
    // No dialog on Linux grants keyboard access: say what Hopla needs and what is missing.
    QString text = backend_->requirements();
    const Readiness now = readiness();
    if (!now.reason.isEmpty()) {
        text += QStringLiteral("\n\n") + now.reason;
    }
    QMessageBox::information(settingsWindow_->window(), QStringLiteral("Hopla"), text);
}

void AppController::releaseShortcut() {
    const auto& conflict = preferences_->windowManagerConflict;
    if (!conflict || !conflict->releasable) {
        return;
    }
    if (const auto error = backend_->releaseShortcut(displayName(preferences_->switchModifier()))) {
        QMessageBox::warning(
            settingsWindow_->window(), QStringLiteral("Hopla"),
            localized("无法释放 %1 的快捷键：%2").arg(conflict->windowManager, *error));
        return;
    }
    // The window manager lets go once it has read the change: try now and a moment later.
    refresh();
    releaseRetry_ = ScheduledTask(
        scheduler_, scheduler_.after(std::chrono::milliseconds(300), [this] { refresh(); }));
}

void AppController::quit() {
    QCoreApplication::quit();
}

void AppController::report(ApplicationActivationFailure failure) {
    switch (failure) {
    case ApplicationActivationFailure::unavailable:
        return;
    case ApplicationActivationFailure::requestRejected:
    case ApplicationActivationFailure::foregroundTimeout:
        preferences_->runtimeError = localized("目标应用未能进入前台，请重试。");
        break;
    case ApplicationActivationFailure::windowRestoreFailed:
    case ApplicationActivationFailure::reopenFailed:
        preferences_->runtimeError = localized("应用已切换，但窗口未能打开，请重试。");
        break;
    }
    preferences_->announce();
}

} // namespace hopla
