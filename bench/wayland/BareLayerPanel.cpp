// hopla-wayland-bare-panel: the least a switcher on sway does between Super+Tab and its panel
// on screen; the floor the switch latency benchmark (SwitchLatency.cpp) sets Hopla beside.
//
// It takes the key as Hopla does: through sway's IPC it binds Super+Tab by key code to a
// command that runs nothing ("bindcode Mod4+23 nop bare-switch") and listens for the binding
// events. Its panel is what Hopla's is: a layer surface on the overlay layer, centred, holding
// the keyboard, whose pixels (a plain dark rectangle) wait in a shared-memory buffer before
// the key comes. On the event it makes the surface and commits; on the configure it attaches
// the ready buffer; when Super comes up (the keyboard's modifiers lose Mod4) the surface goes.
// Nothing more: no list of applications, no drawing after the key.
//
// Usage: hopla-wayland-bare-panel [WIDTHxHEIGHT]      (600x160 when not given)
// Runs in a sway session ($WAYLAND_DISPLAY, $SWAYSOCK). Prints "Ready" on standard error once
// it holds the key; SIGTERM or SIGINT unbinds the key and ends it.
#include "bench/wayland/BenchSupport.h"

#include "wlr-layer-shell-unstable-v1-client-protocol.h"

#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <xkbcommon/xkbcommon.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>

namespace {

using hopla::bench::bind;
using hopla::bench::FileDescriptor;
using hopla::bench::Owned;
using hopla::bench::ShmBuffer;

[[noreturn]] void fail(std::string_view message) {
    std::cerr << "hopla-wayland-bare-panel: " << message << '\n';
    std::exit(EXIT_FAILURE);
}

constexpr std::string_view command = "nop bare-switch";
constexpr std::uint32_t runCommand = 0;
constexpr std::uint32_t subscribe = 2;
constexpr std::uint32_t bindingEvent = 0x80000005;

// One connection to sway's IPC. A message is "i3-ipc", the payload's length and the
// message's type (both 32 bits, in the machine's byte order), then the payload.
class SwayIpc {
public:
    struct Message {
        std::uint32_t type = 0;
        std::string payload;
    };

    explicit SwayIpc(const char* path) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        if (!path || std::strlen(path) >= sizeof address.sun_path) {
            fail("SWAYSOCK is not set (not a sway session?)");
        }
        std::strcpy(address.sun_path, path);
        socket_ = FileDescriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        if (connect(socket_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
            fail(std::string("cannot connect to ") + path + ": " + std::strerror(errno));
        }
    }

    int fd() const { return socket_.get(); }

    void send(std::uint32_t type, std::string_view payload) {
        std::string message = std::string(magic);
        const auto length = static_cast<std::uint32_t>(payload.size());
        message.append(reinterpret_cast<const char*>(&length), sizeof length);
        message.append(reinterpret_cast<const char*>(&type), sizeof type);
        message.append(payload);
        for (std::size_t sent = 0; sent < message.size();) {
            const ssize_t count = write(fd(), message.data() + sent, message.size() - sent);
            if (count <= 0) {
                fail("lost sway's IPC");
            }
            sent += static_cast<std::size_t>(count);
        }
    }

    // Reads what the socket holds; false when sway closed it.
    bool read() {
        char chunk[4096];
        const ssize_t count = recv(fd(), chunk, sizeof chunk, 0);
        if (count <= 0) {
            return false;
        }
        buffered_.append(chunk, static_cast<std::size_t>(count));
        return true;
    }

    // The oldest whole message read, if any.
    std::optional<Message> take() {
        if (buffered_.size() < headerSize) {
            return std::nullopt;
        }
        if (std::string_view(buffered_).substr(0, magic.size()) != magic) {
            fail("sway's IPC sent something that is not a message");
        }
        std::uint32_t length = 0;
        Message message;
        std::memcpy(&length, buffered_.data() + magic.size(), sizeof length);
        std::memcpy(&message.type, buffered_.data() + magic.size() + 4, sizeof message.type);
        if (buffered_.size() < headerSize + length) {
            return std::nullopt;
        }
        message.payload = buffered_.substr(headerSize, length);
        buffered_.erase(0, headerSize + length);
        return message;
    }

