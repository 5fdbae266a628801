#pragma once

#include "platform/KeyEventSource.h"

#include <QString>

#include <cstdint>
#include <optional>

namespace hopla::x11 {

class XConnection;

// The window manager's own name (_NET_WM_NAME of its _NET_SUPPORTING_WM_CHECK window), as
// it calls itself: "Openbox", "Xfwm4", "IceWM 3.3.1 (Linux 6.1.0/x86_64)"; nothing when no
// EWMH window manager runs.
std::optional<QString> windowManagerName(XConnection& x);

// Who most likely holds a switch shortcut that our grab was refused: a known switcher
// running as this user, else the window manager. X11 does not say who holds a grab.
ShortcutHolder findShortcutHolder(XConnection& x);

// The process of the window manager (_NET_WM_PID of its check window); nothing when it
// does not say.
std::optional<std::uint32_t> windowManagerPid(XConnection& x);

// The window manager, as the holder of a key it takes for itself.
ShortcutHolder windowManagerHolder(XConnection& x);

// Removes the window manager's own binding of Tab with the modifier ("Super" or "Alt"), as
// its own settings would: GSettings for the GNOME family, the keys file for fluxbox (then
// told to reconfigure), xfconf for xfwm4. An error text, or nothing when released.
std::optional<QString> releaseWindowManagerBinding(const QString& modifier);

} // namespace hopla::x11
