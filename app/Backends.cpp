#include "app/Backends.h"

#include "platform/wayland/wlroots/WlrootsBackend.h"
#include "platform/x11/X11Backend.h"
#include "platform/x11/X11Readiness.h"

namespace hopla {

std::unique_ptr<DesktopBackend> openBackend(const BackendChoice& choice, QString* error) {
    std::string reason;
    std::unique_ptr<DesktopBackend> backend;
    switch (choice.backend) {
    case Backend::wlroots:
        backend = wayland::WlrootsBackend::open(&reason);
        break;
    case Backend::x11:
    case Backend::kde: // no backend of its own yet: Xwayland's windows, never ready
    case Backend::none:
        backend = x11::X11Backend::open(&reason);
        break;
    }
    if (!backend && error) {
        *error = QString::fromStdString(reason);
    }
    return backend;
}

std::optional<QString> displayProblem() {
    return x11::displayProblem();
}

} // namespace hopla