    // Sends a request and waits for its reply (no events come before a subscription).
    std::string request(std::uint32_t type, std::string_view payload) {
        send(type, payload);
        for (;;) {
            if (auto reply = take()) {
                return reply->payload;
            }
            if (!read()) {
                fail("sway closed its IPC");
            }
        }
    }

private:
    static constexpr std::string_view magic = "i3-ipc";
    static constexpr std::size_t headerSize = 14;
    FileDescriptor socket_;
    std::string buffered_;
};

// The panel: made when the key comes, gone when Super comes up.
class Panel {
public:
    Panel(wl_compositor* compositor, zwlr_layer_shell_v1* shell, const ShmBuffer& pixels)
        : compositor_(compositor)
        , shell_(shell)
        , pixels_(pixels) {}

    bool shown() const { return surface_ != nullptr; }

    void show() {
        if (shown()) {
            return;
        }
        surface_.reset(wl_compositor_create_surface(compositor_));
        // No output named: sway puts it on the focused one.
        layer_.reset(zwlr_layer_shell_v1_get_layer_surface(
            shell_, surface_.get(), nullptr, ZWLR_LAYER_SHELL_V1_LAYER_OVERLAY, "bare-panel"));
        zwlr_layer_surface_v1_add_listener(layer_.get(), &listener, this);
        zwlr_layer_surface_v1_set_size(layer_.get(), static_cast<std::uint32_t>(pixels_.width()),
                                       static_cast<std::uint32_t>(pixels_.height()));
        zwlr_layer_surface_v1_set_exclusive_zone(layer_.get(), -1);        // centred on the output
        zwlr_layer_surface_v1_set_keyboard_interactivity(layer_.get(), 1); // exclusive
        wl_surface_commit(surface_.get()); // sway answers with a configure
    }

    void hide() {
        layer_.reset(); // the role goes before its surface
        surface_.reset();
    }

private:
    static void configure(void* data, zwlr_layer_surface_v1* layer, std::uint32_t serial,
                          std::uint32_t, std::uint32_t) {
        auto& panel = *static_cast<Panel*>(data);
        zwlr_layer_surface_v1_ack_configure(layer, serial);
        // The same buffer every time: its pixels never change, so it may be shown again while
        // sway still holds it from the last time.
        wl_surface_attach(panel.surface_.get(), panel.pixels_.buffer(), 0, 0);
        wl_surface_damage(panel.surface_.get(), 0, 0, panel.pixels_.width(),
                          panel.pixels_.height());
        wl_surface_commit(panel.surface_.get());
    }
    static void closed(void* data, zwlr_layer_surface_v1*) { static_cast<Panel*>(data)->hide(); }
    static constexpr zwlr_layer_surface_v1_listener listener{configure, closed};

    wl_compositor* compositor_;
    zwlr_layer_shell_v1* shell_;
    const ShmBuffer& pixels_;
    Owned<wl_surface, wl_surface_destroy> surface_;
    Owned<zwlr_layer_surface_v1, zwlr_layer_surface_v1_destroy> layer_;
};

// Super's release, read from the keyboard's modifiers while the panel holds the keyboard.
class SuperWatch {
public:
    explicit SuperWatch(Panel& panel)
        : panel_(panel) {}

