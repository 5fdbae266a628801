#pragma once

#include "platform/KeyEventSource.h"
#include "platform/VirtualKeys.h"

#include <QPointF>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>

struct wl_keyboard;
struct wl_pointer;
struct wl_seat;
struct wl_surface;
struct xkb_context;
struct xkb_keymap;

namespace hopla::wayland {

class WaylandConnection;

// The compositor's seat as Hopla's own surfaces meet it: the keyboard while one of them has
// its focus (the switcher's panel during a session), turned into the switcher's key events,
// and pointer clicks on them. The keymap the seat announces gives the letters. Events are
// handled on the connection's thread.
class WaylandSeat {
public:
    // Binds the seat before the connection starts; nothing when the compositor has none.
    static std::unique_ptr<WaylandSeat> bind(WaylandConnection& connection);
    ~WaylandSeat();
    WaylandSeat(const WaylandSeat&) = delete;
    WaylandSeat& operator=(const WaylandSeat&) = delete;

    wl_seat* seat() const { return seat_; }

    // Where key events and clicks go; set on the connection's thread (or before start).
    std::function<void(const KeyEvent&)> onKey;
    std::function<void(wl_surface*, QPointF)> onClick;
    // The keyboard left one of Hopla's surfaces that still exists.
    std::function<void(wl_surface*)> onKeyboardLeave;

    // The modifier whose state key events report as the switch modifier. Any thread.
    void setSwitchModifier(SwitchModifier modifier);
    // The letters of the keymap the compositor gave; nothing before it gave one. Any thread.
    std::optional<KeyLetters> letters() const;

private:
    explicit WaylandSeat(wl_seat* seat)
        : seat_(seat) {}
    friend struct SeatEvents;
    void capabilities(std::uint32_t caps);
    void keymap(int fd, std::uint32_t size);
    void modifiers(std::uint32_t depressed, std::uint32_t latched, std::uint32_t group);
    void key(std::uint32_t evdev, bool pressed);
    KeyEvent modifierState() const;

    wl_seat* seat_;
    wl_keyboard* keyboard_ = nullptr;
    wl_pointer* pointer_ = nullptr;
    xkb_context* context_ = nullptr;
    xkb_keymap* keymap_ = nullptr;
    // Modifier bits of the keymap and what is held; the connection's thread only.
    std::uint32_t superMask_ = 0, altMask_ = 0, shiftMask_ = 0, controlMask_ = 0;
    std::uint32_t held_ = 0;
    bool modifiersKnown_ = false;
    wl_surface* pointerSurface_ = nullptr;
    QPointF pointerAt_;

    mutable std::mutex lock_; // guards what other threads read
    std::optional<KeyLetters> letters_;
    SwitchModifier modifier_ = SwitchModifier::super;
};

} // namespace hopla::wayland
