#pragma once

#include "platform/AppHandle.h"
#include "platform/RunningApps.h"

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
    explicit ApplicationIconIdentity(const Application& application);
    ApplicationIconIdentity(AppHandle handle, std::optional<WallClockTime> launchDate,
                            std::optional<QString> launchPath, std::optional<QString> executable,
                            std::optional<QString> desktopId);

    AppHandle handle;
    std::optional<WallClockTime> launchDate;
    std::optional<QString> launchPath;
    std::optional<QString> executable;
    std::optional<QString> desktopId;

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
    // Drops every icon whose identity is not listed.
    void retain(const std::vector<ApplicationIconIdentity>& identities);
    // The cached icon, or the one the fallback gives now (the application's own: its desktop
    // entry's themed icon, else its window's). Nothing, and nothing cached, when it has none.
    std::optional<QImage> load(const ApplicationIconIdentity& identity,
                               const std::function<QImage()>& fallback);
    std::optional<QImage> cached(const ApplicationIconIdentity& identity) const;
    std::size_t size() const { return icons_.size(); }

private:
    std::unordered_map<ApplicationIconIdentity, QImage, ApplicationIconIdentityHash> icons_;
};

} // namespace hopla
