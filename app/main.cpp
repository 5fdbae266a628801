#include "app/AppController.h"

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
    parser.addOption(
        {QStringLiteral("login-item"), QStringLiteral("Started at login: open no window.")});
}

void name(QCoreApplication& application) {
    application.setApplicationName(QStringLiteral("Hopla"));
    application.setOrganizationName(QStringLiteral("Hopla"));
    application.setApplicationVersion(QStringLiteral(HOPLA_VERSION));
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
    if (onlyInformation(argc, argv)) { // answered without a display
        QCoreApplication application(argc, argv);
        name(application);
        QCommandLineParser parser;
        describe(parser);
        parser.process(application); // prints and exits
        return 0;
    }
    const char* display = std::getenv("DISPLAY");
    if ((!display || !*display) && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        std::fprintf(
            stderr,
            "hopla: no X display: DISPLAY is not set. Hopla switches applications on an X11 "
            "desktop; scripts/run-hopla starts a demo desktop when there is none.\n");
        return 1;
    }

    QApplication application(argc, argv);
    name(application);
    QApplication::setQuitOnLastWindowClosed(false);
    QCommandLineParser parser;
    describe(parser);
    parser.process(application);

    QString error;
    const auto controller = hopla::AppController::create(&error);
    if (!controller) {
        std::fprintf(stderr, "hopla: cannot run here: %s\n", qPrintable(error));
        return 1;
    }
    if (!controller->preferences().listening) {
        std::fprintf(stderr, "hopla: not switching: %s\n",
                     qPrintable(controller->preferences().conflictingApp.value_or(
                         controller->preferences().runtimeError.value_or(
                             QStringLiteral("switching is off")))));
    }
    return application.exec();
}
