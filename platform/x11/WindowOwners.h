#pragma once

#include "platform/AppHandle.h"
#include "platform/x11/XTypes.h"

#include <map>
#include <mutex>
#include <vector>

namespace hopla::x11 {

// Which windows make up each application, as the running-applications list last grouped
// them (most recently used first), for the window restorer's worker thread.
class WindowOwners {
public:
    using Map = std::map<AppHandle, std::vector<WindowId>>;

    void set(Map owners) {
        std::lock_guard lock(mutex_);
        owners_ = std::move(owners);
    }
    std::vector<WindowId> windowsOf(AppHandle application) const {
        std::lock_guard lock(mutex_);
        const auto it = owners_.find(application);
        return it == owners_.end() ? std::vector<WindowId>{} : it->second;
    }

private:
    mutable std::mutex mutex_;
    Map owners_;
};

} // namespace hopla::x11
