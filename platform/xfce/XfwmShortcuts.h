#pragma once

#include <QString>

#include <optional>

namespace hopla::xfce {

// Removes xfwm4's own bindings of Tab with the given modifier ("Super" or "Alt", with or
// without Shift), the change Xfce's keyboard settings make: xfwm4 reads its bindings from
// the xfconf channel "xfce4-keyboard-shortcuts", under "/xfwm4/custom" when
// "/xfwm4/custom/override" is true and else under "/xfwm4/default". The defaults are first
// copied into the custom set, which then takes over, so nothing else changes. xfwm4 follows
// the channel live. An error text, or nothing on success.
std::optional<QString> releaseXfwmSwitchBinding(const QString& modifier);

// Whether an xfconf key such as "<Super>Tab" or "<Shift><Alt>ISO_Left_Tab" is Tab with
// this modifier and at most Shift besides.
bool isSwitchBinding(const QString& key, const QString& modifier);

} // namespace hopla::xfce
