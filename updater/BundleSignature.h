#pragma once

#include "updater/UpdateConfiguration.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace hopla {

// A Hopla folder carries its publisher's signature in .signature/: "files" lists every
// regular file outside .signature/ as "<mode> <sha256> <path>" lines (mode as four octal
// digits, path relative to the folder, sorted bytewise); "files.minisig" is the
// publisher's minisign signature of that listing and "files.notary.minisig" the
// distribution's countersignature of it. Both trusted comments name the bundle
// ("identifier=<bundle identifier>").

// The listing of the folder as it is on disk, or nothing (with the reason) when it holds
// anything but folders and regular files.
std::optional<QByteArray> bundleListing(const QString& bundlePath, QString* problem = nullptr);

// Whether the folder is exactly what both keys signed: nothing added, missing or changed,
// no link, both signatures valid and naming `configuration.desktopId`. On refusal,
// `problem` says why.
bool verifyBundleSignatures(const QString& bundlePath, const UpdateConfiguration& configuration,
                            QString* problem = nullptr);

} // namespace hopla
