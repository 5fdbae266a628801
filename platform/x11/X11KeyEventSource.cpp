#include "platform/x11/X11KeyEventSource.h"

#include "core/VirtualKeys.h"
#include "platform/x11/SwitchKeyGrabs.h"
#include "platform/x11/XConnection.h"

// xcb's XKB header names a field "explicit", a C++ keyword: rename it for this include.
#define explicit explicit_field
#include <xcb/xkb.h>
#undef explicit
#include <xcb/xtest.h>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace hopla::x11 {

namespace {

constexpr std::uint8_t evdevOffset = 8;
constexpr std::int64_t leftCommand = 55;

std::optional<std::int64_t> virtualKey(std::uint8_t keycode) {
    if (keycode < evdevOffset) {
        return std::nullopt;
    }
    const auto code = virtual_keys::fromEvdev(keycode - evdevOffset);
    return code ? std::optional<std::int64_t>(*code) : std::nullopt;
}

// Command, Shift, CapsLock, Option and Control on either side: modifier changes, never keys.
bool isModifierCode(std::int64_t code) {
    return code >= 54 && code <= 62;
}

} // namespace

struct X11KeyEventSource::Grabs {
    SwitchKeyGrabs grabs;
};

X11KeyEventSource::X11KeyEventSource() = default;

X11KeyEventSource::~X11KeyEventSource() {
    stop();
}

std::optional<KeyEventSource::StartFailure> X11KeyEventSource::lastFailure() const {
    std::lock_guard lock(failureMutex_);
    return failure_;
}

bool X11KeyEventSource::start(Handler handler) {
    if (running_) {
        return true;
    }
    const auto fail = [this](StartFailure why) {
        std::lock_guard lock(failureMutex_);
        failure_ = std::move(why);
        grabs_.reset();
        x_.reset();
        return false;
    };
    std::string error;
    x_ = XConnection::open(nullptr, &error);
    if (!x_) {
        return fail({false, error});
    }
    keyboard_ = readServerKeyboard(*x_, &error);
    if (!keyboard_) {
        return fail({false, error});
    }
    auto grabbed = SwitchKeyGrabs::grab(*x_, *keyboard_, keyboard_->superMask);
    if (auto* conflict = std::get_if<GrabConflict>(&grabbed)) {
        return fail({true, conflict->combination.toStdString()});
    }
    grabs_ = std::make_unique<Grabs>(Grabs{std::move(std::get<SwitchKeyGrabs>(grabbed))});
    // Held keys repeat as presses without releases in between, so repeats are told apart.
    xcb_xkb_use_extension(x_->raw(), 1, 0);
    xcb_xkb_per_client_flags(x_->raw(), XCB_XKB_ID_USE_CORE_KBD,
                             XCB_XKB_PER_CLIENT_FLAG_DETECTABLE_AUTO_REPEAT,
                             XCB_XKB_PER_CLIENT_FLAG_DETECTABLE_AUTO_REPEAT, 0, 0, 0);
    // An XKB client hears of keymap changes through XKB's own events, not MappingNotify.
    const xcb_query_extension_reply_t* xkb = xcb_get_extension_data(x_->raw(), &xcb_xkb_id);
    xkbEventBase_ = xkb && xkb->present ? xkb->first_event : 0;
    constexpr std::uint16_t changes =
        XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
    xcb_xkb_select_events(x_->raw(), XCB_XKB_ID_USE_CORE_KBD, changes, 0, changes, 0xff, 0xff,
                          nullptr);
    xcb_flush(x_->raw());
    {
        std::lock_guard lock(failureMutex_);
        failure_.reset();
    }
    handler_ = std::move(handler);
    wakeFd_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    stopping_ = false;
    wantSession_ = 0;
    keyboardTaken_ = false;
    down_.reset();
    running_ = true;
    thread_ = std::thread([this] { run(); });
    pthread_setname_np(thread_.native_handle(), "hopla-keyboard");
    return true;
}

void X11KeyEventSource::stop() {
    if (!thread_.joinable()) {
        running_ = false;
        return;
    }
    stopping_ = true;
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(wakeFd_, &one, sizeof one);
    thread_.join();
    ::close(wakeFd_);
    wakeFd_ = -1;
    grabs_.reset(); // releases the passive grabs
    x_.reset();     // and closing the connection releases anything else
    handler_ = nullptr;
    running_ = false;
}

void X11KeyEventSource::setSessionKeys(bool wanted) {
    wantSession_ = wanted ? 1 : 0;
    if (wakeFd_ >= 0 && std::this_thread::get_id() != thread_.get_id()) {
        const std::uint64_t one = 1;
        [[maybe_unused]] const auto written = ::write(wakeFd_, &one, sizeof one);
    }
}

void X11KeyEventSource::run() {
    xcb_connection_t* c = x_->raw();
    pollfd fds[2] = {{xcb_get_file_descriptor(c), POLLIN, 0}, {wakeFd_, POLLIN, 0}};
    while (!stopping_ && !x_->broken()) {
        while (xcb_generic_event_t* event = xcb_poll_for_event(c)) {
            handleEvent(event);
            std::free(event);
            applySessionRequest(); // at once: the next key may already be on its way
        }
        applySessionRequest(); // a request from the main thread woke us
        if (xcb_poll_for_queued_event(c)) {
            continue; // a reply brought events in: handle them before sleeping
        }
        ::poll(fds, 2, -1);
        if (fds[1].revents & POLLIN) {
            std::uint64_t value = 0;
            [[maybe_unused]] const auto read = ::read(wakeFd_, &value, sizeof value);
        }
    }
}

