#pragma once

#include "updater/UpdateConfiguration.h"
#include "updater/UpdateManifest.h"

#include <QString>

#include <cstdint>
#include <optional>

// Whether a manifest may be trusted and acted on, and whether it is newer.
namespace hopla::UpdatePolicy {

enum class Failure {
    invalidSchema,
    wrongProduct,
    invalidVersion,
    invalidDownloadURL,
    invalidChecksum
};

// The failure's text in the updater's language.
QString description(Failure failure);

// The first check the manifest fails, in this order: schema, product, version and build,
// download address (https, an allowed host), checksum; nothing when it passes.
std::optional<Failure> validate(const UpdateManifest& manifest,
                                const UpdateConfiguration& configuration);

bool isNewer(const UpdateManifest& manifest, std::int64_t installedBuild);
// With the installed build as written; a build that is not a plain integer counts as older
// than any release.
bool isNewer(const UpdateManifest& manifest, const std::optional<QString>& installedBuild);

} // namespace hopla::UpdatePolicy
