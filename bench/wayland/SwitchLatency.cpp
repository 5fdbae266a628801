// hopla-wayland-switch-latency: from Super+Tab typed on sway to the first frame on the output
// that shows a switcher's panel, for Hopla beside the bare layer-shell panel
// (BareLayerPanel.cpp), which is the floor.
//
// It joins a running sway session ($WAYLAND_DISPLAY, $SWAYSOCK) whose applications are already
// open; run-switch-latency sets one up. For each program named it starts the program, waits
// for "Ready" in its output, then, round after round:
//   - waits until the output has been still for a while, and keeps that picture;
//   - holds Super and, 50 to 70 ms later, types Tab on a virtual keyboard of its own; the
//     key's time is read just before the Tab press is written to the compositor;
//   - watches every frame that changes the output (screen copies with damage) and takes the
//     first whose middle differs from the still picture: the panel's first frame. Its time is
//     the presentation time sway gives the copy, on the clock the key's time is read on (sway's
//     headless output stamps frames with CLOCK_MONOTONIC; a copy far from that clock stops the
//     run);
//   - lets Super go and waits for the panel to leave.
// The output's frames come on a clock of their own: a frame waits up to one refresh period
// for its turn, the same for every program (run-switch-latency sets 1000 Hz).
// A few rounds first warm the program up and are not counted. Then it stops the program and
// goes on to the next one. Only one program may hold Super+Tab at a time: they run one after
// the other.
//
// Usage: hopla-wayland-switch-latency [--rounds K] [--warmup W] LABEL=COMMAND...
// Each COMMAND runs through /bin/sh; "{panel}" in it becomes the size of the first program's
// panel as seen on the output ("812x236"), so the floor can show a panel as large as Hopla's.
// Prints min / median / p99 in ms for each program, each one's median over the last one's,
// and a line per program for scripts: "result LABEL MIN MEDIAN P99 MISSED COUNTED WxH".
#include "bench/wayland/BenchSupport.h"

#include "virtual-keyboard-unstable-v1-client-protocol.h"
#include "wlr-screencopy-unstable-v1-client-protocol.h"

#include <fcntl.h>
#include <linux/input-event-codes.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <xkbcommon/xkbcommon.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iostream>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

using hopla::bench::bind;
using hopla::bench::FileDescriptor;
using hopla::bench::monotonicNow;
using hopla::bench::Owned;
using hopla::bench::ShmBuffer;

using Nanoseconds = std::int64_t;
constexpr Nanoseconds millisecond = 1'000'000;
constexpr Nanoseconds second = 1000 * millisecond;

struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};
struct Interrupted {};

volatile std::sig_atomic_t interrupted = 0;

// ---- Pictures of the output ----

// The output's pixels as one frame showed them, top row first, alpha dropped.
struct Picture {
    int width = 0;
    int height = 0;
    std::vector<std::uint32_t> pixels;

    std::uint32_t at(int x, int y) const {
        return pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                      static_cast<std::size_t>(x)];
    }
    bool sameSize(const Picture& other) const {
        return width == other.width && height == other.height;
    }
};

// The share of a 32x32 square in the middle of the output that differs between two pictures.
double middleChange(const Picture& a, const Picture& b) {
    if (!a.sameSize(b) || a.width < 32 || a.height < 32) {
        return 1.0;
    }
    int changed = 0;
    for (int y = a.height / 2 - 16; y < a.height / 2 + 16; ++y) {
        for (int x = a.width / 2 - 16; x < a.width / 2 + 16; ++x) {
            changed += a.at(x, y) != b.at(x, y);
        }
    }
    return changed / 1024.0;
}

