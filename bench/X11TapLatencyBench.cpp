// Under Xvfb + openbox: from injecting Super+Tab with XTEST to the tab action arriving on
// the main thread, through the real X11 key-event source and the keyboard tap.
// Prints min / median / p99 over the rounds.
#include "core/KeyboardTap.h"
#include "platform/qt/QtScheduler.h"
#include "platform/x11/X11KeyEventSource.h"
#include "platform/x11/X11Keyboard.h"
#include "platform/x11/XConnection.h"
#include "tests/desktop/harness/X11Desktop.h"

#include <QCoreApplication>

#include <xcb/xtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    QString error;
    auto* desktop = hopla::testing::X11Desktop::start(&error);
    if (!desktop) {
        std::fprintf(stderr, "cannot start the benchmark desktop: %s\n", qPrintable(error));
        return 1;
    }
    int result = 0;
    {
        auto x = hopla::x11::XConnection::open(nullptr, nullptr);
        const auto keyboard = hopla::x11::readServerKeyboard(*x, nullptr);
        hopla::QtScheduler scheduler;
        hopla::x11::X11KeyEventSource source;
        using Clock = std::chrono::steady_clock;
        std::optional<Clock::time_point> arrived;
        bool open = false;
        hopla::KeyboardTap tap(source, scheduler, hopla::x11::readServerLetters,
                               {[&](const hopla::GestureAction& a) {
                                    if (a.kind == hopla::GestureAction::Kind::tab) {
                                        arrived = Clock::now();
                                        open = true;
                                    } else {
                                        open = false;
                                    }
                                    return true;
                                },
                                [&] { return open; }});
        if (!keyboard || !tap.start()) {
            std::fprintf(
                stderr, "the tap did not start: %s\n",
                source.lastFailure().value_or(hopla::KeyEventSource::StartFailure{}).what.c_str());
            result = 1;
        } else {
            const auto fake = [&](std::uint8_t type, xcb_keycode_t key) {
                xcb_test_fake_input(x->raw(), type, key, XCB_CURRENT_TIME, XCB_WINDOW_NONE, 0, 0,
                                    0);
            };
            std::vector<double> micros;
            for (int round = 0; round < 300; ++round) {
                arrived.reset();
                fake(XCB_KEY_PRESS, keyboard->superKeys.front());
                const auto start = Clock::now();
                fake(XCB_KEY_PRESS, keyboard->tabKeys.front());
                xcb_flush(x->raw());
                while (!arrived) {
                    QCoreApplication::processEvents(
                        QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 50);
                }
                micros.push_back(
                    std::chrono::duration<double, std::micro>(*arrived - start).count());
                fake(XCB_KEY_RELEASE, keyboard->tabKeys.front());
                fake(XCB_KEY_RELEASE, keyboard->superKeys.front());
                xcb_flush(x->raw());
                desktop->waitFor([&] { return !open; }, std::chrono::seconds(5));
            }
            std::sort(micros.begin(), micros.end());
            std::printf(
                "XTEST Super+Tab to the tab action on the main thread, %zu rounds: min %.0f us, "
                "median %.0f us, p99 %.0f us\n",
                micros.size(), micros.front(), micros[micros.size() / 2],
                micros[micros.size() * 99 / 100]);
        }
        tap.stop();
    }
    hopla::testing::X11Desktop::shutdown();
    return result;
}
