#include "core/RecentApps.h"

#include "core/NameCollation.h"

#include <algorithm>
#include <limits>
#include <unordered_map>

namespace hopla {

void RecentApps::activate(ProcessId id) {
    std::erase(ids_, id);
    ids_.insert(ids_.begin(), id);
}

std::vector<AppEntry> RecentApps::ordered(std::vector<AppEntry> entries) const {
    constexpr auto unlisted = std::numeric_limits<std::int64_t>::max();
    std::unordered_map<ProcessId, std::int64_t> position;
    position.reserve(ids_.size());
    for (std::size_t i = 0; i < ids_.size(); ++i) {
        position.emplace(ids_[i], static_cast<std::int64_t>(i)); // ids are unique
    }
    const auto rank = [&](ProcessId id) {
        const auto it = position.find(id);
        return it == position.end() ? unlisted : it->second;
    };
    std::stable_sort(entries.begin(), entries.end(), [&](const AppEntry& a, const AppEntry& b) {
        const auto ra = rank(a.id);
        const auto rb = rank(b.id);
        if (ra != rb) {
            return ra < rb;
        }
        if (a.name == b.name) {
            return a.id < b.id;
        }
        return compareNamesNaturally(a.name, b.name) < 0;
    });
    return entries;
}

} // namespace hopla
