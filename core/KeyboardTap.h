#pragma once

#include "core/KeyboardGesture.h"
#include "platform/Identity.h"
#include "platform/KeyEventSource.h"
#include "platform/Lifetime.h"
#include "platform/Scheduler.h"
#include "platform/VirtualKeys.h"

#include <array>
#include <functional>
#include <mutex>
#include <optional>

namespace hopla {

// Decides, for every key event of the desktop, whether the switcher takes it, and hands the
// resulting actions to the main thread. The decision runs on the event source's thread
// under the tap's own lock, with nothing else: no allocation, no waiting for the main
// thread. Between deliveries the tap predicts whether a session is open (Tab opens, cancel
// and release close) and adopts the controller's answer once the main thread caught up.
class KeyboardTap {
public:
    // The letters of the keyboard layout current at start(); nothing when it cannot be read.
    using LayoutProvider = std::function<std::optional<KeyLetters>()>;

    // The switcher the tap hands its actions to, on the main thread.
    struct Switcher {
        // Takes every delivered action; true when it was used.
        std::function<bool(const GestureAction&)> input;
        // Asked after each delivery: is a session open?
        std::function<bool()> sessionOpen;
    };

    KeyboardTap(KeyEventSource& source, Scheduler& mainQueue, LayoutProvider layout,
                Switcher switcher);
    ~KeyboardTap();
    KeyboardTap(const KeyboardTap&) = delete;
    KeyboardTap& operator=(const KeyboardTap&) = delete;

    // Builds the letter table from the current layout and starts the source. True when a
    // working source is in place; does nothing (and rebuilds nothing) while one is.
    bool start();
    // Stops the source and cuts off every delivery still on its way.
    void stop();
    // The panel was dismissed: unless deliveries are pending, no session is open any more.
    void sessionDismissed();

    // Decides one event (the source's handler); true means swallow.
    bool handle(const KeyEvent& event);

    // Whether keys are now decided as in a session: the tap's own prediction between
    // deliveries, the controller's answer once they caught up.
    bool sessionPredicted() const;
    // The letter the key at this virtual key code gives under the layout read at start.
    std::optional<char> letterFor(std::int64_t code) const;

private:
    void deliver(const GestureAction& action);
    void setSessionOpen(bool open);
    void rebuildShortcuts();

    KeyEventSource& source_;
    Scheduler& mainQueue_;
    LayoutProvider layout_;
    Switcher switcher_;
    mutable std::recursive_mutex lock_;
    KeyboardGesture gesture_;
    KeyLetters shortcuts_{}; // 0: the key gives no letter
    bool sessionOpen_ = false;
    int pendingInputs_ = 0;
    Identity generation_ = Identity::random();
    Lifetime lifetime_;
};

} // namespace hopla
