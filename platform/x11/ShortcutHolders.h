#pragma once

#include "platform/KeyEventSource.h"

#include <QString>

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

// The window manager, as the holder of a key it takes for itself.
ShortcutHolder windowManagerHolder(XConnection& x);

} // namespace hopla::x11
