#pragma once

#include "platform/KeyEventSource.h"
#include "platform/xkb/KeyboardLayout.h"

#include "platform/x11/XTypes.h"

#include <optional>
#include <string>
#include <vector>

namespace hopla::x11 {

class XConnection;

// The X server's current keyboard, read through the XKB extension: its keymap as a
// KeyboardLayout (letters from the active group when it is Latin), and the keycodes and
// modifier masks the switcher's grabs need.
struct ServerKeyboard {
    KeyboardLayout layout;
    std::vector<KeyCode> tabKeys;     // every keycode that types Tab at its base level
    std::vector<KeyCode> superKeys;   // Super_L and Super_R
    std::uint16_t superMask = 0;      // the modifier Super_L/Super_R sit on (normally Mod4)
    std::vector<KeyCode> shiftKeys;   // Shift_L and Shift_R
    std::vector<KeyCode> altKeys;     // Alt_L, Alt_R and Meta_L
    std::uint16_t altMask = 0;        // normally Mod1
    std::uint16_t numLockMask = 0;    // normally Mod2
    std::uint16_t scrollLockMask = 0; // often none
    std::vector<KeyCode> windowKeys;  // the key above Tab, by position, whatever it types

    const std::vector<KeyCode>& keysOf(SwitchModifier m) const {
        return m == SwitchModifier::alt ? altKeys : superKeys;
    }
    // 0 when no key sits on a modifier for it (a remapped keyboard).
    std::uint16_t maskOf(SwitchModifier m) const {
        return m == SwitchModifier::alt ? altMask : superMask;
    }
};

// Nothing, with the reason, when the server lacks XKB or the keymap cannot be read.
std::optional<ServerKeyboard> readServerKeyboard(XConnection& x, std::string* error);

// The layout the keyboard tap reads its letters from, on a connection of its own so any
// thread may ask (it is asked at start and after mapping changes). Nothing without X.
std::optional<KeyboardLayout> readServerLayout();
// Its letters, as the keyboard tap takes them.
std::optional<KeyLetters> readServerLetters();

} // namespace hopla::x11
