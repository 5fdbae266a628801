#pragma once

#include "platform/WindowAccess.h"
#include "platform/wayland/WaylandRunningApps.h"

namespace hopla::wayland {

// Window operations on the toplevels of a Wayland session: what each application has comes
// from the running applications' published owners, requests go to the toplevel source.
// Any thread.
class WaylandWindows final : public WindowSystem {
public:
    explicit WaylandWindows(WaylandRunningApps& apps)
        : apps_(apps) {}
    std::unique_ptr<ApplicationWindows> windowsOf(AppHandle application) override;

private:
    WaylandRunningApps& apps_;
};

} // namespace hopla::wayland
