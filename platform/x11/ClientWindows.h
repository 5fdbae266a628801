#pragma once

#include "platform/WindowAccess.h"
#include "platform/x11/XTypes.h"

#include <QString>

#include <optional>
#include <vector>

namespace hopla::x11 {

class XConnection;

// What Hopla needs to know about one managed top-level window.
struct ClientWindow {
    WindowId id = noWindow;
    std::optional<Pid> pid; // the X-Resource client's pid, else _NET_WM_PID
    QString instance;       // WM_CLASS
    QString className;
    QString gtkApplicationId; // _GTK_APPLICATION_ID
    QString kdeDesktopFile;   // _KDE_NET_WM_DESKTOP_FILE
    QString title;            // _NET_WM_NAME, else WM_NAME (COMPOUND_TEXT decoded)
    WindowRole role = WindowRole::normal;
    bool countsAsApplication = false; // a normal or dialog window the taskbar shows
    bool skipTaskbar = false;
    bool minimized = false;               // _NET_WM_STATE_HIDDEN or WM_STATE Iconic
    bool acceptsFocus = true;             // WM_HINTS input or WM_TAKE_FOCUS
    std::optional<std::uint32_t> desktop; // 0xFFFFFFFF: on every desktop
};

// The managed windows in _NET_CLIENT_LIST order, read in a few batched round trips.
// Windows that vanish while being read are left out. Nothing when the list is unreadable
// (no EWMH window manager).
std::optional<std::vector<ClientWindow>> readClientWindows(XConnection& x);

// _NET_CLIENT_LIST, in its order; nothing when unreadable.
std::optional<std::vector<WindowId>> readClientList(XConnection& x);

// Reads the given windows the same way, batched, leaving out those that vanished.
std::vector<ClientWindow> readClientWindows(XConnection& x, const std::vector<WindowId>& list);

// Reads one window the same way; nothing when it no longer exists.
std::optional<ClientWindow> readClientWindow(XConnection& x, WindowId window);

// _NET_CLIENT_LIST_STACKING, bottom to top; nothing when unreadable.
std::optional<std::vector<WindowId>> readStacking(XConnection& x);
// The clients bottom to top as the X server stacks their frames (the root's children), which
// is true where a window manager fills _NET_CLIENT_LIST_STACKING in mapping order (fluxbox);
// clients whose frame cannot be found are left out.
std::vector<WindowId> readServerStacking(XConnection& x, const std::vector<WindowId>& clients);

// _NET_ACTIVE_WINDOW; noWindow while focus is changing hands or nobody has it.
WindowId readActiveWindow(XConnection& x);

} // namespace hopla::x11
