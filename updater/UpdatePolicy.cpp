#include "updater/UpdatePolicy.h"

#include "updater/UpdaterText.h"

#include <QUrl>

namespace hopla::UpdatePolicy {

QString description(Failure failure) {
    switch (failure) {
    case Failure::invalidSchema:
        return updaterCopy("更新清单版本不受支持。");
    case Failure::wrongProduct:
        return updaterCopy("更新包不属于当前应用。");
    case Failure::invalidVersion:
        return updaterCopy("更新版本信息无效。");
    case Failure::invalidDownloadURL:
        return updaterCopy("更新下载地址无效。");
    case Failure::invalidChecksum:
        return updaterCopy("更新包校验值无效。");
    }
    return {};
}

std::optional<Failure> validate(const UpdateManifest& manifest,
                                const UpdateConfiguration& configuration) {
    if (manifest.schemaVersion != 1) {
        return Failure::invalidSchema;
    }
    if (manifest.product != configuration.product) {
        return Failure::wrongProduct;
    }
    if (manifest.version.isEmpty() || manifest.build < 1) {
        return Failure::invalidVersion;
    }
    // The scheme as written: QUrl would fold "HTTPS" to "https".
    const QUrl url(manifest.downloadURL, QUrl::StrictMode);
    if (!manifest.downloadURL.startsWith(QLatin1String("https:")) || !url.isValid() ||
        url.host().isEmpty() ||
        !configuration.allowedDownloadHosts.contains(url.host().toLower())) {
        return Failure::invalidDownloadURL;
    }
    const QString sum = manifest.sha256.toLower();
    const bool hex = std::all_of(sum.cbegin(), sum.cend(), [](QChar c) {
        return (c >= QLatin1Char('0') && c <= QLatin1Char('9')) ||
               (c >= QLatin1Char('a') && c <= QLatin1Char('f'));
    });
    if (sum.size() != 64 || !hex) {
        return Failure::invalidChecksum;
    }
    return std::nullopt;
}

bool isNewer(const UpdateManifest& manifest, std::int64_t installedBuild) {
    return installedBuild < manifest.build;
}

bool isNewer(const UpdateManifest& manifest, const std::optional<QString>& installedBuild) {
    bool parsed = false;
    const qlonglong build = installedBuild.value_or(QStringLiteral("0")).toLongLong(&parsed);
    return parsed ? isNewer(manifest, build) : manifest.build > 0;
}

} // namespace hopla::UpdatePolicy
