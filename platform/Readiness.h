#pragma once

#include <QString>

namespace hopla {

// Whether the display server lets Hopla see the keyboard and steer windows; when it does
// not, the reason, in the user's language.
struct Readiness {
    bool ready = false;
    QString reason;
};

} // namespace hopla
