#include "sync/SyncedFile.h"

#include "platform/FileSystem.h"
#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QStandardPaths>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace hopla {

namespace {

QString systemError(int error) {
    return QString::fromLocal8Bit(std::strerror(error));
}

// An advisory lock held for its lifetime; a lock that cannot be had is a failure.
class FileLock {
public:
    FileLock(const QString& path, int operation) {
        QDir().mkpath(QFileInfo(path).absolutePath());
        fd_ = ::open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        if (fd_ < 0) {
            error_ = errno;
            return;
        }
        while (::flock(fd_, operation) != 0) {
            if (errno != EINTR) {
                error_ = errno;
                return;
            }
        }
    }
    ~FileLock() {
        if (fd_ >= 0) {
            ::close(fd_); // releases the lock
        }
    }
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    std::optional<ConfigurationFailure> failure() const {
        return error_ ? std::optional(ConfigurationFailure::system(systemError(error_)))
                      : std::nullopt;
    }

private:
    int fd_ = -1;
    int error_ = 0;
};

std::optional<ConfigurationFailure> makeParent(const QString& path) {
    if (const auto failed = makeFolder(QFileInfo(path).absolutePath())) {
        return ConfigurationFailure::system(*failed);
    }
    return std::nullopt;
}

// Written aside, renamed into place, then the folder synced: a crash at any moment leaves
// the old bytes or the new ones.
std::optional<ConfigurationFailure> writeAtomically(const QString& path, const QByteArray& data) {
    if (const auto failed = saveFile(path, data)) {
        return ConfigurationFailure::system(*failed);
    }
    const int folder = ::open(QFile::encodeName(QFileInfo(path).absolutePath()).constData(),
                              O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder >= 0) {
        ::fsync(folder); // the rename itself reaches the disk
        ::close(folder);
    }
    return std::nullopt;
}

// The whole file, or why not; never through a link, never waiting on a FIFO or a device,
// never past the size limit. Nothing (and no failure) when the name is free.
std::variant<std::optional<QByteArray>, ConfigurationFailure> readWhole(const QString& path) {
    auto read = readRegularFile(path, SyncedFile::sizeLimit);
    if (auto* data = std::get_if<QByteArray>(&read)) {
        return std::optional(std::move(*data));
    }
    const ReadFailure& failure = std::get<ReadFailure>(read);
    switch (failure.kind) {
    case ReadFailure::Kind::missing:
        return std::optional<QByteArray>();
    case ReadFailure::Kind::notRegular:
        return ConfigurationFailure::of(SyncedFileError::notRegular);
    case ReadFailure::Kind::tooLarge:
        return ConfigurationFailure::of(SyncedFileError::tooLarge);
    case ReadFailure::Kind::system:
        break;
    }
    return ConfigurationFailure::system(QStringLiteral("%1: %2").arg(path, failure.reason));
}

} // namespace

SyncedFile::SyncedFile(const QString& path, QString lockFolder)
    : path_(QDir::cleanPath(QFileInfo(path).absoluteFilePath()))
    , lockFolder_(std::move(lockFolder)) {
    if (lockFolder_.isEmpty()) {
        lockFolder_ = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation) +
                      QStringLiteral("/hopla");
    }
}

QString SyncedFile::lockPath() const {
    // Outside the synced folder, so the sync tool never carries a lock file around.
    const QByteArray key = QCryptographicHash::hash(path_.toUtf8(), QCryptographicHash::Sha256);
    return lockFolder_ + QLatin1Char('/') + QString::fromLatin1(key.toHex().left(24)) +
           QStringLiteral(".lock");
}

QRegularExpression SyncedFile::conflictCopyPattern(const QString& fileName) {
    const QFileInfo info(fileName);
    const QString base = QRegularExpression::escape(info.completeBaseName());
    const QString suffix = info.suffix().isEmpty()
                               ? QString()
                               : QStringLiteral("\\.") + QRegularExpression::escape(info.suffix());
    return QRegularExpression(QStringLiteral("^%1(\\.sync-conflict-.+|"
                                             " \\(conflicted copy .+\\)|"
                                             " \\(.+ conflicted copy.*\\))%2$")
                                  .arg(base, suffix));
}

