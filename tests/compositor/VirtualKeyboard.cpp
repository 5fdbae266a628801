// hopla-test-keyboard: a person's keyboard on a Wayland compositor, for the compositor tests.
// It adds a virtual keyboard with a US keymap to the first seat of $WAYLAND_DISPLAY and types
// what standard input asks, one command a line:
//
//   press NAME     the key goes down        release NAME   the key comes up
//   tap NAME       down, then up            sleep MS       wait that many milliseconds
//
// NAME is a Linux key name without its KEY_ prefix, in any case (leftmeta, TAB, a, 7). After
// every command the compositor has seen everything sent (a round trip) and "ok" is printed, so a
// test can go step by step; a bad command (pressing a key already down, releasing one that is
// not, an unknown name) prints "error: ..." on standard error and is skipped. Blank lines are
// ignored. At the end of the input every key still down comes up.
// A virtual keyboard reports its modifiers itself: they follow every key.
#include "virtual-keyboard-unstable-v1-client-protocol.h"

#include <linux/input-event-codes.h>
#include <sys/mman.h>
#include <unistd.h>
#include <wayland-client.h>
#include <xkbcommon/xkbcommon.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace {

template <typename T, void (*release)(T*)> struct Release {
    void operator()(T* object) const { release(object); }
};
template <typename T, void (*release)(T*)> using Owned = std::unique_ptr<T, Release<T, release>>;

void disconnect(wl_display* display) {
    wl_display_flush(display); // the last requests, such as the keyboard's destroy
    wl_display_disconnect(display);
}

void freeText(char* text) {
    std::free(text);
}

class FileDescriptor {
public:
    explicit FileDescriptor(int fd)
        : fd_(fd) {}
    ~FileDescriptor() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    int get() const { return fd_; }

private:
    int fd_;
};

[[noreturn]] void fail(std::string_view message) {
    std::cerr << "hopla-test-keyboard: " << message << '\n';
    std::exit(EXIT_FAILURE);
}

// The keys a test may name, with their evdev codes.
#define HOPLA_KEY(name) std::pair<std::string_view, std::uint32_t>(#name, KEY_##name)
constexpr std::pair<std::string_view, std::uint32_t> keyCodes[] = {
    HOPLA_KEY(LEFTMETA), HOPLA_KEY(RIGHTMETA), HOPLA_KEY(LEFTSHIFT), HOPLA_KEY(RIGHTSHIFT),
    HOPLA_KEY(LEFTALT),  HOPLA_KEY(RIGHTALT),  HOPLA_KEY(LEFTCTRL),  HOPLA_KEY(RIGHTCTRL),
    HOPLA_KEY(TAB),      HOPLA_KEY(GRAVE),     HOPLA_KEY(ESC),       HOPLA_KEY(SPACE),
    HOPLA_KEY(ENTER),    HOPLA_KEY(BACKSPACE), HOPLA_KEY(COMMA),     HOPLA_KEY(DOT),
    HOPLA_KEY(UP),       HOPLA_KEY(DOWN),      HOPLA_KEY(LEFT),      HOPLA_KEY(RIGHT),
    HOPLA_KEY(A),        HOPLA_KEY(B),         HOPLA_KEY(C),         HOPLA_KEY(D),
    HOPLA_KEY(E),        HOPLA_KEY(F),         HOPLA_KEY(G),         HOPLA_KEY(H),
    HOPLA_KEY(I),        HOPLA_KEY(J),         HOPLA_KEY(K),         HOPLA_KEY(L),
    HOPLA_KEY(M),        HOPLA_KEY(N),         HOPLA_KEY(O),         HOPLA_KEY(P),
    HOPLA_KEY(Q),        HOPLA_KEY(R),         HOPLA_KEY(S),         HOPLA_KEY(T),
    HOPLA_KEY(U),        HOPLA_KEY(V),         HOPLA_KEY(W),         HOPLA_KEY(X),
    HOPLA_KEY(Y),        HOPLA_KEY(Z),         HOPLA_KEY(0),         HOPLA_KEY(1),
    HOPLA_KEY(2),        HOPLA_KEY(3),         HOPLA_KEY(4),         HOPLA_KEY(5),
    HOPLA_KEY(6),        HOPLA_KEY(7),         HOPLA_KEY(8),         HOPLA_KEY(9),
};
#undef HOPLA_KEY

