#include "platform/x11/ClientWindows.h"
#include "platform/x11/XConnection.h"

#include "platform/x11/CompoundText.h"

#include <xcb/res.h>
#include <xcb/xcb_icccm.h>

#include <algorithm>
#include <cstring>

namespace hopla::x11 {

namespace {

constexpr std::uint32_t textLimit = 4096;
constexpr std::uint32_t listLimit = 1 << 16;

// One outstanding property request and its answer.
class PropertyRequest {
public:
    PropertyRequest() = default;
    PropertyRequest(XConnection& x, xcb_window_t window, xcb_atom_t name, xcb_atom_t type,
                    std::uint32_t maxBytes)
        : valid_(name != XCB_ATOM_NONE)
        , cookie_(valid_ ? xcb_get_property(x.raw(), 0, window, name, type, 0, (maxBytes + 3) / 4)
                         : xcb_get_property_cookie_t{}) {}

    // The value, or nothing (missing, vanished window). Must be called once.
    std::optional<XConnection::Property> take(XConnection& x) {
        if (!valid_) {
            return std::nullopt;
        }
        xcb_generic_error_t* error = nullptr;
        const Reply<xcb_get_property_reply_t> reply(
            xcb_get_property_reply(x.raw(), cookie_, &error));
        const Reply<xcb_generic_error_t> errorOwner(error);
        if (!reply || reply->type == XCB_ATOM_NONE) {
            return std::nullopt;
        }
        const int length = std::max(0, xcb_get_property_value_length(reply.get()));
        const auto* data = static_cast<const std::uint8_t*>(xcb_get_property_value(reply.get()));
        return XConnection::Property{reply->type, reply->format, {data, data + length}};
    }

private:
    bool valid_ = false;
    xcb_get_property_cookie_t cookie_{};
};

std::vector<std::uint32_t> asCardinals(const std::optional<XConnection::Property>& p) {
    if (!p || p->format != 32) {
        return {};
    }
    std::vector<std::uint32_t> values(p->bytes.size() / 4);
    if (!values.empty()) {
        std::memcpy(values.data(), p->bytes.data(), values.size() * 4);
    }
    return values;
}

QString textOf(XConnection& x, const std::optional<XConnection::Property>& p) {
    if (!p || p->format != 8) {
        return {};
    }
    const QByteArray bytes(reinterpret_cast<const char*>(p->bytes.data()),
                           static_cast<qsizetype>(p->bytes.size()));
    if (p->type == x.utf8String) {
        return QString::fromUtf8(bytes);
    }
    if (p->type == x.compoundText) {
        return decodeCompoundText(bytes);
    }
    return QString::fromLatin1(bytes); // STRING is Latin-1
}

struct Requests {
    xcb_get_window_attributes_cookie_t attributes;
    PropertyRequest pid, wmClass, netName, name, type, state, wmState, desktop, hints, protocols,
        gtkApplicationId, kdeDesktopFile;
};

Requests request(XConnection& x, xcb_window_t w) {
    auto* e = x.ewmh();
    return Requests{
        xcb_get_window_attributes(x.raw(), w),
        {x, w, e->_NET_WM_PID, XCB_ATOM_CARDINAL, 4},
        {x, w, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, textLimit},
        {x, w, e->_NET_WM_NAME, x.utf8String, textLimit},
        {x, w, XCB_ATOM_WM_NAME, XCB_ATOM_ANY, textLimit},
        {x, w, e->_NET_WM_WINDOW_TYPE, XCB_ATOM_ATOM, 256},
        {x, w, e->_NET_WM_STATE, XCB_ATOM_ATOM, 256},
        {x, w, x.wmState, x.wmState, 8},
        {x, w, e->_NET_WM_DESKTOP, XCB_ATOM_CARDINAL, 4},
        {x, w, XCB_ATOM_WM_HINTS, XCB_ATOM_WM_HINTS, 36},
        {x, w, e->WM_PROTOCOLS, XCB_ATOM_ATOM, 256},
        {x, w, x.gtkApplicationId, x.utf8String, textLimit},
        {x, w, x.kdeDesktopFile, x.utf8String, textLimit},
    };
}

std::optional<ClientWindow> collect(XConnection& x, xcb_window_t w, Requests& r) {
    xcb_generic_error_t* error = nullptr;
    const Reply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(x.raw(), r.attributes, &error));
    const Reply<xcb_generic_error_t> errorOwner(error);
    // Collect every reply even when the window is gone, so none is left waiting.
    const auto pid = asCardinals(r.pid.take(x));
    const auto wmClass = r.wmClass.take(x);
    const auto netName = r.netName.take(x);
    const auto name = r.name.take(x);
    const auto types = asCardinals(r.type.take(x));
    const auto states = asCardinals(r.state.take(x));
    const auto wmState = asCardinals(r.wmState.take(x));
    const auto desktop = asCardinals(r.desktop.take(x));
    const auto hints = asCardinals(r.hints.take(x));
    const auto protocols = asCardinals(r.protocols.take(x));
    const auto gtkApplicationId = r.gtkApplicationId.take(x);
    const auto kdeDesktopFile = r.kdeDesktopFile.take(x);
    if (!attributes) {
        return std::nullopt;
    }

