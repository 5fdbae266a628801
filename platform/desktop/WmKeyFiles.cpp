#include "platform/desktop/WmKeyFiles.h"

#include "platform/FileSystem.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QStringList>

namespace hopla::desktop {

namespace {

// A keys file is small; anything larger is not one.
constexpr qint64 keyFileLimit = 1 << 20;

bool bindsSwitch(const QString& line, const QString& modifier) {
    const QString trimmed = line.trimmed();
    if (trimmed.isEmpty() || trimmed.startsWith(QLatin1Char('#')) ||
        trimmed.startsWith(QLatin1Char('!'))) {
        return false;
    }
    const QStringList keys = trimmed.section(QLatin1Char(':'), 0, 0).simplified().split(' ');
    const QString wanted = modifier.compare(QLatin1String("Alt"), Qt::CaseInsensitive) == 0
                               ? QStringLiteral("Mod1")
                               : QStringLiteral("Mod4");
    bool hasModifier = false;
    for (qsizetype i = 0; i + 1 < keys.size(); ++i) {
        if (keys[i].compare(wanted, Qt::CaseInsensitive) == 0) {
            hasModifier = true;
        } else if (keys[i].compare(QLatin1String("Shift"), Qt::CaseInsensitive) != 0) {
            return false; // another modifier, or a mouse context: not this combination
        }
    }
    return hasModifier && keys.last().compare(QLatin1String("Tab"), Qt::CaseInsensitive) == 0;
}

std::optional<QByteArray> readKeyFile(const QString& file) {
    auto read = readRegularFile(file, keyFileLimit);
    if (auto* bytes = std::get_if<QByteArray>(&read)) {
        return std::move(*bytes);
    }
    return std::nullopt;
}

std::optional<QStringList> readLines(const QString& file) {
    const auto text = readKeyFile(file);
    if (!text) {
        return std::nullopt;
    }
    return QString::fromUtf8(*text).split(QLatin1Char('\n'));
}

} // namespace

QString fluxboxKeysFile() {
    const QString folder = QDir::homePath() + QStringLiteral("/.fluxbox");
    if (const auto init = readLines(folder + QStringLiteral("/init"))) {
        static const QRegularExpression keyFile(QStringLiteral("^session\\.keyFile:\\s*(.+)$"));
        for (const QString& line : *init) {
            if (const auto match = keyFile.match(line.trimmed()); match.hasMatch()) {
                QString path = match.captured(1).trimmed();
                return path.startsWith(QLatin1Char('~')) ? QDir::homePath() + path.mid(1) : path;
            }
        }
    }
    return folder + QStringLiteral("/keys");
}

std::optional<KeyFileBinding> keyFileBinding(const QString& file, const QString& modifier) {
    const auto lines = readLines(file);
    if (!lines) {
        return std::nullopt;
    }
    for (const QString& line : *lines) {
        if (bindsSwitch(line, modifier)) {
            return KeyFileBinding{file, line.trimmed()};
        }
    }
    return std::nullopt;
}

std::optional<QString> releaseKeyFileBindings(const QString& file, const QString& modifier) {
    const auto text = readKeyFile(file);
    if (!text) {
        return QStringLiteral("cannot read %1").arg(file);
    }
    QStringList lines = QString::fromUtf8(*text).split(QLatin1Char('\n'));
    for (QString& line : lines) {
        if (bindsSwitch(line, modifier)) {
            line = QStringLiteral("# Taken out for Hopla: ") + line;
        }
    }
    if (const auto error = saveFile(file + QStringLiteral(".hopla-backup"), *text)) {
        return error;
    }
    return saveFile(file, lines.join(QLatin1Char('\n')).toUtf8());
}

} // namespace hopla::desktop
