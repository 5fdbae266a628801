#include "platform/FileSystem.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryFile>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace hopla {

namespace {
QString systemReason(int error) {
    return QString::fromLocal8Bit(std::strerror(error));
}
} // namespace

std::optional<QString> makeFolder(const QString& path) {
    std::error_code error;
    std::filesystem::create_directories(QFile::encodeName(path).toStdString(), error);
    if (!error && QFileInfo(path).isDir()) {
        return std::nullopt;
    }
    return QStringLiteral("%1: %2").arg(path, systemReason(error ? error.value() : ENOTDIR));
}

std::optional<QString> saveFile(const QString& path, const QByteArray& bytes) {
    const QFileInfo target(path);
    QTemporaryFile aside(target.absolutePath() + QLatin1Char('/') + QLatin1Char('.') +
                         target.fileName() + QStringLiteral(".XXXXXX"));
    if (!aside.open()) {
        return QStringLiteral("%1: %2").arg(target.absolutePath(), aside.errorString());
    }
    // A full disk ends Qt's write short without an error of its own: the reason is the
    // failed system call's, read at once.
    errno = 0;
    const qint64 written = aside.write(bytes);
    const int reason = errno;
    if (written != bytes.size() || !aside.flush()) {
        return aside.error() != QFileDevice::NoError && reason == 0
                   ? aside.errorString()
                   : systemReason(reason ? reason : EIO);
    }
    if (::fsync(aside.handle()) != 0) {
        return systemReason(errno);
    }
    if (::rename(QFile::encodeName(aside.fileName()).constData(),
                 QFile::encodeName(target.absoluteFilePath()).constData()) != 0) {
        return systemReason(errno);
    }
    aside.setAutoRemove(false); // it has become the file
    return std::nullopt;
}

std::variant<QByteArray, ReadFailure> readRegularFile(const QString& path, qint64 maxBytes) {
    using Kind = ReadFailure::Kind;
    const int fd = ::open(QFile::encodeName(path).constData(),
                          O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (fd < 0) {
        const int error = errno;
        return ReadFailure{error == ENOENT  ? Kind::missing
                           : error == ELOOP ? Kind::notRegular
                                            : Kind::system,
                           systemReason(error)};
    }
    QFile file;
    if (!file.open(fd, QIODevice::ReadOnly | QIODevice::Unbuffered, QFileDevice::AutoCloseHandle)) {
        ::close(fd);
        return ReadFailure{Kind::system, file.errorString()};
    }
    struct stat status {};
    if (::fstat(fd, &status) != 0) {
        return ReadFailure{Kind::system, systemReason(errno)};
    }
    if (!S_ISREG(status.st_mode)) {
        return ReadFailure{Kind::notRegular, {}};
    }
    if (status.st_size > maxBytes) {
        return ReadFailure{Kind::tooLarge, {}};
    }
    // One byte past the limit: a file that grew since the check is refused too.
    QByteArray bytes = file.read(maxBytes + 1);
    if (file.error() != QFileDevice::NoError) {
        return ReadFailure{Kind::system, file.errorString()};
    }
    if (bytes.size() > maxBytes) {
        return ReadFailure{Kind::tooLarge, {}};
    }
    return bytes;
}

} // namespace hopla
