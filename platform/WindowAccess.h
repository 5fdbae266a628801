#pragma once

#include "platform/AppHandle.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace hopla {

// What kind of window a window is, as far as restoring one matters: auxiliary windows
// (docks, menus, tooltips, splash screens and the like) are never restored.
enum class WindowRole { normal, dialog, auxiliary };

// Names one window of one application; opaque outside the adapter that made it.
enum class WindowRef : std::uint64_t {};

// The windows of one application and what can be done with them. Called from the window
// restorer's worker thread and, to switch windows, from the main thread; every call answers
// within a short time limit, and an answer that does not come in time reads as unreadable
// (nothing).
class ApplicationWindows {
public:
    virtual ~ApplicationWindows() = default;

    // The application's windows, or nothing when they cannot be read.
    virtual std::optional<std::vector<WindowRef>> windows() = 0;
    virtual std::optional<WindowRole> role(WindowRef window) = 0;
    virtual std::optional<bool> isMinimized(WindowRef window) = 0;
    virtual std::optional<WindowRef> focusedWindow() = 0;
    virtual std::optional<WindowRef> mainWindow() = 0;
    // Brings a minimized window back, waiting at most `within` for the window manager to
    // show it (one that animates first, or is busy, takes a moment); false when that was
    // refused or did not happen in time.
    virtual bool unminimize(WindowRef window, std::chrono::milliseconds within) = 0;
    // Asks for the window to come to the front with the input focus, restoring it when
    // minimized; false when it is no longer there. Does not wait for the answer.
    virtual bool activate(WindowRef window) = 0;
    virtual void raise(WindowRef window) = 0;
};

// Hands out window access per application. Safe to call from any thread.
class WindowSystem {
public:
    virtual ~WindowSystem() = default;
    virtual std::unique_ptr<ApplicationWindows> windowsOf(AppHandle application) = 0;
};

} // namespace hopla
