#include "platform/x11/X11WindowSystem.h"
#include "platform/x11/XConnection.h"

#include "platform/x11/ClientWindows.h"

#include <algorithm>
#include <thread>
#include <unistd.h>

namespace hopla::x11 {

namespace {

WindowRef refOf(xcb_window_t w) {
    return static_cast<WindowRef>(w);
}
xcb_window_t windowOf(WindowRef r) {
    return static_cast<xcb_window_t>(r);
}

} // namespace

void requestActivation(XConnection& x, const ClientWindow& window, ServerTime time) {
    constexpr std::uint32_t allDesktops = 0xFFFFFFFF;
    const auto current = x.cardinal(x.root(), x.ewmh()->_NET_CURRENT_DESKTOP, XCB_ATOM_CARDINAL);
    if (current && window.desktop && *window.desktop != allDesktops &&
        *window.desktop != *current) {
        xcb_ewmh_request_change_current_desktop(x.ewmh(), x.screenNumber(), *window.desktop, time);
    }
    constexpr auto fromPager = XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER;
    xcb_ewmh_request_change_active_window(x.ewmh(), x.screenNumber(), window.id, fromPager, time,
                                          readActiveWindow(x));
    xcb_flush(x.raw());
}

X11WindowSystem::X11WindowSystem(std::unique_ptr<XConnection> x,
                                 std::shared_ptr<const WindowOwners> owners)
    : x_(std::move(x))
    , owners_(std::move(owners)) {}

X11WindowSystem::~X11WindowSystem() = default;

std::unique_ptr<X11WindowSystem> X11WindowSystem::open(std::shared_ptr<const WindowOwners> owners,
                                                       std::string* error) {
    auto x = XConnection::open(nullptr, error);
    return x ? std::unique_ptr<X11WindowSystem>(
                   new X11WindowSystem(std::move(x), std::move(owners)))
             : nullptr;
}

// One application's windows, most recently used first.
class X11ApplicationWindows final : public ApplicationWindows {
public:
    X11ApplicationWindows(X11WindowSystem& system, AppHandle application)
        : system_(system)
        , app_(application) {}

    std::optional<std::vector<WindowRef>> windows() override {
        if (std::lock_guard lock(system_.mutex_); system_.x_->broken()) {
            return std::nullopt;
        }
        std::vector<WindowRef> refs;
        for (const xcb_window_t w : system_.owners_->windowsOf(app_)) {
            refs.push_back(refOf(w));
        }
        return refs;
    }

    std::optional<WindowRole> role(WindowRef window) override {
        const auto c = read(window);
        return c ? std::optional(c->role) : std::nullopt;
    }

    std::optional<bool> isMinimized(WindowRef window) override {
        const auto c = read(window);
        return c ? std::optional(c->minimized) : std::nullopt;
    }

    std::optional<WindowRef> focusedWindow() override {
        std::lock_guard lock(system_.mutex_);
        const xcb_window_t active = readActiveWindow(*system_.x_);
        return owns(active) ? std::optional(refOf(active)) : std::nullopt;
    }

    std::optional<WindowRef> mainWindow() override {
        const auto all = windows();
        return all && !all->empty() ? std::optional(all->front()) : std::nullopt;
    }

    bool unminimize(WindowRef window, std::chrono::milliseconds within) override {
        {
            std::lock_guard lock(system_.mutex_);
            auto& x = *system_.x_;
            constexpr auto fromPager = XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER;
            xcb_ewmh_request_change_active_window(x.ewmh(), x.screenNumber(), windowOf(window),
                                                  fromPager, XCB_CURRENT_TIME, XCB_WINDOW_NONE);
            xcb_flush(x.raw());
        }
        // The window manager maps it asynchronously; wait a little, bounded.
        const auto deadline = std::chrono::steady_clock::now() + within;
        do {
            const auto minimized = isMinimized(window);
            if (!minimized) {
                return false; // gone
            }
            if (!*minimized) {
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        } while (std::chrono::steady_clock::now() < deadline);
        return false;
    }

    bool activate(WindowRef window) override {
        const auto c = read(window);
        if (!c) {
            return false;
        }
        std::lock_guard lock(system_.mutex_);
        if (c->minimized) {
            // ICCCM: mapping an iconic window asks for it to be shown again.
            xcb_map_window(system_.x_->raw(), c->id);
        }
        requestActivation(*system_.x_, *c, system_.userTime_);
        return true;
    }

    void raise(WindowRef window) override {
        std::lock_guard lock(system_.mutex_);
        auto& x = *system_.x_;
        const std::uint32_t above = XCB_STACK_MODE_ABOVE;
        xcb_configure_window(x.raw(), windowOf(window), XCB_CONFIG_WINDOW_STACK_MODE, &above);
        xcb_flush(x.raw());
    }

private:
    bool owns(xcb_window_t window) const {
        const auto mine = system_.owners_->windowsOf(app_);
        return window != XCB_WINDOW_NONE &&
               std::find(mine.begin(), mine.end(), window) != mine.end();
    }
    std::optional<ClientWindow> read(WindowRef window) {
        if (!owns(windowOf(window))) {
            return std::nullopt;
        }
        std::lock_guard lock(system_.mutex_);
        return readClientWindow(*system_.x_, windowOf(window));
    }

    X11WindowSystem& system_;
    AppHandle app_;
};

std::unique_ptr<ApplicationWindows> X11WindowSystem::windowsOf(AppHandle application) {
    return std::make_unique<X11ApplicationWindows>(*this, application);
}

} // namespace hopla::x11
