#include "app/AppController.h"
#include "app/Backends.h"
#include "app/SingleInstance.h"
#include "app/Translations.h"
#include "appearance/AppearanceAudit.h"
#include "updater/UpdateArchiveVerification.h"
#include "updater/UpdateHelper.h"

#include <QApplication>
#include <QCommandLineParser>

#include <cstdio>
#include <cstring>
#include <memory>

namespace {

void describe(QCommandLineParser& parser) {
    parser.setApplicationDescription(
        QStringLiteral("Keyboard-first application switcher: hold Super, press Tab"));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOptions({
        {QStringLiteral("login-item"), QStringLiteral("Started at login: open no window.")},
        {QStringLiteral("preview"),
         QStringLiteral("Open the panel at once over the running applications; no keyboard "
                        "tap, may run beside another Hopla.")},
        {QStringLiteral("dark"), QStringLiteral("With --preview: draw in the dark scheme.")},
        {QStringLiteral("light"), QStringLiteral("With --preview: draw in the light scheme.")},
        {QStringLiteral("panel-screenshot"),
         QStringLiteral("With --preview: save the panel as a PNG after 0.5 s."),
         QStringLiteral("path")},
        {QStringLiteral("settings-screenshot"),
         QStringLiteral("Save the settings window as a PNG after 1.5 s."), QStringLiteral("path")},
        {QStringLiteral("settings-scroll-bottom"),
         QStringLiteral("With --settings-screenshot: scroll to the bottom first.")},
        {QStringLiteral("verify-app-shortcuts"),
         QStringLiteral("Check that Ctrl+, and Ctrl+W, typed as a user types them, reach the "
                        "settings window; exit status 0 when they do.")},
        {QStringLiteral("verify-dark-theme"),
         QStringLiteral("Capture every window in light and dark colours, check them, and write "
                        "summary.json; uses throwaway settings.")},
        {QStringLiteral("evidence-dir"),
         QStringLiteral("With --verify-dark-theme: where the captures and summary go."),
         QStringLiteral("folder")},
    });
}

void name(QCoreApplication& application) {
    application.setApplicationName(QStringLiteral("Hopla"));
    application.setOrganizationName(QStringLiteral("Hopla"));
    application.setApplicationVersion(QStringLiteral(HOPLA_VERSION));
    // Names Hopla's windows (their Wayland app id) after its desktop entry.
    QGuiApplication::setDesktopFileName(QStringLiteral("hopla"));
}

bool onlyInformation(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        for (const char* flag : {"--version", "-v", "--help", "-h", "--help-all"}) {
            if (std::strcmp(argv[i], flag) == 0) {
                return true;
            }
        }
    }
    return false;
}

} // namespace

int main(int argc, char* argv[]) {
    // The updater's own modes come first, before any application object: the helper that
    // installs an update, then the release engineer's archive check.
    QStringList arguments;
    for (int i = 0; i < argc; ++i) {
        arguments << QString::fromLocal8Bit(argv[i]);
    }
    if (hopla::UpdateHelper::runIfRequested(arguments)) {
        return 0;
    }
    const auto updates = hopla::UpdateConfiguration::shipped();
    if (const auto status = hopla::UpdateArchiveVerification::runIfRequested(updates, arguments)) {
        return *status;
    }

    if (onlyInformation(argc, argv)) { // answered without a display
        QCoreApplication application(argc, argv);
        name(application);
        QCommandLineParser parser;
        describe(parser);
        parser.process(application); // prints and exits
        return 0;
    }
    const char* display = std::getenv("DISPLAY");
    const char* wayland = std::getenv("WAYLAND_DISPLAY");
    const auto instanceName = [&] {
        return hopla::SingleInstance::defaultName(
            QString::fromLocal8Bit(wayland && *wayland ? wayland : (display ? display : "")));
    };
    // A compositor binding's `hopla --switch`: handed to the running Hopla at once, before
    // anything slow starts.
    for (const char* flag :
         {"--switch", "--switch-back", "--switch-windows", "--switch-windows-back"}) {
        if (argc == 2 && std::strcmp(argv[1], flag) == 0) {
            QString action = QString::fromLatin1(flag + 2);
            if (action.startsWith(QLatin1String("switch-windows"))) {
                action.remove(0, 7); // "windows", "windows-back"
            }
            if (hopla::SingleInstance::sendSwitch(instanceName(), action)) {
                return 0;
            }
            std::fprintf(stderr, "hopla: no running Hopla took %s\n", flag);
            return 1;
        }
    }
    QByteArray platform = qgetenv("QT_QPA_PLATFORM");
    if (platform.isEmpty() && wayland && *wayland) {
        // In a Wayland session Qt runs on Wayland too, whatever Xwayland offers beside it.
        platform = "wayland";
        qputenv("QT_QPA_PLATFORM", platform);
    }
    if (platform.isEmpty() || platform == "xcb") {
        // Qt would abort without a word of Hopla's: say what is missing and stop.
        if (const auto problem = hopla::displayProblem()) {
            if (hopla::AppearanceAudit::requested(arguments)) {
                QCoreApplication application(argc, argv); // for the summary's paths
                hopla::AppearanceAudit::failAtOnce(
                    arguments,
                    QStringLiteral("Window capture requires an X display (%1)").arg(*problem));
            }
            std::fprintf(stderr,
                         "hopla: %s. Hopla switches applications on an X11 desktop; "
                         "scripts/run-hopla starts a demo desktop when there is none.\n",
                         qPrintable(*problem));
            return 1;
        }
    }

    QApplication application(argc, argv);
    name(application);
    QApplication::setQuitOnLastWindowClosed(false);
    QCommandLineParser parser;
    describe(parser);
    parser.process(application);
    const auto translations = hopla::installTranslations(application);
    const auto options = hopla::LaunchOptions::parse(QCoreApplication::arguments());

    // One Hopla per user and display: a later launch brings the running one's settings up.
    hopla::SingleInstance instance(instanceName());
    if (!options.bypassesSingleInstance()) {
        switch (instance.claim()) {
        case hopla::SingleInstance::Claim::another:
            std::printf("Hopla is already running: its settings are shown.\n");
            return 0;
        case hopla::SingleInstance::Claim::failed:
            std::fprintf(stderr, "hopla: cannot tell other launches apart (%s); going on.\n",
                         qPrintable(instance.error()));
            break;
        case hopla::SingleInstance::Claim::first:
            break;
        }
    }

    QString error;
    const auto controller = hopla::AppController::create(options, updates, &error);
    if (!controller) {
        std::fprintf(stderr, "hopla: cannot run here: %s\n", qPrintable(error));
        return 1;
    }
    QObject::connect(&instance, &hopla::SingleInstance::reopenRequested, &instance,
                     [&controller] { controller->reopen(); });
    QObject::connect(&instance, &hopla::SingleInstance::switchRequested, &instance,
                     [&controller](const QString& action) { controller->switchPressed(action); });
    return application.exec();
}