QStringList SyncedFile::conflictCopies(const QString& path) {
    const QFileInfo info(path);
    const QRegularExpression pattern = conflictCopyPattern(info.fileName());
    QStringList copies;
    for (const QString& name : info.dir().entryList(QDir::Files | QDir::Hidden)) {
        if (pattern.match(name).hasMatch()) {
            copies << info.dir().filePath(name);
        }
    }
    return copies;
}

SyncedFile::ReadResult SyncedFile::readData(const QString& path) const {
    const FileLock lock(lockPath(), LOCK_SH);
    if (auto failed = lock.failure()) {
        return *failed;
    }
    if (!conflictCopies(path).isEmpty()) {
        return ConfigurationFailure::of(SyncedFileError::conflict);
    }
    auto read = readWhole(path);
    if (auto* failure = std::get_if<ConfigurationFailure>(&read)) {
        return *failure;
    }
    if (auto& data = std::get<std::optional<QByteArray>>(read)) {
        return std::move(*data);
    }
    return ConfigurationFailure::system(
        QStringLiteral("%1: %2").arg(path, QString::fromLocal8Bit(std::strerror(ENOENT))));
}

void SyncedFile::remember(const QByteArray& data) {
    expected_ = data;
    ++revision_;
}

SyncedFile::ReadResult SyncedFile::read() {
    ReadResult result = readData(path_);
    if (const auto* data = std::get_if<QByteArray>(&result)) {
        return adopt(*data);
    }
    return result;
}

SyncedFile::ReadResult SyncedFile::adopt(const QByteArray& data) {
    if (data.size() > sizeLimit) {
        return ConfigurationFailure::of(SyncedFileError::tooLarge);
    }
    remember(data);
    return data;
}

std::optional<ConfigurationFailure> SyncedFile::write(const QByteArray& data) {
    if (data.size() > sizeLimit) {
        return ConfigurationFailure::of(SyncedFileError::tooLarge);
    }
    if (auto failed = makeParent(path_)) {
        return failed;
    }
    const FileLock lock(lockPath(), LOCK_EX);
    if (auto failed = lock.failure()) {
        return failed;
    }
    const auto current = readWhole(path_);
    if (const auto* failure = std::get_if<ConfigurationFailure>(&current)) {
        return *failure; // a link or a device is never written through or over
    }
    if (const auto& data = std::get<std::optional<QByteArray>>(current)) {
        if (!isCurrent(*data)) {
            return ConfigurationFailure::of(SyncedFileError::externalChange);
        }
    } else if (expected_) {
        return ConfigurationFailure::of(SyncedFileError::externalChange); // removed
    }
    if (auto failed = writeAtomically(path_, data)) {
        return failed;
    }
    remember(data);
    return std::nullopt;
}

std::optional<ConfigurationFailure> SyncedFile::replace(const QByteArray& data,
                                                        const std::optional<QString>& backup) {
    if (auto failed = makeParent(path_)) {
        return failed;
    }
    const FileLock lock(lockPath(), LOCK_EX);
    if (auto failed = lock.failure()) {
        return failed;
    }
    const auto current = readWhole(path_);
    if (const auto* failure = std::get_if<ConfigurationFailure>(&current);
        failure && failure->refusal == SyncedFileError::notRegular) {
        return *failure; // nothing is written until a regular file is back
    }
    const auto* existing = std::get_if<std::optional<QByteArray>>(&current);
    if (backup && (!existing || *existing)) {
        if (!existing) {
            return std::get<ConfigurationFailure>(current); // unreadable: nothing to keep
        }
        if (auto failed = makeParent(*backup)) {
            return failed;
        }
        QFile copy(*backup);
        if (!copy.open(QIODevice::WriteOnly | QIODevice::NewOnly) || // never over what is there
            copy.write(**existing) != (*existing)->size() || !copy.flush()) {
            return ConfigurationFailure::system(copy.errorString());
        }
    }
    if (auto failed = writeAtomically(path_, data)) {
        return failed;
    }
    remember(data);
    return std::nullopt;
}

} // namespace hopla
