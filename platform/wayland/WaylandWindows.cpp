#include "platform/wayland/WaylandWindows.h"

#include <thread>

namespace hopla::wayland {

namespace {

class ToplevelWindows final : public ApplicationWindows {
public:
    ToplevelWindows(WaylandRunningApps& apps, AppHandle handle)
        : apps_(apps)
        , handle_(handle) {}

    std::optional<std::vector<WindowRef>> windows() override {
        std::vector<WindowRef> refs;
        for (const Toplevel& t : current()) {
            refs.push_back(static_cast<WindowRef>(t.id));
        }
        return refs;
    }
    std::optional<WindowRole> role(WindowRef) override { return WindowRole::normal; }
    std::optional<bool> isMinimized(WindowRef window) override {
        const auto t = find(window);
        return t ? std::optional(t->minimized) : std::nullopt;
    }
    std::optional<WindowRef> focusedWindow() override {
        for (const Toplevel& t : current()) {
            if (t.activated) {
                return static_cast<WindowRef>(t.id);
            }
        }
        return std::nullopt;
    }
    std::optional<WindowRef> mainWindow() override {
        const auto list = current();
        return list.empty() ? std::nullopt : std::optional(static_cast<WindowRef>(list.front().id));
    }
    bool unminimize(WindowRef window, std::chrono::milliseconds within) override {
        if (!find(window)) {
            return false;
        }
        apps_.source().unminimize(static_cast<std::uint64_t>(window));
        // The compositor's answer arrives as a new list; look until it shows the window.
        const auto deadline = std::chrono::steady_clock::now() + within;
        for (;;) {
            const auto t = find(window);
            if (!t) {
                return false;
            }
            if (!t->minimized) {
                return true;
            }
            if (std::chrono::steady_clock::now() >= deadline) {
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    bool activate(WindowRef window) override {
        const auto t = find(window);
        if (!t) {
            return false;
        }
        if (t->minimized) {
            apps_.source().unminimize(t->id);
        } else {
            apps_.source().activate(t->id);
        }
        return true;
    }
    void raise(WindowRef window) override { activate(window); }

private:
    std::vector<Toplevel> current() const {
        const auto owners = apps_.owners();
        const auto it = owners->windows.find(handle_);
        return it == owners->windows.end() ? std::vector<Toplevel>{} : it->second;
    }
    std::optional<Toplevel> find(WindowRef window) const {
        for (const Toplevel& t : current()) {
            if (t.id == static_cast<std::uint64_t>(window)) {
                return t;
            }
        }
        return std::nullopt;
    }

    WaylandRunningApps& apps_;
    AppHandle handle_;
};

} // namespace

std::unique_ptr<ApplicationWindows> WaylandWindows::windowsOf(AppHandle application) {
    return std::make_unique<ToplevelWindows>(apps_, application);
}

} // namespace hopla::wayland
