#include "core/ApplicationIconCache.h"

#include <QFileInfo>
#include <QHashFunctions>

#include <unordered_set>

namespace hopla {

namespace {

std::size_t hashValue(std::size_t seed, const QString& text) {
    return qHash(text, seed);
}
std::size_t hashValue(std::size_t seed, WallClockTime time) {
    return qHash(static_cast<qint64>(time.time_since_epoch().count()), seed);
}

// Each optional field feeds a presence marker, then its value when present.
template <typename T> void feed(std::size_t& seed, const std::optional<T>& field) {
    seed = qHashMulti(seed, field.has_value());
    if (field) {
        seed = hashValue(seed, *field);
    }
}

} // namespace

ApplicationIconIdentity::ApplicationIconIdentity(const RunningApplication& app)
    : ApplicationIconIdentity(app.processId(), app.launchDate(), app.bundleLocation(),
                              app.executableLocation(), app.bundleIdentifier()) {}

ApplicationIconIdentity::ApplicationIconIdentity(ProcessId pid,
                                                 std::optional<WallClockTime> launchDate,
                                                 std::optional<QString> bundleURL,
                                                 std::optional<QString> executableURL,
                                                 std::optional<QString> bundleIdentifier)
    : pid(pid)
    , launchDate(launchDate)
    , bundleURL(std::move(bundleURL))
    , executableURL(std::move(executableURL))
    , bundleIdentifier(std::move(bundleIdentifier)) {}

std::size_t ApplicationIconIdentityHash::operator()(const ApplicationIconIdentity& identity) const {
    std::size_t seed = qHash(identity.pid);
    feed(seed, identity.launchDate);
    feed(seed, identity.bundleURL);
    feed(seed, identity.executableURL);
    feed(seed, identity.bundleIdentifier);
    return seed;
}

ApplicationIconCache::ApplicationIconCache(FileIcon fileIcon)
    : fileIcon_(std::move(fileIcon)) {}

void ApplicationIconCache::retain(const std::vector<ApplicationIconIdentity>& identities) {
    const std::unordered_set<ApplicationIconIdentity, ApplicationIconIdentityHash> keep(
        identities.begin(), identities.end());
    std::erase_if(icons_, [&keep](const auto& entry) { return !keep.contains(entry.first); });
}

std::optional<QImage> ApplicationIconCache::cached(const ApplicationIconIdentity& identity) const {
    const auto it = icons_.find(identity);
    return it == icons_.end() ? std::nullopt : std::optional(it->second);
}

std::optional<QImage> ApplicationIconCache::load(const ApplicationIconIdentity& identity,
                                                 const std::function<QImage()>& fallback) {
    if (auto hit = cached(identity)) {
        return hit;
    }
    QImage image;
    if (fileIcon_ && identity.bundleURL && QFileInfo::exists(*identity.bundleURL)) {
        image = fileIcon_(*identity.bundleURL);
    } else if (fallback) {
        image = fallback();
    }
    QImage copy = image.copy(); // a private copy: later changes to the shared image stay out
    if (copy.isNull()) {
        return std::nullopt;
    }
    icons_.insert_or_assign(identity, copy);
    return copy;
}

} // namespace hopla
