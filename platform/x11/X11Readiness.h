#pragma once

#include <QString>

#include <optional>

namespace hopla::x11 {

// Whether Hopla can see and steer the keyboard here: an X11 session (Qt on its xcb
// platform) whose server offers XInput 2.2 and XTEST. When not, `reason` says why.
struct ReadinessReport {
    bool ready = false;
    QString reason;
};

ReadinessReport checkReadiness(const QString& qtPlatformName);

// Nothing when an X server answers at $DISPLAY; otherwise why not ("no X display: DISPLAY
// is not set", "cannot connect to the X server at :1"), to say before Qt tries and aborts.
std::optional<QString> displayProblem();

} // namespace hopla::x11
