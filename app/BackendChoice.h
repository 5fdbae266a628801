#pragma once

#include <QString>

namespace hopla {

// The display server Hopla switches on, chosen once at start from the session.
enum class Backend {
    x11,     // an X11 session: EWMH window manager, XInput 2, XTEST
    wlroots, // a Wayland session of sway, labwc, Hyprland, wayfire, river and their kin
    kde,     // a Wayland session of KDE Plasma (KWin)
    none,    // nothing to switch on: no display, or only Xwayland inside a Wayland session
};

// What the session says about itself: its environment and the platform Qt runs on.
struct SessionFacts {
    QString waylandDisplay; // WAYLAND_DISPLAY
    QString sessionType;    // XDG_SESSION_TYPE
    QString currentDesktop; // XDG_CURRENT_DESKTOP
    QString display;        // DISPLAY
    QString qtPlatform;     // "xcb", "wayland", "offscreen"…

    static SessionFacts current(const QString& qtPlatform);
};

struct BackendChoice {
    Backend backend = Backend::none;
    // Which backend this build can actually switch on; false with the reason for the user.
    bool available = false;
    QString reason;
};

// The one place that decides which display server Hopla works with.
BackendChoice chooseBackend(const SessionFacts& session);

} // namespace hopla
