#include "platform/wayland/WaylandSeat.h"

#include "platform/wayland/WaylandConnection.h"
#include "platform/xkb/KeyPositions.h"
#include "platform/xkb/KeyboardLayout.h"

#include <wayland-client.h>
#include <xkbcommon/xkbcommon.h>

#include <cstring>
#include <linux/input-event-codes.h>
#include <sys/mman.h>
#include <unistd.h>

namespace hopla::wayland {

// The C callbacks of the seat, keyboard and pointer, forwarding to the seat.
struct SeatEvents {
    static WaylandSeat& seat(void* data) { return *static_cast<WaylandSeat*>(data); }

    static void capabilities(void* data, wl_seat*, std::uint32_t caps) {
        seat(data).capabilities(caps);
    }
    static void name(void*, wl_seat*, const char*) {}

    static void keymap(void* data, wl_keyboard*, std::uint32_t format, int fd, std::uint32_t size) {
        if (format == WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1) {
            seat(data).keymap(fd, size);
        }
        ::close(fd);
    }
    static void enter(void* data, wl_keyboard*, std::uint32_t, wl_surface*, wl_array*) {
        seat(data).modifiersKnown_ = false; // the modifiers event that follows is news
    }
    static void leave(void* data, wl_keyboard*, std::uint32_t, wl_surface* surface) {
        if (surface && seat(data).onKeyboardLeave) {
            seat(data).onKeyboardLeave(surface);
        }
    }
    static void key(void* data, wl_keyboard*, std::uint32_t, std::uint32_t, std::uint32_t key,
                    std::uint32_t state) {
        seat(data).key(key, state == WL_KEYBOARD_KEY_STATE_PRESSED);
    }
    static void modifiers(void* data, wl_keyboard*, std::uint32_t, std::uint32_t depressed,
                          std::uint32_t latched, std::uint32_t, std::uint32_t group) {
        seat(data).modifiers(depressed, latched, group);
    }
    static void repeat(void*, wl_keyboard*, std::int32_t, std::int32_t) {}

    static void pointerEnter(void* data, wl_pointer*, std::uint32_t, wl_surface* surface,
                             wl_fixed_t x, wl_fixed_t y) {
        seat(data).pointerSurface_ = surface;
        seat(data).pointerAt_ = {wl_fixed_to_double(x), wl_fixed_to_double(y)};
    }
    static void pointerLeave(void* data, wl_pointer*, std::uint32_t, wl_surface*) {
        seat(data).pointerSurface_ = nullptr;
    }
    static void motion(void* data, wl_pointer*, std::uint32_t, wl_fixed_t x, wl_fixed_t y) {
        seat(data).pointerAt_ = {wl_fixed_to_double(x), wl_fixed_to_double(y)};
    }
    static void button(void* data, wl_pointer*, std::uint32_t, std::uint32_t, std::uint32_t button,
                       std::uint32_t state) {
        WaylandSeat& s = seat(data);
        if (button == BTN_LEFT && state == WL_POINTER_BUTTON_STATE_PRESSED && s.pointerSurface_ &&
            s.onClick) {
            s.onClick(s.pointerSurface_, s.pointerAt_);
        }
    }
    static void axis(void*, wl_pointer*, std::uint32_t, std::uint32_t, wl_fixed_t) {}
};

namespace {
constexpr wl_seat_listener seatListener{SeatEvents::capabilities, SeatEvents::name};
constexpr wl_keyboard_listener keyboardListener{SeatEvents::keymap,    SeatEvents::enter,
                                                SeatEvents::leave,     SeatEvents::key,
                                                SeatEvents::modifiers, SeatEvents::repeat};
// Bound at version 4: the later pointer events (frames, axis details) never come.
constexpr wl_pointer_listener pointerListener{SeatEvents::pointerEnter,
                                              SeatEvents::pointerLeave,
                                              SeatEvents::motion,
                                              SeatEvents::button,
                                              SeatEvents::axis,
                                              nullptr,
                                              nullptr,
                                              nullptr,
                                              nullptr,
                                              nullptr};
} // namespace

std::unique_ptr<WaylandSeat> WaylandSeat::bind(WaylandConnection& connection) {
    auto* seat = static_cast<wl_seat*>(connection.bind(wl_seat_interface, 1, 4));
    if (!seat) {
        return nullptr;
    }
    std::unique_ptr<WaylandSeat> result(new WaylandSeat(seat));
    result->context_ = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
    wl_seat_add_listener(seat, &seatListener, result.get());
    return result;
}

WaylandSeat::~WaylandSeat() {
    if (keyboard_) {
        wl_keyboard_destroy(keyboard_);
    }
    if (pointer_) {
        wl_pointer_destroy(pointer_);
    }
    wl_seat_destroy(seat_);
    xkb_keymap_unref(keymap_);
    xkb_context_unref(context_);
}

void WaylandSeat::capabilities(std::uint32_t caps) {
    if ((caps & WL_SEAT_CAPABILITY_KEYBOARD) && !keyboard_) {
        keyboard_ = wl_seat_get_keyboard(seat_);
        wl_keyboard_add_listener(keyboard_, &keyboardListener, this);
    }
    if ((caps & WL_SEAT_CAPABILITY_POINTER) && !pointer_) {
        pointer_ = wl_seat_get_pointer(seat_);
        wl_pointer_add_listener(pointer_, &pointerListener, this);
    }
}

void WaylandSeat::keymap(int fd, std::uint32_t size) {
    void* text = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0);
    if (text == MAP_FAILED) {
        return;
    }
    xkb_keymap* keymap = xkb_keymap_new_from_buffer(
        context_, static_cast<const char*>(text), strnlen(static_cast<const char*>(text), size),
        XKB_KEYMAP_FORMAT_TEXT_V1, XKB_KEYMAP_COMPILE_NO_FLAGS);
    ::munmap(text, size);
    if (!keymap) {
        return;
    }
    xkb_keymap_unref(keymap_);
    keymap_ = keymap;
    const auto mask = [keymap](const char* name) {
        const xkb_mod_index_t index = xkb_keymap_mod_get_index(keymap, name);
        return index == XKB_MOD_INVALID ? 0u : 1u << index;
    };
    superMask_ = mask(XKB_MOD_NAME_LOGO);
    altMask_ = mask(XKB_MOD_NAME_ALT);
    shiftMask_ = mask(XKB_MOD_NAME_SHIFT);
    controlMask_ = mask(XKB_MOD_NAME_CTRL);
    auto layout = KeyboardLayout::adopt(xkb_keymap_ref(keymap), 0);
    {
        std::lock_guard guard(lock_);
        letters_ = layout ? std::optional(layout->letters()) : std::nullopt;
    }
    if (onKey) { // the letters are looked up afresh
        KeyEvent changed;
        changed.type = KeyEvent::Type::layoutChanged;
        onKey(changed);
    }
}