    void attach(wl_seat* seat) { wl_seat_add_listener(seat, &seatListener, this); }

private:
    static void capabilities(void* data, wl_seat* seat, std::uint32_t capabilities) {
        auto& watch = *static_cast<SuperWatch*>(data);
        if ((capabilities & WL_SEAT_CAPABILITY_KEYBOARD) && !watch.keyboard_) {
            watch.keyboard_.reset(wl_seat_get_keyboard(seat));
            wl_keyboard_add_listener(watch.keyboard_.get(), &keyboardListener, data);
        }
    }
    static void keymap(void* data, wl_keyboard*, std::uint32_t format, int fd, std::uint32_t size) {
        const FileDescriptor file{fd};
        if (format != WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1) {
            return;
        }
        void* text = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file.get(), 0);
        if (text == MAP_FAILED) {
            return;
        }
        const Owned<xkb_context, xkb_context_unref> context{xkb_context_new(XKB_CONTEXT_NO_FLAGS)};
        const Owned<xkb_keymap, xkb_keymap_unref> map{
            xkb_keymap_new_from_string(context.get(), static_cast<const char*>(text),
                                       XKB_KEYMAP_FORMAT_TEXT_V1, XKB_KEYMAP_COMPILE_NO_FLAGS)};
        munmap(text, size);
        const xkb_mod_index_t index =
            map ? xkb_keymap_mod_get_index(map.get(), XKB_MOD_NAME_LOGO) : XKB_MOD_INVALID;
        if (index != XKB_MOD_INVALID) {
            static_cast<SuperWatch*>(data)->superMask_ = 1u << index;
        }
    }
    static void modifiers(void* data, wl_keyboard*, std::uint32_t, std::uint32_t depressed,
                          std::uint32_t, std::uint32_t, std::uint32_t) {
        auto& watch = *static_cast<SuperWatch*>(data);
        if (watch.panel_.shown() && !(depressed & watch.superMask_)) {
            watch.panel_.hide();
        }
    }
    static constexpr wl_seat_listener seatListener{capabilities,
                                                   [](void*, wl_seat*, const char*) {}};
    static constexpr wl_keyboard_listener keyboardListener{
        keymap,
        [](void*, wl_keyboard*, std::uint32_t, wl_surface*, wl_array*) {},
        [](void*, wl_keyboard*, std::uint32_t, wl_surface*) {},
        [](void*, wl_keyboard*, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t) {},
        modifiers,
        [](void*, wl_keyboard*, std::int32_t, std::int32_t) {},
    };

    Panel& panel_;
    Owned<wl_keyboard, wl_keyboard_destroy> keyboard_;
    std::uint32_t superMask_ = 1u << 6; // Mod4 in the usual keymaps, until the keymap says
};

struct Globals {
    Owned<wl_compositor, wl_compositor_destroy> compositor;
    Owned<wl_shm, wl_shm_destroy> shm;
    Owned<wl_seat, wl_seat_destroy> seat;
    Owned<zwlr_layer_shell_v1, zwlr_layer_shell_v1_destroy> layerShell;
};

void announce(void* data, wl_registry* registry, std::uint32_t name, const char* interface,
              std::uint32_t version) {
    auto& globals = *static_cast<Globals*>(data);
    const std::string_view offered = interface;
    if (offered == wl_compositor_interface.name && !globals.compositor) {
        globals.compositor.reset(
            bind<wl_compositor>(registry, name, wl_compositor_interface, version, 4));
    } else if (offered == wl_shm_interface.name && !globals.shm) {
        globals.shm.reset(bind<wl_shm>(registry, name, wl_shm_interface, version, 1));
    } else if (offered == wl_seat_interface.name && !globals.seat) {
        globals.seat.reset(bind<wl_seat>(registry, name, wl_seat_interface, version, 1));
    } else if (offered == zwlr_layer_shell_v1_interface.name && !globals.layerShell) {
        globals.layerShell.reset(
            bind<zwlr_layer_shell_v1>(registry, name, zwlr_layer_shell_v1_interface, version, 3));
    }
}

constexpr wl_registry_listener registryListener{announce,
                                                [](void*, wl_registry*, std::uint32_t) {}};

