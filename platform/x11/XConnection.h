#pragma once

#include "platform/x11/XTypes.h"

#include <xcb/xcb.h>
#include <xcb/xcb_ewmh.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

namespace hopla::x11 {

static_assert(std::is_same_v<WindowId, xcb_window_t> &&
              std::is_same_v<ServerTime, xcb_timestamp_t> &&
              std::is_same_v<KeyCode, xcb_keycode_t>);
static_assert(noWindow == XCB_WINDOW_NONE && currentTime == XCB_CURRENT_TIME);

// Frees an xcb reply or event.
struct FreeDeleter {
    void operator()(void* p) const { std::free(p); }
};
template <typename T> using Reply = std::unique_ptr<T, FreeDeleter>;

// One connection to the X server with the EWMH atoms interned. Every read is bounded and
// every failure (a window that vanished, a malformed property, a lost connection) reads as
// nothing, never as a crash.
class XConnection {
public:
    // Connects to the display named (or $DISPLAY). Nothing when there is no X server; the
    // reason is in `error`.
    static std::unique_ptr<XConnection> open(const char* display, std::string* error);
    // Whether an X server answers there, without interning anything; the reason when not.
    static bool answers(const char* display, std::string* error);
    ~XConnection();
    XConnection(const XConnection&) = delete;
    XConnection& operator=(const XConnection&) = delete;

    xcb_connection_t* raw() const { return connection_; }
    xcb_ewmh_connection_t* ewmh() { return &ewmh_; }
    xcb_window_t root() const { return root_; }
    int screenNumber() const { return screenNumber_; }
    bool broken() const { return xcb_connection_has_error(connection_) != 0; }

    // Interns an atom by name; XCB_ATOM_NONE when that fails.
    xcb_atom_t atom(const char* name);

    // A property's raw value, at most maxBytes long; nothing when it is missing, of another
    // type (unless type is XCB_ATOM_ANY) or of another format.
    struct Property {
        xcb_atom_t type = XCB_ATOM_NONE;
        std::uint8_t format = 0;
        std::vector<std::uint8_t> bytes;
    };
    std::optional<Property> property(xcb_window_t window, xcb_atom_t name, xcb_atom_t type,
                                     std::uint32_t maxBytes = 1 << 16);
    std::optional<std::vector<std::uint32_t>> cardinals(xcb_window_t window, xcb_atom_t name,
                                                        xcb_atom_t type,
                                                        std::uint32_t maxBytes = 1 << 16);
    std::optional<std::uint32_t> cardinal(xcb_window_t window, xcb_atom_t name, xcb_atom_t type);

    // Atoms this code uses beyond the EWMH set.
    xcb_atom_t wmState = XCB_ATOM_NONE;
    xcb_atom_t compoundText = XCB_ATOM_NONE;
    xcb_atom_t utf8String = XCB_ATOM_NONE;
    xcb_atom_t wmTakeFocus = XCB_ATOM_NONE;
    xcb_atom_t gtkApplicationId = XCB_ATOM_NONE;
    xcb_atom_t kdeDesktopFile = XCB_ATOM_NONE;

private:
    XConnection(xcb_connection_t* connection, int screenNumber);

    xcb_connection_t* connection_;
    int screenNumber_;
    xcb_window_t root_ = XCB_WINDOW_NONE;
    xcb_ewmh_connection_t ewmh_{};
    bool ewmhReady_ = false;
};

} // namespace hopla::x11
