#pragma once

#include <QString>

#include <memory>

namespace hopla {

class SyntheticKeyboard;

// The self-check run by --verify-app-shortcuts once the settings window is up: it types
// Ctrl+, and Ctrl+W through the display server (XTEST on X11), the path a user's keys take, and
// checks that the window's commands ran, that Ctrl+, leaves the settings shown and Ctrl+W closes
// them without quitting. X11 gives keys only to the focused window, and once Hopla's one window is
// closed no key reaches Hopla, so Ctrl+, is typed first, while the settings window has the focus.
//
// The process ends with the outcome: a PASS line on standard output and status 0, or a
// FAIL line on standard error and status 1.
namespace ApplicationShortcutVerification {

// Starts the check and returns at once. Without `keys` it fails at once.
void run(std::unique_ptr<SyntheticKeyboard> keys, const QString& keysUnavailable);

// The application's top-level windows that are shown and have a title bar.
int visibleWindows();

// Writes the FAIL line and ends the process with status 1.
[[noreturn]] void fail(const QString& message);

} // namespace ApplicationShortcutVerification
} // namespace hopla
