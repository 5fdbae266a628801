#pragma once

#include <QString>

#include <optional>

namespace hopla::desktop {

// A window manager of the GNOME family binds its keys through XInput 2, so Hopla's grab of
// the same combination succeeds and nothing is refused: only its keybinding store tells.
// Mutter (GNOME Shell), Muffin (Cinnamon) and Marco (MATE) keep theirs in GSettings.
struct StoreBinding {
    QString holder; // the desktop, as users know it: "GNOME", "Cinnamon", "MATE"
    QString key;    // the binding that holds the combination: "switch-applications"
};

// Which binding of the running window manager's store ("GNOME Shell", "Mutter (Muffin)",
// "Metacity (Marco)", as _NET_WM_NAME gives it) takes Tab with the modifier ("Super" or
// "Alt"); nothing when none does, or for window managers without such a store (an installed
// GNOME schema means nothing under openbox).
std::optional<StoreBinding> storeBinding(const QString& windowManager, const QString& modifier);

// Removes the combinations of Tab with the modifier from every switching binding of that
// store, keeping the rest (GNOME's Alt+Tab stays), as the desktop's keyboard settings would.
// An error text, or nothing when released.
std::optional<QString> releaseStoreBinding(const QString& windowManager, const QString& modifier);

} // namespace hopla::desktop
