#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QString>

namespace hopla::testing {

// A file's bytes; empty when it cannot be read.
inline QByteArray readAll(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Writes a file, making its folder; false when it cannot be written.
inline bool write(const QString& path, const QByteArray& bytes, QFile::Permissions mode = {}) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
        file.write(bytes) != bytes.size()) {
        return false;
    }
    file.close();
    return !mode || file.setPermissions(mode);
}

} // namespace hopla::testing
