#include "platform/FileSystem.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

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
    QSaveFile file(path);
    file.setDirectWriteFallback(false);
    if (!file.open(QIODevice::WriteOnly)) {
        return file.errorString();
    }
    // A full disk ends Qt's write short without an error of its own (and a commit would
    // then succeed): the reason is the failed system call's, read at once.
    errno = 0;
    const qint64 written = file.write(bytes);
    const int reason = errno;
    if (written != bytes.size()) {
        return file.error() != QFileDevice::NoError ? file.errorString()
                                                    : systemReason(reason ? reason : EIO);
    }
    if (!file.commit()) {
        return file.errorString();
    }
    return std::nullopt;
}

std::optional<QByteArray> readSmallRegularFile(const QString& path, qint64 maxBytes) {
    const int fd = ::open(QFile::encodeName(path).constData(),
                          O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (fd < 0) {
        return std::nullopt;
    }
    QFile file;
    if (!file.open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        ::close(fd);
        return std::nullopt;
    }
    struct stat status {};
    if (::fstat(fd, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size > maxBytes) {
        return std::nullopt;
    }
    // Read one byte past the limit: a file that grew since the check is refused too.
    QByteArray bytes = file.read(maxBytes + 1);
    if (bytes.size() > maxBytes || file.error() != QFileDevice::NoError) {
        return std::nullopt;
    }
    return bytes;
}

} // namespace hopla
