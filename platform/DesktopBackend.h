#pragma once

#include "platform/KeyEventSource.h"
#include "platform/PanelSurface.h"
#include "platform/Readiness.h"
#include "platform/RunningApps.h"
#include "platform/SyntheticKeyboard.h"
#include "platform/VirtualKeys.h"
#include "platform/WindowAccess.h"

#include <QString>

#include <memory>
#include <optional>
#include <string>

namespace hopla {

// Everything the switcher needs from one display server, opened once at start for the
// session (BackendChoice). The rest of Hopla programs against this and the ports it hands
// out; a new display server is a new implementation under platform/. Main thread, except
// where a port says otherwise.
class DesktopBackend {
public:
    virtual ~DesktopBackend() = default;

    virtual RunningApps& runningApps() = 0;
    virtual WindowSystem& windows() = 0;
    virtual KeyEventSource& keys() = 0;
    virtual PanelSurface& panelSurface() = 0;
    // What each key of the main block types under the current layout; nothing when the
    // keymap cannot be read. Called on the key source's thread.
    virtual std::optional<KeyLetters> letters() = 0;

    // Whether switching can work here now (re-asked on every refresh), and what the display
    // server must offer, for the settings' explanation.
    virtual Readiness readiness() = 0;
    virtual QString requirements() const = 0;

    // The applications' icons are drawn this many pixels wide.
    virtual void setIconSize(int pixels) = 0;
    // A switch asked for by the latest key is about to be made: the window manager lets
    // it through when it carries that key's time.
    virtual void noteSwitchKey() = 0;
    // Removes the window manager's own binding of the switch shortcut (`modifier` is "Super"
    // or "Alt"); the error text, or nothing when it was released.
    virtual std::optional<QString> releaseShortcut(const QString& modifier) = 0;
    // A press of the switch key reported by the compositor through a launch of Hopla (its
    // binding runs `hopla --switch`): "switch", "switch-back", "windows" or "windows-back".
    // Display servers whose keys Hopla sees itself ignore it.
    virtual void switchKeyPressed(const QString& action) { (void)action; }
    // A keyboard of its own for self-checks; nothing, with the reason, where there is none.
    virtual std::unique_ptr<SyntheticKeyboard> syntheticKeyboard(std::string* error) = 0;
};

} // namespace hopla
