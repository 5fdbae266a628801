#include "app/ApplicationShortcutVerification.h"

#include "platform/SyntheticKeyboard.h"

#include <QAction>
#include <QApplication>
#include <QKeySequence>
#include <QPointer>
#include <QTimer>
#include <QWidget>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <vector>

namespace hopla::ApplicationShortcutVerification {

namespace {

using namespace std::chrono_literals;

constexpr auto firstLook = 400ms; // the settings window has had time to come up
constexpr auto pollEvery = 50ms;
constexpr auto patience = 3000ms; // how long a key or the focus may take under load

bool titled(const QWidget& window) {
    const Qt::WindowFlags flags = window.windowFlags();
    return window.isVisible() && !window.isMinimized() && (flags & Qt::Window) &&
           !(flags & (Qt::FramelessWindowHint | Qt::X11BypassWindowManagerHint)) &&
           window.windowType() != Qt::Popup && window.windowType() != Qt::ToolTip;
}

QWidget* firstVisibleWindow() {
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (titled(*window)) {
            return window;
        }
    }
    return nullptr;
}

// Watches every window command bound to `keys`: the flag turns true once one of them runs.
std::shared_ptr<bool> watchCommand(const QKeySequence& keys) {
    auto handled = std::make_shared<bool>(false);
    for (QWidget* window : QApplication::topLevelWidgets()) {
        for (QAction* action : window->findChildren<QAction*>()) {
            if (action->shortcuts().contains(keys)) {
                QObject::connect(action, &QAction::triggered, action,
                                 [handled] { *handled = true; });
            }
        }
    }
    return handled;
}

// One step of the check: wait (every 50 ms, within the patience) until `until` holds, then
// run `then`; fail with `otherwise` when it never does.
struct Step {
    std::function<bool()> until;
    QString otherwise;
    std::function<void()> then;
};

struct Check {
    std::unique_ptr<SyntheticKeyboard> keys;
    std::vector<Step> steps;
    QPointer<QWidget> settings;
    std::shared_ptr<bool> commaHandled = std::make_shared<bool>(false);
    std::shared_ptr<bool> closeHandled = std::make_shared<bool>(false);
    bool finished = false;

    // Types Ctrl and the key; the flag tells whether a window command took it.
    std::shared_ptr<bool> send(char key) {
        auto handled = watchCommand(QKeySequence(Qt::CTRL | QChar(key).toUpper().unicode()));
        if (!keys->pressWithControl(key)) {
            fail(QStringLiteral("no key of this keyboard types \"%1\"").arg(key));
        }
        return handled;
    }
};

void advance(const std::shared_ptr<Check>& check, std::size_t index,
             std::chrono::milliseconds left) {
    if (index == check->steps.size()) {
        return;
    }
    const Step& step = check->steps[index];
    if (step.until()) {
        step.then();
        advance(check, index + 1, patience);
        return;
    }
    if (left <= 0ms) {
        fail(step.otherwise);
    }
    QTimer::singleShot(pollEvery, qApp,
                       [check, index, left] { advance(check, index, left - pollEvery); });
}

} // namespace

int visibleWindows() {
    int count = 0;
    for (QWidget* window : QApplication::topLevelWidgets()) {
        count += titled(*window) ? 1 : 0;
    }
    return count;
}

void fail(const QString& message) {
    std::fprintf(stderr, "APP SHORTCUT VERIFY FAIL: %s\n", qPrintable(message));
    std::fflush(stderr);
    std::_Exit(1);
}

void run(std::unique_ptr<SyntheticKeyboard> keys, const QString& keysUnavailable) {
    if (!keys) {
        fail(QStringLiteral("cannot type keys: ") + keysUnavailable);
    }
    auto check = std::make_shared<Check>();
    check->keys = std::move(keys);
    Check* c = check.get(); // the steps live as long as the check
    check->steps = {
        {[] { return firstVisibleWindow() != nullptr; },
         QStringLiteral("settings window was not visible before Ctrl+W"),
         [c] {
             c->settings = firstVisibleWindow();
             c->settings->raise();
             c->settings->activateWindow();
         }},
        {[c] { return c->settings && c->settings->isActiveWindow(); },
         QStringLiteral("the settings window never got the keyboard focus"),
         [c] { c->commaHandled = c->send(','); }},
        {[c] { return *c->commaHandled; },
         QStringLiteral("Ctrl+, was not handled by the window's commands"),
         [c] {
             if (visibleWindows() < 1) {
                 fail(QStringLiteral("Ctrl+, did not open settings"));
             }
             c->closeHandled = c->send('w');
         }},
        {[c] { return *c->closeHandled; },
         QStringLiteral("Ctrl+W was not handled by the window's commands"), [] {}},
        {[] { return visibleWindows() == 0; },
         QStringLiteral("Ctrl+W did not close the settings window"),
         [c] {
             c->finished = true;
             std::printf("APP SHORTCUT VERIFY PASS: Ctrl+W closes the window without quitting; "
                         "Ctrl+, opens settings\n");
             std::fflush(stdout);
             QCoreApplication::quit();
         }},
    };
    // A window command that quits would end the process before the next look.
    QObject::connect(qApp, &QCoreApplication::aboutToQuit, qApp, [check] {
        if (!check->finished) {
            fail(QStringLiteral("Ctrl+W quit the application"));
        }
    });
    QTimer::singleShot(firstLook, qApp, [check] { advance(check, 0, patience); });
}

} // namespace hopla::ApplicationShortcutVerification
