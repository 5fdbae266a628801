// Runs the real-desktop tests on a private Xvfb + openbox display, with a temporary XDG data
// folder holding a desktop entry named in Chinese.
#include "tests/support/X11Desktop.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cstring>

int main(int argc, char** argv) {
    // A GUI application, as Hopla is: icon themes need one (offscreen is enough).
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QGuiApplication application(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    if (hopla::testing::onlyListingTests(argc, argv)) {
        return RUN_ALL_TESTS();
    }

    // Desktop entries are read from here first; set before anything asks GIO.
    QTemporaryDir data;
    QDir(data.path()).mkpath(QStringLiteral("applications"));
    QFile entry(data.filePath(QStringLiteral("applications/hopla-chinese.desktop")));
    if (!entry.open(QIODevice::WriteOnly)) {
        return 2;
    }
    entry.write(QStringLiteral(
                    "[Desktop Entry]\nType=Application\nName=Test Terminal\nName[zh_CN]=测试终端\n"
                    "Exec=%1 --class hopla-chinese,HoplaChinese --title launched\n"
                    "StartupWMClass=HoplaChinese\nIcon=utilities-terminal\n")
                    .arg(hopla::testing::testClientPath())
                    .toUtf8());
    entry.close();
    // An entry for one particular terminal: its class, with the stock xterm's instance name.
    QFile terminal(data.filePath(QStringLiteral("applications/hopla-terminal.desktop")));
    if (!terminal.open(QIODevice::WriteOnly)) {
        return 2;
    }
    terminal.write(
        QStringLiteral(
            "[Desktop Entry]\nType=Application\nName=Hopla Terminal\nExec=xterm -class HoplaTerm\n"
            "StartupWMClass=HoplaTerm\n")
            .toUtf8());
    terminal.close();
    qputenv("XDG_DATA_HOME", data.path().toUtf8());
    qputenv("XDG_DATA_DIRS", "/usr/local/share:/usr/share");
    qputenv("LANGUAGE", "zh_CN");
    qputenv("LANG", "zh_CN.UTF-8");

    QString error;
    if (!hopla::testing::X11Desktop::start(&error)) {
        std::fprintf(stderr, "cannot start the test desktop: %s\n", qPrintable(error));
        return 1;
    }
    const int result = RUN_ALL_TESTS();
    hopla::testing::X11Desktop::shutdown(); // stops clients, openbox and Xvfb
    return result;
}
