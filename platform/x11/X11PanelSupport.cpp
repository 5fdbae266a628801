#include "platform/x11/X11PanelSupport.h"

#include "platform/x11/XConnection.h"

#include <QGuiApplication>

#include <algorithm>

namespace hopla::x11 {

std::unique_ptr<X11PanelSupport> X11PanelSupport::open() {
    auto x = XConnection::open(nullptr, nullptr);
    return x ? std::unique_ptr<X11PanelSupport>(new X11PanelSupport(std::move(x))) : nullptr;
}

X11PanelSupport::X11PanelSupport(std::unique_ptr<XConnection> x)
    : x_(std::move(x)) {
    recheckCompositing();
}
X11PanelSupport::~X11PanelSupport() = default;

void X11PanelSupport::recheckCompositing() {
    const xcb_atom_t selection = x_->ewmh()->_NET_WM_CM_Sn[x_->screenNumber()];
    const Reply<xcb_get_selection_owner_reply_t> owner(xcb_get_selection_owner_reply(
        x_->raw(), xcb_get_selection_owner(x_->raw(), selection), nullptr));
    compositing_ = owner && owner->owner != XCB_WINDOW_NONE;
}

void X11PanelSupport::drawNow(unsigned long window, const QImage& image) {
    auto* native =
        qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    xcb_connection_t* c = native ? native->connection() : nullptr;
    if (!c || image.isNull()) {
        return;
    }
    const auto w = static_cast<xcb_window_t>(window);
    auto depth = depths_.find(window);
    if (depth == depths_.end()) { // once per window: the panel's window is kept
        const Reply<xcb_get_geometry_reply_t> geometry(
            xcb_get_geometry_reply(c, xcb_get_geometry(c, w), nullptr));
        depth = depths_.emplace(window, geometry ? geometry->depth : 0).first;
    }
    if ((depth->second != 24 && depth->second != 32) ||
        xcb_get_setup(c)->image_byte_order != XCB_IMAGE_ORDER_LSB_FIRST) {
        return;
    }
    // 32-bit pixels, B G R A in memory: what a 24- or 32-bit TrueColor ZPixmap holds.
    const QImage pixels = image.convertToFormat(
        depth->second == 32 ? QImage::Format_ARGB32_Premultiplied : QImage::Format_RGB32);
    const auto width = static_cast<std::uint16_t>(pixels.width());
    const auto height = static_cast<std::uint16_t>(pixels.height());
    const xcb_gcontext_t gc = xcb_generate_id(c);
    xcb_create_gc(c, gc, w, 0, nullptr);
    // As many rows per request as the server takes (a request's length is in 4-byte units).
    const std::size_t limit = xcb_get_maximum_request_length(c) * 4 - 64;
    const std::size_t rowBytes = static_cast<std::size_t>(width) * 4;
    const int rowsPerRequest = std::max<int>(1, static_cast<int>(limit / rowBytes));
    for (int y = 0; y < height; y += rowsPerRequest) {
        const int rows = std::min(rowsPerRequest, height - y);
        xcb_put_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, w, gc, width, static_cast<std::uint16_t>(rows),
                      0, static_cast<std::int16_t>(y), 0, static_cast<std::uint8_t>(depth->second),
                      static_cast<std::uint32_t>(rows * rowBytes), pixels.constScanLine(y));
    }
    xcb_free_gc(c, gc);
    xcb_flush(c);
}

bool X11PanelSupport::isViewable(unsigned long window) {
    const Reply<xcb_get_window_attributes_reply_t> attributes(xcb_get_window_attributes_reply(
        x_->raw(), xcb_get_window_attributes(x_->raw(), static_cast<xcb_window_t>(window)),
        nullptr));
    return attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE;
}

} // namespace hopla::x11