// The size of the changed area around the middle: how far changes reach along the middle row
// and column, a run of 16 unchanged pixels ending them (gaps inside the panel are shorter).
std::string changedSize(const Picture& shown, const Picture& still) {
    if (!shown.sameSize(still)) {
        return "?";
    }
    const auto reach = [&](int x, int y, int dx, int dy) {
        int last = 0;
        for (int step = 0, unchanged = 0; unchanged < 16; ++step, x += dx, y += dy) {
            if (x < 0 || y < 0 || x >= shown.width || y >= shown.height) {
                break;
            }
            if (shown.at(x, y) != still.at(x, y)) {
                last = step;
                unchanged = 0;
            } else {
                ++unchanged;
            }
        }
        return last;
    };
    const int cx = shown.width / 2;
    const int cy = shown.height / 2;
    const int width = reach(cx, cy, -1, 0) + reach(cx, cy, 1, 0) + 1;
    const int height = reach(cx, cy, 0, -1) + reach(cx, cy, 0, 1) + 1;
    return std::to_string(width) + "x" + std::to_string(height);
}

// ---- Screen copies ----

// Copies of one output, frame after frame: the first at once, then each time something on
// the output changed. Each copy is handed on with its presentation time.
class ScreenCopies {
public:
    std::function<void(const Picture&, Nanoseconds shown)> onPicture;
    // What went wrong, if anything: the copies stopped then.
    std::string failure;

    ScreenCopies(zwlr_screencopy_manager_v1* manager, wl_output* output, wl_shm* shm)
        : manager_(manager)
        , output_(output)
        , shm_(shm) {
        capture();
    }

private:
    void capture() {
        frame_.reset(zwlr_screencopy_manager_v1_capture_output(manager_, 0, output_));
        zwlr_screencopy_frame_v1_add_listener(frame_.get(), &listener, this);
    }

    void copy() {
        if (!buffer_ || buffer_->width() != width_ || buffer_->height() != height_ ||
            buffer_->stride() != stride_) {
            buffer_ = ShmBuffer::create(shm_, width_, height_, stride_, format_);
            if (!buffer_) {
                failure = "cannot make a buffer for the screen copies";
                return;
            }
        }
        if (first_) {
            zwlr_screencopy_frame_v1_copy(frame_.get(), buffer_->buffer());
            first_ = false;
        } else {
            zwlr_screencopy_frame_v1_copy_with_damage(frame_.get(), buffer_->buffer());
        }
    }

    static void buffer(void* data, zwlr_screencopy_frame_v1* frame, std::uint32_t format,
                       std::uint32_t width, std::uint32_t height, std::uint32_t stride) {
        auto& copies = *static_cast<ScreenCopies*>(data);
        const bool fourBytes = format == WL_SHM_FORMAT_ARGB8888 ||
                               format == WL_SHM_FORMAT_XRGB8888 ||
                               format == WL_SHM_FORMAT_ABGR8888 || format == WL_SHM_FORMAT_XBGR8888;
        if (!fourBytes || stride < width * 4) {
            copies.failure = "the output's copies come in a pixel format this program cannot read";
            return;
        }
        copies.format_ = format;
        copies.width_ = static_cast<int>(width);
        copies.height_ = static_cast<int>(height);
        copies.stride_ = static_cast<int>(stride);
        if (zwlr_screencopy_frame_v1_get_version(frame) < 3) {
            copies.copy(); // no buffer_done before version 3
        }
    }
    static void bufferDone(void* data, zwlr_screencopy_frame_v1*) {
        static_cast<ScreenCopies*>(data)->copy();
    }
    static void flags(void* data, zwlr_screencopy_frame_v1*, std::uint32_t flags) {
        static_cast<ScreenCopies*>(data)->bottomFirst_ =
            flags & ZWLR_SCREENCOPY_FRAME_V1_FLAGS_Y_INVERT;
    }
    static void ready(void* data, zwlr_screencopy_frame_v1*, std::uint32_t secondsHigh,
                      std::uint32_t secondsLow, std::uint32_t nanoseconds) {
        auto& copies = *static_cast<ScreenCopies*>(data);
        const auto seconds = (static_cast<std::uint64_t>(secondsHigh) << 32) | secondsLow;
        const auto shown = static_cast<Nanoseconds>(seconds) * second + nanoseconds;
        copies.read();
        copies.capture(); // the next copy is asked for before this one is looked at
        if (copies.onPicture) {
            copies.onPicture(copies.picture_, shown);
        }
    }
    static void failed(void* data, zwlr_screencopy_frame_v1*) {
        static_cast<ScreenCopies*>(data)->failure = "sway could not copy the output";
    }

