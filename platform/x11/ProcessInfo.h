#pragma once

#include "platform/RunningApps.h"
#include "platform/x11/XTypes.h"

#include <QString>

#include <optional>

namespace hopla::x11 {

// Facts about a local process, read from /proc. Nothing when the process is gone or the
// fact cannot be read (another user's process).
std::optional<QString> executablePath(Pid pid);
std::optional<WallClockTime> processStartTime(Pid pid);
bool processExists(Pid pid);
// The Flatpak app id of a sandboxed process (its instance's metadata); nothing for others.
std::optional<QString> sandboxAppId(Pid pid);

} // namespace hopla::x11
