#include "tests/support/X11Desktop.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>

#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <algorithm>
#include <cstring>

#include <csignal>
#include <poll.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace hopla::testing {

namespace {
// Every process started here ends with the test program, even when it is killed.
void dieWithParent(QProcess& process) {
    process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
}

std::unique_ptr<X11Desktop>& singleton() {
    static std::unique_ptr<X11Desktop> desktop;
    return desktop;
}
} // namespace

// A connection that only listens for changes on the root window, to wake waitFor().
struct X11Desktop::Watcher {
    xcb_connection_t* connection = nullptr;
    ~Watcher() {
        if (connection) {
            xcb_disconnect(connection);
        }
    }
};

X11Desktop* X11Desktop::instance() {
    return singleton().get();
}

void X11Desktop::shutdown() {
    singleton().reset();
}

X11Desktop* X11Desktop::start(QString* error) {
    if (singleton()) {
        return singleton().get();
    }
    std::unique_ptr<X11Desktop> desktop(new X11Desktop);
    // Xvfb picks a free display number and writes it to the pipe given by -displayfd.
    int pipeFds[2];
    if (::pipe(pipeFds) != 0) {
        *error = "pipe failed";
        return nullptr;
    }
    desktop->server_ = std::make_unique<QProcess>();
    desktop->server_->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    desktop->server_->setChildProcessModifier([readFd = pipeFds[0]] {
        ::close(readFd);
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    });
    desktop->server_->start(QStringLiteral("Xvfb"),
                            {QStringLiteral("-displayfd"), QString::number(pipeFds[1]),
                             QStringLiteral("-screen"), QStringLiteral("0"),
                             QStringLiteral("1280x800x24"), QStringLiteral("-nolisten"),
                             QStringLiteral("tcp"), QStringLiteral("-wr"),
                             QStringLiteral("+extension"), QStringLiteral("XInputExtension")});
    ::close(pipeFds[1]);
    if (!desktop->server_->waitForStarted(10000)) {
        ::close(pipeFds[0]);
        *error = "Xvfb did not start (is the xvfb package installed?)";
        return nullptr;
    }
    QByteArray number;
    pollfd pfd{pipeFds[0], POLLIN, 0};
    QDeadlineTimer limit(std::chrono::seconds(15));
    while (!number.endsWith('\n') && !limit.hasExpired() && ::poll(&pfd, 1, 200) >= 0) {
        char c;
        if ((pfd.revents & POLLIN) && ::read(pipeFds[0], &c, 1) == 1) {
            number += c;
        } else if (pfd.revents & (POLLHUP | POLLERR)) {
            break;
        }
    }
    ::close(pipeFds[0]);
    if (!number.endsWith('\n')) {
        *error = "Xvfb did not report its display";
        return nullptr;
    }
    desktop->display_ = QStringLiteral(":") + QString::fromLatin1(number.trimmed());
    qputenv("DISPLAY", desktop->display_.toLatin1());
    qunsetenv("WAYLAND_DISPLAY");

    desktop->watcher_ = std::make_unique<Watcher>();
    desktop->watcher_->connection = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(desktop->watcher_->connection)) {
        *error = "cannot connect to the test display " + desktop->display_;
        return nullptr;
    }
    const xcb_screen_t* screen =
        xcb_setup_roots_iterator(xcb_get_setup(desktop->watcher_->connection)).data;
    const std::uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(desktop->watcher_->connection, screen->root, XCB_CW_EVENT_MASK,
                                 &mask);
    xcb_flush(desktop->watcher_->connection);

    desktop->windowManagerName_ = qEnvironmentVariable("HOPLA_TEST_WM", QStringLiteral("openbox"));
    desktop->home_ = std::make_unique<QTemporaryDir>();
    if (desktop->windowManagerName_ == QLatin1String("xfwm4")) {
        // xfconfd is started by the bus on first use and keeps its store under this home.
        qputenv("XDG_CONFIG_HOME", desktop->home_->filePath(QStringLiteral("config")).toUtf8());
        desktop->bus_ = std::make_unique<QProcess>();
        dieWithParent(*desktop->bus_);
        desktop->bus_->start(QStringLiteral("dbus-daemon"),
                             {QStringLiteral("--session"), QStringLiteral("--nofork"),
                              QStringLiteral("--print-address=1")});
        if (!desktop->bus_->waitForReadyRead(10000)) {
            *error = "dbus-daemon did not start (is the dbus package installed?)";
            return nullptr;
        }
        qputenv("DBUS_SESSION_BUS_ADDRESS", desktop->bus_->readLine().trimmed());
    }
    if (desktop->windowManagerName_ == QLatin1String("icewm")) {
        qputenv("ICEWM_PRIVCFG", desktop->home_->path().toUtf8());
    }
    if (!desktop->startWindowManager(error)) {
        return nullptr;
    }
    singleton() = std::move(desktop);
    return singleton().get();
}

