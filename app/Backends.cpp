#include "app/Backends.h"

#include "app/Preferences.h"

#include "platform/wayland/wlroots/WlrootsBackend.h"
#include "platform/x11/X11Backend.h"
#include "platform/x11/X11Readiness.h"

namespace hopla {

std::unique_ptr<DesktopBackend> openBackend(BackendChoice& choice, QString* error) {
    std::string reason;
    if (choice.backend == Backend::wlroots) {
        if (auto backend = wayland::WlrootsBackend::open(&reason)) {
            return backend;
        }
        choice.available = false;
        choice.reason =
            localized("Hopla 不能在这个 Wayland 会话中切换应用：%1。它需要 sway 或其他"
                      "提供 wlr-layer-shell 和 wlr-foreign-toplevel-management 的合成器。")
                .arg(QString::fromStdString(reason));
        reason.clear();
    }
    auto backend = x11::X11Backend::open(&reason);
    if (!backend && error) {
        *error = QString::fromStdString(reason);
    }
    return backend;
}

std::optional<QString> displayProblem() {
    return x11::displayProblem();
}

} // namespace hopla
