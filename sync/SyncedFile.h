#pragma once

#include "sync/SyncedFileError.h"

#include <QByteArray>
#include <QRegularExpression>
#include <QString>

#include <optional>
#include <variant>

namespace hopla {

// Guards one configuration file that other programs and other machines (through the
// user's sync tool) also write. Whole-file reads and writes of at most 5,000,000 bytes;
// no read while the sync tool holds conflict copies beside the file; no overwrite of
// contents that changed since this repository last read or wrote them. Every read and
// every compare-and-write runs under an advisory lock (flock) on a lock file outside the
// synced folder, so local processes take turns; a write goes aside and is renamed into
// place, then the folder is synced, so the file always holds the old bytes or the new.
// It moves bytes and knows nothing of their format. One thread at a time.
class SyncedFile {
public:
    static constexpr qint64 sizeLimit = 5'000'000;
    using ReadResult = std::variant<QByteArray, ConfigurationFailure>;

    // `lockFolder`: where lock files live; by default the user's runtime folder.
    explicit SyncedFile(const QString& path, QString lockFolder = {});

    const QString& path() const { return path_; }
    int revision() const { return revision_; }
    // Whether these are exactly the bytes last read or written here.
    bool isCurrent(const QByteArray& data) const { return expected_ && *expected_ == data; }

    // Reads the file and takes its bytes as the known contents.
    ReadResult read();
    // Reads a file without remembering anything.
    ReadResult readData(const QString& path) const;
    // Takes bytes obtained elsewhere as the file's known contents.
    ReadResult adopt(const QByteArray& data);
    // Overwrites the file only while it holds what was last read or written here (or,
    // when nothing was, only when there is no file yet).
    std::optional<ConfigurationFailure> write(const QByteArray& data);
    // Overwrites whatever is there, first copying it to `backup` when given (which must
    // not exist yet; a file past the size limit is then refused). The guard does not apply;
    // a link, FIFO or device under the name is never replaced.
    std::optional<ConfigurationFailure> replace(const QByteArray& data,
                                                const std::optional<QString>& backup = {});

    // The sync tools' conflict copies of the file present beside it: Syncthing's
    // "name.sync-conflict-….ext", Nextcloud's and ownCloud's "name (conflicted copy …).ext",
    // Dropbox's "name (… conflicted copy …).ext".
    static QStringList conflictCopies(const QString& path);
    // Matches the names of those copies of the file named `fileName`. Compiling it costs
    // far more than matching, so callers that test many names build it once.
    static QRegularExpression conflictCopyPattern(const QString& fileName);

private:
    QString lockPath() const;
    void remember(const QByteArray& data);

    QString path_;
    QString lockFolder_;
    std::optional<QByteArray> expected_;
    int revision_ = 0;
};

} // namespace hopla
