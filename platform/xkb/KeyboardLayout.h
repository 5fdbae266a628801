#pragma once

#include "platform/VirtualKeys.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

struct xkb_keymap;

namespace hopla {

// Turns a virtual key code into the shortcut letter its physical key types under the
// user's keyboard layout: the key's symbol at the base level (no modifiers) in the active
// layout group when that group types Latin letters, otherwise in the first group that does.
// So with "us,ru" and the Russian group active, letters still come from the US group.
class KeyboardLayout {
public:
    // XKB rule names, as the X server takes them (setxkbmap -layout de, and so on).
    struct Names {
        std::string rules = "evdev";
        std::string model = "pc105";
        std::string layout = "us";
        std::string variant;
        std::string options;
    };

    // Compiles the keymap the X server would build from these names. Nothing when the names
    // do not compile (unknown layout, no XKB data installed).
    static std::optional<KeyboardLayout> fromNames(const Names& names,
                                                   std::uint32_t activeGroup = 0);

    // Takes over a compiled keymap (reference included), such as the X server's own.
    static std::optional<KeyboardLayout> adopt(xkb_keymap* keymap, std::uint32_t activeGroup);

    // The uppercase ASCII letter or digit the key types, or nothing: modifiers, function
    // keys, dead keys, punctuation and keys without a position give nothing.
    std::optional<char> shortcut(std::uint16_t keyCode) const;

    // shortcut() for every key of the main block, as the keyboard tap looks letters up.
    KeyLetters letters() const;

    // The layout group letters are read from; nothing when no group types Latin letters.
    std::optional<std::uint32_t> latinGroup() const { return latinGroup_; }

private:
    struct KeymapRelease {
        void operator()(xkb_keymap* keymap) const;
    };
    using KeymapPtr = std::unique_ptr<xkb_keymap, KeymapRelease>;

    KeyboardLayout(KeymapPtr keymap, std::uint32_t activeGroup);

    KeymapPtr keymap_;
    std::optional<std::uint32_t> latinGroup_;
};

} // namespace hopla