    void read() {
        picture_.width = width_;
        picture_.height = height_;
        picture_.pixels.resize(static_cast<std::size_t>(width_) *
                               static_cast<std::size_t>(height_));
        for (int y = 0; y < height_; ++y) {
            const int row = bottomFirst_ ? height_ - 1 - y : y;
            const auto* from =
                reinterpret_cast<const std::uint32_t*>(buffer_->data() + row * stride_);
            std::transform(from, from + width_,
                           picture_.pixels.begin() + static_cast<std::ptrdiff_t>(y) * width_,
                           [](std::uint32_t pixel) { return pixel & 0x00ffffffu; });
        }
    }

    static constexpr zwlr_screencopy_frame_v1_listener listener{
        .buffer = buffer,
        .flags = flags,
        .ready = ready,
        .failed = failed,
        .damage = [](void*, zwlr_screencopy_frame_v1*, std::uint32_t, std::uint32_t, std::uint32_t,
                     std::uint32_t) {},
        .linux_dmabuf = [](void*, zwlr_screencopy_frame_v1*, std::uint32_t, std::uint32_t,
                           std::uint32_t) {},
        .buffer_done = bufferDone,
    };

    zwlr_screencopy_manager_v1* manager_;
    wl_output* output_;
    wl_shm* shm_;
    Owned<zwlr_screencopy_frame_v1, zwlr_screencopy_frame_v1_destroy> frame_;
    std::unique_ptr<ShmBuffer> buffer_;
    std::uint32_t format_ = 0;
    int width_ = 0;
    int height_ = 0;
    int stride_ = 0;
    bool bottomFirst_ = false;
    bool first_ = true;
    Picture picture_;
};

// ---- The keyboard ----

// A US keyboard added to the seat; it tells its modifiers itself after every key.
class VirtualKeyboard {
public:
    VirtualKeyboard(zwp_virtual_keyboard_manager_v1* manager, wl_seat* seat) {
        const xkb_rule_names names{
            .rules = "evdev", .model = "pc105", .layout = "us", .variant = "", .options = ""};
        keymap_.reset(context_ ? xkb_keymap_new_from_names(context_.get(), &names,
                                                           XKB_KEYMAP_COMPILE_NO_FLAGS)
                               : nullptr);
        state_.reset(keymap_ ? xkb_state_new(keymap_.get()) : nullptr);
        if (!state_) {
            throw Failure("cannot compile the US keymap (is xkb-data installed?)");
        }
        keyboard_.reset(zwp_virtual_keyboard_manager_v1_create_virtual_keyboard(manager, seat));
        sendKeymap();
    }

    void press(std::uint32_t code) { send(code, WL_KEYBOARD_KEY_STATE_PRESSED, XKB_KEY_DOWN); }
    void release(std::uint32_t code) { send(code, WL_KEYBOARD_KEY_STATE_RELEASED, XKB_KEY_UP); }

private:
    static void freeText(char* text) { std::free(text); }

    void sendKeymap() {
        const Owned<char, freeText> text{
            xkb_keymap_get_as_string(keymap_.get(), XKB_KEYMAP_FORMAT_TEXT_V1)};
        const std::size_t size = std::strlen(text.get()) + 1; // with its NUL
        const FileDescriptor file{memfd_create("hopla-bench-keymap", MFD_CLOEXEC)};
        for (std::size_t written = 0; written < size;) {
            const ssize_t count = write(file.get(), text.get() + written, size - written);
            if (count <= 0) {
                throw Failure("cannot write the keymap to a memory file");
            }
            written += static_cast<std::size_t>(count);
        }
        zwp_virtual_keyboard_v1_keymap(keyboard_.get(), WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1,
                                       file.get(), static_cast<std::uint32_t>(size));
    }

