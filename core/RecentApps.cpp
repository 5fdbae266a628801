#include "core/RecentApps.h"

#include "core/NameCollation.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <unordered_map>

namespace hopla {

void RecentApps::activate(AppHandle id) {
    std::erase(ids_, id);
    ids_.insert(ids_.begin(), id);
}

void RecentApps::seed(const std::vector<AppHandle>& mostRecentFirst) {
    for (const AppHandle id : mostRecentFirst) {
        if (std::find(ids_.begin(), ids_.end(), id) == ids_.end()) {
            ids_.push_back(id);
        }
    }
}

std::vector<AppEntry> RecentApps::ordered(std::vector<AppEntry> entries) const {
    constexpr auto unlisted = std::numeric_limits<std::int64_t>::max();
    std::unordered_map<AppHandle, std::int64_t> position;
    position.reserve(ids_.size());
    for (std::size_t i = 0; i < ids_.size(); ++i) {
        position.emplace(ids_[i], static_cast<std::int64_t>(i)); // ids are unique
    }

    // Sort indices with everything the comparison needs computed once per entry; collation
    // keys only for unlisted entries, the only ones ordered by name.
    struct Key {
        std::int64_t rank;
        QByteArray collation;
    };
    std::vector<Key> keys;
    keys.reserve(entries.size());
    for (const AppEntry& entry : entries) {
        const auto it = position.find(entry.id);
        const std::int64_t rank = it == position.end() ? unlisted : it->second;
        keys.push_back({rank, rank == unlisted ? naturalSortKey(entry.name) : QByteArray()});
    }
    std::vector<std::size_t> order(entries.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(), [&](std::size_t i, std::size_t j) {
        if (keys[i].rank != keys[j].rank) {
            return keys[i].rank < keys[j].rank;
        }
        if (entries[i].name == entries[j].name) {
            return entries[i].id < entries[j].id;
        }
        if (keys[i].rank != unlisted) { // one id listed twice: names decide
            return compareNamesNaturally(entries[i].name, entries[j].name) < 0;
        }
        return keys[i].collation < keys[j].collation;
    });

    std::vector<AppEntry> sorted;
    sorted.reserve(entries.size());
    for (const std::size_t i : order) {
        sorted.push_back(std::move(entries[i]));
    }
    return sorted;
}

} // namespace hopla
