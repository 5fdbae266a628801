#include "core/KeyboardTap.h"

namespace hopla {

KeyboardTap::KeyboardTap(KeyEventSource& source, Scheduler& mainQueue, LayoutProvider layout,
                         Switcher switcher)
    : source_(source)
    , mainQueue_(mainQueue)
    , layout_(std::move(layout))
    , switcher_(std::move(switcher)) {}

KeyboardTap::~KeyboardTap() {
    stop();
}

bool KeyboardTap::start() {
    {
        std::lock_guard lock(lock_);
        if (source_.running()) {
            return true;
        }
    }
    stop();
    std::lock_guard lock(lock_);
    rebuildShortcuts();
    return source_.start([this](const KeyEvent& event) { return handle(event); });
}

void KeyboardTap::rebuildShortcuts() {
    shortcuts_ = layout_ ? layout_().value_or(KeyLetters{}) : KeyLetters{};
}

void KeyboardTap::stop() {
    // First the source, without the lock: its thread may be waiting for the lock inside
    // handle(), and once stop() returns no handler runs any more.
    source_.stop();
    std::lock_guard lock(lock_);
    generation_ = Identity::random();
    pendingInputs_ = 0;
    sessionOpen_ = false;
    gesture_.reset();
}

void KeyboardTap::setSessionOpen(bool open) {
    if (open != sessionOpen_) {
        sessionOpen_ = open;
        source_.setSessionKeys(open);
    }
}

bool KeyboardTap::handle(const KeyEvent& event) {
    std::lock_guard lock(lock_);
    switch (event.type) {
    case KeyEvent::Type::keyUp:
        return gesture_.keyUp(event.code);
    case KeyEvent::Type::keyDown: {
        std::optional<char> letter;
        if (sessionOpen_ && event.code >= 0 &&
            event.code < static_cast<std::int64_t>(letterKeyCount) &&
            shortcuts_[static_cast<std::size_t>(event.code)] != 0) {
            letter = shortcuts_[static_cast<std::size_t>(event.code)];
        }
        const auto decision =
            gesture_.keyDown({event.code, event.switchModifier, event.shift, event.otherModifier,
                              event.repeated, sessionOpen_, letter});
        if (decision.action) {
            if (decision.action->kind == GestureAction::Kind::tab) {
                setSessionOpen(true);
            } else if (decision.action->kind == GestureAction::Kind::cancel) {
                setSessionOpen(false);
            }
            deliver(*decision.action);
        }
        return decision.swallow;
    }
    case KeyEvent::Type::modifiersChanged:
        if (const auto release = gesture_.modifiersChanged(event.code, event.switchModifier)) {
            setSessionOpen(false);
            deliver(*release);
        }
        return false; // modifier changes always pass
    case KeyEvent::Type::layoutChanged:
        rebuildShortcuts(); // rare: reading the new layout may take a moment
        return false;
    }
    return false;
}

void KeyboardTap::deliver(const GestureAction& action) {
    ++pendingInputs_;
    const Identity generation = generation_;
    mainQueue_.post([self = lifetime_.weak(this), action, generation] {
        // Main thread. The tap may be gone; the Lifetime check happens here, where it is destroyed.
        auto* tap = self.get();
        if (!tap) {
            return;
        }
        {
            std::lock_guard lock(tap->lock_);
            if (tap->generation_ != generation) {
                return; // stopped meanwhile
            }
        }
        if (tap->switcher_.input) {
            tap->switcher_.input(action);
        }
        const bool open = tap->switcher_.sessionOpen && tap->switcher_.sessionOpen();
        std::lock_guard lock(tap->lock_);
        if (tap->generation_ != generation) {
            return;
        }
        if (--tap->pendingInputs_ == 0) {
            tap->setSessionOpen(open);
        }
    });
}

void KeyboardTap::sessionDismissed() {
    std::lock_guard lock(lock_);
    if (pendingInputs_ == 0) {
        setSessionOpen(false);
    }
}

bool KeyboardTap::sessionPredicted() const {
    std::lock_guard lock(lock_);
    return sessionOpen_;
}

std::optional<char> KeyboardTap::letterFor(std::int64_t code) const {
    std::lock_guard lock(lock_);
    if (code < 0 || code >= static_cast<std::int64_t>(letterKeyCount) ||
        shortcuts_[static_cast<std::size_t>(code)] == 0) {
        return std::nullopt;
    }
    return shortcuts_[static_cast<std::size_t>(code)];
}

} // namespace hopla
