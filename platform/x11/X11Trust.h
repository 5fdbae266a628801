#pragma once

#include <QString>

namespace hopla::x11 {

// Whether Hopla can see and steer the keyboard here: an X11 session (Qt on its xcb
// platform) whose server offers XInput 2.2 and XTEST. When not, `reason` says why.
struct TrustReport {
    bool trusted = false;
    QString reason;
};

TrustReport checkTrust(const QString& qtPlatformName);

} // namespace hopla::x11
