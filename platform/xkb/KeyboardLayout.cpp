#include "platform/xkb/KeyboardLayout.h"

#include "platform/xkb/KeyPositions.h"

#include <xkbcommon/xkbcommon.h>

namespace hopla {

namespace {

constexpr std::uint32_t evdevToXkbOffset = 8;

// The virtual key codes of the 26 letter positions of the main block.
constexpr std::uint16_t letterPositions[] = {0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  11, 12, 13,
                                             14, 15, 16, 17, 31, 32, 34, 35, 37, 38, 40, 45, 46};

std::optional<char32_t> baseSymbol(xkb_keymap* keymap, std::uint16_t keyCode, std::uint32_t group) {
    const auto evdev = virtual_keys::evdevCode(keyCode);
    if (!evdev) {
        return std::nullopt;
    }
    const xkb_keysym_t* syms = nullptr;
    const int count =
        xkb_keymap_key_get_syms_by_level(keymap, *evdev + evdevToXkbOffset, group, 0, &syms);
    if (count != 1) {
        return std::nullopt;
    }
    const std::uint32_t utf32 = xkb_keysym_to_utf32(syms[0]); // 0 for dead keys and the like
    if (utf32 == 0) {
        return std::nullopt;
    }
    return static_cast<char32_t>(utf32);
}

bool isAsciiLetter(char32_t c) {
    return (c >= U'a' && c <= U'z') || (c >= U'A' && c <= U'Z');
}

// A group types Latin letters when most of the letter positions give ASCII letters.
bool typesLatin(xkb_keymap* keymap, std::uint32_t group) {
    int latin = 0;
    for (const std::uint16_t code : letterPositions) {
        const auto symbol = baseSymbol(keymap, code, group);
        latin += symbol && isAsciiLetter(*symbol) ? 1 : 0;
    }
    return latin * 2 > static_cast<int>(std::size(letterPositions));
}

struct ContextRelease {
    void operator()(xkb_context* context) const { xkb_context_unref(context); }
};

} // namespace

void KeyboardLayout::KeymapRelease::operator()(xkb_keymap* keymap) const {
    xkb_keymap_unref(keymap);
}

std::optional<KeyboardLayout> KeyboardLayout::fromNames(const Names& names,
                                                        std::uint32_t activeGroup) {
    // The names given are the whole truth: no XKB_DEFAULT_* variables from the environment.
    const std::unique_ptr<xkb_context, ContextRelease> context(
        xkb_context_new(XKB_CONTEXT_NO_ENVIRONMENT_NAMES));
    if (!context) {
        return std::nullopt;
    }
    const xkb_rule_names rules{names.rules.c_str(), names.model.c_str(), names.layout.c_str(),
                               names.variant.c_str(), names.options.c_str()};
    xkb_keymap* keymap =
        xkb_keymap_new_from_names(context.get(), &rules, XKB_KEYMAP_COMPILE_NO_FLAGS);
    if (!keymap) {
        return std::nullopt;
    }
    return KeyboardLayout(KeymapPtr(keymap), activeGroup);
}

std::optional<KeyboardLayout> KeyboardLayout::adopt(xkb_keymap* keymap, std::uint32_t activeGroup) {
    if (!keymap) {
        return std::nullopt;
    }
    return KeyboardLayout(KeymapPtr(keymap), activeGroup);
}

KeyboardLayout::KeyboardLayout(KeymapPtr keymap, std::uint32_t activeGroup)
    : keymap_(std::move(keymap)) {
    const std::uint32_t groups = xkb_keymap_num_layouts(keymap_.get());
    if (activeGroup < groups && typesLatin(keymap_.get(), activeGroup)) {
        latinGroup_ = activeGroup;
        return;
    }
    for (std::uint32_t group = 0; group < groups; ++group) {
        if (typesLatin(keymap_.get(), group)) {
            latinGroup_ = group;
            return;
        }
    }
}

std::optional<char> KeyboardLayout::shortcut(std::uint16_t keyCode) const {
    if (!latinGroup_) {
        return std::nullopt;
    }
    const auto symbol = baseSymbol(keymap_.get(), keyCode, *latinGroup_);
    if (!symbol) {
        return std::nullopt;
    }
    const char32_t c = *symbol;
    if (c >= U'a' && c <= U'z') {
        return static_cast<char>(c - U'a' + U'A');
    }
    if ((c >= U'A' && c <= U'Z') || (c >= U'0' && c <= U'9')) {
        return static_cast<char>(c);
    }
    return std::nullopt;
}

KeyLetters KeyboardLayout::letters() const {
    KeyLetters table{};
    for (std::size_t code = 0; code < letterKeyCount; ++code) {
        table[code] = shortcut(static_cast<std::uint16_t>(code)).value_or(0);
    }
    return table;
}

} // namespace hopla
