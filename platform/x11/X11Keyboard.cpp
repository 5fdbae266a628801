#include "platform/x11/X11Keyboard.h"

#include "platform/VirtualKeys.h"
#include "platform/x11/XConnection.h"
#include "platform/xkb/KeyPositions.h"

#include <xkbcommon/xkbcommon-x11.h>
#include <xkbcommon/xkbcommon.h>

#include <algorithm>
#include <memory>

namespace hopla::x11 {

namespace {

struct ContextRelease {
    void operator()(xkb_context* c) const { xkb_context_unref(c); }
};
struct StateRelease {
    void operator()(xkb_state* s) const { xkb_state_unref(s); }
};

// Keycodes whose base-level symbol in the first group is `symbol`.
std::vector<xcb_keycode_t> keycodesFor(xkb_keymap* keymap, xkb_keysym_t symbol) {
    std::vector<xcb_keycode_t> found;
    for (xkb_keycode_t code = xkb_keymap_min_keycode(keymap);
         code <= xkb_keymap_max_keycode(keymap) && code <= 255; ++code) {
        const xkb_keysym_t* syms = nullptr;
        if (xkb_keymap_key_get_syms_by_level(keymap, code, 0, 0, &syms) == 1 && syms[0] == symbol) {
            found.push_back(static_cast<xcb_keycode_t>(code));
        }
    }
    return found;
}

// The core modifier (Shift..Mod5 as a mask) that carries any of the given keycodes.
std::uint16_t modifierOf(XConnection& x, const std::vector<xcb_keycode_t>& keys) {
    const Reply<xcb_get_modifier_mapping_reply_t> mapping(
        xcb_get_modifier_mapping_reply(x.raw(), xcb_get_modifier_mapping(x.raw()), nullptr));
    if (!mapping || keys.empty()) {
        return 0;
    }
    const xcb_keycode_t* codes = xcb_get_modifier_mapping_keycodes(mapping.get());
    const int perModifier = mapping->keycodes_per_modifier;
    for (int modifier = 0; modifier < 8; ++modifier) {
        for (int i = 0; i < perModifier; ++i) {
            const xcb_keycode_t code = codes[modifier * perModifier + i];
            if (code != 0 && std::find(keys.begin(), keys.end(), code) != keys.end()) {
                return static_cast<std::uint16_t>(1u << modifier);
            }
        }
    }
    return 0;
}

} // namespace

std::optional<ServerKeyboard> readServerKeyboard(XConnection& x, std::string* error) {
    const auto fail = [error](const char* why) {
        if (error) {
            *error = why;
        }
        return std::nullopt;
    };
    if (!xkb_x11_setup_xkb_extension(
            x.raw(), XKB_X11_MIN_MAJOR_XKB_VERSION, XKB_X11_MIN_MINOR_XKB_VERSION,
            XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr, nullptr, nullptr)) {
        return fail("the X server lacks the XKB extension");
    }
    const std::int32_t device = xkb_x11_get_core_keyboard_device_id(x.raw());
    const std::unique_ptr<xkb_context, ContextRelease> context(
        xkb_context_new(XKB_CONTEXT_NO_FLAGS));
    if (device < 0 || !context) {
        return fail("no core keyboard");
    }
    xkb_keymap* keymap =
        xkb_x11_keymap_new_from_device(context.get(), x.raw(), device, XKB_KEYMAP_COMPILE_NO_FLAGS);
    if (!keymap) {
        return fail("the keyboard's keymap could not be read");
    }
    const std::unique_ptr<xkb_state, StateRelease> state(
        xkb_x11_state_new_from_device(keymap, x.raw(), device));
    const auto group =
        state ? xkb_state_serialize_layout(state.get(), XKB_STATE_LAYOUT_EFFECTIVE) : 0u;

    ServerKeyboard keyboard{*KeyboardLayout::adopt(keymap, group), {}, {}, 0, {}, {}, 0, 0, 0, {}};
    keyboard.tabKeys = keycodesFor(keymap, XKB_KEY_Tab);
    keyboard.superKeys = keycodesFor(keymap, XKB_KEY_Super_L);
    const auto right = keycodesFor(keymap, XKB_KEY_Super_R);
    keyboard.superKeys.insert(keyboard.superKeys.end(), right.begin(), right.end());
    keyboard.superMask = modifierOf(x, keyboard.superKeys);
    for (const xkb_keysym_t shift : {XKB_KEY_Shift_L, XKB_KEY_Shift_R}) {
        const auto keys = keycodesFor(keymap, shift);
        keyboard.shiftKeys.insert(keyboard.shiftKeys.end(), keys.begin(), keys.end());
    }
    for (const xkb_keysym_t alt : {XKB_KEY_Alt_L, XKB_KEY_Alt_R, XKB_KEY_Meta_L}) {
        const auto keys = keycodesFor(keymap, alt);
        keyboard.altKeys.insert(keyboard.altKeys.end(), keys.begin(), keys.end());
    }
    keyboard.altMask = modifierOf(x, keyboard.altKeys);
    keyboard.numLockMask = modifierOf(x, keycodesFor(keymap, XKB_KEY_Num_Lock));
    keyboard.scrollLockMask = modifierOf(x, keycodesFor(keymap, XKB_KEY_Scroll_Lock));
    constexpr xkb_keycode_t evdevOffset = 8;
    if (const auto evdev = virtual_keys::evdevCode(keyCode(VirtualKey::aboveTab))) {
        const xkb_keycode_t code = *evdev + evdevOffset;
        if (code <= 255 && xkb_keymap_num_layouts_for_key(keymap, code) > 0) {
            keyboard.windowKeys.push_back(static_cast<KeyCode>(code));
        }
    }
    return keyboard;
}

std::optional<KeyboardLayout> readServerLayout() {
    const auto x = XConnection::open(nullptr, nullptr);
    if (!x) {
        return std::nullopt;
    }
    auto keyboard = readServerKeyboard(*x, nullptr);
    if (!keyboard) {
        return std::nullopt;
    }
    return std::move(keyboard->layout);
}

std::optional<KeyLetters> readServerLetters() {
    const auto layout = readServerLayout();
    return layout ? std::optional(layout->letters()) : std::nullopt;
}

} // namespace hopla::x11
