#include "platform/wayland/WaylandConnection.h"

#include <wayland-client.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <future>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace hopla::wayland {

namespace {

void announce(void* data, wl_registry*, std::uint32_t name, const char* interface,
              std::uint32_t version) {
    static_cast<std::vector<Global>*>(data)->push_back({name, interface, version});
}

void withdraw(void* data, wl_registry*, std::uint32_t name) {
    auto& globals = *static_cast<std::vector<Global>*>(data);
    std::erase_if(globals, [name](const Global& g) { return g.name == name; });
}

constexpr wl_registry_listener registryListener{announce, withdraw};

} // namespace

std::unique_ptr<WaylandConnection> WaylandConnection::open(std::string* error) {
    std::unique_ptr<WaylandConnection> connection(new WaylandConnection);
    connection->display_ = wl_display_connect(nullptr);
    if (!connection->display_) {
        if (error) {
            *error =
                std::string("cannot connect to the Wayland compositor: ") + std::strerror(errno);
        }
        return nullptr;
    }
    connection->wakeup_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    connection->registry_ = wl_display_get_registry(connection->display_);
    wl_registry_add_listener(connection->registry_, &registryListener, &connection->globals_);
    if (connection->wakeup_ < 0 || !connection->roundtrip()) {
        if (error) {
            *error = "the Wayland compositor did not answer";
        }
        return nullptr;
    }
    return connection;
}

void WaylandConnection::stop() {
    {
        std::lock_guard guard(lock_);
        stopping_ = true;
    }
    if (thread_.joinable()) {
        const std::uint64_t one = 1;
        [[maybe_unused]] const auto written = ::write(wakeup_, &one, sizeof one);
        thread_.join();
    }
}

WaylandConnection::~WaylandConnection() {
    stop();
    if (registry_) {
        wl_registry_destroy(registry_);
    }
    if (display_) {
        wl_display_disconnect(display_);
    }
    if (wakeup_ >= 0) {
        ::close(wakeup_);
    }
}

void* WaylandConnection::bind(const wl_interface& interface, std::uint32_t minimum,
                              std::uint32_t maximum) {
    for (const Global& global : globals_) {
        if (global.interface == interface.name && global.version >= minimum) {
            return wl_registry_bind(registry_, global.name, &interface,
                                    std::min(global.version, maximum));
        }
    }
    return nullptr;
}

bool WaylandConnection::roundtrip() {
    return wl_display_roundtrip(display_) >= 0;
}

void WaylandConnection::start() {
    thread_ = std::thread([this] { loop(); });
}

void WaylandConnection::post(std::function<void()> task) {
    {
        std::lock_guard guard(lock_);
        if (stopping_) {
            return;
        }
        tasks_.push_back(std::move(task));
    }
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(wakeup_, &one, sizeof one);
}

void WaylandConnection::run(const std::function<void()>& task) {
    if (onThread() || !thread_.joinable()) {
        task();
        return;
    }
    auto done = std::make_shared<std::promise<void>>();
    auto finished = done->get_future();
    post([task, done] { // copied: a late run must not outlive the caller's
        task();
        done->set_value();
    });
    // A connection that stops first drops the task: its promise is broken, and the wait ends.
    finished.wait();
}

void WaylandConnection::watch(int fd, std::function<void()> readable) {
    watches_.push_back({fd, std::move(readable)});
}

void WaylandConnection::unwatch(int fd) {
    std::erase_if(watches_, [fd](const Watch& w) { return w.fd == fd; });
}

void WaylandConnection::markLost() {
    if (!lost_.exchange(true) && lostHandler_) {
        lostHandler_();
    }
}

void WaylandConnection::runTasks() {
    std::uint64_t count = 0;
    [[maybe_unused]] const auto read = ::read(wakeup_, &count, sizeof count);
    std::vector<std::function<void()>> tasks;
    {
        std::lock_guard guard(lock_);
        tasks.swap(tasks_);
    }
    for (auto& task : tasks) {
        task();
    }
}

void WaylandConnection::loop() {
    const int displayFd = wl_display_get_fd(display_);
    std::vector<pollfd> fds;
    for (;;) {
        {
            std::lock_guard guard(lock_);
            if (stopping_) {
                return;
            }
        }
        if (lost_) { // only posted work is left to do
            pollfd wake{wakeup_, POLLIN, 0};
            ::poll(&wake, 1, -1);
            runTasks();
            continue;
        }
        while (wl_display_prepare_read(display_) != 0) {
            if (wl_display_dispatch_pending(display_) < 0) {
                break;
            }
        }
        if (wl_display_flush(display_) < 0 && errno != EAGAIN) {
            wl_display_cancel_read(display_);
            markLost();
            continue;
        }
        fds.assign({{displayFd, POLLIN, 0}, {wakeup_, POLLIN, 0}});
        for (const Watch& w : watches_) {
            fds.push_back({w.fd, POLLIN, 0});
        }
        if (::poll(fds.data(), fds.size(), -1) < 0 && errno != EINTR) {
            wl_display_cancel_read(display_);
            markLost();
            continue;
        }
        if (fds[0].revents & (POLLIN | POLLHUP | POLLERR)) {
            if (wl_display_read_events(display_) < 0) {
                markLost();
                continue;
            }
        } else {
            wl_display_cancel_read(display_);
        }
        if (wl_display_dispatch_pending(display_) < 0 || wl_display_get_error(display_) != 0) {
            markLost();
            continue;
        }
        if (fds[1].revents & POLLIN) {
            runTasks();
        }
        // A handler may unwatch (itself or another): look each descriptor up again.
        for (std::size_t i = 2; i < fds.size(); ++i) {
            if (!(fds[i].revents & (POLLIN | POLLHUP | POLLERR))) {
                continue;
            }
            const auto it = std::find_if(watches_.begin(), watches_.end(),
                                         [&](const Watch& w) { return w.fd == fds[i].fd; });
            if (it != watches_.end()) {
                auto readable = it->readable; // may unwatch while it runs
                readable();
            }
        }
        wl_display_flush(display_);
    }
}

} // namespace hopla::wayland