QString X11Desktop::windowManagerConfig() const {
    return windowManagerName_ == QLatin1String("icewm") ? home_->path() : QString();
}

bool X11Desktop::startWindowManager(QString* error) {
    windowManager_ = std::make_unique<QProcess>();
    windowManager_->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    dieWithParent(*windowManager_);
    QStringList arguments;
    if (windowManagerName_ == QLatin1String("openbox")) {
        arguments << QStringLiteral("--sm-disable");
    } else if (windowManagerName_ == QLatin1String("xfwm4")) {
        arguments << QStringLiteral("--sm-client-disable") << QStringLiteral("--compositor=off");
    }
    windowManager_->start(windowManagerName_, arguments);
    if (!windowManager_->waitForStarted(10000)) {
        *error = windowManagerName_ + " did not start (is its package installed?)";
        return false;
    }
    // A window manager announces itself before it redirects maps. It is ready once a probe
    // window shows up in its client list; a probe mapped too early is mapped again.
    xcb_connection_t* c = watcher_->connection;
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
    const auto cookie = xcb_intern_atom(c, 0, 16, "_NET_CLIENT_LIST");
    xcb_intern_atom_reply_t* atomReply = xcb_intern_atom_reply(c, cookie, nullptr);
    const xcb_atom_t clientList = atomReply ? atomReply->atom : xcb_atom_t{XCB_ATOM_NONE};
    std::free(atomReply);
    const xcb_window_t probe = xcb_generate_id(c);
    xcb_create_window(c, XCB_COPY_FROM_PARENT, probe, screen->root, 0, 0, 10, 10, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, 0, nullptr);
    const auto probeManaged = [&] {
        const auto list =
            xcb_get_property(c, 0, screen->root, clientList, XCB_ATOM_WINDOW, 0, 1024);
        xcb_get_property_reply_t* reply = xcb_get_property_reply(c, list, nullptr);
        bool found = false;
        if (reply) {
            const auto* windows = static_cast<const xcb_window_t*>(xcb_get_property_value(reply));
            const int count = xcb_get_property_value_length(reply) / 4;
            found = std::find(windows, windows + count, probe) != windows + count;
        }
        std::free(reply);
        return found;
    };
    bool ready = false;
    for (int attempt = 0; attempt < 50 && !ready; ++attempt) {
        xcb_unmap_window(c, probe);
        xcb_map_window(c, probe);
        xcb_flush(c);
        ready = waitFor(probeManaged, std::chrono::milliseconds(200));
    }
    xcb_destroy_window(c, probe);
    xcb_flush(c);
    if (!ready) {
        *error = windowManagerName_ + " did not take over the display";
    }
    return ready;
}

bool X11Desktop::restartWindowManager(QString* error) {
    stop(windowManager_.get());
    return startWindowManager(error);
}

X11Desktop::~X11Desktop() {
    for (auto& client : clients_) {
        stop(client.get());
    }
    clients_.clear();
    watcher_.reset();
    for (auto* process : {windowManager_.get(), bus_.get(), server_.get()}) {
        if (process && process->state() != QProcess::NotRunning) {
            process->terminate();
            if (!process->waitForFinished(5000)) {
                process->kill();
                process->waitForFinished(5000);
            }
        }
    }
}