const std::uint32_t* keyCode(std::string name) {
    std::ranges::transform(name, name.begin(), [](unsigned char c) { return std::toupper(c); });
    const auto found = std::ranges::find(keyCodes, std::string_view(name),
                                         &std::pair<std::string_view, std::uint32_t>::first);
    return found == std::end(keyCodes) ? nullptr : &found->second;
}

struct Globals {
    Owned<wl_seat, wl_seat_destroy> seat;
    Owned<zwp_virtual_keyboard_manager_v1, zwp_virtual_keyboard_manager_v1_destroy> manager;
};

void announce(void* data, wl_registry* registry, std::uint32_t name, const char* interface,
              std::uint32_t) {
    auto& globals = *static_cast<Globals*>(data);
    const std::string_view offered = interface;
    if (offered == wl_seat_interface.name && !globals.seat) {
        globals.seat.reset(
            static_cast<wl_seat*>(wl_registry_bind(registry, name, &wl_seat_interface, 1)));
    } else if (offered == zwp_virtual_keyboard_manager_v1_interface.name && !globals.manager) {
        globals.manager.reset(static_cast<zwp_virtual_keyboard_manager_v1*>(
            wl_registry_bind(registry, name, &zwp_virtual_keyboard_manager_v1_interface, 1)));
    }
}

constexpr wl_registry_listener registryListener{
    .global = announce,
    .global_remove = [](void*, wl_registry*, std::uint32_t) {},
};

// Hands the keymap to the compositor as text in a memory file, with its terminating NUL.
void sendKeymap(zwp_virtual_keyboard_v1* keyboard, xkb_keymap* keymap) {
    const Owned<char, freeText> text{xkb_keymap_get_as_string(keymap, XKB_KEYMAP_FORMAT_TEXT_V1)};
    if (!text) {
        fail("cannot write the keymap as text");
    }
    const std::size_t size = std::strlen(text.get()) + 1;
    const FileDescriptor file{memfd_create("hopla-test-keymap", MFD_CLOEXEC)};
    if (file.get() < 0) {
        fail("cannot create a memory file for the keymap");
    }
    for (std::size_t written = 0; written < size;) {
        const ssize_t count = write(file.get(), text.get() + written, size - written);
        if (count < 0) {
            fail("cannot write the keymap to its memory file");
        }
        written += static_cast<std::size_t>(count);
    }
    zwp_virtual_keyboard_v1_keymap(keyboard, WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1, file.get(),
                                   static_cast<std::uint32_t>(size));
}

