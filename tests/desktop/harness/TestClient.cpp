// A small X client for the real-desktop tests: its windows carry exactly the properties the
// command line asks for. Prints "ready <window>..." once mapped, and "key <keycode>" for
// every key press it receives. Runs until it is terminated or its display goes away.
//
//   --class instance,Class   WM_CLASS
//   --title text             _NET_WM_NAME (UTF-8) and WM_NAME
//   --compound-title hex     WM_NAME as COMPOUND_TEXT bytes, and no _NET_WM_NAME
//   --no-pid                 no _NET_WM_PID
//   --windows n              how many top-level windows (default 1)
//   --type normal|dialog|dock
//   --no-input               WM_HINTS input false and no WM_TAKE_FOCUS
//   --icon size              a _NET_WM_ICON of that size, solid red
//   --bad-icon               a _NET_WM_ICON that claims more pixels than it has
//   --skip-taskbar           _NET_WM_STATE_SKIP_TASKBAR
//   --pixmap-icon            a 16×16 red WM_HINTS icon pixmap whose mask hides the left half
#include <xcb/xcb.h>

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace {

xcb_connection_t* c;

xcb_atom_t atom(const char* name) {
    xcb_intern_atom_reply_t* r =
        xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, std::strlen(name), name), nullptr);
    const xcb_atom_t a = r ? r->atom : xcb_atom_t{XCB_ATOM_NONE};
    std::free(r);
    return a;
}

void set(xcb_window_t w, const char* name, xcb_atom_t type, int format, const void* data,
         std::size_t count) {
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, w, atom(name), type, format, count, data);
}