    void send(std::uint32_t code, wl_keyboard_key_state state, xkb_key_direction direction) {
        constexpr std::uint32_t evdevToXkb = 8;
        zwp_virtual_keyboard_v1_key(
            keyboard_.get(), static_cast<std::uint32_t>(monotonicNow() / millisecond), code, state);
        xkb_state_update_key(state_.get(), code + evdevToXkb, direction);
        zwp_virtual_keyboard_v1_modifiers(
            keyboard_.get(), xkb_state_serialize_mods(state_.get(), XKB_STATE_MODS_DEPRESSED),
            xkb_state_serialize_mods(state_.get(), XKB_STATE_MODS_LATCHED),
            xkb_state_serialize_mods(state_.get(), XKB_STATE_MODS_LOCKED),
            xkb_state_serialize_layout(state_.get(), XKB_STATE_LAYOUT_EFFECTIVE));
    }

    Owned<xkb_context, xkb_context_unref> context_{
        xkb_context_new(XKB_CONTEXT_NO_ENVIRONMENT_NAMES)};
    Owned<xkb_keymap, xkb_keymap_unref> keymap_;
    Owned<xkb_state, xkb_state_unref> state_;
    Owned<zwp_virtual_keyboard_v1, zwp_virtual_keyboard_v1_destroy> keyboard_;
};

// ---- The program under test ----

// A program started through /bin/sh in a process group of its own, its output read into a
// log. It is stopped (SIGTERM to the group, SIGKILL after 5 s) when this object goes, and
// gets SIGTERM should this process die first.
class Program {
public:
    explicit Program(const std::string& command) {
        int pipe[2];
        if (pipe2(pipe, O_CLOEXEC) != 0) {
            throw Failure("cannot make a pipe");
        }
        FileDescriptor reading{pipe[0]};
        const FileDescriptor writing{pipe[1]};
        const std::string script = "exec " + command;
        pid_ = fork();
        if (pid_ < 0) {
            throw Failure("cannot fork");
        }
        if (pid_ == 0) {
            setpgid(0, 0);
            prctl(PR_SET_PDEATHSIG, SIGTERM);
            dup2(writing.get(), STDOUT_FILENO);
            dup2(writing.get(), STDERR_FILENO);
            execl("/bin/sh", "sh", "-c", script.c_str(), static_cast<char*>(nullptr));
            _exit(127);
        }
        setpgid(pid_, pid_);
        fcntl(reading.get(), F_SETFL, O_NONBLOCK);
        output_ = std::move(reading);
    }