void WaylandSeat::setSwitchModifier(SwitchModifier modifier) {
    std::lock_guard guard(lock_);
    modifier_ = modifier;
}

std::optional<KeyLetters> WaylandSeat::letters() const {
    std::lock_guard guard(lock_);
    return letters_;
}

KeyEvent WaylandSeat::modifierState() const {
    SwitchModifier modifier;
    {
        std::lock_guard guard(lock_);
        modifier = modifier_;
    }
    const std::uint32_t switchMask = modifier == SwitchModifier::alt ? altMask_ : superMask_;
    const std::uint32_t otherMask =
        (modifier == SwitchModifier::alt ? superMask_ : altMask_) | controlMask_;
    KeyEvent event;
    event.type = KeyEvent::Type::modifiersChanged;
    event.switchModifier = (held_ & switchMask) != 0;
    event.shift = (held_ & shiftMask_) != 0;
    event.otherModifier = (held_ & otherMask) != 0;
    return event;
}

void WaylandSeat::modifiers(std::uint32_t depressed, std::uint32_t latched, std::uint32_t) {
    const std::uint32_t held = depressed | latched;
    if (held == held_ && modifiersKnown_) {
        return;
    }
    const KeyEvent before = modifierState();
    held_ = held;
    KeyEvent now = modifierState();
    // The first state after the focus came tells whether the switch modifier is still held:
    // let go before the panel appeared, it is a release all the same.
    const bool switchNews = !modifiersKnown_ || before.switchModifier != now.switchModifier;
    modifiersKnown_ = true;
    now.code = keyCode(switchNews ? VirtualKey::leftSwitchModifier : VirtualKey::leftShift);
    if (onKey) {
        onKey(now);
    }
}

void WaylandSeat::key(std::uint32_t evdev, bool pressed) {
    const auto code = virtual_keys::fromEvdev(evdev);
    if (!code || isModifierKey(*code) || !onKey) {
        return; // modifiers are told by the modifiers event that follows
    }
    KeyEvent event = modifierState();
    event.type = pressed ? KeyEvent::Type::keyDown : KeyEvent::Type::keyUp;
    event.code = *code;
    onKey(event);
}

} // namespace hopla::wayland