// The panel's pixels: opaque, a dark grey, premultiplied ARGB as wl_shm wants.
std::unique_ptr<ShmBuffer> darkRectangle(wl_shm* shm, int width, int height) {
    auto pixels = ShmBuffer::create(shm, width, height, width * 4, WL_SHM_FORMAT_ARGB8888);
    if (!pixels) {
        fail("cannot make the panel's buffer");
    }
    for (int y = 0; y < height; ++y) {
        auto* row = reinterpret_cast<std::uint32_t*>(pixels->data() + y * pixels->stride());
        std::fill(row, row + width, 0xff202428u);
    }
    return pixels;
}

void disconnect(wl_display* display) {
    wl_display_flush(display);
    wl_display_disconnect(display);
}

} // namespace

int main(int argc, char** argv) {
    int width = 600;
    int height = 160;
    if (argc > 1 && (std::sscanf(argv[1], "%dx%d", &width, &height) != 2 || width <= 0 ||
                     height <= 0 || width > 8192 || height > 8192)) {
        fail("usage: hopla-wayland-bare-panel [WIDTHxHEIGHT]");
    }

    // The signals that end it are read in the loop, so everything is let go in order.
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGTERM);
    sigaddset(&ending, SIGINT);
    sigprocmask(SIG_BLOCK, &ending, nullptr);
    const FileDescriptor signals{signalfd(-1, &ending, SFD_CLOEXEC)};

    const Owned<wl_display, disconnect> display{wl_display_connect(nullptr)};
    if (!display) {
        fail("cannot connect to the Wayland display");
    }
    Globals globals;
    const Owned<wl_registry, wl_registry_destroy> registry{wl_display_get_registry(display.get())};
    wl_registry_add_listener(registry.get(), &registryListener, &globals);
    wl_display_roundtrip(display.get());
    if (!globals.compositor || !globals.shm || !globals.seat || !globals.layerShell) {
        fail("the compositor lacks wl_compositor, wl_shm, wl_seat or zwlr_layer_shell_v1");
    }
    const auto pixels = darkRectangle(globals.shm.get(), width, height);
    Panel panel(globals.compositor.get(), globals.layerShell.get(), *pixels);
    SuperWatch watch(panel);
    watch.attach(globals.seat.get());
    wl_display_roundtrip(display.get()); // the keyboard and its keymap
    wl_display_roundtrip(display.get());

    SwayIpc ipc(std::getenv("SWAYSOCK"));
    const std::string bound = ipc.request(runCommand, "bindcode Mod4+23 " + std::string(command));
    if (bound.find("\"success\": true") == std::string::npos &&
        bound.find("\"success\":true") == std::string::npos) {
        fail("sway refused the binding: " + bound);
    }
    if (ipc.request(subscribe, R"(["binding"])").find("true") == std::string::npos) {
        fail("sway refused the subscription to binding events");
    }
    std::cerr << "Ready" << std::endl;

    for (bool running = true; running;) {
        while (wl_display_prepare_read(display.get()) != 0) {
            wl_display_dispatch_pending(display.get());
        }
        wl_display_flush(display.get());
        pollfd watched[] = {{wl_display_get_fd(display.get()), POLLIN, 0},
                            {ipc.fd(), POLLIN, 0},
                            {signals.get(), POLLIN, 0}};
        if (poll(watched, 3, -1) < 0) {
            wl_display_cancel_read(display.get());
            continue;
        }
        if (watched[0].revents & POLLIN) {
            if (wl_display_read_events(display.get()) != 0) {
                fail("lost the compositor");
            }
        } else {
            wl_display_cancel_read(display.get());
        }
        if (wl_display_dispatch_pending(display.get()) < 0) {
            fail("lost the compositor");
        }
        if (watched[1].revents & (POLLIN | POLLHUP)) {
            if (!ipc.read()) {
                fail("sway closed its IPC");
            }
            while (const auto message = ipc.take()) {
                if (message->type == bindingEvent &&
                    message->payload.find(command) != std::string::npos) {
                    panel.show();
                }
            }
        }
        running = !(watched[2].revents & POLLIN);
    }
    panel.hide();
    SwayIpc(std::getenv("SWAYSOCK")).request(runCommand, "unbindcode Mod4+23");
    return EXIT_SUCCESS;
}
