#pragma once

#include "app/Preferences.h"
#include "core/KeyboardTap.h"
#include "platform/Readiness.h"

#include <QString>

#include <functional>
#include <optional>

namespace hopla {

// Keeps the keyboard tap running exactly while the display server is ready for Hopla, switching is
// on and the switch shortcut is free, and publishes what it found to the preferences. Run at
// launch, every 2 s and whenever switching is turned on or off. Main thread only.
class ReadinessRefresh {
public:
    // `dismiss` closes an open session; `showEnabled` shows whether switching is on (the tray
    // menu's check mark).
    ReadinessRefresh(KeyboardTap& tap, KeyEventSource& source, Preferences& preferences,
                     std::function<Readiness()> readiness, std::function<void()> dismiss,
                     std::function<void(bool)> showEnabled);

    void run();

private:
    // Says on the settings card why the tap could not start.
    void publishFailure(const KeyEventSource::StartFailure& failure);

    KeyboardTap& tap_;
    KeyEventSource& source_;
    Preferences& preferences_;
    std::function<Readiness()> readiness_;
    std::function<void()> dismiss_;
    std::function<void(bool)> showEnabled_;
    std::optional<bool> lastPermission_; // what the previous run found
};

} // namespace hopla
