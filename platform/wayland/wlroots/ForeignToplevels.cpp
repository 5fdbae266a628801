#include "platform/wayland/wlroots/ForeignToplevels.h"

#include "platform/wayland/WaylandConnection.h"

#include "wlr-foreign-toplevel-management-unstable-v1-client-protocol.h"
#include <wayland-client.h>

#include <algorithm>

namespace hopla::wayland {

struct ToplevelEvents {
    using Entry = ForeignToplevels::Entry;
    static Entry& entry(void* data) { return *static_cast<Entry*>(data); }

    static void title(void* data, zwlr_foreign_toplevel_handle_v1*, const char* text) {
        entry(data).pending.title = QString::fromUtf8(text);
    }
    static void appId(void* data, zwlr_foreign_toplevel_handle_v1*, const char* text) {
        entry(data).pending.appId = QString::fromUtf8(text);
    }
    static void outputEnter(void*, zwlr_foreign_toplevel_handle_v1*, wl_output*) {}
    static void outputLeave(void*, zwlr_foreign_toplevel_handle_v1*, wl_output*) {}
    static void state(void* data, zwlr_foreign_toplevel_handle_v1*, wl_array* states) {
        Toplevel& pending = entry(data).pending;
        pending.activated = pending.minimized = false;
        const auto* first = static_cast<const std::uint32_t*>(states->data);
        for (const auto* s = first; s < first + states->size / sizeof *s; ++s) {
            pending.activated |= *s == ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_ACTIVATED;
            pending.minimized |= *s == ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_MINIMIZED;
        }
    }
    static void done(void* data, zwlr_foreign_toplevel_handle_v1*) {
        Entry& e = entry(data);
        if (e.current != e.pending) {
            e.current = e.pending;
            e.owner->publish();
        }
    }
    static void closed(void* data, zwlr_foreign_toplevel_handle_v1* handle) {
        ForeignToplevels& owner = *entry(data).owner;
        zwlr_foreign_toplevel_handle_v1_destroy(handle);
        std::erase_if(owner.entries_, [handle](const auto& e) { return e->handle == handle; });
        owner.publish();
    }
    static void parent(void*, zwlr_foreign_toplevel_handle_v1*, zwlr_foreign_toplevel_handle_v1*) {}

    static void toplevel(void* data, zwlr_foreign_toplevel_manager_v1*,
                         zwlr_foreign_toplevel_handle_v1* handle);
    static void finished(void*, zwlr_foreign_toplevel_manager_v1*) {}
};

namespace {
constexpr zwlr_foreign_toplevel_handle_v1_listener handleListener{
    ToplevelEvents::title,       ToplevelEvents::appId, ToplevelEvents::outputEnter,
    ToplevelEvents::outputLeave, ToplevelEvents::state, ToplevelEvents::done,
    ToplevelEvents::closed,      ToplevelEvents::parent};
constexpr zwlr_foreign_toplevel_manager_v1_listener managerListener{ToplevelEvents::toplevel,
                                                                    ToplevelEvents::finished};
} // namespace

void ToplevelEvents::toplevel(void* data, zwlr_foreign_toplevel_manager_v1*,
                              zwlr_foreign_toplevel_handle_v1* handle) {
    auto& owner = *static_cast<ForeignToplevels*>(data);
    auto fresh = std::make_unique<Entry>(Entry{&owner, handle, {}, {}});
    fresh->pending.id = fresh->current.id = owner.nextId_++;
    zwlr_foreign_toplevel_handle_v1_add_listener(handle, &handleListener, fresh.get());
    owner.entries_.push_back(std::move(fresh)); // listed from its first done on
}

std::unique_ptr<ForeignToplevels> ForeignToplevels::bind(WaylandConnection& connection,
                                                         wl_seat* seat) {
    auto* manager = static_cast<zwlr_foreign_toplevel_manager_v1*>(
        connection.bind(zwlr_foreign_toplevel_manager_v1_interface, 2, 3));
    if (!manager || !seat) {
        return nullptr;
    }
    std::unique_ptr<ForeignToplevels> toplevels(new ForeignToplevels(connection, manager, seat));
    zwlr_foreign_toplevel_manager_v1_add_listener(manager, &managerListener, toplevels.get());
    return toplevels;
}

ForeignToplevels::~ForeignToplevels() {
    for (const auto& e : entries_) {
        zwlr_foreign_toplevel_handle_v1_destroy(e->handle);
    }
    zwlr_foreign_toplevel_manager_v1_destroy(manager_);
}

void ForeignToplevels::setListener(Listener listener) {
    connection_.run([&] {
        listener_ = std::move(listener);
        publish();
    });
}

ForeignToplevels::Entry* ForeignToplevels::find(std::uint64_t id) {
    const auto it = std::find_if(entries_.begin(), entries_.end(),
                                 [id](const auto& e) { return e->current.id == id; });
    return it == entries_.end() ? nullptr : it->get();
}

void ForeignToplevels::activate(std::uint64_t id) {
    connection_.post([this, id] {
        if (Entry* e = find(id)) {
            if (beforeActivating) {
                beforeActivating();
            }
            zwlr_foreign_toplevel_handle_v1_activate(e->handle, seat_);
        }
    });
}

void ForeignToplevels::unminimize(std::uint64_t id) {
    connection_.post([this, id] {
        if (Entry* e = find(id)) {
            if (beforeActivating) {
                beforeActivating();
            }
            zwlr_foreign_toplevel_handle_v1_unset_minimized(e->handle);
            zwlr_foreign_toplevel_handle_v1_activate(e->handle, seat_);
        }
    });
}

std::vector<Toplevel> ForeignToplevels::listed() const {
    std::vector<Toplevel> list;
    list.reserve(entries_.size());
    for (const auto& e : entries_) {
        if (!e->current.appId.isEmpty() || !e->current.title.isEmpty()) { // after its first done
            list.push_back(e->current);
        }
    }
    return list;
}

std::vector<Toplevel> ForeignToplevels::current() {
    std::vector<Toplevel> list;
    connection_.run([&] { list = listed(); });
    return list;
}

void ForeignToplevels::publish() {
    if (listener_) {
        listener_(listed());
    }
}

} // namespace hopla::wayland