std::uint32_t nowMilliseconds() {
    using namespace std::chrono;
    return static_cast<std::uint32_t>(
        duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}

// The keys down and the modifiers they make, sent to the compositor key by key.
class Typist {
public:
    Typist(zwp_virtual_keyboard_v1* keyboard, xkb_keymap* keymap)
        : keyboard_(keyboard)
        , state_(xkb_state_new(keymap)) {
        if (!state_) {
            fail("cannot make a keyboard state");
        }
    }

    // An empty text when done, else what was wrong.
    std::string press(std::uint32_t code, std::string_view name) {
        if (std::ranges::find(held_, code) != held_.end()) {
            return std::string(name) + " is already down";
        }
        held_.push_back(code);
        send(code, WL_KEYBOARD_KEY_STATE_PRESSED, XKB_KEY_DOWN);
        return {};
    }

    std::string release(std::uint32_t code, std::string_view name) {
        const auto found = std::ranges::find(held_, code);
        if (found == held_.end()) {
            return std::string(name) + " is not down";
        }
        held_.erase(found);
        send(code, WL_KEYBOARD_KEY_STATE_RELEASED, XKB_KEY_UP);
        return {};
    }

    // Lets go of every key still down, the last one pressed first.
    void releaseAll() {
        while (!held_.empty()) {
            const std::uint32_t code = held_.back();
            held_.pop_back();
            send(code, WL_KEYBOARD_KEY_STATE_RELEASED, XKB_KEY_UP);
        }
    }

private:
    static constexpr std::uint32_t evdevToXkb = 8;

    void send(std::uint32_t code, wl_keyboard_key_state state, xkb_key_direction direction) {
        zwp_virtual_keyboard_v1_key(keyboard_, nowMilliseconds(), code, state);
        xkb_state_update_key(state_.get(), code + evdevToXkb, direction);
        zwp_virtual_keyboard_v1_modifiers(
            keyboard_, xkb_state_serialize_mods(state_.get(), XKB_STATE_MODS_DEPRESSED),
            xkb_state_serialize_mods(state_.get(), XKB_STATE_MODS_LATCHED),
            xkb_state_serialize_mods(state_.get(), XKB_STATE_MODS_LOCKED),
            xkb_state_serialize_layout(state_.get(), XKB_STATE_LAYOUT_EFFECTIVE));
    }

    zwp_virtual_keyboard_v1* keyboard_;
    Owned<xkb_state, xkb_state_unref> state_;
    std::vector<std::uint32_t> held_;
};

// Carries out one command line; an empty text when done, else what was wrong.
std::string run(Typist& typist, const std::string& line) {
    std::istringstream words(line);
    std::string verb, argument, extra;
    words >> verb >> argument;
    if (verb != "press" && verb != "release" && verb != "tap" && verb != "sleep") {
        return "unknown command \"" + verb + "\"";
    }
    if (argument.empty()) {
        return "\"" + verb + "\" needs an argument";
    }
    if (words >> extra) {
        return "too many words in \"" + line + "\"";
    }
    if (verb == "sleep") {
        unsigned milliseconds = 0;
        const auto [end, problem] =
            std::from_chars(argument.data(), argument.data() + argument.size(), milliseconds);
        if (problem != std::errc() || end != argument.data() + argument.size()) {
            return "\"" + argument + "\" is not a number of milliseconds";
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
        return {};
    }
    const std::uint32_t* code = keyCode(argument);
    if (!code) {
        return "unknown key \"" + argument + "\"";
    }
    if (verb == "press") {
        return typist.press(*code, argument);
    }
    if (verb == "tap") {
        std::string problem = typist.press(*code, argument);
        return problem.empty() ? typist.release(*code, argument) : problem;
    }
    return typist.release(*code, argument);
}

void roundTrip(wl_display* display) {
    if (wl_display_roundtrip(display) < 0) {
        fail("lost the compositor: " + std::string(std::strerror(wl_display_get_error(display))));
    }
}

} // namespace

int main() {
    const Owned<wl_display, disconnect> display{wl_display_connect(nullptr)};
    if (!display) {
        const char* name = std::getenv("WAYLAND_DISPLAY");
        fail("cannot connect to the Wayland display " + std::string(name ? name : "(unset)"));
    }
    Globals globals;
    const Owned<wl_registry, wl_registry_destroy> registry{wl_display_get_registry(display.get())};
    wl_registry_add_listener(registry.get(), &registryListener, &globals);
    roundTrip(display.get());
    if (!globals.manager) {
        fail("the compositor offers no zwp_virtual_keyboard_manager_v1, so no virtual keyboard");
    }
    if (!globals.seat) {
        fail("the compositor offers no wl_seat");
    }

    const Owned<xkb_context, xkb_context_unref> context{
        xkb_context_new(XKB_CONTEXT_NO_ENVIRONMENT_NAMES)};
    const xkb_rule_names names{
        .rules = "evdev", .model = "pc105", .layout = "us", .variant = "", .options = ""};
    const Owned<xkb_keymap, xkb_keymap_unref> keymap{
        context ? xkb_keymap_new_from_names(context.get(), &names, XKB_KEYMAP_COMPILE_NO_FLAGS)
                : nullptr};
    if (!keymap) {
        fail("cannot compile the US keymap (is xkb-data installed?)");
    }

    const Owned<zwp_virtual_keyboard_v1, zwp_virtual_keyboard_v1_destroy> keyboard{
        zwp_virtual_keyboard_manager_v1_create_virtual_keyboard(globals.manager.get(),
                                                                globals.seat.get())};
    sendKeymap(keyboard.get(), keymap.get());
    roundTrip(display.get());

    Typist typist(keyboard.get(), keymap.get());
    for (std::string line; std::getline(std::cin, line);) {
        if (line.find_first_not_of(" \t") == std::string::npos) {
            continue;
        }
        const std::string problem = run(typist, line);
        roundTrip(display.get());
        if (problem.empty()) {
            std::cout << "ok" << std::endl;
        } else {
            std::cerr << "error: " << problem << '\n';
        }
    }
    typist.releaseAll();
    roundTrip(display.get());
    return EXIT_SUCCESS;
}