QProcess* X11Desktop::launch(const QString& program, const QStringList& arguments,
                             QProcess::ProcessChannelMode channels) {
    auto client = std::make_unique<QProcess>();
    client->setProcessChannelMode(channels);
    // Clients are real X clients, whatever platform the test itself renders on.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    client->setProcessEnvironment(environment);
    dieWithParent(*client);
    client->start(program, arguments);
    client->waitForStarted(10000);
    clients_.push_back(std::move(client));
    return clients_.back().get();
}

void X11Desktop::stop(QProcess* client) {
    if (client && client->state() != QProcess::NotRunning) {
        client->terminate();
        if (!client->waitForFinished(5000)) {
            client->kill();
            client->waitForFinished(5000);
        }
    }
}

bool X11Desktop::waitFor(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
    QDeadlineTimer deadline(limit);
    while (!condition()) {
        if (deadline.hasExpired()) {
            return false;
        }
        // Let the test's own event loop run (Qt sockets, posted work), then wait for X.
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        if (watcher_ && watcher_->connection) {
            pollfd pfd{xcb_get_file_descriptor(watcher_->connection), POLLIN, 0};
            ::poll(&pfd, 1, 50);
            while (xcb_generic_event_t* event = xcb_poll_for_event(watcher_->connection)) {
                std::free(event);
            }
        }
    }
    return true;
}

X11Desktop::TestClient X11Desktop::startTestClient(const QStringList& arguments) {
    TestClient client{launch(testClientPath(), arguments), {}};
    if (waitFor([&] { return client.process->canReadLine(); })) {
        // "windows <id> <id>…"
        const QStringList words =
            QString::fromLatin1(client.process->readLine()).simplified().split(QLatin1Char(' '));
        for (qsizetype i = 1; i < words.size(); ++i) {
            client.windows.push_back(words[i].toUInt());
        }
    }
    return client;
}

std::uint32_t X11Desktop::focusedTestClient(const QStringList& arguments) {
    const TestClient client = startTestClient(arguments);
    const std::uint32_t window = client.windows.empty() ? 0 : client.windows.front();
    waitFor([&] { return window != 0 && activeWindow() == window; });
    return window;
}

void X11Desktop::key(std::uint8_t keycode, bool down) {
    xcb_test_fake_input(watcher_->connection, down ? XCB_KEY_PRESS : XCB_KEY_RELEASE, keycode,
                        XCB_CURRENT_TIME, XCB_WINDOW_NONE, 0, 0, 0);
    xcb_flush(watcher_->connection);
}

std::uint32_t X11Desktop::activeWindow() {
    xcb_connection_t* c = watcher_->connection;
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
    const auto atom =
        xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, 18, "_NET_ACTIVE_WINDOW"), nullptr);
    if (!atom) {
        return 0;
    }
    const auto reply = xcb_get_property_reply(
        c, xcb_get_property(c, 0, root, atom->atom, XCB_ATOM_WINDOW, 0, 1), nullptr);
    std::free(atom);
    std::uint32_t window = 0;
    if (reply && xcb_get_property_value_length(reply) == 4) {
        std::memcpy(&window, xcb_get_property_value(reply), 4);
    }
    std::free(reply);
    return window;
}

void X11Desktop::minimize(std::uint32_t window) {
    xcb_connection_t* c = watcher_->connection;
    const auto cookie = xcb_intern_atom(c, 0, 15, "WM_CHANGE_STATE");
    xcb_intern_atom_reply_t* atom = xcb_intern_atom_reply(c, cookie, nullptr);
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = atom ? atom->atom : xcb_atom_t{XCB_ATOM_NONE};
    message.data.data32[0] = 3; // IconicState
    std::free(atom);
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
    xcb_send_event(c, 0, root,
                   XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char*>(&message));
    xcb_flush(c);
}

void X11Desktop::killServer() {
    if (server_) {
        server_->kill();
        server_->waitForFinished(5000);
    }
}

QString testClientPath() {
    return QStringLiteral(HOPLA_TEST_CLIENT);
}

bool onlyListingTests(int argc, char** argv) {
    return std::any_of(argv, argv + argc, [](const char* a) {
        return std::strstr(a, "--gtest_list_tests") != nullptr;
    });
}

} // namespace hopla::testing
