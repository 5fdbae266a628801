#include "platform/x11/SyntheticKeys.h"

#include "platform/x11/XConnection.h"

#include <xcb/xtest.h>

namespace hopla::x11 {

namespace {
constexpr std::uint32_t controlLeft = 0xffe3; // XK_Control_L
} // namespace

std::unique_ptr<SyntheticKeys> SyntheticKeys::open(std::string* error) {
    auto x = XConnection::open(nullptr, error);
    if (!x) {
        return nullptr;
    }
    const Reply<xcb_test_get_version_reply_t> version(
        xcb_test_get_version_reply(x->raw(), xcb_test_get_version(x->raw(), 2, 2), nullptr));
    if (!version) {
        if (error) {
            *error = "the X server lacks the XTEST extension";
        }
        return nullptr;
    }
    return std::unique_ptr<SyntheticKeys>(new SyntheticKeys(std::move(x)));
}

SyntheticKeys::SyntheticKeys(std::unique_ptr<XConnection> x)
    : x_(std::move(x)) {}

SyntheticKeys::~SyntheticKeys() = default;

std::uint8_t SyntheticKeys::keycodeOf(std::uint32_t keysym) {
    const xcb_setup_t* setup = xcb_get_setup(x_->raw());
    const int first = setup->min_keycode;
    const int count = setup->max_keycode - first + 1;
    const Reply<xcb_get_keyboard_mapping_reply_t> mapping(xcb_get_keyboard_mapping_reply(
        x_->raw(),
        xcb_get_keyboard_mapping(x_->raw(), setup->min_keycode, static_cast<std::uint8_t>(count)),
        nullptr));
    if (!mapping || mapping->keysyms_per_keycode == 0) {
        return 0;
    }
    const xcb_keysym_t* symbols = xcb_get_keyboard_mapping_keysyms(mapping.get());
    const int length = xcb_get_keyboard_mapping_keysyms_length(mapping.get());
    for (int key = 0; key < count && (key + 1) * mapping->keysyms_per_keycode <= length; ++key) {
        if (symbols[key * mapping->keysyms_per_keycode] == keysym) {
            return static_cast<std::uint8_t>(first + key);
        }
    }
    return 0;
}

bool SyntheticKeys::pressWithControl(char latin) {
    const std::uint8_t control = keycodeOf(controlLeft);
    const std::uint8_t key = keycodeOf(static_cast<unsigned char>(latin));
    if (control == 0 || key == 0 || x_->broken()) {
        return false;
    }
    xcb_connection_t* c = x_->raw();
    const auto fake = [c](std::uint8_t type, std::uint8_t code) {
        xcb_test_fake_input(c, type, code, XCB_CURRENT_TIME, XCB_WINDOW_NONE, 0, 0, 0);
    };
    fake(XCB_KEY_PRESS, control);
    fake(XCB_KEY_PRESS, key);
    fake(XCB_KEY_RELEASE, key);
    fake(XCB_KEY_RELEASE, control);
    return xcb_flush(c) > 0;
}

} // namespace hopla::x11
