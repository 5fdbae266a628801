#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace hopla {

// The keys Hopla names, by their virtual key codes (the ANSI key positions below). Key
// events carry codes as signed 64-bit integers; keyCode() gives a key's.
enum class VirtualKey : std::uint16_t {
    s = 1,
    d = 2,
    returnKey = 36,
    tab = 48,
    space = 49,
    aboveTab = 50, // ` on a US keyboard
    escape = 53,
    rightSwitchModifier = 54,
    leftSwitchModifier = 55,
    leftShift = 56,
    capsLock = 57,
    leftOtherModifier = 58,
    leftControl = 59,
    rightShift = 60,
    rightOtherModifier = 61,
    rightControl = 62,
};

constexpr std::int64_t keyCode(VirtualKey key) {
    return static_cast<std::int64_t>(key);
}

// The switch modifier, Shift, CapsLock, the other modifier and Control on either side: their
// changes are modifier changes, never key presses.
constexpr bool isModifierKey(std::int64_t code) {
    return code >= keyCode(VirtualKey::rightSwitchModifier) &&
           code <= keyCode(VirtualKey::rightControl);
}

// The letter each key of the main block (virtual key codes 0 to 50) types under the user's
// layout; 0 where it types none.
inline constexpr std::size_t letterKeyCount = 51;
using KeyLetters = std::array<char, letterKeyCount>;

} // namespace hopla
