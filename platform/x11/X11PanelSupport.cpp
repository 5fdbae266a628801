#include "platform/x11/X11PanelSupport.h"

#include "platform/x11/XConnection.h"

#include <QGuiApplication>
#include <QScreen>

#include <algorithm>
#include <cstring>
#include <optional>

#include <sys/ipc.h>
#include <sys/shm.h>
#include <xcb/shm.h>
#include <xcb/xcbext.h>

namespace hopla::x11 {

namespace {

// The smallest rectangle holding every pixel in which two images of one size and format
// differ; empty where they are the same.
QRect changedArea(const QImage& before, const QImage& after) {
    int top = -1;
    int bottom = -1;
    int left = after.width();
    int right = -1;
    const auto rowBytes = static_cast<std::size_t>(after.width()) * 4;
    for (int y = 0; y < after.height(); ++y) {
        const auto* was = reinterpret_cast<const quint32*>(before.constScanLine(y));
        const auto* now = reinterpret_cast<const quint32*>(after.constScanLine(y));
        if (std::memcmp(was, now, rowBytes) == 0) {
            continue;
        }
        top = top < 0 ? y : top;
        bottom = y;
        for (int x = 0; x < left; ++x) {
            if (was[x] != now[x]) {
                left = x;
                break;
            }
        }
        for (int x = after.width() - 1; x > right; --x) {
            if (was[x] != now[x]) {
                right = x;
                break;
            }
        }
    }
    return top < 0 ? QRect() : QRect(QPoint(left, top), QPoint(right, bottom));
}

xcb_connection_t* qtConnection() {
    auto* native =
        qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return native ? native->connection() : nullptr;
}

} // namespace

// A memory segment shared with the X server (MIT-SHM) on Qt's connection. The server reads
// an image out of it only when it handles the put, so the segment is written again only
// after the server has answered a request sent behind the last put.
class X11PanelSupport::SharedImage {
public:
    // Nothing where the server does not offer the extension or cannot attach the segment
    // (a display on another machine).
    static std::unique_ptr<SharedImage> attach(xcb_connection_t* c, std::size_t bytes) {
        const xcb_query_extension_reply_t* extension = xcb_get_extension_data(c, &xcb_shm_id);
        if (!extension || !extension->present) {
            return nullptr;
        }
        const int id = ::shmget(IPC_PRIVATE, bytes, IPC_CREAT | 0600);
        if (id < 0) {
            return nullptr;
        }
        void* address = ::shmat(id, nullptr, 0);
        if (address == reinterpret_cast<void*>(-1)) {
            ::shmctl(id, IPC_RMID, nullptr);
            return nullptr;
        }
        const xcb_shm_seg_t segment = xcb_generate_id(c);
        const Reply<xcb_generic_error_t> refused(
            xcb_request_check(c, xcb_shm_attach_checked(c, segment, id, 1)));
        ::shmctl(id, IPC_RMID, nullptr); // freed once both sides have let go
        if (refused) {
            ::shmdt(address);
            return nullptr;
        }
        return std::unique_ptr<SharedImage>(new SharedImage(c, segment, address, bytes));
    }

    ~SharedImage() {
        if (qtConnection() == c_) { // not after Qt closed its connection
            if (pending_) {
                xcb_discard_reply(c_, pending_->sequence);
            }
            xcb_shm_detach(c_, segment_);
            xcb_flush(c_);
        }
        ::shmdt(address_);
    }
    SharedImage(const SharedImage&) = delete;
    SharedImage& operator=(const SharedImage&) = delete;

    std::size_t size() const { return size_; }

