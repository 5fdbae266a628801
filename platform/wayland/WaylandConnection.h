#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

struct wl_display;
struct wl_registry;
struct wl_interface;

namespace hopla::wayland {

// One global the compositor announced: what it is, under which name, at which version.
struct Global {
    std::uint32_t name = 0;
    std::string interface;
    std::uint32_t version = 0;
};

// A connection of Hopla's own to the compositor, served by a thread of its own, the way the
// X11 key source keeps its own X connection. Objects are bound on the opening thread before
// start(); afterwards every request and every event belongs to the connection's thread, and
// other threads hand it work with post().
class WaylandConnection {
public:
    // Connects to $WAYLAND_DISPLAY and reads the globals; nothing, with the reason, when no
    // compositor answers.
    static std::unique_ptr<WaylandConnection> open(std::string* error);
    ~WaylandConnection();
    WaylandConnection(const WaylandConnection&) = delete;
    WaylandConnection& operator=(const WaylandConnection&) = delete;

    wl_display* display() const { return display_; }
    const std::vector<Global>& globals() const { return globals_; }
    // Binds the global of that interface at the highest version both sides speak, but at
    // least `minimum`; null when the compositor offers none. Before start() only.
    void* bind(const wl_interface& interface, std::uint32_t minimum, std::uint32_t maximum);
    // Waits until the compositor handled every request so far. Before start() only.
    bool roundtrip();

    // Starts the connection's thread.
    void start();
    // Stops the thread (after the task it runs); nothing is dispatched afterwards, so the
    // owner may destroy its objects on its own thread. Also done on destruction.
    void stop();
    // Runs the task on the connection's thread, after what was posted before. Dropped once
    // the connection is gone.
    void post(std::function<void()> task);
    // Runs the task on the connection's thread and waits for it (or for the connection to
    // stop, which drops it).
    void run(const std::function<void()>& task);
    // On the connection's thread: calls `readable` whenever the descriptor has data, until
    // unwatch(). The descriptor stays the caller's.
    void watch(int fd, std::function<void()> readable);
    void unwatch(int fd);
    bool onThread() const { return std::this_thread::get_id() == thread_.get_id(); }
    // The compositor closed the connection or sent a protocol error.
    bool lost() const { return lost_.load(); }
    // Called on the connection's thread once, when the connection is lost.
    void setLostHandler(std::function<void()> handler) { lostHandler_ = std::move(handler); }

private:
    WaylandConnection() = default;
    void loop();
    void runTasks();
    void markLost();

    wl_display* display_ = nullptr;
    wl_registry* registry_ = nullptr;
    std::vector<Global> globals_;
    int wakeup_ = -1; // an eventfd: tasks were posted, or it is time to stop
    std::mutex lock_;
    std::vector<std::function<void()>> tasks_;
    bool stopping_ = false;
    struct Watch {
        int fd;
        std::function<void()> readable;
    };
    std::vector<Watch> watches_; // the connection's thread only
    std::atomic<bool> lost_{false};
    std::function<void()> lostHandler_;
    std::thread thread_;
};

} // namespace hopla::wayland
