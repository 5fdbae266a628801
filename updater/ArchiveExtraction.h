#pragma once

#include "updater/UpdateConfiguration.h"

#include <QString>

#include <optional>

namespace hopla {

// Unpacks the zip archive at `archivePath` into the folder `into`, taking only folders and
// regular files inside `bundleName`/. It refuses, before writing the entry, anything else:
// links (symbolic or hard), devices and other special files, absolute paths, "..", entries
// outside the bundle, the same entry twice, and more entries or unpacked bytes than
// `limits` allow. Modes are kept without set-id bits or write access for others.
// Returns nothing on success, else why it refused.
std::optional<QString> extractUpdateArchive(const QString& archivePath, const QString& into,
                                            const QString& bundleName, const ArchiveLimits& limits);

} // namespace hopla
