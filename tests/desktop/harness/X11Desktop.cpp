#include "tests/desktop/harness/X11Desktop.h"

#include "platform/x11/ClientWindows.h"
#include "platform/x11/XConnection.h"

#include <QCoreApplication>
#include <QDeadlineTimer>

#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <algorithm>
#include <cstring>

#include <csignal>
#include <poll.h>
#include <sys/prctl.h>

namespace hopla::testing {

namespace {
// Every process started here ends with the test program, even when it is killed, and shows
// its windows on X whatever platform the test itself renders on.
std::unique_ptr<QProcess> started(const QString& program, const QStringList& arguments,
                                  QProcess::ProcessChannelMode channels) {
    auto process = std::make_unique<QProcess>();
    process->setProcessChannelMode(channels);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    process->setProcessEnvironment(environment);
    process->setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    process->start(program, arguments);
    return process;
}

x11::Reply<xcb_get_window_attributes_reply_t> attributesOf(x11::XConnection& x,
                                                           std::uint32_t window) {
    return x11::Reply<xcb_get_window_attributes_reply_t>(xcb_get_window_attributes_reply(
        x.raw(), xcb_get_window_attributes(x.raw(), window), nullptr));
}

std::unique_ptr<X11Desktop>& singleton() {
    static std::unique_ptr<X11Desktop> desktop;
    return desktop;
}
} // namespace

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
    // Xvfb picks a free display number and writes it to its standard output (-displayfd 1).
    desktop->server_ = started("Xvfb",
                               {"-displayfd", "1", "-screen", "0", "1280x800x24", "-nolisten",
                                "tcp", "-wr", "+extension", "XInputExtension"},
                               QProcess::ForwardedErrorChannel);
    if (!desktop->server_->waitForStarted(10000)) {
        *error = "Xvfb did not start (is the xvfb package installed?)";
        return nullptr;
    }
    QDeadlineTimer limit(std::chrono::seconds(15));
    while (!desktop->server_->canReadLine() && !limit.hasExpired() &&
           desktop->server_->state() == QProcess::Running) {
        desktop->server_->waitForReadyRead(200);
    }
    const QByteArray number = desktop->server_->readLine();
    if (!number.endsWith('\n')) {
        *error = "Xvfb did not report its display";
        return nullptr;
    }
    const QByteArray display = ":" + number.trimmed();
    qputenv("DISPLAY", display);
    qunsetenv("WAYLAND_DISPLAY");

    desktop->x_ = x11::XConnection::open(nullptr, nullptr);
    if (!desktop->x_) {
        *error = "cannot connect to the test display " + QString::fromLatin1(display);
        return nullptr;
    }
    const std::uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(desktop->x_->raw(), desktop->x_->root(), XCB_CW_EVENT_MASK, &mask);
    xcb_flush(desktop->x_->raw());

