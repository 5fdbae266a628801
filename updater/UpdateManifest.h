#pragma once

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <optional>

namespace hopla {

// What the distribution server publishes about the newest release, as a JSON object.
struct UpdateManifest {
    std::int64_t schemaVersion = 1;
    QString product;
    QString version;                     // shown to the user, never compared
    std::int64_t build = 0;              // the only number that decides what is newer
    QString downloadURL;                 // absolute URL of the zip archive
    QString sha256;                      // 64 hexadecimal digits, either case
    std::optional<QString> releaseNotes; // Markdown

    friend bool operator==(const UpdateManifest&, const UpdateManifest&) = default;

    // Decodes the manifest's JSON; unknown keys are ignored. On failure, `error` (when given)
    // says which key is missing or of the wrong type, or what JSON could not be parsed.
    static std::optional<UpdateManifest> decode(const QByteArray& json, QString* error = nullptr);
    QByteArray encode() const;
};

} // namespace hopla