    // Copies the area of the image in and asks the server to draw it in the same place;
    // `pixels` holds 32-bit pixels in the server's order.
    void put(xcb_drawable_t drawable, xcb_gcontext_t gc, const QImage& pixels, QRect area,
             std::uint8_t depth) {
        if (pending_) { // answered long ago unless sessions follow each other within a put
            free(xcb_get_input_focus_reply(c_, *pending_, nullptr));
            pending_.reset();
        }
        const auto rowBytes = static_cast<std::size_t>(pixels.width()) * 4;
        auto* target = static_cast<uchar*>(address_);
        for (int y = area.top(); y <= area.bottom(); ++y) {
            std::memcpy(target + static_cast<std::size_t>(y) * rowBytes, pixels.constScanLine(y),
                        rowBytes);
        }
        xcb_shm_put_image(
            c_, drawable, gc, static_cast<std::uint16_t>(pixels.width()),
            static_cast<std::uint16_t>(pixels.height()), static_cast<std::uint16_t>(area.x()),
            static_cast<std::uint16_t>(area.y()), static_cast<std::uint16_t>(area.width()),
            static_cast<std::uint16_t>(area.height()), static_cast<std::int16_t>(area.x()),
            static_cast<std::int16_t>(area.y()), depth, XCB_IMAGE_FORMAT_Z_PIXMAP, 0, segment_, 0);
        pending_ = xcb_get_input_focus(c_);
    }

private:
    SharedImage(xcb_connection_t* c, xcb_shm_seg_t segment, void* address, std::size_t size)
        : c_(c)
        , segment_(segment)
        , address_(address)
        , size_(size) {}