    desktop->windowManagerName_ = qEnvironmentVariable("HOPLA_TEST_WM", QStringLiteral("openbox"));
    desktop->home_ = std::make_unique<QTemporaryDir>();
    if (desktop->windowManagerName_ == QLatin1String("xfwm4")) {
        // xfconfd is started by the bus on first use and keeps its store under this home.
        qputenv("XDG_CONFIG_HOME", desktop->home_->filePath(QStringLiteral("config")).toUtf8());
        desktop->bus_ = started("dbus-daemon", {"--session", "--nofork", "--print-address=1"},
                                QProcess::SeparateChannels);
        if (!desktop->bus_->waitForReadyRead(10000)) {
            *error = "dbus-daemon did not start (is the dbus package installed?)";
            return nullptr;
        }
        qputenv("DBUS_SESSION_BUS_ADDRESS", desktop->bus_->readLine().trimmed());
    }
    if (desktop->windowManagerName_ == QLatin1String("icewm")) {
        qputenv("ICEWM_PRIVCFG", desktop->home_->path().toUtf8());
    }
    if (desktop->windowManagerName_ == QLatin1String("fluxbox")) {
        // fluxbox writes its default settings into ~/.fluxbox at first start: a home of the
        // test's own, which Hopla started from the test sees too.
        qputenv("HOME", desktop->home_->path().toUtf8());
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
    QStringList arguments;
    if (windowManagerName_ == "openbox") {
        arguments = {"--sm-disable"};
    } else if (windowManagerName_ == "xfwm4") {
        arguments = {"--sm-client-disable", "--compositor=off"};
    }
    windowManager_ = started(windowManagerName_, arguments, QProcess::ForwardedErrorChannel);
    if (!windowManager_->waitForStarted(10000)) {
        *error = windowManagerName_ + " did not start (is its package installed?)";
        return false;
    }
    // A window manager announces itself before it redirects maps. It is ready once a probe
    // window shows up in its client list; a probe mapped too early is mapped again.
    xcb_connection_t* c = x_->raw();
    const xcb_window_t probe = xcb_generate_id(c);
    xcb_create_window(c, XCB_COPY_FROM_PARENT, probe, x_->root(), 0, 0, 10, 10, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
    const auto probeManaged = [&] {
        const auto list = x11::readClientList(*x_);
        return list && std::find(list->begin(), list->end(), probe) != list->end();
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
    x_.reset();
    for (auto* process : {windowManager_.get(), bus_.get(), server_.get()}) {
        stop(process);
    }
}

QProcess* X11Desktop::launch(const QString& program, const QStringList& arguments,
                             QProcess::ProcessChannelMode channels) {
    clients_.push_back(started(program, arguments, channels));
    clients_.back()->waitForStarted(10000);
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
        if (x_) {
            pollfd pfd{xcb_get_file_descriptor(x_->raw()), POLLIN, 0};
            ::poll(&pfd, 1, 50);
            while (xcb_generic_event_t* event = xcb_poll_for_event(x_->raw())) {
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
    xcb_test_fake_input(x_->raw(), down ? XCB_KEY_PRESS : XCB_KEY_RELEASE, keycode,
                        XCB_CURRENT_TIME, XCB_WINDOW_NONE, 0, 0, 0);
    xcb_flush(x_->raw());
}

void X11Desktop::movePointer(QPoint at) {
    xcb_test_fake_input(x_->raw(), XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME, x_->root(),
                        static_cast<std::int16_t>(at.x()), static_cast<std::int16_t>(at.y()), 0);
    xcb_flush(x_->raw());
}

void X11Desktop::click(QPoint at) {
    movePointer(at);
    for (const std::uint8_t type : {XCB_BUTTON_PRESS, XCB_BUTTON_RELEASE}) {
        xcb_test_fake_input(x_->raw(), type, 1, XCB_CURRENT_TIME, XCB_WINDOW_NONE, 0, 0, 0);
    }
    xcb_flush(x_->raw());
}

std::uint32_t X11Desktop::activeWindow() {
    return x11::readActiveWindow(*x_);
}

std::vector<x11::ClientWindow> X11Desktop::clientWindows() {
    return x11::readClientWindows(*x_).value_or(std::vector<x11::ClientWindow>{});
}

std::optional<x11::ClientWindow> X11Desktop::clientWindow(std::uint32_t window) {
    return x11::readClientWindow(*x_, window);
}

std::uint32_t X11Desktop::windowTitled(const QString& text) {
    for (const auto& w : clientWindows()) {
        if (w.title.contains(text)) {
            return w.id;
        }
    }
    return 0;
}

std::vector<std::uint32_t> X11Desktop::children(std::uint32_t window) {
    const x11::Reply<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(x_->raw(), xcb_query_tree(x_->raw(), window), nullptr));
    if (!tree) {
        return {};
    }
    const xcb_window_t* first = xcb_query_tree_children(tree.get());
    return {first, first + xcb_query_tree_children_length(tree.get())};
}

bool X11Desktop::viewable(std::uint32_t window) {
    const auto attributes = attributesOf(*x_, window);
    return attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE;
}

bool X11Desktop::overrideRedirect(std::uint32_t window) {
    const auto attributes = attributesOf(*x_, window);
    return attributes && attributes->override_redirect;
}

QString X11Desktop::windowClass(std::uint32_t window) {
    const auto w = clientWindow(window);
    return w ? (w->instance + QLatin1Char(' ') + w->className).trimmed() : QString();
}

std::optional<QRect> X11Desktop::geometry(std::uint32_t window) {
    xcb_connection_t* c = x_->raw();
    const x11::Reply<xcb_get_geometry_reply_t> size(
        xcb_get_geometry_reply(c, xcb_get_geometry(c, window), nullptr));
    if (!size) {
        return std::nullopt;
    }
    const x11::Reply<xcb_translate_coordinates_reply_t> at(xcb_translate_coordinates_reply(
        c, xcb_translate_coordinates(c, window, x_->root(), 0, 0), nullptr));
    return at ? std::optional(QRect(at->dst_x, at->dst_y, size->width, size->height))
              : std::nullopt;
}

QImage X11Desktop::screen(QRect area) {
    const x11::Reply<xcb_get_image_reply_t> image(xcb_get_image_reply(
        x_->raw(),
        xcb_get_image(x_->raw(), XCB_IMAGE_FORMAT_Z_PIXMAP, x_->root(),
                      static_cast<std::int16_t>(area.x()), static_cast<std::int16_t>(area.y()),
                      static_cast<std::uint16_t>(area.width()),
                      static_cast<std::uint16_t>(area.height()), ~0u),
        nullptr));
    return image ? QImage(xcb_get_image_data(image.get()), area.width(), area.height(),
                          QImage::Format_RGB32)
                       .copy()
                 : QImage();
}

bool X11Desktop::keyHeldElsewhere(std::uint16_t modifiers, std::uint8_t keycode) {
    xcb_connection_t* c = x_->raw();
    const x11::Reply<xcb_generic_error_t> error(
        xcb_request_check(c, xcb_grab_key_checked(c, 1, x_->root(), modifiers, keycode,
                                                  XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC)));
    if (!error) {
        xcb_ungrab_key(c, keycode, x_->root(), modifiers);
        xcb_flush(c);
        return false;
    }
    return error->error_code == XCB_ACCESS;
}

void X11Desktop::minimize(std::uint32_t window) {
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = x_->atom("WM_CHANGE_STATE");
    message.data.data32[0] = 3; // IconicState
    xcb_send_event(x_->raw(), 0, x_->root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char*>(&message));
    xcb_flush(x_->raw());
}

void X11Desktop::activate(std::uint32_t window) {
    xcb_ewmh_request_change_active_window(x_->ewmh(), x_->screenNumber(), window,
                                          XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER, XCB_CURRENT_TIME,
                                          XCB_WINDOW_NONE);
    xcb_flush(x_->raw());
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
