#include "platform/x11/X11KeyEventSource.h"

#include "platform/desktop/GSettingsKeybindings.h"
#include "platform/desktop/WmKeyFiles.h"

#include "platform/VirtualKeys.h"
#include "platform/x11/ShortcutHolders.h"
#include "platform/x11/SwitchKeyGrabs.h"
#include "platform/x11/XConnection.h"
#include "platform/xkb/KeyPositions.h"

// xcb's XKB header names a field "explicit", a C++ keyword: rename it for this include.
#define explicit explicit_field
#include <xcb/xkb.h>
#undef explicit
#include <xcb/xinput.h>
#include <xcb/xtest.h>

#include <algorithm>

#include <poll.h>
#include <unistd.h>

namespace hopla::x11 {

namespace {

constexpr std::uint8_t evdevOffset = 8;
constexpr std::int64_t leftSwitchModifier = keyCode(VirtualKey::leftSwitchModifier);
constexpr std::int64_t rightSwitchModifier = keyCode(VirtualKey::rightSwitchModifier);
constexpr std::int64_t leftOtherModifier = keyCode(VirtualKey::leftOtherModifier);

const char* modifierName(SwitchModifier m) {
    return m == SwitchModifier::alt ? "Alt" : "Super";
}

bool contains(const std::vector<xcb_keycode_t>& keys, std::uint8_t keycode) {
    return std::find(keys.begin(), keys.end(), keycode) != keys.end();
}

std::optional<std::int64_t> virtualKey(std::uint8_t keycode) {
    if (keycode < evdevOffset) {
        return std::nullopt;
    }
    const auto code = virtual_keys::fromEvdev(keycode - evdevOffset);
    return code ? std::optional<std::int64_t>(*code) : std::nullopt;
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
        return fail({StartFailure::Reason::unavailable, error, {}});
    }
    keyboard_ = readServerKeyboard(*x_, &error);
    if (!keyboard_) {
        return fail({StartFailure::Reason::unavailable, error, {}});
    }
    active_ = requested_.load();
    // Raw keys are watched before the grab is made: a Super+Tab that comes the moment the
    // grab is seen by others is also seen raw, so a window manager that swallows it is
    // caught from the first press.
    watchRawKeys();
    if (auto refused = grabSwitchKeys(*keyboard_)) {
        return fail(std::move(*refused));
    }
    // The GNOME family grabs through XInput 2: ours succeeded all the same, and only the
    // window manager's keybinding store says that its switcher gets the keys first.
    if (const auto wm = windowManagerName(*x_)) {
        if (const auto bound = desktop::storeBinding(*wm, QLatin1String(modifierName(active_)))) {
            return fail(
                {StartFailure::Reason::shortcutTaken,
                 std::string(modifierName(active_)) + "+Tab",
                 {ShortcutHolder::Kind::windowManager, bound->holder.toStdString(), true, ""}});
        }
    }
    windowManager_ = windowManagerHolder(*x_);
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
    wake_ = std::make_unique<WakeupEvent>();
    stopping_ = false;
    wantSession_ = 0;
    keyboardTaken_ = false;
    down_.reset();
    rawDown_.reset();
    tabAwaited_ = false;
    tabMissed_ = false;
    intercepted_ = false;
    running_ = true;
    thread_ = std::thread([this] { run(); });
    pthread_setname_np(thread_.native_handle(), "hopla-keyboard");
    return true;
}

std::optional<KeyEventSource::StartFailure>
X11KeyEventSource::grabSwitchKeys(const ServerKeyboard& keyboard) {
    grabs_.reset();
    grabsHeld_ = false;
    const std::uint16_t mask = keyboard.maskOf(active_);
    if (mask == 0) {
        // Grabbing with no modifier would take the bare Tab from every application.
        return StartFailure{StartFailure::Reason::noModifier, modifierName(active_), {}};
    }
    auto grabbed = SwitchKeyGrabs::grab(*x_, keyboard, mask);
    if (auto* conflict = std::get_if<GrabConflict>(&grabbed)) {
        ShortcutHolder holder = findShortcutHolder(*x_);
        if (holder.name == "Fluxbox") { // the card names the very line of its keys file
            if (const auto bound = desktop::keyFileBinding(desktop::fluxboxKeysFile(),
                                                           QLatin1String(modifierName(active_)))) {
                holder.line = (bound->file + QStringLiteral(": ") + bound->line).toStdString();
            }
        }
        return StartFailure{StartFailure::Reason::shortcutTaken,
                            conflict->combination.toStdString(), std::move(holder)};
    }
    auto& held = std::get<SwitchKeyGrabs>(grabbed);
    {
        std::lock_guard lock(failureMutex_);
        windowKeyTaken_ = held.windowKeyTaken()
                              ? std::optional(held.windowKeyTaken()->toStdString())
                              : std::nullopt;
    }
    grabs_ = std::make_unique<Grabs>(Grabs{std::move(held)});
    grabsHeld_ = true;
    return std::nullopt;
}

void X11KeyEventSource::watchRawKeys() {
    xcb_connection_t* c = x_->raw();
    const xcb_query_extension_reply_t* xi = xcb_get_extension_data(c, &xcb_input_id);
    if (!xi || !xi->present) {
        return; // the trust check already insists on XInput 2.2; without it, no warning
    }
    xinputOpcode_ = xi->major_opcode;
    const Reply<xcb_input_xi_query_version_reply_t> version(
        xcb_input_xi_query_version_reply(c, xcb_input_xi_query_version(c, 2, 2), nullptr));
    struct {
        xcb_input_event_mask_t head;
        std::uint32_t bits;
    } mask{{XCB_INPUT_DEVICE_ALL_MASTER, 1},
           XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS | XCB_INPUT_XI_EVENT_MASK_RAW_KEY_RELEASE};
    xcb_input_xi_select_events(c, x_->root(), 1, &mask.head);
}

std::optional<QPoint> X11KeyEventSource::lastKeyPointer() const {
    const std::uint64_t packed = lastKeyPointer_.load(std::memory_order_relaxed);
    if (packed == 0) {
        return std::nullopt;
    }
    return QPoint(static_cast<std::int16_t>(packed >> 16), static_cast<std::int16_t>(packed));
}

std::optional<std::string> X11KeyEventSource::windowKeyTaken() const {
    if (!running()) {
        return std::nullopt;
    }
    std::lock_guard lock(failureMutex_);
    return windowKeyTaken_;
}

std::optional<ShortcutHolder> X11KeyEventSource::interceptedBy() const {
    if (!running() || !intercepted_) {
        return std::nullopt;
    }
    return windowManager_;
}

void X11KeyEventSource::stop() {
    if (!thread_.joinable()) {
        running_ = false;
        return;
    }
    stopping_ = true;
    wake_->signal();
    thread_.join();
    wake_.reset();
    grabs_.reset(); // releases the passive grabs
    grabsHeld_ = false;
    x_.reset(); // and closing the connection releases anything else
    handler_ = nullptr;
    running_ = false;
}

void X11KeyEventSource::setSessionKeys(bool wanted) {
    wantSession_ = wanted ? 1 : 0;
    if (wake_ && std::this_thread::get_id() != thread_.get_id()) {
        wake_->signal();
    }
}

void X11KeyEventSource::run() {
    xcb_connection_t* c = x_->raw();
    pollfd fds[2] = {{xcb_get_file_descriptor(c), POLLIN, 0}, {wake_->fd(), POLLIN, 0}};
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
            wake_->drain();
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
    thawKeyboard();
}

void X11KeyEventSource::thawKeyboard() {
    if (frozen_ == Frozen::no) {
        return;
    }
    const auto mode =
        frozen_ == Frozen::onPassedKey ? XCB_ALLOW_REPLAY_KEYBOARD : XCB_ALLOW_ASYNC_KEYBOARD;
    frozen_ = Frozen::no;
    xcb_allow_events(x_->raw(), mode, XCB_CURRENT_TIME);
    xcb_flush(x_->raw());
}

bool X11KeyEventSource::isModifierKey(std::uint8_t keycode) const {
    const auto code = virtualKey(keycode);
    return code && hopla::isModifierKey(*code);
}

bool X11KeyEventSource::isSwitchKey(std::uint8_t keycode) const {
    return contains(keyboard_->keysOf(active_), keycode);
}

void X11KeyEventSource::handleRawKey(bool press, std::uint8_t keycode) {
    // Only a Tab pressed with the switch modifier (and Shift at most) is ours to expect: a
    // grab of ours covers exactly those combinations.
    rawDown_.set(keycode, press);
    if (!press && tabMissed_ && isSwitchKey(keycode)) {
        // A window manager that takes the modifier holds the keyboard only while it is down;
        // a menu, a locker or a VM viewer holding it still has it now.
        tabMissed_ = false;
        intercepted_ = keyboardFree();
        return;
    }
    if (!contains(keyboard_->tabKeys, keycode)) {
        return;
    }
    if (press) {
        bool modifier = false;
        bool others = false;
        for (std::size_t code = 0; code < rawDown_.size(); ++code) {
            if (!rawDown_.test(code)) {
                continue;
            }
            const auto key = static_cast<std::uint8_t>(code);
            if (isSwitchKey(key)) {
                modifier = true;
            } else if (!contains(keyboard_->tabKeys, key) && !contains(keyboard_->shiftKeys, key)) {
                others = true;
            }
        }
        tabAwaited_ = modifier && !others;
        return;
    }
    // The core events of a grabbed key come right after its raw press: by the raw release,
    // a press that never came went to another client. Not so while our own grab froze the
    // keyboard or holds it (fast typing): its core events wait in the server meanwhile.
    if (tabAwaited_ && frozen_ == Frozen::no && !keyboardTaken_) {
        tabMissed_ = true;
    }
    tabAwaited_ = false;
}

bool X11KeyEventSource::keyboardFree() {
    xcb_connection_t* c = x_->raw();
    const Reply<xcb_grab_keyboard_reply_t> reply(
        xcb_grab_keyboard_reply(c,
                                xcb_grab_keyboard(c, 0, x_->root(), XCB_CURRENT_TIME,
                                                  XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC),
                                nullptr));
    const bool free = reply && reply->status == XCB_GRAB_STATUS_SUCCESS;
    if (free) {
        xcb_ungrab_keyboard(c, XCB_CURRENT_TIME);
        xcb_flush(c);
    }
    return free;
}

void X11KeyEventSource::handleEvent(const void* raw) {
    const auto* event = static_cast<const xcb_generic_event_t*>(raw);
    const std::uint8_t type = event->response_type & 0x7f;
    if (type == XCB_MAPPING_NOTIFY ||
        (xkbEventBase_ != 0 && event->response_type == xkbEventBase_)) {
        keyboardMappingChanged();
        return;
    }
    if (type == XCB_GE_GENERIC && xinputOpcode_ != 0) {
        const auto* rawKey = static_cast<const xcb_input_raw_key_press_event_t*>(raw);
        if (rawKey->extension == xinputOpcode_ &&
            (rawKey->event_type == XCB_INPUT_RAW_KEY_PRESS ||
             rawKey->event_type == XCB_INPUT_RAW_KEY_RELEASE)) {
            handleRawKey(rawKey->event_type == XCB_INPUT_RAW_KEY_PRESS,
                         static_cast<std::uint8_t>(rawKey->detail));
        }
        return;
    }
    if (type != XCB_KEY_PRESS && type != XCB_KEY_RELEASE) {
        return;
    }
    const auto* key = static_cast<const xcb_key_press_event_t*>(raw);
    lastKeyTime_.store(key->time, std::memory_order_relaxed);
    lastKeyPointer_.store(std::uint64_t{1} << 32 |
                              std::uint64_t{static_cast<std::uint16_t>(key->root_x)} << 16 |
                              static_cast<std::uint16_t>(key->root_y),
                          std::memory_order_relaxed);
    const bool press = type == XCB_KEY_PRESS;
    if (press && !keyboardTaken_) {
        // Only a switch grab brings a key here while the keyboard is not taken, and it froze
        // the keyboard: passed on unless the switcher takes the key.
        frozen_ = Frozen::onPassedKey;
    }
    const bool repeated = press && down_.test(key->detail);
    down_.set(key->detail, press);
    const auto code = virtualKey(key->detail);
    if (!code) {
        if (keyboardTaken_) {
            forward(type, key->detail); // a key without a position is never the switcher's
        }
        return;
    }
    if (hopla::isModifierKey(*code)) {
        // The switcher knows one switch modifier: the chosen one's keys speak as the switch
        // modifier's positions, and Super, when Alt is chosen, as the other modifier.
        bool held = false;
        for (const xcb_keycode_t switchKey : keyboard_->keysOf(active_)) {
            held |= down_.test(switchKey);
        }
        std::int64_t as = *code;
        if (isSwitchKey(key->detail)) {
            as = leftSwitchModifier;
        } else if (as == leftSwitchModifier || as == rightSwitchModifier) {
            as = leftOtherModifier;
        }
        handler_({KeyEvent::Type::modifiersChanged, as, held, false, false, false});
        return; // the server tracks modifier state itself: nothing to hand on
    }
    if (tabAwaited_ && contains(keyboard_->tabKeys, key->detail)) {
        tabAwaited_ = false; // it came: nobody took the modifier from us
        tabMissed_ = false;
        intercepted_ = false;
    }
    const std::uint16_t state = key->state;
    const std::uint16_t switchMask = keyboard_->maskOf(active_);
    const std::uint16_t otherMask =
        keyboard_->maskOf(active_ == SwitchModifier::alt ? SwitchModifier::super
                                                         : SwitchModifier::alt) |
        XCB_MOD_MASK_CONTROL;
    const KeyEvent keyEvent{press ? KeyEvent::Type::keyDown : KeyEvent::Type::keyUp,
                            *code,
                            (state & switchMask) != 0,
                            (state & XCB_MOD_MASK_SHIFT) != 0,
                            (state & otherMask & ~switchMask) != 0,
                            repeated};
    if (handler_(keyEvent)) {
        if (frozen_ == Frozen::onPassedKey) {
            frozen_ = Frozen::onTakenKey;
        }
    } else if (keyboardTaken_) {
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
    if (auto refused = grabSwitchKeys(*keyboard)) {
        // No longer running: the next refresh starts afresh and reports why it cannot.
        std::lock_guard lock(failureMutex_);
        failure_ = std::move(refused);
    }
    keyboard_ = std::move(keyboard);
    handler_({KeyEvent::Type::layoutChanged, 0, false, false, false, false});
}

bool X11KeyEventSource::grabKeyboard(bool frozen) {
    xcb_connection_t* c = x_->raw();
    const auto mode = frozen ? XCB_GRAB_MODE_SYNC : XCB_GRAB_MODE_ASYNC;
    const Reply<xcb_grab_keyboard_reply_t> reply(xcb_grab_keyboard_reply(
        c, xcb_grab_keyboard(c, 0, x_->root(), XCB_CURRENT_TIME, XCB_GRAB_MODE_ASYNC, mode),
        nullptr));
    return reply && reply->status == XCB_GRAB_STATUS_SUCCESS;
}

void X11KeyEventSource::takeKeyboard() {
    xcb_connection_t* c = x_->raw();
    // Taken frozen, so the keys read next are those of the moment the grab took hold: a key
    // pressed or let go after it waits in the server and comes here as an event, in order.
    keyboardTaken_ = grabKeyboard(true);
    // A fast tap may have let go of Super before the grab was in place: look at the keys now.
    const Reply<xcb_query_keymap_reply_t> keys(
        xcb_query_keymap_reply(c, xcb_query_keymap(c), nullptr));
    // Then on, and with it what a switch grab froze.
    xcb_allow_events(c, XCB_ALLOW_ASYNC_KEYBOARD, XCB_CURRENT_TIME);
    xcb_flush(c);
    frozen_ = Frozen::no;
    if (!keys) {
        return;
    }
    bool superHeld = false;
    for (const xcb_keycode_t super : keyboard_->keysOf(active_)) {
        superHeld |= (keys->keys[super / 8] >> (super % 8)) & 1;
    }
    for (int code = 0; code < 256; ++code) {
        down_.set(static_cast<std::size_t>(code), (keys->keys[code / 8] >> (code % 8)) & 1);
    }
    if (!superHeld) {
        handler_(
            {KeyEvent::Type::modifiersChanged, leftSwitchModifier, false, false, false, false});
    }
}

void X11KeyEventSource::releaseKeyboard() {
    xcb_ungrab_keyboard(x_->raw(), XCB_CURRENT_TIME);
    xcb_flush(x_->raw());
    keyboardTaken_ = false;
}

void X11KeyEventSource::forward(std::uint8_t type, std::uint8_t keycode) {
    // Let go of the keyboard, type the key as the user did, and take it back. The server
    // runs these in order, so the key goes to the focused client and nothing else slips.
    xcb_connection_t* c = x_->raw();
    xcb_ungrab_keyboard(c, XCB_CURRENT_TIME);
    if (type == XCB_KEY_PRESS) {
        // XTEST types on a keyboard device of its own, and the server drops a press of a
        // key that device holds down already: the case when the key came from XTEST too
        // (on-screen keyboards, remote desktops) and is still held. Let it go first. For a
        // key of a real keyboard the XTEST device holds nothing, and this release is dropped.
        xcb_test_fake_input(c, XCB_KEY_RELEASE, keycode, XCB_CURRENT_TIME, XCB_WINDOW_NONE, 0, 0,
                            0);
    }
    xcb_test_fake_input(c, type, keycode, XCB_CURRENT_TIME, XCB_WINDOW_NONE, 0, 0, 0);
    keyboardTaken_ = grabKeyboard(false);
}

} // namespace hopla::x11
