// Runs the real-desktop tests on a private Xvfb + window manager display, with the tests'
// desktop entries (one named in Chinese) read first.
#include "tests/desktop/harness/X11Desktop.h"

#ifdef HOPLA_TEST_WIDGETS_ON_X
#include <QApplication>
using TestApplication = QApplication; // widgets drawn on the test desktop itself
#else
#include <QGuiApplication>
using TestApplication = QGuiApplication; // as Hopla is: icon themes need one
#endif

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    if (hopla::testing::onlyListingTests(argc, argv)) {
        return RUN_ALL_TESTS();
    }
    // Desktop entries are read from the tests' own first; set before anything asks GIO.
    qputenv("XDG_DATA_HOME", HOPLA_TEST_DATA);
    qputenv("XDG_DATA_DIRS", "/usr/local/share:/usr/share");
    qputenv("LANGUAGE", "zh_CN");
    qputenv("LANG", "zh_CN.UTF-8");
    QString error;
    if (!hopla::testing::X11Desktop::start(&error)) {
        std::fprintf(stderr, "cannot start the test desktop: %s\n", qPrintable(error));
        return 1;
    }
#ifdef HOPLA_TEST_WIDGETS_ON_X
    qputenv("QT_QPA_PLATFORM", "xcb");
#else
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
#endif
    int result = 0;
    {
        TestApplication application(argc, argv);
        result = RUN_ALL_TESTS();
    }
    hopla::testing::X11Desktop::shutdown(); // stops clients, the window manager and Xvfb
    return result;
}
