#include "platform/xdg/XdgAutostart.h"

#include "platform/FileSystem.h"
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QStandardPaths>

namespace hopla {

namespace {

// Quotes one argument for a desktop entry's Exec line.
QString quoted(QString argument) {
    if (!argument.contains(QRegularExpression(QStringLiteral("[\\s\"'\\\\$`]")))) {
        return argument;
    }
    argument.replace(QLatin1Char('\\'), QStringLiteral("\\\\"));
    argument.replace(QLatin1Char('"'), QStringLiteral("\\\""));
    argument.replace(QLatin1Char('$'), QStringLiteral("\\$"));
    argument.replace(QLatin1Char('`'), QStringLiteral("\\`"));
    return QLatin1Char('"') + argument + QLatin1Char('"');
}

} // namespace

XdgAutostart::XdgAutostart(QString applicationId, QString name, QStringList command)
    : id_(std::move(applicationId))
    , name_(std::move(name))
    , command_(std::move(command)) {}

QString XdgAutostart::entryPath() const {
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           QStringLiteral("/autostart/") + id_ + QStringLiteral(".desktop");
}

AutostartStatus XdgAutostart::status() const {
    QFile entry(entryPath());
    if (!entry.open(QIODevice::ReadOnly | QIODevice::Text)) {
        return AutostartStatus::notRegistered;
    }
    bool inEntry = false;
    while (!entry.atEnd()) {
        const QString line = QString::fromUtf8(entry.readLine()).trimmed();
        if (line.startsWith(QLatin1Char('['))) {
            inEntry = line == QLatin1String("[Desktop Entry]");
            continue;
        }
        if (!inEntry) {
            continue;
        }
        const QString key = line.section(QLatin1Char('='), 0, 0).trimmed();
        const QString value = line.section(QLatin1Char('='), 1).trimmed().toLower();
        if ((key == QLatin1String("Hidden") && value == QLatin1String("true")) ||
            (key == QLatin1String("X-GNOME-Autostart-enabled") &&
             value == QLatin1String("false"))) {
            return AutostartStatus::notRegistered;
        }
    }
    return AutostartStatus::enabled;
}

std::optional<QString> XdgAutostart::setEnabled(bool enabled) {
    const QString path = entryPath();
    if (!enabled) {
        if (QFile::exists(path) && !QFile::remove(path)) {
            return QStringLiteral("%1 could not be removed").arg(path);
        }
        return std::nullopt;
    }
    if (auto failed = makeFolder(QFileInfo(path).absolutePath())) {
        return failed;
    }
    QStringList exec;
    for (const QString& argument : command_) {
        exec << quoted(argument);
    }
    const QString text =
        QStringLiteral("[Desktop Entry]\nType=Application\nName=%1\nExec=%2\nTerminal=false\n"
                       "X-GNOME-Autostart-enabled=true\n")
            .arg(name_, exec.join(QLatin1Char(' ')));
    return saveFile(path, text.toUtf8()); // written whole or not at all
}

} // namespace hopla
