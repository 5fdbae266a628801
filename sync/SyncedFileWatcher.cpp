#include "sync/SyncedFileWatcher.h"

#include "sync/SyncedFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <array>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <pthread.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace hopla {

namespace {

constexpr std::uint32_t folderEvents = IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_CREATE |
                                       IN_DELETE | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
constexpr std::uint32_t ancestorEvents = IN_CREATE | IN_MOVED_TO | IN_ONLYDIR;

// Watches the folder, or while it is missing the nearest folder above it that exists.
struct Watch {
    int descriptor = -1;
    bool onFolder = false;
    int error = 0; // why nothing could be watched
};

Watch watchNearest(int inotify, const QString& folder) {
    // A folder on the way down may be made between the failed try on it and the watch on
    // its parent; its creation is then never told. Look again after watching an ancestor
    // and start over when the way down has grown (a few times at most: a folder that
    // exists but cannot be watched would have us loop).
    for (int attempt = 0;; ++attempt) {
        QString path = folder;
        QString below;
        for (;;) {
            const bool isFolder = path == folder;
            const int descriptor = inotify_add_watch(inotify, QFile::encodeName(path).constData(),
                                                     isFolder ? folderEvents : ancestorEvents);
            if (descriptor >= 0) {
                if (isFolder || attempt >= 3 || !QFileInfo(below).isDir()) {
                    return {descriptor, isFolder};
                }
                inotify_rm_watch(inotify, descriptor);
                break;
            }
            if (errno != ENOENT && errno != ENOTDIR) {
                return {-1, false, errno}; // out of watches, or not allowed: climbing won't help
            }
            const QString up = QFileInfo(path).absolutePath();
            if (up == path) {
                return {-1, false, ENOENT};
            }
            below = path;
            path = up;
        }
    }
}

} // namespace

SyncedFileWatcher::SyncedFileWatcher(const QString& path, std::function<void()> onChange)
    : watched_(QDir::cleanPath(QFileInfo(path).absoluteFilePath()))
    , onChange_(std::move(onChange)) {}

SyncedFileWatcher::~SyncedFileWatcher() {
    stop();
}

std::optional<QString> SyncedFileWatcher::start() {
    if (thread_.joinable()) {
        return std::nullopt;
    }
    stopping_ = false;
    // Watching starts before start() returns: nothing written after it goes unseen.
    inotify_ = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    const Watch first = inotify_ >= 0 ? watchNearest(inotify_, QFileInfo(watched_).absolutePath())
                                      : Watch{-1, false, errno};
    if (first.descriptor < 0) {
        if (inotify_ >= 0) {
            ::close(inotify_);
            inotify_ = -1;
        }
        return QString::fromLocal8Bit(std::strerror(first.error));
    }
    wake_ = std::make_unique<WakeupEvent>();
    watchDescriptor_ = first.descriptor;
    watchingFolder_ = first.onFolder;
    thread_ = std::thread([this] { run(); });
    pthread_setname_np(thread_.native_handle(), "hopla-config");
    return std::nullopt;
}

void SyncedFileWatcher::stop() {
    if (!thread_.joinable()) {
        return;
    }
    stopping_ = true;
    wake_->signal();
    thread_.join();
    wake_.reset();
    if (inotify_ >= 0) {
        ::close(inotify_);
        inotify_ = -1;
    }
}

void SyncedFileWatcher::run() {
    const int inotify = inotify_;
    if (inotify < 0) {
        return;
    }
    const QString folder = QFileInfo(watched_).absolutePath();
    const QByteArray name = QFile::encodeName(QFileInfo(watched_).fileName());
    const QRegularExpression conflictCopy =
        SyncedFile::conflictCopyPattern(QFileInfo(watched_).fileName());
    Watch watch{watchDescriptor_, watchingFolder_};
    alignas(inotify_event) std::array<char, 64 * 1024> buffer{};
    while (!stopping_) {
        pollfd fds[2] = {{inotify, POLLIN, 0}, {wake_->fd(), POLLIN, 0}};
        if (::poll(fds, 2, -1) < 0 || (fds[1].revents & POLLIN)) {
            continue; // interrupted, or asked to stop
        }
        const ssize_t length = ::read(inotify, buffer.data(), buffer.size());
        bool folderGone = false;
        bool somethingAbove = false;
        for (ssize_t offset = 0; offset < length;) {
            const auto* event = reinterpret_cast<const inotify_event*>(buffer.data() + offset);
            offset += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
            if (event->mask & IN_Q_OVERFLOW) {
                onChange_(); // events were lost: the file may have changed
            } else if (event->wd != watch.descriptor) {
                continue;
            } else if (!watch.onFolder) {
                somethingAbove = true; // maybe the folder is back
            } else if (event->mask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_IGNORED)) {
                folderGone = true;
            } else if (event->len > 0 &&
                       (std::strcmp(event->name, name.constData()) == 0 ||
                        conflictCopy.match(QFile::decodeName(event->name)).hasMatch())) {
                // Every event of the file's name is told, and a conflict copy coming or
                // going: it decides whether the file may be read.
                onChange_();
            }
        }
        if (folderGone || somethingAbove) {
            inotify_rm_watch(inotify, watch.descriptor);
            watch = watchNearest(inotify, folder);
            if (folderGone || (watch.onFolder && QFileInfo::exists(watched_))) {
                onChange_(); // the file went with its folder, or came back with it
            }
        }
    }
}

} // namespace hopla
