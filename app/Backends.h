#pragma once

#include "app/BackendChoice.h"
#include "platform/DesktopBackend.h"

#include <memory>

namespace hopla {

// Opens the display server the choice names; a new backend is one case here. Where the
// chosen one cannot serve (a KDE session until it has a backend of its own; a Wayland
// compositor without the wlr protocols, such as GNOME's), Hopla opens the X11 one there
// (Xwayland's windows, the settings and the tray keep working), and the choice becomes
// unavailable with the reason. Nothing, with the reason, when no display server answers.
std::unique_ptr<DesktopBackend> openBackend(BackendChoice& choice, QString* error);

// Before Qt starts: nothing when the display server Qt will connect to answers, else why not
// ("no X display: DISPLAY is not set"), to say before Qt tries and aborts.
std::optional<QString> displayProblem();

} // namespace hopla
