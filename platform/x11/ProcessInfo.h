#pragma once

#include "platform/ProcessId.h"
#include "platform/Workspace.h"

#include <QString>

#include <optional>

namespace hopla::x11 {

// Facts about a local process, read from /proc. Nothing when the process is gone or the
// fact cannot be read (another user's process).
std::optional<QString> executablePath(ProcessId pid);
std::optional<WallClockTime> processStartTime(ProcessId pid);
bool processExists(ProcessId pid);

} // namespace hopla::x11