    ~Program() {
        if (!ended()) {
            kill(-pid_, SIGTERM);
            const Nanoseconds limit = monotonicNow() + 5 * second;
            while (!ended() && monotonicNow() < limit) {
                readOutput();
                usleep(10'000);
            }
            if (!ended()) {
                kill(-pid_, SIGKILL);
                waitpid(pid_, nullptr, 0);
            }
        }
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    int outputFd() const { return output_.get(); }

    void readOutput() {
        char chunk[4096];
        for (ssize_t count; (count = read(output_.get(), chunk, sizeof chunk)) > 0;) {
            log_.append(chunk, static_cast<std::size_t>(count));
        }
        constexpr std::size_t kept = 64 * 1024;
        if (log_.size() > 2 * kept) {
            log_.erase(0, log_.size() - kept);
        }
    }

    bool said(std::string_view text) const { return log_.find(text) != std::string::npos; }

    bool ended() {
        if (!ended_ && waitpid(pid_, nullptr, WNOHANG) == pid_) {
            ended_ = true;
        }
        return ended_;
    }

    std::string logTail() const { return log_.substr(log_.size() > 2000 ? log_.size() - 2000 : 0); }

private:
    pid_t pid_ = -1;
    FileDescriptor output_;
    std::string log_;
    bool ended_ = false;
};

// ---- The measurement ----

struct Series {
    std::string label;
    std::vector<double> milliseconds; // one a counted round that showed the panel
    int missed = 0;                   // counted rounds that showed none within 2 s
    std::string panel = "?";

    double at(double share) const { // nearest rank
        std::vector<double> sorted = milliseconds;
        std::sort(sorted.begin(), sorted.end());
        const auto rank = static_cast<std::size_t>(std::ceil(share * sorted.size()));
        return sorted[std::clamp<std::size_t>(rank, 1, sorted.size()) - 1];
    }
    double median() const {
        std::vector<double> sorted = milliseconds;
        std::sort(sorted.begin(), sorted.end());
        const std::size_t n = sorted.size();
        return n % 2 ? sorted[n / 2] : (sorted[n / 2 - 1] + sorted[n / 2]) / 2;
    }
};

struct Globals {
    Owned<wl_shm, wl_shm_destroy> shm;
    Owned<wl_seat, wl_seat_destroy> seat;
    Owned<wl_output, wl_output_destroy> output; // the first: the session has one
    Owned<zwlr_screencopy_manager_v1, zwlr_screencopy_manager_v1_destroy> screencopy;
    Owned<zwp_virtual_keyboard_manager_v1, zwp_virtual_keyboard_manager_v1_destroy> keyboards;
};

void announce(void* data, wl_registry* registry, std::uint32_t name, const char* interface,
              std::uint32_t version) {
    auto& globals = *static_cast<Globals*>(data);
    const std::string_view offered = interface;
    if (offered == wl_shm_interface.name && !globals.shm) {
        globals.shm.reset(bind<wl_shm>(registry, name, wl_shm_interface, version, 1));
    } else if (offered == wl_seat_interface.name && !globals.seat) {
        globals.seat.reset(bind<wl_seat>(registry, name, wl_seat_interface, version, 1));
    } else if (offered == wl_output_interface.name && !globals.output) {
        globals.output.reset(bind<wl_output>(registry, name, wl_output_interface, version, 1));
    } else if (offered == zwlr_screencopy_manager_v1_interface.name && !globals.screencopy &&
               version >= 2) {
        globals.screencopy.reset(bind<zwlr_screencopy_manager_v1>(
            registry, name, zwlr_screencopy_manager_v1_interface, version, 3));
    } else if (offered == zwp_virtual_keyboard_manager_v1_interface.name && !globals.keyboards) {
        globals.keyboards.reset(bind<zwp_virtual_keyboard_manager_v1>(
            registry, name, zwp_virtual_keyboard_manager_v1_interface, version, 1));
    }
}

constexpr wl_registry_listener registryListener{announce,
                                                [](void*, wl_registry*, std::uint32_t) {}};

void disconnect(wl_display* display) {
    wl_display_flush(display);
    wl_display_disconnect(display);
}

class Bench {
    // Makes a program the one whose output the event loop reads, while it lives.
    class Reading {
    public:
        Reading(Program*& slot, Program& program)
            : slot_(slot) {
            slot_ = &program;
        }
        ~Reading() { slot_ = nullptr; }
        Reading(const Reading&) = delete;
        Reading& operator=(const Reading&) = delete;

    private:
        Program*& slot_;
    };

public:
    Bench() {
        if (!display_) {
            throw Failure("cannot connect to the Wayland display");
        }
        const Owned<wl_registry, wl_registry_destroy> registry{
            wl_display_get_registry(display_.get())};
        wl_registry_add_listener(registry.get(), &registryListener, &globals_);
        wl_display_roundtrip(display_.get());
        if (!globals_.shm || !globals_.seat || !globals_.output || !globals_.screencopy ||
            !globals_.keyboards) {
            throw Failure("the compositor lacks wl_shm, wl_seat, wl_output, "
                          "zwlr_screencopy_manager_v1 (version 2 or later) or "
                          "zwp_virtual_keyboard_manager_v1");
        }
        keyboard_.emplace(globals_.keyboards.get(), globals_.seat.get());
        copies_.emplace(globals_.screencopy.get(), globals_.output.get(), globals_.shm.get());
        copies_->onPicture = [this](const Picture& picture, Nanoseconds shown) {
            seen(picture, shown);
        };
        if (!pumpUntil(monotonicNow() + 5 * second, [&] { return !latest_.pixels.empty(); })) {
            throw Failure("no copy of the output came");
        }
    }

    // Starts the program, measures it `rounds` times after `warmup` rounds, stops it.
    Series measure(const std::string& label, const std::string& command, int rounds, int warmup) {
        Series series;
        series.label = label;
        Program program(command);
        const Reading reading(program_, program);
        const bool ready = pumpUntil(monotonicNow() + 60 * second,
                                     [&] { return program.said("Ready") || program.ended(); });
        if (!ready || program.ended()) {
            throw Failure(label + " did not get ready; its output:\n" + program.logTail());
        }
        pumpUntil(monotonicNow() + second, [] { return false; }); // let it finish starting
        for (int round = -warmup; round < rounds; ++round) {
            const std::optional<double> time = measureRound(round == 0 ? &series.panel : nullptr);
            if (round >= 0) {
                if (time) {
                    series.milliseconds.push_back(*time);
                } else {
                    ++series.missed;
                }
            }
            if (program.ended()) {
                throw Failure(label + " ended during the rounds; its output:\n" +
                              program.logTail());
            }
        }
        return series;
    }

private:
    // Runs the event loop until `done` holds (true) or the deadline passes (false).
    bool pumpUntil(Nanoseconds deadline, const std::function<bool()>& done) {
        wl_display* display = display_.get();
        while (!done()) {
            if (interrupted) {
                throw Interrupted{};
            }
            const Nanoseconds left = deadline - monotonicNow();
            if (left <= 0) {
                return false;
            }
            while (wl_display_prepare_read(display) != 0) {
                wl_display_dispatch_pending(display);
            }
            wl_display_flush(display);
            pollfd watched[] = {{wl_display_get_fd(display), POLLIN, 0},
                                {program_ ? program_->outputFd() : -1, POLLIN, 0}};
            const int timeout = static_cast<int>((left + millisecond - 1) / millisecond);
            if (poll(watched, 2, timeout) > 0 && (watched[0].revents & POLLIN)) {
                if (wl_display_read_events(display) != 0) {
                    throw Failure("lost the compositor");
                }
            } else {
                wl_display_cancel_read(display);
            }
            if (wl_display_dispatch_pending(display) < 0) {
                throw Failure("lost the compositor");
            }
            // The handlers of the compositor's events only note what went wrong: C code
            // calls them, so they throw nothing.
            if (!copies_->failure.empty() || !problem_.empty()) {
                throw Failure(copies_->failure.empty() ? problem_ : copies_->failure);
            }
            if (program_ && (watched[1].revents & (POLLIN | POLLHUP))) {
                program_->readOutput();
            }
        }
        return true;
    }

    void seen(const Picture& picture, Nanoseconds shown) {
        const Nanoseconds now = monotonicNow();
        if (std::abs(now - shown) > second) {
            problem_ = "the copies' presentation times are not on CLOCK_MONOTONIC";
            return;
        }
        latest_ = picture;
        latestAt_ = now;
        if (watching_ && !panelShown_ && middleChange(picture, still_) >= 0.5) {
            panelShown_ = shown;
            if (panelSize_) {
                *panelSize_ = changedSize(picture, still_);
            }
        }
    }

    // Waits until no copy has come for `quiet`; false when copies still come after `limit`.
    bool waitStill(Nanoseconds quiet, Nanoseconds limit) {
        const Nanoseconds end = monotonicNow() + limit;
        while (monotonicNow() < end) {
            const Nanoseconds last = latestAt_;
            if (!pumpUntil(last + quiet, [&] { return latestAt_ != last; })) {
                return true;
            }
        }
        return false;
    }

    void flush() { wl_display_flush(display_.get()); }

    // One Super+Tab: the time to the panel's first frame in ms, nothing when none came.
    // `panelSize`, when given, gets the panel's size as seen.
    std::optional<double> measureRound(std::string* panelSize) {
        if (!waitStill(250 * millisecond, 10 * second)) {
            throw Failure("the output never stays still");
        }
        still_ = latest_;
        keyboard_->press(KEY_LEFTMETA);
        flush();
        // Rounds follow the output's frames (the wait above starts at one), so the pause
        // before Tab varies, or Tab would come at the same point between two frames each time.
        std::uniform_int_distribution<Nanoseconds> pause(50 * millisecond, 70 * millisecond);
        pumpUntil(monotonicNow() + pause(random_), [] { return false; });

        watching_ = true;
        panelShown_.reset();
        panelSize_ = panelSize;
        keyboard_->press(KEY_TAB);
        const Nanoseconds typed = monotonicNow();
        flush();
        keyboard_->release(KEY_TAB);
        flush();
        pumpUntil(typed + 2 * second, [&] { return panelShown_.has_value(); });
        watching_ = false;
        panelSize_ = nullptr;

        keyboard_->release(KEY_LEFTMETA);
        flush();
        if (!pumpUntil(monotonicNow() + 5 * second,
                       [&] { return middleChange(latest_, still_) < 0.05; })) {
            throw Failure("the panel stayed after Super came up");
        }
        if (!panelShown_) {
            return std::nullopt;
        }
        return static_cast<double>(*panelShown_ - typed) / millisecond;
    }

    Owned<wl_display, disconnect> display_{wl_display_connect(nullptr)};
    Globals globals_;
    std::optional<VirtualKeyboard> keyboard_;
    std::optional<ScreenCopies> copies_;
    Program* program_ = nullptr; // the one being measured, whose output is read meanwhile

    Picture latest_;           // the last copy
    Nanoseconds latestAt_ = 0; // when it came
    Picture still_;            // the output before the key
    bool watching_ = false;
    std::optional<Nanoseconds> panelShown_;
    std::string* panelSize_ = nullptr;
    std::string problem_;
    std::mt19937_64 random_{1}; // the same pauses every run
};

void print(const Series& series) {
    std::printf("%-8s %zu rounds, %d without a panel: min %.2f  median %.2f  p99 %.2f ms; "
                "panel %s\n",
                series.label.c_str(), series.milliseconds.size() + series.missed, series.missed,
                series.at(0), series.median(), series.at(0.99), series.panel.c_str());
}

[[noreturn]] void usage() {
    std::cerr << "usage: hopla-wayland-switch-latency [--rounds K] [--warmup W] "
                 "LABEL=COMMAND...\n";
    std::exit(2);
}

} // namespace

int main(int argc, char** argv) {
    int rounds = 100;
    int warmup = 3;
    std::vector<std::pair<std::string, std::string>> programs;
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if ((argument == "--rounds" || argument == "--warmup") && i + 1 < argc) {
            (argument == "--rounds" ? rounds : warmup) = std::atoi(argv[++i]);
        } else if (const auto equals = argument.find('=');
                   equals != std::string_view::npos && equals > 0 && argument[0] != '-') {
            programs.emplace_back(argument.substr(0, equals), argument.substr(equals + 1));
        } else {
            usage();
        }
    }
    if (programs.empty() || rounds < 1 || warmup < 0) {
        usage();
    }
    struct sigaction stop {};
    stop.sa_handler = [](int) { interrupted = 1; };
    sigaction(SIGINT, &stop, nullptr);
    sigaction(SIGTERM, &stop, nullptr);
    setvbuf(stdout, nullptr, _IOLBF, 0);

