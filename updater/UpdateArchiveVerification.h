#pragma once

#include "updater/UpdateConfiguration.h"

#include <QStringList>

#include <optional>

// The release engineer's check of an archive: "hopla --verify-update-archive <zip> <version>
// <build> <sha256>" runs every check an update goes through and prints the verdict.
namespace hopla::UpdateArchiveVerification {

// The exit status when the command line asks for the check (after printing the PASS line
// on standard output or the FAILED line on standard error); nothing otherwise.
std::optional<int> runIfRequested(const UpdateConfiguration& configuration,
                                  const QStringList& arguments);

} // namespace hopla::UpdateArchiveVerification
