#pragma once

#include "platform/wayland/Toplevels.h"

#include <memory>
#include <vector>

struct wl_seat;
struct zwlr_foreign_toplevel_handle_v1;
struct zwlr_foreign_toplevel_manager_v1;

namespace hopla::wayland {

class WaylandConnection;

// The toplevels of a wlroots compositor, from zwlr_foreign_toplevel_manager_v1.
class ForeignToplevels final : public ToplevelSource {
public:
    // Binds the manager before the connection starts; nothing when it is not offered.
    static std::unique_ptr<ForeignToplevels> bind(WaylandConnection& connection, wl_seat* seat);
    ~ForeignToplevels() override;

    void setListener(Listener listener) override;
    std::vector<Toplevel> current() override;
    void activate(std::uint64_t id) override;
    void unminimize(std::uint64_t id) override;
    // Runs on the connection's thread before every activation request.
    std::function<void()> beforeActivating;

private:
    struct Entry {
        ForeignToplevels* owner;
        zwlr_foreign_toplevel_handle_v1* handle;
        Toplevel current;
        Toplevel pending; // what arrived since the last done
    };
    friend struct ToplevelEvents;
    ForeignToplevels(WaylandConnection& connection, zwlr_foreign_toplevel_manager_v1* manager,
                     wl_seat* seat)
        : connection_(connection)
        , manager_(manager)
        , seat_(seat) {}
    void publish();
    std::vector<Toplevel> listed() const;
    Entry* find(std::uint64_t id);

    WaylandConnection& connection_;
    zwlr_foreign_toplevel_manager_v1* manager_;
    wl_seat* seat_;
    std::vector<std::unique_ptr<Entry>> entries_; // in order of appearance
    std::uint64_t nextId_ = 1;
    Listener listener_;
};

} // namespace hopla::wayland
