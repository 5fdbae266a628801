// GLib first: its headers use names Qt defines as macros.
#include <glib.h>

#include "platform/x11/ProcessInfo.h"

#include "platform/FileSystem.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <csignal>
#include <memory>
#include <unistd.h>

namespace hopla::x11 {

namespace {

// Seconds since the epoch at which the system booted (btime in /proc/stat).
std::optional<long long> bootTime() {
    QFile stat(QStringLiteral("/proc/stat"));
    if (!stat.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    // Files in /proc report a size of zero: read to the end rather than asking atEnd().
    const QList<QByteArray> lines = stat.readAll().split('\n');
    for (const QByteArray& line : lines) {
        if (line.startsWith("btime ")) {
            bool ok = false;
            const long long value = line.mid(6).trimmed().toLongLong(&ok);
            return ok ? std::optional(value) : std::nullopt;
        }
    }
    return std::nullopt;
}

} // namespace

std::optional<QString> executablePath(Pid pid) {
    const QString target = QFileInfo(QStringLiteral("/proc/%1/exe").arg(pid)).symLinkTarget();
    return target.isEmpty() ? std::nullopt : std::optional(target);
}

std::optional<WallClockTime> processStartTime(Pid pid) {
    QFile file(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!file.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    const QByteArray stat = file.readAll();
    // The command name is in parentheses and may contain spaces: fields start after the last ')'.
    const qsizetype close = stat.lastIndexOf(')');
    if (close < 0) {
        return std::nullopt;
    }
    const QList<QByteArray> fields = stat.mid(close + 2).split(' ');
    constexpr qsizetype startTimeField = 22 - 3; // field 22, counted from field 3 (state)
    if (fields.size() <= startTimeField) {
        return std::nullopt;
    }
    bool ok = false;
    const long long ticks = fields[startTimeField].toLongLong(&ok);
    const auto boot = bootTime();
    const long ticksPerSecond = sysconf(_SC_CLK_TCK);
    if (!ok || !boot || ticksPerSecond <= 0) {
        return std::nullopt;
    }
    using namespace std::chrono;
    const auto sinceBoot =
        duration_cast<system_clock::duration>(duration<double>(double(ticks) / ticksPerSecond));
    return WallClockTime(seconds(*boot)) + sinceBoot;
}

bool processExists(Pid pid) {
    return pid > 0 && (::kill(pid, 0) == 0 || errno == EPERM);
}

std::optional<QString> sandboxAppId(Pid pid) {
    // Every sandboxed process sees its instance's metadata at the root of its file system.
    constexpr qint64 limit = 64 * 1024;
    const QString processRoot = QStringLiteral("/proc/%1/root").arg(pid); // as it sees "/"
    const auto read = readRegularFile(processRoot + QStringLiteral("/.flatpak-info"), limit);
    const auto* bytes = std::get_if<QByteArray>(&read);
    const std::unique_ptr<GKeyFile, decltype(&g_key_file_free)> info(g_key_file_new(),
                                                                     &g_key_file_free);
    if (!bytes ||
        !g_key_file_load_from_data(info.get(), bytes->constData(),
                                   static_cast<gsize>(bytes->size()), G_KEY_FILE_NONE, nullptr)) {
        return std::nullopt;
    }
    const std::unique_ptr<gchar, decltype(&g_free)> name(
        g_key_file_get_string(info.get(), "Application", "name", nullptr), &g_free);
    return name && *name.get() ? std::optional(QString::fromUtf8(name.get())) : std::nullopt;
}

} // namespace hopla::x11
