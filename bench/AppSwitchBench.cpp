// Hopla as it runs, under Xvfb + openbox with 10 and then 50 applications:
//  1. from injecting Super+Tab with XTEST to the panel shown, through the real application
//     controller (min / median / p99), and how many rounds had to paint after the key;
//  2. the real hopla binary at rest: CPU time, wakeups (context switches of all its threads)
//     and resident memory over 10 s with no session open.
#include "app/AppController.h"
#include "platform/x11/X11Keyboard.h"
#include "platform/x11/XConnection.h"
#include "tests/desktop/harness/X11Desktop.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>

#include <xcb/xtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <optional>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;
using hopla::testing::X11Desktop;
constexpr xcb_keycode_t escapeKey = 1 + 8; // evdev's Escape

void launchClients(X11Desktop& desktop, int count, int& launched) {
    for (; launched < count; ++launched) {
        QProcess* client =
            desktop.launch(hopla::testing::testClientPath(),
                           {"--class", QStringLiteral("app%1,App%1").arg(launched), "--title",
                            QStringLiteral("Application %1").arg(launched)});
        desktop.waitFor([&] { return client->canReadLine(); });
    }
}

void measurePanel(X11Desktop& desktop, hopla::AppController& app, hopla::x11::XConnection& x,
                  const hopla::x11::ServerKeyboard& keyboard, int apps) {
    // The panel is drawn ahead while hidden, so a switch usually paints nothing: the end is
    // the window shown (its map request sent, its image already on the server). Paints made
    // after the key are counted apart.
    int paintsAfterTheKey = 0;
    bool counting = false;
    const auto connection = QObject::connect(&app.panel().view(), &hopla::SwitcherView::painted,
                                             [&] { paintsAfterTheKey += counting ? 1 : 0; });
    const auto shown = [&] { return app.switcher().session() && app.panel().window().isVisible(); };
    const auto fake = [&](std::uint8_t type, xcb_keycode_t key) {
        xcb_test_fake_input(x.raw(), type, key, XCB_CURRENT_TIME, XCB_WINDOW_NONE, 0, 0, 0);
    };
    std::vector<double> micros;
    int roundsThatPainted = 0;
    for (int round = 0; round < 60; ++round) {
        paintsAfterTheKey = 0;
        counting = true;
        fake(XCB_KEY_PRESS, keyboard.superKeys.front());
        const auto start = Clock::now();
        fake(XCB_KEY_PRESS, keyboard.tabKeys.front());
        fake(XCB_KEY_RELEASE, keyboard.tabKeys.front());
        xcb_flush(x.raw());
        while (!shown()) {
            QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents,
                                            50);
        }
        micros.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
        counting = false;
        roundsThatPainted += paintsAfterTheKey > 0 ? 1 : 0;
        fake(XCB_KEY_PRESS, escapeKey);
        fake(XCB_KEY_RELEASE, escapeKey);
        fake(XCB_KEY_RELEASE, keyboard.superKeys.front());
        xcb_flush(x.raw());
        desktop.waitFor([&] { return !app.switcher().session(); }, std::chrono::seconds(5));
        desktop.waitFor([] { return false; }, std::chrono::milliseconds(30));
    }
    QObject::disconnect(connection);
    std::sort(micros.begin(), micros.end());
    std::printf("XTEST Super+Tab to the panel shown, %d applications, %zu rounds (%d painted "
                "after the key): min %.2f ms, median %.2f ms, p99 %.2f ms\n",
                apps, micros.size(), roundsThatPainted, micros.front() / 1000,
                micros[micros.size() / 2] / 1000, micros[micros.size() * 99 / 100] / 1000);
}

struct ProcessSample {
    double cpuSeconds = 0;
    long long contextSwitches = 0;
    long long residentKiB = 0;
};

ProcessSample sample(qint64 pid) {
    ProcessSample s;
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (stat.open(QIODevice::ReadOnly)) {
        const QByteArray text = stat.readAll();
        const auto fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
        if (fields.size() > 13) { // utime and stime are the 14th and 15th fields
            s.cpuSeconds = (fields[11].toDouble() + fields[12].toDouble()) /
                           static_cast<double>(::sysconf(_SC_CLK_TCK));
        }
    }
    const QDir tasks(QStringLiteral("/proc/%1/task").arg(pid));
    for (const QString& task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile status(tasks.filePath(task + QStringLiteral("/status")));
        if (!status.open(QIODevice::ReadOnly)) {
            continue;
        }
        for (const QByteArray& line : status.readAll().split('\n')) {
            if (line.contains("ctxt_switches")) {
                s.contextSwitches += line.split(':').last().trimmed().toLongLong();
            }
        }
    }
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (status.open(QIODevice::ReadOnly)) {
        for (const QByteArray& line : status.readAll().split('\n')) {
            if (line.startsWith("VmRSS:")) {
                s.residentKiB = line.mid(6).trimmed().split(' ').first().toLongLong();
            }
        }
    }
    return s;
}

void measureIdle(X11Desktop& desktop, int apps) {
    QProcess* hopla = desktop.launch(QStringLiteral(HOPLA_BINARY), {"--login-item"});
    desktop.waitFor([] { return false; }, std::chrono::seconds(3)); // started and settled
    const ProcessSample before = sample(hopla->processId());
    constexpr double seconds = 10;
    QThread::msleep(static_cast<unsigned long>(seconds * 1000));
    const ProcessSample after = sample(hopla->processId());
    std::printf("hopla at rest with %d applications over %.0f s: CPU %.1f ms, %.1f wakeups/s "
                "(all threads), resident memory %.1f MiB\n",
                apps, seconds, (after.cpuSeconds - before.cpuSeconds) * 1000,
                static_cast<double>(after.contextSwitches - before.contextSwitches) / seconds,
                static_cast<double>(after.residentKiB) / 1024);
    desktop.stop(hopla);
}

} // namespace

int main(int argc, char** argv) {
    QString error;
    auto* desktop = X11Desktop::start(&error);
    if (!desktop) {
        std::fprintf(stderr, "cannot start the benchmark desktop: %s\n", qPrintable(error));
        return 1;
    }
    QTemporaryDir config;
    qputenv("XDG_CONFIG_HOME", config.path().toUtf8());
    qputenv("QT_QPA_PLATFORM", "xcb");
    {
        QApplication application(argc, argv);
        auto x = hopla::x11::XConnection::open(nullptr, nullptr);
        const auto keyboard = hopla::x11::readServerKeyboard(*x, nullptr);
        int launched = 0;
        launchClients(*desktop, 10, launched);
        measureIdle(*desktop, 10);
        {
            hopla::LaunchOptions options;
            options.autostart = true; // no settings window
            const auto app =
                hopla::AppController::create(options, hopla::UpdateConfiguration{}, &error);
            if (!app || !keyboard || !app->preferences().listening) {
                std::fprintf(stderr, "Hopla did not start switching: %s\n", qPrintable(error));
                return 1;
            }
            measurePanel(*desktop, *app, *x, *keyboard, 10);
            launchClients(*desktop, 50, launched);
            desktop->waitFor([] { return false; }, std::chrono::seconds(1)); // all listed
            measurePanel(*desktop, *app, *x, *keyboard, 50);
        }
        measureIdle(*desktop, 50);
    }
    X11Desktop::shutdown();
    return 0;
}
