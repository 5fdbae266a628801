#pragma once

#include "platform/x11/ClientWindows.h"
#include "platform/xdg/DesktopEntries.h"

#include <QString>

#include <optional>

namespace hopla::x11 {

using xdg::DesktopEntries;
using xdg::DesktopEntry;

// Which application a window belongs to: windows with the same key are one application,
// whatever process each runs in. The entry, when one is found, names it and gives its icon.
struct AppIdentity {
    QString key;
    std::optional<DesktopEntry> entry;

    bool operator==(const AppIdentity&) const = default;
};

// The identity of a window, strongest evidence first: the desktop-file id the toolkit
// announces (_GTK_APPLICATION_ID, _KDE_NET_WM_DESKTOP_FILE), the sandbox's app id, a
// desktop entry claiming its WM_CLASS; else the WM_CLASS class, else the process, else the
// window alone. `sandboxAppId` is the owning process's Flatpak id, empty for others.
AppIdentity identify(const ClientWindow& window, const QString& sandboxAppId,
                     DesktopEntries& entries);

} // namespace hopla::x11
