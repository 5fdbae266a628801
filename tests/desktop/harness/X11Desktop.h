#pragma once

#include "platform/x11/ClientWindows.h"

#include <QImage>
#include <QProcess>
#include <QRect>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace hopla::testing {

// A private X display for one test program: Xvfb with a window manager (openbox unless
// HOPLA_TEST_WM names xfwm4, icewm or fluxbox), started once, with DISPLAY pointing at it. xfwm4
// runs in a private D-Bus session with its own xfconf store; IceWM reads its settings from
// a private folder. Clients started through it are stopped with it.
class X11Desktop {
public:
    // Starts the desktop, or says why it could not (the test then fails with that reason).
    static X11Desktop* start(QString* error);
    // "openbox", "xfwm4" or "icewm".
    const QString& windowManager() const { return windowManagerName_; }
    qint64 windowManagerPid() const { return windowManager_->processId(); }
    // Where IceWM reads its preferences (ICEWM_PRIVCFG); empty for the others.
    QString windowManagerConfig() const;
    // Stops the window manager and starts it again (to read changed settings); false with
    // the reason when it does not take over again.
    bool restartWindowManager(QString* error);
    static X11Desktop* instance();
    // Stops the desktop and everything started on it.
    static void shutdown();
    ~X11Desktop();

    // Starts a client on the desktop; it is stopped when the test program ends.
    QProcess* launch(const QString& program, const QStringList& arguments,
                     QProcess::ProcessChannelMode channels = QProcess::ForwardedErrorChannel);
    // Stops one client and waits (bounded) for its process to end.
    void stop(QProcess* client);

    // Checks the condition until it holds or the limit passes, waking for X events on the
    // root window (and at least every 50 ms) rather than sleeping a fixed time.
    bool waitFor(const std::function<bool()>& condition,
                 std::chrono::milliseconds limit = std::chrono::seconds(10));

    // Starts the project's test client and waits until it has printed its windows.
    struct TestClient {
        QProcess* process = nullptr;
        std::vector<std::uint32_t> windows; // empty when it did not start
        std::int64_t pid() const { return process->processId(); }
    };
    TestClient startTestClient(const QStringList& arguments);
    // Starts the test client and waits until its (first) window has the focus.
    std::uint32_t focusedTestClient(const QStringList& arguments);

    // A key of the keyboard goes down or up, injected through XTEST as typing would be.
    void key(std::uint8_t keycode, bool down);
    void press(std::uint8_t keycode) {
        key(keycode, true);
        key(keycode, false);
    }
    // The pointer moves there, and a click of the first button there, through XTEST.
    void movePointer(QPoint at);
    void click(QPoint at);

    // The window that has the focus, as the window manager says (_NET_ACTIVE_WINDOW).
    std::uint32_t activeWindow();
    // The managed windows as Hopla reads them (none while unreadable), and one window.
    std::vector<x11::ClientWindow> clientWindows();
    std::optional<x11::ClientWindow> clientWindow(std::uint32_t window);
    // The managed window whose title contains the text; 0 when there is none.
    std::uint32_t windowTitled(const QString& text);
    // The children of a window (of the root: the top-level windows), bottom to top.
    std::vector<std::uint32_t> children(std::uint32_t window);
    bool viewable(std::uint32_t window);
    bool overrideRedirect(std::uint32_t window);
    // WM_CLASS, instance and class joined by a space.
    QString windowClass(std::uint32_t window);
    // Where the window is on the screen; nothing once it is gone.
    std::optional<QRect> geometry(std::uint32_t window);
    // The screen's pixels in the rectangle, read in one GetImage of the root.
    QImage screen(QRect area);
    // Whether some client holds a passive grab of the key with these modifiers: a grab of
    // our own then fails with BadAccess (one that succeeds is let go at once).
    bool keyHeldElsewhere(std::uint16_t modifiers, std::uint8_t keycode);

    // Asks the window manager to minimize the window, as a title bar's button does.
    void minimize(std::uint32_t window);
    // Asks the window manager to activate the window, as a pager does.
    void activate(std::uint32_t window);

    // Stops the X server (to test a lost connection). Afterwards nothing here works.
    void killServer();

private:
    X11Desktop() = default;

    bool startWindowManager(QString* error);

    QString windowManagerName_;
    std::unique_ptr<QTemporaryDir> home_; // the window manager's and D-Bus's private files
    std::unique_ptr<QProcess> server_;
    std::unique_ptr<QProcess> bus_;
    std::unique_ptr<QProcess> windowManager_;
    std::vector<std::unique_ptr<QProcess>> clients_;
    // Listens for changes on the root window, to wake waitFor(), and makes the requests.
    std::unique_ptr<x11::XConnection> x_;
};

// The path of the project's own test client (built next to the tests).
QString testClientPath();

// Whether the test program was only asked to list its tests (then no desktop is needed).
bool onlyListingTests(int argc, char** argv);

} // namespace hopla::testing