void X11KeyEventSource::applySessionRequest() {
    // Keep the keyboard while keys are still held, so every taken key's release comes back
    // here rather than to an application.
    const bool want = wantSession_ != 0;
    bool keysHeld = false;
    for (int code = 0; code < 256 && !keysHeld; ++code) {
        keysHeld = down_.test(static_cast<std::size_t>(code)) &&
                   !isModifierKey(static_cast<std::uint8_t>(code));
    }
    if (want && !keyboardTaken_) {
        takeKeyboard();
    } else if (!want && keyboardTaken_ && !keysHeld) {
        releaseKeyboard();
    }
    keyboardHeld_ = keyboardTaken_;
}

bool X11KeyEventSource::isModifierKey(std::uint8_t keycode) const {
    const auto code = virtualKey(keycode);
    return code && isModifierCode(*code);
}

void X11KeyEventSource::handleEvent(const void* raw) {
    const auto* event = static_cast<const xcb_generic_event_t*>(raw);
    const std::uint8_t type = event->response_type & 0x7f;
    if (type == XCB_MAPPING_NOTIFY ||
        (xkbEventBase_ != 0 && event->response_type == xkbEventBase_)) {
        keyboardMappingChanged();
        return;
    }
    if (type != XCB_KEY_PRESS && type != XCB_KEY_RELEASE) {
        return;
    }
    const auto* key = static_cast<const xcb_key_press_event_t*>(raw);
    lastKeyTime_.store(key->time, std::memory_order_relaxed);
    const bool press = type == XCB_KEY_PRESS;
    const bool repeated = press && down_.test(key->detail);
    down_.set(key->detail, press);
    const auto code = virtualKey(key->detail);
    if (!code) {
        if (keyboardTaken_) {
            forward(type, key->detail); // a key without a position is never the switcher's
        }
        return;
    }
    if (isModifierCode(*code)) {
        bool superHeld = false;
        for (const xcb_keycode_t super : keyboard_->superKeys) {
            superHeld |= down_.test(super);
        }
        handler_({KeyEvent::Type::flagsChanged, *code, superHeld, false, false, false});
        return; // the server tracks modifier state itself: nothing to hand on
    }
    const std::uint16_t state = key->state;
    const KeyEvent keyEvent{press ? KeyEvent::Type::keyDown : KeyEvent::Type::keyUp,
                            *code,
                            (state & keyboard_->superMask) != 0,
                            (state & XCB_MOD_MASK_SHIFT) != 0,
                            (state & (XCB_MOD_MASK_1 | XCB_MOD_MASK_CONTROL)) != 0,
                            repeated};
    if (!handler_(keyEvent) && keyboardTaken_) {
        forward(type, key->detail);
    }
}

void X11KeyEventSource::keyboardMappingChanged() {
    // New keycodes or modifiers: grab the switch keys afresh and let the tap re-read letters.
    std::string error;
    auto keyboard = readServerKeyboard(*x_, &error);
    if (!keyboard) {
        return; // keep what we have; the next mapping change tries again
    }
    grabs_.reset();
    auto grabbed = SwitchKeyGrabs::grab(*x_, *keyboard, keyboard->superMask);
    if (auto* held = std::get_if<SwitchKeyGrabs>(&grabbed)) {
        grabs_ = std::make_unique<Grabs>(Grabs{std::move(*held)});
    } else {
        std::lock_guard lock(failureMutex_);
        failure_ = StartFailure{true, std::get<GrabConflict>(grabbed).combination.toStdString()};
    }
    keyboard_ = std::move(keyboard);
    handler_({KeyEvent::Type::layoutChanged, 0, false, false, false, false});
}

bool X11KeyEventSource::grabKeyboard() {
    xcb_connection_t* c = x_->raw();
    const Reply<xcb_grab_keyboard_reply_t> reply(
        xcb_grab_keyboard_reply(c,
                                xcb_grab_keyboard(c, 0, x_->root(), XCB_CURRENT_TIME,
                                                  XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC),
                                nullptr));
    return reply && reply->status == XCB_GRAB_STATUS_SUCCESS;
}

void X11KeyEventSource::takeKeyboard() {
    xcb_connection_t* c = x_->raw();
    keyboardTaken_ = grabKeyboard();
    // A fast tap may have let go of Super before the grab was in place: look at the keys now.
    const Reply<xcb_query_keymap_reply_t> keys(
        xcb_query_keymap_reply(c, xcb_query_keymap(c), nullptr));
    if (!keys) {
        return;
    }
    bool superHeld = false;
    for (const xcb_keycode_t super : keyboard_->superKeys) {
        superHeld |= (keys->keys[super / 8] >> (super % 8)) & 1;
    }
    for (int code = 0; code < 256; ++code) {
        down_.set(static_cast<std::size_t>(code), (keys->keys[code / 8] >> (code % 8)) & 1);
    }
    if (!superHeld) {
        handler_({KeyEvent::Type::flagsChanged, leftCommand, false, false, false, false});
    }
}

void X11KeyEventSource::releaseKeyboard() {
    xcb_ungrab_keyboard(x_->raw(), XCB_CURRENT_TIME);
    xcb_flush(x_->raw());
    keyboardTaken_ = false;
}

void X11KeyEventSource::forward(std::uint8_t type, std::uint8_t keycode) {
    // Let go of the keyboard, type the key as the user did, and take it back. The server
    // runs the three in order, so the key goes to the focused client and nothing else slips.
    xcb_connection_t* c = x_->raw();
    xcb_ungrab_keyboard(c, XCB_CURRENT_TIME);
    xcb_test_fake_input(c, type, keycode, XCB_CURRENT_TIME, XCB_WINDOW_NONE, 0, 0, 0);
    keyboardTaken_ = grabKeyboard();
}

} // namespace hopla::x11
