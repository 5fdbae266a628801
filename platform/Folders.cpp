#include "platform/Folders.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstring>
#include <filesystem>

namespace hopla {

std::optional<QString> makeFolder(const QString& path) {
    std::error_code error;
    std::filesystem::create_directories(QFile::encodeName(path).toStdString(), error);
    if (!error && QFileInfo(path).isDir()) {
        return std::nullopt;
    }
    const int reason = error ? error.value() : ENOTDIR;
    return QStringLiteral("%1: %2").arg(path, QString::fromLocal8Bit(std::strerror(reason)));
}

} // namespace hopla
