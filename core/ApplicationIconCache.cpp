#include "core/ApplicationIconCache.h"

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

ApplicationIconIdentity::ApplicationIconIdentity(const Application& app)
    : ApplicationIconIdentity(app.handle(), app.launchDate(), app.launchPath(),
                              app.executableLocation(), app.desktopId()) {}

ApplicationIconIdentity::ApplicationIconIdentity(AppHandle handle,
                                                 std::optional<WallClockTime> launchDate,
                                                 std::optional<QString> launchPath,
                                                 std::optional<QString> executable,
                                                 std::optional<QString> desktopId)
    : handle(handle)
    , launchDate(launchDate)
    , launchPath(std::move(launchPath))
    , executable(std::move(executable))
    , desktopId(std::move(desktopId)) {}

std::size_t ApplicationIconIdentityHash::operator()(const ApplicationIconIdentity& identity) const {
    std::size_t seed = qHash(identity.handle);
    feed(seed, identity.launchDate);
    feed(seed, identity.launchPath);
    feed(seed, identity.executable);
    feed(seed, identity.desktopId);
    return seed;
}

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
    const QImage image = fallback ? fallback() : QImage();
    QImage copy = image.copy(); // a private copy: later changes to the shared image stay out
    if (copy.isNull()) {
        return std::nullopt;
    }
    icons_.insert_or_assign(identity, copy);
    return copy;
}

} // namespace hopla