    auto* e = x.ewmh();
    ClientWindow c;
    c.id = w;
    if (!pid.empty() && pid[0] > 0 && pid[0] < 0x80000000u) {
        c.pid = static_cast<Pid>(pid[0]);
    }
    if (wmClass && wmClass->format == 8) {
        // Two NUL-terminated strings: instance, then class.
        const char* begin = reinterpret_cast<const char*>(wmClass->bytes.data());
        const std::size_t size = wmClass->bytes.size();
        const std::size_t firstEnd = std::find(begin, begin + size, '\0') - begin;
        c.instance = QString::fromLatin1(begin, static_cast<qsizetype>(firstEnd));
        if (firstEnd + 1 < size) {
            const char* second = begin + firstEnd + 1;
            c.className = QString::fromLatin1(
                second, static_cast<qsizetype>(std::find(second, begin + size, '\0') - second));
        }
    }
    c.gtkApplicationId = textOf(x, gtkApplicationId);
    c.kdeDesktopFile = textOf(x, kdeDesktopFile);
    c.title = textOf(x, netName);
    if (c.title.isEmpty()) {
        c.title = textOf(x, name);
    }

    const auto has = [](const std::vector<std::uint32_t>& atoms, xcb_atom_t a) {
        return a != XCB_ATOM_NONE && std::find(atoms.begin(), atoms.end(), a) != atoms.end();
    };
    const xcb_atom_t auxiliary[] = {
        e->_NET_WM_WINDOW_TYPE_DOCK,          e->_NET_WM_WINDOW_TYPE_DESKTOP,
        e->_NET_WM_WINDOW_TYPE_TOOLTIP,       e->_NET_WM_WINDOW_TYPE_MENU,
        e->_NET_WM_WINDOW_TYPE_DROPDOWN_MENU, e->_NET_WM_WINDOW_TYPE_POPUP_MENU,
        e->_NET_WM_WINDOW_TYPE_NOTIFICATION,  e->_NET_WM_WINDOW_TYPE_SPLASH,
        e->_NET_WM_WINDOW_TYPE_COMBO,         e->_NET_WM_WINDOW_TYPE_DND};
    const bool isAuxiliary = std::any_of(std::begin(auxiliary), std::end(auxiliary),
                                         [&](xcb_atom_t a) { return has(types, a); });
    const bool isDialog = has(types, e->_NET_WM_WINDOW_TYPE_DIALOG);
    const bool isNormal = types.empty() || has(types, e->_NET_WM_WINDOW_TYPE_NORMAL);
    c.role = isAuxiliary ? WindowRole::auxiliary
             : isDialog  ? WindowRole::dialog
                         : WindowRole::normal;
    c.skipTaskbar = has(states, e->_NET_WM_STATE_SKIP_TASKBAR);
    c.countsAsApplication =
        !isAuxiliary && (isNormal || isDialog) && !c.skipTaskbar && !attributes->override_redirect;
    constexpr std::uint32_t iconicState = 3;
    c.minimized =
        has(states, e->_NET_WM_STATE_HIDDEN) || (!wmState.empty() && wmState[0] == iconicState);
    if (!desktop.empty()) {
        c.desktop = desktop[0];
    }
    constexpr std::uint32_t inputHintFlag = 1;
    const bool inputHintSaysNo = hints.size() >= 2 && (hints[0] & inputHintFlag) && hints[1] == 0;
    c.acceptsFocus = !inputHintSaysNo || has(protocols, x.wmTakeFocus);
    return c;
}

// Asks the X-Resource extension which local process owns each window. It knows better
// than _NET_WM_PID, which a sandboxed client fills with its pid inside the sandbox.
void fillPidsFromResources(XConnection& x, std::vector<ClientWindow>& windows) {
    std::vector<std::pair<std::size_t, xcb_res_query_client_ids_cookie_t>> pending;
    for (std::size_t i = 0; i < windows.size(); ++i) {
        const xcb_res_client_id_spec_t query{windows[i].id,
                                             XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
        pending.emplace_back(i, xcb_res_query_client_ids(x.raw(), 1, &query));
    }
    for (auto& [index, cookie] : pending) {
        xcb_generic_error_t* error = nullptr;
        const Reply<xcb_res_query_client_ids_reply_t> reply(
            xcb_res_query_client_ids_reply(x.raw(), cookie, &error));
        const Reply<xcb_generic_error_t> errorOwner(error);
        if (!reply) {
            continue;
        }
        for (auto it = xcb_res_query_client_ids_ids_iterator(reply.get()); it.rem;
             xcb_res_client_id_value_next(&it)) {
            // A value begins with the client id it describes (its first member).
            const auto* client = reinterpret_cast<const xcb_res_client_id_spec_t*>(it.data);
            if ((client->mask & XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID) &&
                xcb_res_client_id_value_value_length(it.data) >= 1) {
                const std::uint32_t pid = *xcb_res_client_id_value_value(it.data);
                if (pid > 0 && pid < 0x80000000u) {
                    windows[index].pid = static_cast<Pid>(pid);
                }
                break;
            }
        }
    }
}

} // namespace

std::optional<std::vector<xcb_window_t>> readClientList(XConnection& x) {
    return x.cardinals(x.root(), x.ewmh()->_NET_CLIENT_LIST, XCB_ATOM_WINDOW, listLimit);
}

std::vector<ClientWindow> readClientWindows(XConnection& x, const std::vector<xcb_window_t>& list) {
    std::vector<Requests> requests;
    requests.reserve(list.size());
    for (const xcb_window_t w : list) {
        requests.push_back(request(x, w));
    }
    std::vector<ClientWindow> windows;
    windows.reserve(list.size());
    for (std::size_t i = 0; i < list.size(); ++i) {
        if (auto c = collect(x, list[i], requests[i])) {
            windows.push_back(std::move(*c));
        }
    }
    fillPidsFromResources(x, windows);
    return windows;
}

std::optional<std::vector<ClientWindow>> readClientWindows(XConnection& x) {
    const auto list = readClientList(x);
    if (!list) {
        return std::nullopt;
    }
    return readClientWindows(x, *list);
}

std::optional<ClientWindow> readClientWindow(XConnection& x, xcb_window_t window) {
    Requests r = request(x, window);
    auto c = collect(x, window, r);
    if (c) {
        std::vector<ClientWindow> one{*c};
        fillPidsFromResources(x, one);
        c = one.front();
    }
    return c;
}

std::optional<std::vector<xcb_window_t>> readStacking(XConnection& x) {
    return x.cardinals(x.root(), x.ewmh()->_NET_CLIENT_LIST_STACKING, XCB_ATOM_WINDOW, listLimit);
}

std::vector<WindowId> readServerStacking(XConnection& x, const std::vector<WindowId>& clients) {
    xcb_connection_t* c = x.raw();
    const Reply<xcb_query_tree_reply_t> top(
        xcb_query_tree_reply(c, xcb_query_tree(c, x.root()), nullptr));
    if (!top) {
        return {};
    }
    const xcb_window_t* frames = xcb_query_tree_children(top.get());
    const int count = xcb_query_tree_children_length(top.get());
    std::vector<std::pair<int, WindowId>> placed;
    for (const WindowId client : clients) {
        // Up from the client to the root's child that holds it: its frame (or itself).
        xcb_window_t window = client;
        for (int depth = 0; depth < 8; ++depth) {
            const Reply<xcb_query_tree_reply_t> up(
                xcb_query_tree_reply(c, xcb_query_tree(c, window), nullptr));
            if (!up) {
                break;
            }
            if (up->parent == x.root()) {
                const auto at = std::find(frames, frames + count, window) - frames;
                if (at < count) {
                    placed.emplace_back(static_cast<int>(at), client);
                }
                break;
            }
            window = up->parent;
        }
    }
    std::sort(placed.begin(), placed.end());
    std::vector<WindowId> order;
    for (const auto& [height, client] : placed) {
        order.push_back(client);
    }
    return order;
}

xcb_window_t readActiveWindow(XConnection& x) {
    return x.cardinal(x.root(), x.ewmh()->_NET_ACTIVE_WINDOW, XCB_ATOM_WINDOW)
        .value_or(XCB_WINDOW_NONE);
}

} // namespace hopla::x11
