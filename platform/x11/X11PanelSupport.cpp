#include "platform/x11/X11PanelSupport.h"

#include "platform/x11/XConnection.h"

namespace hopla::x11 {

std::unique_ptr<X11PanelSupport> X11PanelSupport::open() {
    auto x = XConnection::open(nullptr, nullptr);
    return x ? std::unique_ptr<X11PanelSupport>(new X11PanelSupport(std::move(x))) : nullptr;
}

X11PanelSupport::X11PanelSupport(std::unique_ptr<XConnection> x)
    : x_(std::move(x)) {}
X11PanelSupport::~X11PanelSupport() = default;

bool X11PanelSupport::compositing() {
    const xcb_atom_t selection = x_->ewmh()->_NET_WM_CM_Sn[x_->screenNumber()];
    const Reply<xcb_get_selection_owner_reply_t> owner(xcb_get_selection_owner_reply(
        x_->raw(), xcb_get_selection_owner(x_->raw(), selection), nullptr));
    return owner && owner->owner != XCB_WINDOW_NONE;
}

bool X11PanelSupport::isViewable(unsigned long window) {
    const Reply<xcb_get_window_attributes_reply_t> attributes(xcb_get_window_attributes_reply(
        x_->raw(), xcb_get_window_attributes(x_->raw(), static_cast<xcb_window_t>(window)),
        nullptr));
    return attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE;
}

} // namespace hopla::x11
