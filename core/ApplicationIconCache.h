#pragma once

#include "platform/ProcessId.h"
#include "platform/Workspace.h"

#include <QImage>
#include <QString>

#include <functional>
#include <optional>
#include <unordered_map>
#include <vector>

namespace hopla {

// Names one launch of one installed application: a relaunch, a move or an update gives a
// new identity, so its icon is read again.
struct ApplicationIconIdentity {
    explicit ApplicationIconIdentity(const RunningApplication& application);
    ApplicationIconIdentity(ProcessId pid, std::optional<WallClockTime> launchDate,
                            std::optional<QString> bundleURL, std::optional<QString> executableURL,
                            std::optional<QString> bundleIdentifier);

    ProcessId pid;
    std::optional<WallClockTime> launchDate;
    std::optional<QString> bundleURL;
    std::optional<QString> executableURL;
    std::optional<QString> bundleIdentifier;

    friend bool operator==(const ApplicationIconIdentity&,
                           const ApplicationIconIdentity&) = default;
};

struct ApplicationIconIdentityHash {
    std::size_t operator()(const ApplicationIconIdentity& identity) const;
};

// Application icons kept across sessions, bounded to the running applications by retain().
// Main thread only.
class ApplicationIconCache {
public:
    // Reads the icon of an installed application from its location; a null image when none.
    using FileIcon = std::function<QImage(const QString& path)>;

    // Without a file-icon reader every icon comes from the fallback, the application's own
    // icon: on Linux the desktop owns the whole lookup (its entry's themed icon, the
    // window's icon), and an executable on disk holds no image to read.
    explicit ApplicationIconCache(FileIcon fileIcon = nullptr);

    // Drops every icon whose identity is not listed.
    void retain(const std::vector<ApplicationIconIdentity>& identities);
    // The cached icon, or one read now from the application's location (when it exists on
    // disk) or else from the fallback. Nothing, and nothing cached, when neither has one.
    std::optional<QImage> load(const ApplicationIconIdentity& identity,
                               const std::function<QImage()>& fallback);
    std::optional<QImage> cached(const ApplicationIconIdentity& identity) const;
    std::size_t size() const { return icons_.size(); }

private:
    std::unordered_map<ApplicationIconIdentity, QImage, ApplicationIconIdentityHash> icons_;
    FileIcon fileIcon_;
};

} // namespace hopla