std::vector<unsigned char> fromHex(const std::string& hex) {
    std::vector<unsigned char> bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
        bytes.push_back(static_cast<unsigned char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

volatile std::sig_atomic_t stop = 0;

} // namespace

int main(int argc, char** argv) {
    // "--name value" where a value follows, else "--name" alone.
    std::map<std::string, std::string> options;
    for (int i = 1; i < argc; ++i) {
        const bool valued = i + 1 < argc && std::strncmp(argv[i + 1], "--", 2) != 0;
        options[argv[i]] = valued ? argv[i + 1] : "";
        i += valued;
    }
    const auto option = [&](const char* name, const char* otherwise) {
        const auto found = options.find(name);
        return found == options.end() ? std::string(otherwise) : found->second;
    };
    const std::string wmClass = option("--class", "hopla-test-client,HoplaTestClient"),
                      title = option("--title", "Hopla test client"),
                      compound = option("--compound-title", ""), type = option("--type", "normal");
    const bool pid = !options.count("--no-pid"), input = !options.count("--no-input"),
               badIcon = options.count("--bad-icon"), skipTaskbar = options.count("--skip-taskbar"),
               pixmapIcon = options.count("--pixmap-icon");
    const int windows = std::stoi(option("--windows", "1")),
              iconSize = std::stoi(option("--icon", "0"));
    std::signal(SIGTERM, [](int) { stop = 1; });

    c = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(c)) {
        std::fprintf(stderr, "hopla_test_client: no display\n");
        return 1;
    }
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
    std::string classBytes = wmClass;
    std::replace(classBytes.begin(), classBytes.end(), ',', '\0');
    classBytes.push_back('\0');

    std::vector<xcb_window_t> ids;
    for (int n = 0; n < windows; ++n) {
        const xcb_window_t w = xcb_generate_id(c);
        const std::uint32_t values[] = {screen->white_pixel,
                                        XCB_EVENT_MASK_KEY_PRESS | XCB_EVENT_MASK_FOCUS_CHANGE};
        xcb_create_window(c, XCB_COPY_FROM_PARENT, w, screen->root, 40 + 30 * n, 40 + 30 * n, 300,
                          200, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                          XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK, values);
        set(w, "WM_CLASS", XCB_ATOM_STRING, 8, classBytes.data(), classBytes.size());
        if (compound.empty()) {
            set(w, "_NET_WM_NAME", atom("UTF8_STRING"), 8, title.data(), title.size());
            set(w, "WM_NAME", XCB_ATOM_STRING, 8, title.data(), title.size());
        } else {
            const auto bytes = fromHex(compound);
            set(w, "WM_NAME", atom("COMPOUND_TEXT"), 8, bytes.data(), bytes.size());
        }
        if (pid) {
            const std::uint32_t self = static_cast<std::uint32_t>(getpid());
            set(w, "_NET_WM_PID", XCB_ATOM_CARDINAL, 32, &self, 1);
        }
        std::uint32_t hints[9] = {1, input ? 1u : 0u, 0, 0, 0, 0, 0, 0, 0}; // InputHint
        if (pixmapIcon) {
            const xcb_pixmap_t icon = xcb_generate_id(c), mask = xcb_generate_id(c);
            xcb_create_pixmap(c, screen->root_depth, icon, w, 16, 16);
            xcb_create_pixmap(c, 1, mask, w, 16, 16);
            const xcb_gcontext_t red = xcb_generate_id(c), on = xcb_generate_id(c),
                                 off = xcb_generate_id(c);
            const std::uint32_t redPixel = 0xff0000, one = 1, zero = 0;
            xcb_create_gc(c, red, icon, XCB_GC_FOREGROUND, &redPixel);
            xcb_create_gc(c, on, mask, XCB_GC_FOREGROUND, &one);
            xcb_create_gc(c, off, mask, XCB_GC_FOREGROUND, &zero);
            const xcb_rectangle_t all{0, 0, 16, 16}, left{0, 0, 8, 16};
            xcb_poly_fill_rectangle(c, icon, red, 1, &all);
            xcb_poly_fill_rectangle(c, mask, on, 1, &all);
            xcb_poly_fill_rectangle(c, mask, off, 1, &left);
            hints[0] |= (1 << 2) | (1 << 5); // IconPixmapHint, IconMaskHint
            hints[3] = icon;
            hints[7] = mask;
        }
        set(w, "WM_HINTS", atom("WM_HINTS"), 32, hints, 9);
        if (input) {
            const xcb_atom_t protocols[] = {atom("WM_DELETE_WINDOW")};
            set(w, "WM_PROTOCOLS", XCB_ATOM_ATOM, 32, protocols, 1);
        }
        const xcb_atom_t windowType =
            atom(("_NET_WM_WINDOW_TYPE_" + std::string(type == "dialog" ? "DIALOG"
                                                       : type == "dock" ? "DOCK"
                                                                        : "NORMAL"))
                     .c_str());
        set(w, "_NET_WM_WINDOW_TYPE", XCB_ATOM_ATOM, 32, &windowType, 1);
        if (skipTaskbar) {
            const xcb_atom_t state = atom("_NET_WM_STATE_SKIP_TASKBAR");
            set(w, "_NET_WM_STATE", XCB_ATOM_ATOM, 32, &state, 1);
        }
        if (iconSize > 0) {
            std::vector<std::uint32_t> icon{std::uint32_t(iconSize), std::uint32_t(iconSize)};
            icon.resize(2 + std::size_t(iconSize) * iconSize, 0xFFFF0000u);
            set(w, "_NET_WM_ICON", XCB_ATOM_CARDINAL, 32, icon.data(), icon.size());
        }
        if (badIcon) {
            const std::uint32_t icon[] = {4000, 4000, 1, 2, 3};
            set(w, "_NET_WM_ICON", XCB_ATOM_CARDINAL, 32, icon, 5);
        }
        xcb_map_window(c, w);
        ids.push_back(w);
    }
    xcb_flush(c);
    std::printf("ready");
    for (const auto w : ids) {
        std::printf(" %u", w);
    }
    std::printf("\n");
    std::fflush(stdout);

    pollfd fd{xcb_get_file_descriptor(c), POLLIN, 0};
    while (!stop && !xcb_connection_has_error(c)) {
        if (::poll(&fd, 1, 200) < 0) {
            continue;
        }
        while (xcb_generic_event_t* e = xcb_poll_for_event(c)) {
            if ((e->response_type & 0x7f) == XCB_KEY_PRESS) {
                std::printf("key %u\n", reinterpret_cast<xcb_key_press_event_t*>(e)->detail);
                std::fflush(stdout);
            }
            std::free(e);
        }
    }
    xcb_disconnect(c);
    return 0;
}
