#include "platform/x11/XConnection.h"

#include <cstdlib>
#include <cstring>

namespace hopla::x11 {

namespace {

// A connection to the display named (or $DISPLAY); null with the reason when no server
// answers there.
xcb_connection_t* connectTo(const char* display, int* screen, std::string* error) {
    xcb_connection_t* connection = xcb_connect(display, screen);
    if (connection && !xcb_connection_has_error(connection)) {
        return connection;
    }
    if (connection) {
        xcb_disconnect(connection);
    }
    if (error) {
        const char* name = display ? display : std::getenv("DISPLAY");
        *error = name && *name ? std::string("cannot connect to the X server at ") + name
                               : std::string("no X display: DISPLAY is not set");
    }
    return nullptr;
}

} // namespace

bool XConnection::answers(const char* display, std::string* error) {
    int screen = 0;
    xcb_connection_t* connection = connectTo(display, &screen, error);
    if (connection) {
        xcb_disconnect(connection);
    }
    return connection != nullptr;
}

std::unique_ptr<XConnection> XConnection::open(const char* display, std::string* error) {
    int screen = 0;
    xcb_connection_t* connection = connectTo(display, &screen, error);
    if (!connection) {
        return nullptr;
    }
    std::unique_ptr<XConnection> result(new XConnection(connection, screen));
    if (!result->ewmhReady_ || result->root_ == XCB_WINDOW_NONE) {
        if (error) {
            *error = "the X server did not answer the window-manager atoms";
        }
        return nullptr;
    }
    return result;
}

XConnection::XConnection(xcb_connection_t* connection, int screenNumber)
    : connection_(connection)
    , screenNumber_(screenNumber) {
    xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(connection_));
    for (int i = 0; it.rem && i < screenNumber_; ++i) {
        xcb_screen_next(&it);
    }
    if (it.rem) {
        root_ = it.data->root;
    }
    xcb_intern_atom_cookie_t* cookies = xcb_ewmh_init_atoms(connection_, &ewmh_);
    ewmhReady_ = cookies && xcb_ewmh_init_atoms_replies(&ewmh_, cookies, nullptr);
    wmState = atom("WM_STATE");
    compoundText = atom("COMPOUND_TEXT");
    utf8String = atom("UTF8_STRING");
    wmTakeFocus = atom("WM_TAKE_FOCUS");
    gtkApplicationId = atom("_GTK_APPLICATION_ID");
    kdeDesktopFile = atom("_KDE_NET_WM_DESKTOP_FILE");
}

XConnection::~XConnection() {
    if (ewmhReady_) {
        xcb_ewmh_connection_wipe(&ewmh_);
    }
    xcb_disconnect(connection_);
}

xcb_atom_t XConnection::atom(const char* name) {
    const auto cookie =
        xcb_intern_atom(connection_, 0, static_cast<std::uint16_t>(std::strlen(name)), name);
    const Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(connection_, cookie, nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

std::optional<XConnection::Property> XConnection::property(xcb_window_t window, xcb_atom_t name,
                                                           xcb_atom_t type,
                                                           std::uint32_t maxBytes) {
    if (window == XCB_WINDOW_NONE || name == XCB_ATOM_NONE) {
        return std::nullopt;
    }
    const auto cookie = xcb_get_property(connection_, 0, window, name, type, 0, (maxBytes + 3) / 4);
    xcb_generic_error_t* error = nullptr;
    const Reply<xcb_get_property_reply_t> reply(
        xcb_get_property_reply(connection_, cookie, &error));
    const Reply<xcb_generic_error_t> errorOwner(error); // BadWindow: the window vanished
    if (!reply || reply->type == XCB_ATOM_NONE || (type != XCB_ATOM_ANY && reply->type != type)) {
        return std::nullopt;
    }
    const int length = xcb_get_property_value_length(reply.get());
    if (length < 0) {
        return std::nullopt;
    }
    const auto* data = static_cast<const std::uint8_t*>(xcb_get_property_value(reply.get()));
    return Property{reply->type, reply->format, std::vector<std::uint8_t>(data, data + length)};
}

std::optional<std::vector<std::uint32_t>> XConnection::cardinals(xcb_window_t window,
                                                                 xcb_atom_t name, xcb_atom_t type,
                                                                 std::uint32_t maxBytes) {
    auto value = property(window, name, type, maxBytes);
    if (!value || value->format != 32) {
        return std::nullopt;
    }
    std::vector<std::uint32_t> result(value->bytes.size() / 4);
    if (!result.empty()) { // memcpy from an empty vector's null data is undefined
        std::memcpy(result.data(), value->bytes.data(), result.size() * 4);
    }
    return result;
}

std::optional<std::uint32_t> XConnection::cardinal(xcb_window_t window, xcb_atom_t name,
                                                   xcb_atom_t type) {
    const auto values = cardinals(window, name, type, 4);
    if (!values || values->empty()) {
        return std::nullopt;
    }
    return values->front();
}

} // namespace hopla::x11
