#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace hopla {

// Makes the folder and whatever parents it lacks. Nothing when the folder is there
// afterwards; otherwise the folder and the system's own reason ("…/Hopla: Read-only file
// system", "…/autostart: Not a directory"), fit to show to the user.
std::optional<QString> makeFolder(const QString& path);

// Writes the file whole or not at all: written aside, then renamed into place. Nothing on
// success; otherwise the system's own reason ("No space left on device"). A short write
// is never committed.
std::optional<QString> saveFile(const QString& path, const QByteArray& bytes);

// Reads a small file that someone else may have put there: never through a link at its
// last component, never waiting on a FIFO or device, never more than `maxBytes`. Nothing
// when it is missing, not a regular file, unreadable or larger.
std::optional<QByteArray> readSmallRegularFile(const QString& path, qint64 maxBytes);

} // namespace hopla
