#include "updater/UpdateInstaller.h"

#include "platform/FileSystem.h"
#include "updater/ArchiveExtraction.h"
#include "updater/BundleSignature.h"
#include "updater/UpdaterText.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>
#include <QUuid>

#include <spawn.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

extern char** environ;

namespace hopla::UpdateInstaller {

QString description(Failure failure) {
    switch (failure) {
    case Failure::invalidArchive:
        return updaterCopy("更新包已损坏，请重新下载。");
    case Failure::invalidApplication:
        return updaterCopy("更新包未通过开发者签名或公证校验。");
    case Failure::cannotReplace:
        return updaterCopy("无法替换当前应用，请确认当前用户对 Hopla 的安装文件夹有写入权限。");
    }
    return {};
}

QString Error::description() const {
    return failure ? UpdateInstaller::description(*failure) : systemMessage;
}

namespace {

Error refusal(Failure failure, const QString& detail) {
    return Error{failure, {}, detail};
}

Error systemError(const QString& message) {
    return Error{std::nullopt, message, message};
}

} // namespace

QString stagingRoot(const QString& installedBundle) {
    if (!installedBundle.isEmpty()) {
        const QString beside = QFileInfo(installedBundle).absolutePath();
        if (::access(QFile::encodeName(beside).constData(), W_OK) == 0) {
            return beside;
        }
    }
    return QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation) +
           QStringLiteral("/hopla/updates");
}

namespace {
QString stagingPrefix(const QString& product) {
    return QLatin1Char('.') + product + QStringLiteral("-update-");
}
} // namespace

void removeStaged(const QString& root, const QString& product) {
    const QDir folder(root);
    for (const QString& name : folder.entryList({stagingPrefix(product) + QLatin1Char('*')},
                                                QDir::Dirs | QDir::Hidden | QDir::NoSymLinks)) {
        QDir(folder.filePath(name)).removeRecursively();
    }
}

Result<QString> prepare(const QByteArray& data, const UpdateManifest& manifest,
                        const UpdateConfiguration& configuration, const QString& root) {
    const QByteArray sum = QCryptographicHash::hash(data, QCryptographicHash::Sha256).toHex();
    if (QString::fromLatin1(sum) != manifest.sha256.toLower()) {
        return refusal(Failure::invalidArchive, QStringLiteral("SHA-256 is %1").arg(sum));
    }
    const QString staging = root + QLatin1Char('/') + stagingPrefix(configuration.product) +
                            QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
    if (const auto failed = makeFolder(staging)) {
        return systemError(QStringLiteral("cannot make the folder ") + *failed);
    }
    const auto fail = [&staging](Error error) -> Result<QString> {
        QDir(staging).removeRecursively();
        return error;
    };
    const QString archive = staging + QStringLiteral("/update.zip");
    if (const auto failed = saveFile(archive, data)) {
        return fail(systemError(QStringLiteral("cannot write %1: %2").arg(archive, *failed)));
    }
    if (auto refused = extractUpdateArchive(archive, staging, configuration.bundleName(),
                                            configuration.limits)) {
        return fail(refusal(Failure::invalidApplication, *refused));
    }

    const QString application = staging + QLatin1Char('/') + configuration.bundleName();
    const auto bundle = AppBundle::open(application);
    bool buildParsed = false;
    const qlonglong build = bundle ? bundle->build.value_or(QString()).toLongLong(&buildParsed) : 0;
    if (!bundle || bundle->identifier != configuration.desktopId ||
        bundle->version != manifest.version || !buildParsed || build != manifest.build ||
        !bundle->executable()) {
        return fail(refusal(Failure::invalidApplication,
                            QStringLiteral("the archive holds no %1 %2 (%3) of %4")
                                .arg(configuration.appName, manifest.version)
                                .arg(manifest.build)
                                .arg(configuration.desktopId)));
    }
    QString problem;
    if (!verifyBundleSignatures(application, configuration, &problem)) {
        return fail(refusal(Failure::invalidApplication, problem));
    }
    return application;
}

std::optional<Error> startDetached(const QString& program, const QStringList& arguments) {
    std::vector<QByteArray> storage;
    storage.push_back(QFile::encodeName(program));
    for (const QString& argument : arguments) {
        storage.push_back(argument.toLocal8Bit());
    }
    std::vector<char*> argv;
    for (QByteArray& argument : storage) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID); // outlives its starter
    pid_t child = 0;
    const int failed = posix_spawn(&child, argv[0], nullptr, &attributes, argv.data(), environ);
    posix_spawnattr_destroy(&attributes);
    if (failed != 0) {
        return systemError(QStringLiteral("cannot start %1: %2")
                               .arg(program, QString::fromLocal8Bit(std::strerror(failed))));
    }
    return std::nullopt;
}

std::optional<Error> launchHelper(const QString& stagedApplication, const QString& replacing) {
    // The helper swaps folders beside the running Hopla once it has quit; whether it may
    // is found out now, while the user can still be told.
    const QString folder = QFileInfo(replacing).absolutePath();
    if (::access(QFile::encodeName(folder).constData(), W_OK) != 0) {
        return refusal(
            Failure::cannotReplace,
            QStringLiteral("%1: %2").arg(folder, QString::fromLocal8Bit(std::strerror(errno))));
    }
    const auto bundle = AppBundle::open(stagedApplication);
    const auto program = bundle ? bundle->executable() : std::nullopt;
    if (!program) {
        return refusal(Failure::invalidApplication,
                       QStringLiteral("%1 has no program to start").arg(stagedApplication));
    }
    return startDetached(*program, {QStringLiteral("--native-update-helper"), replacing,
                                    QString::number(::getpid())});
}

} // namespace hopla::UpdateInstaller