    try {
        Bench bench;
        std::vector<Series> measured;
        for (auto [label, command] : programs) {
            if (const auto at = command.find("{panel}"); at != std::string::npos) {
                command.replace(at, 7, measured.empty() ? "600x160" : measured.front().panel);
            }
            measured.push_back(bench.measure(label, command, rounds, warmup));
            if (measured.back().milliseconds.empty()) {
                throw Failure(label + " never showed a panel");
            }
            print(measured.back());
        }
        const Series& last = measured.back();
        for (const Series& series : measured) {
            if (&series != &last) {
                std::printf("%s's median over %s's: %.2f\n", series.label.c_str(),
                            last.label.c_str(), series.median() / last.median());
            }
        }
        for (const Series& series : measured) {
            std::printf("result %s %.3f %.3f %.3f %d %zu %s\n", series.label.c_str(), series.at(0),
                        series.median(), series.at(0.99), series.missed,
                        series.milliseconds.size() + series.missed, series.panel.c_str());
        }
    } catch (const Failure& failure) {
        std::cerr << "hopla-wayland-switch-latency: " << failure.what() << '\n';
        return EXIT_FAILURE;
    } catch (const Interrupted&) {
        std::cerr << "hopla-wayland-switch-latency: interrupted\n";
        return 130;
    }
    return EXIT_SUCCESS;
}
