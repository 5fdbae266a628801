#include "updater/UpdateArchiveVerification.h"

#include "updater/UpdateInstaller.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cstdio>

namespace hopla::UpdateArchiveVerification {

namespace {

int failed(const QString& description) {
    std::fprintf(stderr, "UPDATE VERIFY FAILED: %s\n", description.toLocal8Bit().constData());
    return 1;
}

} // namespace

std::optional<int> runIfRequested(const UpdateConfiguration& configuration,
                                  const QStringList& arguments) {
    if (arguments.size() != 6 || arguments[1] != QLatin1String("--verify-update-archive")) {
        return std::nullopt;
    }
    using UpdateInstaller::Failure;
    QString buildText = arguments[4];
    if (buildText.startsWith(QLatin1Char('+'))) {
        buildText.remove(0, 1);
    }
    bool parsed = false;
    const qlonglong build = buildText.toLongLong(&parsed, 10);
    if (!parsed || buildText.trimmed() != buildText) {
        return failed(UpdateInstaller::description(Failure::invalidArchive));
    }
    UpdateManifest manifest{
        .schemaVersion = 1,
        .product = configuration.product,
        .version = arguments[3],
        .build = build,
        .downloadURL = configuration.manifestURL.toString(),
        .sha256 = arguments[5],
        .releaseNotes = std::nullopt,
    };
    QFile archive(arguments[2]);
    if (!archive.open(QIODevice::ReadOnly)) {
        return failed(archive.errorString());
    }
    if (archive.size() > configuration.limits.downloadBytes) {
        return failed(UpdateInstaller::description(Failure::invalidArchive));
    }
    const auto result = UpdateInstaller::prepare(archive.readAll(), manifest, configuration,
                                                 UpdateInstaller::stagingRoot({}));
    if (const auto* error = std::get_if<UpdateInstaller::Error>(&result)) {
        return failed(error->description());
    }
    QDir(QFileInfo(std::get<QString>(result)).path()).removeRecursively();
    std::printf("UPDATE VERIFY PASS: checksum, app identity, Developer ID signature and "
                "notarization\n");
    return 0;
}

} // namespace hopla::UpdateArchiveVerification
