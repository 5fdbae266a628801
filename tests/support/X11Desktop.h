#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace hopla::testing {

// A private X display for one test program: Xvfb with openbox, started once, with DISPLAY
// pointing at it. Clients started through it are stopped with it.
class X11Desktop {
public:
    // Starts the desktop, or says why it could not (the test then fails with that reason).
    static X11Desktop* start(QString* error);
    static X11Desktop* instance();
    // Stops the desktop and everything started on it.
    static void shutdown();
    ~X11Desktop();

    const QString& display() const { return display_; }

    // Starts a client on the desktop; it is stopped when the test program ends.
    QProcess* launch(const QString& program, const QStringList& arguments);
    // Stops one client and waits (bounded) for its process to end.
    void stop(QProcess* client);

    // Checks the condition until it holds or the limit passes, waking for X events on the
    // root window (and at least every 50 ms) rather than sleeping a fixed time.
    bool waitFor(const std::function<bool()>& condition,
                 std::chrono::milliseconds limit = std::chrono::seconds(10));

    // Asks the window manager to minimize the window, as a title bar's button does (ICCCM
    // WM_CHANGE_STATE to Iconic).
    void minimize(std::uint32_t window);

    // Stops the X server (to test a lost connection). Afterwards nothing here works.
    void killServer();

private:
    X11Desktop() = default;

    QString display_;
    std::unique_ptr<QProcess> server_;
    std::unique_ptr<QProcess> windowManager_;
    std::vector<std::unique_ptr<QProcess>> clients_;
    struct Watcher;
    std::unique_ptr<Watcher> watcher_;
};

// The path of the project's own test client (built next to the tests).
QString testClientPath();

// Whether the test program was only asked to list its tests (then no desktop is needed).
bool onlyListingTests(int argc, char** argv);

} // namespace hopla::testing