    xcb_connection_t* c_;
    xcb_shm_seg_t segment_;
    void* address_;
    std::size_t size_;
    std::optional<xcb_get_input_focus_cookie_t> pending_;
};

std::unique_ptr<X11PanelSupport> X11PanelSupport::open(Transfer transfer) {
    auto x = XConnection::open(nullptr, nullptr);
    return x ? std::unique_ptr<X11PanelSupport>(new X11PanelSupport(std::move(x), transfer))
             : nullptr;
}

X11PanelSupport::X11PanelSupport(std::unique_ptr<XConnection> x, Transfer transfer)
    : x_(std::move(x)) {
    recheckCompositing();
    xcb_connection_t* c = qtConnection();
    if (transfer == Transfer::sharedMemoryWhereOffered && c) {
        // Room for a panel as wide as the screen at its device pixel ratio; a larger one
        // gets a new segment.
        const QScreen* screen = QGuiApplication::primaryScreen();
        const qreal ratio = screen ? screen->devicePixelRatio() : 1.0;
        const int width = screen ? screen->geometry().width() : 1920;
        shared_ = SharedImage::attach(c, static_cast<std::size_t>(width * ratio) *
                                             static_cast<std::size_t>(200 * ratio) * 4);
    }
}
bool X11PanelSupport::holdsImages() const {
    xcb_connection_t* c = qtConnection();
    if (!c) {
        return false;
    }
    const xcb_setup_t* setup = xcb_get_setup(c);
    const xcb_screen_t* screen = xcb_setup_roots_iterator(setup).data;
    return setup->image_byte_order == XCB_IMAGE_ORDER_LSB_FIRST && screen &&
           (screen->root_depth == 24 || screen->root_depth == 32);
}

X11PanelSupport::~X11PanelSupport() {
    if (background_.pixmap && qtConnection()) {
        xcb_free_pixmap(qtConnection(), background_.pixmap);
    }
}

void X11PanelSupport::recheckCompositing() {
    // The answer to the question asked at the previous check is taken if it has come, and
    // the question asked again: no wait for the server, and no wakeup when it answers.
    const xcb_atom_t selection = x_->ewmh()->_NET_WM_CM_Sn[x_->screenNumber()];
    if (ownerQuestion_) {
        void* answer = nullptr;
        xcb_generic_error_t* error = nullptr;
        if (!xcb_poll_for_reply(x_->raw(), *ownerQuestion_, &answer, &error)) {
            return; // not answered yet: keep waiting for it
        }
        const Reply<xcb_get_selection_owner_reply_t> owner(
            static_cast<xcb_get_selection_owner_reply_t*>(answer));
        const Reply<xcb_generic_error_t> failed(error);
        compositing_ = owner && owner->owner != XCB_WINDOW_NONE;
    } else { // the first check waits for its answer
        const Reply<xcb_get_selection_owner_reply_t> owner(xcb_get_selection_owner_reply(
            x_->raw(), xcb_get_selection_owner(x_->raw(), selection), nullptr));
        compositing_ = owner && owner->owner != XCB_WINDOW_NONE;
    }
    ownerQuestion_ = xcb_get_selection_owner(x_->raw(), selection).sequence;
    xcb_flush(x_->raw());
}

void X11PanelSupport::setWindowImage(unsigned long window, const QImage& image) {
    xcb_connection_t* c = qtConnection();
    if (!c || image.isNull()) {
        return;
    }
    const auto w = static_cast<xcb_window_t>(window);
    if (background_.window != window) { // once per window: the panel's window is kept
        if (background_.pixmap) {
            xcb_free_pixmap(c, background_.pixmap);
        }
        const Reply<xcb_get_geometry_reply_t> geometry(
            xcb_get_geometry_reply(c, xcb_get_geometry(c, w), nullptr));
        background_ = {window, geometry ? geometry->depth : 0, {}, 0, {}};
    }
    if ((background_.depth != 24 && background_.depth != 32) ||
        xcb_get_setup(c)->image_byte_order != XCB_IMAGE_ORDER_LSB_FIRST) {
        return;
    }
    // 32-bit pixels, B G R A in memory: what a 24- or 32-bit TrueColor ZPixmap holds.
    const QImage pixels = image.convertToFormat(
        background_.depth == 32 ? QImage::Format_ARGB32_Premultiplied : QImage::Format_RGB32);
    const auto width = static_cast<std::uint16_t>(pixels.width());
    const auto height = static_cast<std::uint16_t>(pixels.height());
    const auto depth = static_cast<std::uint8_t>(background_.depth);
    QRect area = pixels.rect();
    if (background_.size != pixels.size()) {
        if (background_.pixmap) {
            xcb_free_pixmap(c, background_.pixmap);
        }
        background_.pixmap = xcb_generate_id(c);
        background_.size = pixels.size();
        xcb_create_pixmap(c, depth, background_.pixmap, w, width, height);
    } else if (background_.shown.format() == pixels.format()) {
        area = changedArea(background_.shown, pixels); // a step changes two tiles
    }
    background_.shown = pixels;
    xcb_change_window_attributes(c, w, XCB_CW_BACK_PIXMAP, &background_.pixmap);
    if (area.isEmpty()) {
        xcb_flush(c);
        return;
    }
    const std::size_t rowBytes = static_cast<std::size_t>(width) * 4;
    const xcb_gcontext_t gc = xcb_generate_id(c);
    xcb_create_gc(c, gc, background_.pixmap, 0, nullptr);
    if (shared_ && shared_->size() < rowBytes * height) {
        shared_ = SharedImage::attach(c, rowBytes * height); // a taller or wider panel
    }
    if (shared_) {
        shared_->put(background_.pixmap, gc, pixels, area, depth);
    } else {
        // The area's rows, as many per request as the server takes (a request's length is
        // in 4-byte units).
        const QImage part = area == pixels.rect() ? pixels : pixels.copy(area);
        const std::size_t partRowBytes = static_cast<std::size_t>(part.width()) * 4;
        const std::size_t limit = xcb_get_maximum_request_length(c) * 4 - 64;
        const int rowsPerRequest = std::max<int>(1, static_cast<int>(limit / partRowBytes));
        for (int y = 0; y < part.height(); y += rowsPerRequest) {
            const int rows = std::min(rowsPerRequest, part.height() - y);
            xcb_put_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, background_.pixmap, gc,
                          static_cast<std::uint16_t>(part.width()),
                          static_cast<std::uint16_t>(rows), static_cast<std::int16_t>(area.x()),
                          static_cast<std::int16_t>(area.y() + y), 0, depth,
                          static_cast<std::uint32_t>(rows * partRowBytes), part.constScanLine(y));
        }
    }
    xcb_free_gc(c, gc);
    // A mapped window shows the new background there now.
    xcb_clear_area(c, 0, w, static_cast<std::int16_t>(area.x()),
                   static_cast<std::int16_t>(area.y()), static_cast<std::uint16_t>(area.width()),
                   static_cast<std::uint16_t>(area.height()));
    xcb_flush(c);
}

QPoint X11PanelSupport::fromServerPixels(QPoint point) {
    for (const QScreen* screen : QGuiApplication::screens()) {
        const QRect geometry = screen->geometry();
        const qreal ratio = screen->devicePixelRatio();
        if (QRect(geometry.topLeft(), geometry.size() * ratio).contains(point)) {
            return geometry.topLeft() + (point - geometry.topLeft()) / ratio;
        }
    }
    return point;
}

bool X11PanelSupport::isViewable(unsigned long window) {
    const Reply<xcb_get_window_attributes_reply_t> attributes(xcb_get_window_attributes_reply(
        x_->raw(), xcb_get_window_attributes(x_->raw(), static_cast<xcb_window_t>(window)),
        nullptr));
    return attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE;
}

} // namespace hopla::x11
