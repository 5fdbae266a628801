#pragma once

#include <QByteArray>
#include <QString>

#include <optional>
#include <variant>

namespace hopla {

// Makes the folder and whatever parents it lacks. Nothing when the folder is there
// afterwards; otherwise the folder and the system's own reason ("…/Hopla: Read-only file
// system", "…/autostart: Not a directory"), fit to show to the user.
std::optional<QString> makeFolder(const QString& path);

// Writes the file whole or not at all: written aside in the same folder, then renamed over
// the name, so a link found under the name is replaced, never followed. Nothing on success;
// otherwise the system's own reason ("No space left on device"). A short write is never
// committed.
std::optional<QString> saveFile(const QString& path, const QByteArray& bytes);

// Why a file could not be read.
struct ReadFailure {
    enum class Kind { missing, notRegular, tooLarge, system };
    Kind kind = Kind::system;
    QString reason; // the system's own words
};

// Reads a file that someone else may have put there: never through a link at its last
// component, never waiting on a FIFO or a device, never more than `maxBytes` (counted as
// read, so a file that grows meanwhile is refused too). A link, FIFO, socket, device or
// folder under the name is `notRegular`.
std::variant<QByteArray, ReadFailure> readRegularFile(const QString& path, qint64 maxBytes);

} // namespace hopla
