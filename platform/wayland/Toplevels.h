#pragma once

#include <QString>

#include <cstdint>
#include <functional>
#include <vector>

namespace hopla::wayland {

// One toplevel window as the compositor lists it, Wayland or Xwayland alike.
struct Toplevel {
    std::uint64_t id = 0; // Hopla's own number for it, never reused
    QString appId;        // Wayland's app_id; an Xwayland window's class
    QString title;
    bool activated = false;
    bool minimized = false;

    bool operator==(const Toplevel&) const = default;
};

// Where the list of toplevels comes from and what can be asked of them: a compositor
// protocol (wlr foreign toplevels, KDE's window management). Requests may be made from any
// thread; the list reaches the listener on the source's own thread, whole, after every change.
class ToplevelSource {
public:
    using Listener = std::function<void(std::vector<Toplevel>)>;
    virtual ~ToplevelSource() = default;

    virtual void setListener(Listener listener) = 0;
    // The list as it stands, from any thread but the source's own.
    virtual std::vector<Toplevel> current() = 0;
    virtual void activate(std::uint64_t id) = 0;
    virtual void unminimize(std::uint64_t id) = 0;
};

} // namespace hopla::wayland
