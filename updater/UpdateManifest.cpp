#include "updater/UpdateManifest.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>

#include <cmath>

namespace hopla {

namespace {

// JSON numbers arrive as doubles; an integer field takes only whole values that a signed
// 64-bit integer holds exactly.
std::optional<std::int64_t> integer(const QJsonValue& value) {
    if (!value.isDouble()) {
        return std::nullopt;
    }
    const double number = value.toDouble();
    constexpr double limit = 9007199254740992.0; // 2^53: beyond it doubles skip integers
    if (std::trunc(number) != number || std::fabs(number) > limit) {
        return std::nullopt;
    }
    return static_cast<std::int64_t>(number);
}

} // namespace

std::optional<UpdateManifest> UpdateManifest::decode(const QByteArray& json, QString* error) {
    const auto fail = [error](const QString& why) -> std::optional<UpdateManifest> {
        if (error) {
            *error = why;
        }
        return std::nullopt;
    };
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        return fail(QStringLiteral("the manifest is not JSON (%1 at byte %2)")
                        .arg(parseError.errorString())
                        .arg(parseError.offset));
    }
    if (!document.isObject()) {
        return fail(QStringLiteral("the manifest is not a JSON object"));
    }
    const QJsonObject object = document.object();
    UpdateManifest manifest;
    const auto missing = [&](const char* key, const char* type) {
        return fail(QStringLiteral("the manifest's \"%1\" is missing or not %2")
                        .arg(QLatin1String(key), QLatin1String(type)));
    };
    const auto text = [&](const char* key, QString& into) {
        const QJsonValue value = object.value(QLatin1String(key));
        if (!value.isString()) {
            return false;
        }
        into = value.toString();
        return true;
    };
    if (auto schema = integer(object.value(QLatin1String("schemaVersion")))) {
        manifest.schemaVersion = *schema;
    } else {
        return missing("schemaVersion", "an integer");
    }
    if (!text("product", manifest.product)) {
        return missing("product", "a string");
    }
    if (!text("version", manifest.version)) {
        return missing("version", "a string");
    }
    if (auto build = integer(object.value(QLatin1String("build")))) {
        manifest.build = *build;
    } else {
        return missing("build", "an integer");
    }
    if (!text("downloadURL", manifest.downloadURL)) {
        return missing("downloadURL", "a string");
    }
    if (!text("sha256", manifest.sha256)) {
        return missing("sha256", "a string");
    }
    const QJsonValue notes = object.value(QLatin1String("releaseNotes"));
    if (notes.isString()) {
        manifest.releaseNotes = notes.toString();
    } else if (!notes.isUndefined() && !notes.isNull()) {
        return missing("releaseNotes", "a string");
    }
    return manifest;
}

QByteArray UpdateManifest::encode() const {
    QJsonObject object{
        {QStringLiteral("schemaVersion"), static_cast<double>(schemaVersion)},
        {QStringLiteral("product"), product},
        {QStringLiteral("version"), version},
        {QStringLiteral("build"), static_cast<double>(build)},
        {QStringLiteral("downloadURL"), downloadURL},
        {QStringLiteral("sha256"), sha256},
    };
    if (releaseNotes) {
        object.insert(QStringLiteral("releaseNotes"), *releaseNotes);
    }
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

} // namespace hopla
