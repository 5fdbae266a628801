#include "core/KeyboardGesture.h"

#include "platform/VirtualKeys.h"

namespace hopla {

KeyboardGesture::Decision KeyboardGesture::keyDown(const KeyDown& e) {
    constexpr Decision pass{};
    if (!inRange(e.code)) {
        return pass;
    }
    const auto take = [this, &e](GestureAction action) {
        consumed_.set(index(e.code));
        return Decision{true, action};
    };

    if ((e.code == keyCode(VirtualKey::escape) || e.code == keyCode(VirtualKey::space)) &&
        e.sessionOpen) {
        return take(GestureAction::cancel());
    }
    if (consumed_.test(index(e.code))) {
        return Decision{true, std::nullopt}; // repeat or second key-down of a taken key
    }
    // Tab steps through applications; the key above it, by position whatever it types,
    // through the windows of the frontmost one.
    const bool windowKey = e.code == keyCode(VirtualKey::aboveTab);
    if (e.code == keyCode(VirtualKey::tab) || windowKey) {
        if (e.otherModifier || (!e.switchModifier && !e.sessionOpen)) {
            return pass;
        }
        if (e.repeated) {
            return Decision{e.sessionOpen, std::nullopt};
        }
        return take(GestureAction::tab(e.shift, windowKey));
    }
    if (!e.sessionOpen || e.otherModifier || !e.letter) {
        return pass;
    }
    if (e.repeated) {
        return Decision{true, std::nullopt};
    }
    return take(GestureAction::letterKey(*e.letter));
}

bool KeyboardGesture::keyUp(KeyCode code) {
    if (!isConsumed(code)) {
        return false;
    }
    consumed_.reset(index(code));
    return true;
}

std::optional<GestureAction> KeyboardGesture::modifiersChanged(KeyCode code,
                                                               bool switchModifier) const {
    if ((code == keyCode(VirtualKey::leftSwitchModifier) ||
         code == keyCode(VirtualKey::rightSwitchModifier)) &&
        !switchModifier) {
        return GestureAction::release();
    }
    return std::nullopt;
}

} // namespace hopla
