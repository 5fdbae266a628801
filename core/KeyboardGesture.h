#pragma once

#include <bitset>
#include <cstdint>
#include <optional>

namespace hopla {

// What a key event means to the switcher.
struct GestureAction {
    enum class Kind { tab, letter, cancel, release };

    Kind kind = Kind::cancel;
    bool backwards = false; // tab: Shift was held
    char letter = 0;        // letter: the key's shortcut letter, uppercase
    bool windows = false;   // tab: the key above Tab, which goes through windows

    static GestureAction tab(bool backwards, bool windows = false) {
        return {Kind::tab, backwards, 0, windows};
    }
    static GestureAction letterKey(char letter) { return {Kind::letter, false, letter, false}; }
    static GestureAction cancel() { return {Kind::cancel, false, 0, false}; }
    static GestureAction release() { return {Kind::release, false, 0, false}; }

    friend bool operator==(const GestureAction&, const GestureAction&) = default;
};

// Decides, for each key event the keyboard tap sees, whether it belongs to the switcher and
// what it means. Its only state is the set of keys whose key-down it took: their key-ups
// and auto-repeats are taken too, so the frontmost application never sees half a key press.
//
// Runs inside the tap's decision path: no allocation, no locking of its own (the tap holds
// its lock around every call).
class KeyboardGesture {
public:
    using KeyCode = std::int64_t;

    struct KeyDown {
        KeyCode code = 0;
        bool switchModifier = false;
        bool shift = false;
        bool otherModifier = false; // the other of Super and Alt, or Control
        bool repeated = false;      // an auto-repeat
        bool sessionOpen = false;
        std::optional<char>
            letter; // the key's shortcut letter; looked up only while a session is open
    };

    struct Decision {
        bool swallow = false;
        std::optional<GestureAction> action;

        friend bool operator==(const Decision&, const Decision&) = default;
    };

    Decision keyDown(const KeyDown& event);
    // True (swallow) exactly when the key's key-down was taken; forgets the key.
    bool keyUp(KeyCode code);
    // A modifier changed: the release of either switch-modifier key commits. Never swallowed.
    std::optional<GestureAction> modifiersChanged(KeyCode code, bool switchModifier) const;
    // Forgets every taken key; their key-ups will pass.
    void reset() { consumed_.reset(); }

    bool isConsumed(KeyCode code) const { return inRange(code) && consumed_.test(index(code)); }

private:
    // Virtual key codes span 0-127; codes outside never belong to the switcher.
    static constexpr std::size_t keyCount = 128;
    static bool inRange(KeyCode code) { return code >= 0 && code < static_cast<KeyCode>(keyCount); }
    static std::size_t index(KeyCode code) { return static_cast<std::size_t>(code); }

    std::bitset<keyCount> consumed_;
};

} // namespace hopla
