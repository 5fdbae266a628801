#include "updater/BundleSignature.h"

#include "updater/Minisign.h"

#include <QCryptographicHash>
#include <QDirIterator>
#include <QFile>

#include <sys/stat.h>

#include <algorithm>
#include <vector>

namespace hopla {

namespace {

bool refuse(QString* problem, const QString& why) {
    if (problem) {
        *problem = why;
    }
    return false;
}

std::optional<QByteArray> readSmall(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || file.size() > (16 << 20)) {
        return std::nullopt;
    }
    return file.readAll();
}

} // namespace

std::optional<QByteArray> bundleListing(const QString& bundlePath, QString* problem) {
    struct Line {
        QByteArray path;
        QByteArray text;
    };
    std::vector<Line> lines;
    QDirIterator entries(bundlePath,
                         QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                         QDirIterator::Subdirectories);
    const QDir root(bundlePath);
    while (entries.hasNext()) {
        const QString path = entries.next();
        const QByteArray relative = root.relativeFilePath(path).toUtf8();
        struct stat status {};
        if (::lstat(QFile::encodeName(path).constData(), &status) != 0) {
            refuse(problem, QStringLiteral("%1 cannot be read").arg(path));
            return std::nullopt;
        }
        if (S_ISDIR(status.st_mode)) {
            continue;
        }
        if (!S_ISREG(status.st_mode) || relative.contains('\n')) {
            refuse(problem,
                   QStringLiteral("%1 is not a plain file").arg(QString::fromUtf8(relative)));
            return std::nullopt;
        }
        if (relative.startsWith(".signature/")) {
            continue;
        }
        QFile file(path);
        QCryptographicHash sum(QCryptographicHash::Sha256);
        if (!file.open(QIODevice::ReadOnly) || !sum.addData(&file)) {
            refuse(problem, QStringLiteral("%1 cannot be read").arg(path));
            return std::nullopt;
        }
        lines.push_back(
            {relative,
             QStringLiteral("%1 ").arg(status.st_mode & 07777, 4, 8, QLatin1Char('0')).toLatin1() +
                 sum.result().toHex() + ' ' + relative + '\n'});
    }
    std::sort(lines.begin(), lines.end(),
              [](const Line& a, const Line& b) { return a.path < b.path; });
    QByteArray listing;
    for (const Line& line : lines) {
        listing += line.text;
    }
    return listing;
}

bool verifyBundleSignatures(const QString& bundlePath, const UpdateConfiguration& configuration,
                            QString* problem) {
    const auto onDisk = bundleListing(bundlePath, problem);
    if (!onDisk) {
        return false;
    }
    const QString signatures = bundlePath + QStringLiteral("/.signature/");
    const auto listed = readSmall(signatures + QStringLiteral("files"));
    if (!listed || *listed != *onDisk) {
        return refuse(problem, QStringLiteral("the files differ from the signed listing"));
    }
    const QString naming = QStringLiteral("identifier=") + configuration.desktopId;
    const auto check = [&](const QString& keyText, const QString& file, const QString& who) {
        const auto key = MinisignPublicKey::parse(keyText);
        const auto signature = readSmall(signatures + file);
        QString comment;
        if (!key || !signature) {
            return refuse(problem, QStringLiteral("no %1 signature or key").arg(who));
        }
        if (verifyMinisign(*key, *listed, *signature, &comment) != MinisignCheck::valid) {
            return refuse(problem, QStringLiteral("the %1 signature does not verify").arg(who));
        }
        if (!comment.split(QLatin1Char(' '), Qt::SkipEmptyParts).contains(naming)) {
            return refuse(problem,
                          QStringLiteral("the %1 signature names another bundle").arg(who));
        }
        return true;
    };
    return check(configuration.publisherKey, QStringLiteral("files.minisig"),
                 QStringLiteral("publisher's")) &&
           check(configuration.notaryKey, QStringLiteral("files.notary.minisig"),
                 QStringLiteral("distribution's"));
}

} // namespace hopla
