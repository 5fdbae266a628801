#include "updater/ArchiveExtraction.h"

#include <QFile>
#include <QSet>

#include <archive.h>
#include <archive_entry.h>

#include <memory>

#include <unistd.h>

namespace hopla {

namespace {

struct ReaderFree {
    void operator()(archive* a) const { archive_read_free(a); }
};
struct WriterFree {
    void operator()(archive* a) const { archive_write_free(a); }
};

QString libarchiveError(archive* a) {
    const char* text = archive_error_string(a);
    return text ? QString::fromLocal8Bit(text) : QStringLiteral("unknown archive error");
}

// Why `name` may not be unpacked, or nothing.
std::optional<QString> refusedName(const QString& name, const QString& bundleName) {
    if (name.isEmpty() || name.startsWith(QLatin1Char('/'))) {
        return QStringLiteral("absolute or empty path \"%1\"").arg(name);
    }
    const QStringList parts = name.split(QLatin1Char('/'), Qt::SkipEmptyParts);
    if (parts.contains(QLatin1String("..")) || parts.contains(QLatin1String("."))) {
        return QStringLiteral("path \"%1\" steps out of its folder").arg(name);
    }
    if (parts.first() != bundleName) {
        return QStringLiteral("\"%1\" is outside %2").arg(name, bundleName);
    }
    return std::nullopt;
}

} // namespace

std::optional<QString> extractUpdateArchive(const QString& archivePath, const QString& into,
                                            const QString& bundleName,
                                            const ArchiveLimits& limits) {
    std::unique_ptr<archive, ReaderFree> reader(archive_read_new());
    archive_read_support_format_zip(reader.get());
    if (archive_read_open_filename(reader.get(), QFile::encodeName(archivePath).constData(),
                                   1 << 16) != ARCHIVE_OK) {
        return QStringLiteral("not a zip archive: %1").arg(libarchiveError(reader.get()));
    }
    std::unique_ptr<archive, WriterFree> disk(archive_write_disk_new());
    // The checks below come first; these are libarchive's own guards behind them. (Paths
    // are made absolute below, inside `into`, after their check.)
    archive_write_disk_set_options(
        disk.get(), ARCHIVE_EXTRACT_PERM | ARCHIVE_EXTRACT_SECURE_SYMLINKS |
                        ARCHIVE_EXTRACT_SECURE_NODOTDOT | ARCHIVE_EXTRACT_NO_OVERWRITE);

    QSet<QString> seen;
    std::int64_t unpacked = 0;
    archive_entry* entry = nullptr;
    int status = ARCHIVE_OK;
    while ((status = archive_read_next_header(reader.get(), &entry)) == ARCHIVE_OK) {
        if (seen.size() >= limits.entries) {
            return QStringLiteral("more than %1 entries").arg(limits.entries);
        }
        const char* utf8 = archive_entry_pathname_utf8(entry);
        const QString name =
            utf8 ? QString::fromUtf8(utf8) : QFile::decodeName(archive_entry_pathname(entry));
        if (auto refused = refusedName(name, bundleName)) {
            return refused;
        }
        const auto type = archive_entry_filetype(entry);
        if (archive_entry_hardlink(entry) || (type != AE_IFREG && type != AE_IFDIR)) {
            return QStringLiteral("\"%1\" is a link or a special file").arg(name);
        }
        QString key = name;
        while (key.endsWith(QLatin1Char('/'))) {
            key.chop(1);
        }
        if (seen.contains(key)) {
            return QStringLiteral("\"%1\" comes twice").arg(name);
        }
        seen.insert(key);
        if (archive_entry_size_is_set(entry) &&
            archive_entry_size(entry) > limits.unpackedBytes - unpacked) {
            return QStringLiteral("more than %1 bytes unpacked").arg(limits.unpackedBytes);
        }
        archive_entry_set_pathname_utf8(entry, QString(into + QLatin1Char('/') + key).toUtf8());
        archive_entry_set_perm(entry, archive_entry_perm(entry) & 0755);
        archive_entry_set_uid(entry, ::getuid());
        archive_entry_set_gid(entry, ::getgid());
        if (archive_write_header(disk.get(), entry) != ARCHIVE_OK) {
            return QStringLiteral("cannot unpack \"%1\": %2")
                .arg(name, libarchiveError(disk.get()));
        }
        // The declared size may lie: count what actually comes out.
        const void* block = nullptr;
        size_t size = 0;
        la_int64_t offset = 0;
        int read = ARCHIVE_OK;
        while ((read = archive_read_data_block(reader.get(), &block, &size, &offset)) ==
               ARCHIVE_OK) {
            unpacked += static_cast<std::int64_t>(size);
            if (unpacked > limits.unpackedBytes) {
                return QStringLiteral("more than %1 bytes unpacked").arg(limits.unpackedBytes);
            }
            if (archive_write_data_block(disk.get(), block, size, offset) != ARCHIVE_OK) {
                return QStringLiteral("cannot write \"%1\": %2")
                    .arg(name, libarchiveError(disk.get()));
            }
        }
        if (read != ARCHIVE_EOF) {
            return QStringLiteral("\"%1\" is damaged: %2").arg(name, libarchiveError(reader.get()));
        }
        if (archive_write_finish_entry(disk.get()) != ARCHIVE_OK) {
            return QStringLiteral("cannot finish \"%1\": %2")
                .arg(name, libarchiveError(disk.get()));
        }
    }
    if (status != ARCHIVE_EOF) {
        return QStringLiteral("the archive is damaged: %1").arg(libarchiveError(reader.get()));
    }
    if (archive_write_close(disk.get()) != ARCHIVE_OK) {
        return QStringLiteral("cannot finish unpacking: %1").arg(libarchiveError(disk.get()));
    }
    return std::nullopt;
}

} // namespace hopla
