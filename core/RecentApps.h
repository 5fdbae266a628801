#pragma once

#include "core/AppEntry.h"

#include <vector>

namespace hopla {

// The most-recently-used order of applications, most recent first. Identifiers of
// applications that have quit stay in the list; it is never trimmed.
class RecentApps {
public:
    // Moves the identifier to the front, inserting it when it is new.
    void activate(AppHandle id);
    // Adds the identifiers not yet listed at the back, in the given order (most recent
    // first): what the desktop already knows of recency when Hopla starts.
    void seed(const std::vector<AppHandle>& mostRecentFirst);

    // The entries sorted by recency: listed applications in list order, then the others by
    // name (naturally, case-insensitively), equal names by increasing identifier. Stable.
    std::vector<AppEntry> ordered(std::vector<AppEntry> entries) const;

    const std::vector<AppHandle>& ids() const { return ids_; }

    friend bool operator==(const RecentApps&, const RecentApps&) = default;

private:
    std::vector<AppHandle> ids_;
};

} // namespace hopla
