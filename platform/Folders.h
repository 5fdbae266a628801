#pragma once

#include <QString>

#include <optional>

namespace hopla {

// Makes the folder and whatever parents it lacks. Nothing when the folder is there
// afterwards; otherwise the folder and the system's own reason ("…/Hopla: Read-only file
// system", "…/autostart: Not a directory"), fit to show to the user.
std::optional<QString> makeFolder(const QString& path);

} // namespace hopla
