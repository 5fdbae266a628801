// hopla-screenshot PATH: saves what the X server shows on the first screen as a PNG.
//
// One GetImage on the root window reads the screen as it is composed, shaped windows
// included. (xwd reads windows one by one when the screen has several visuals and then
// fills a shaped window's cut corners with its unpainted pixels.)
#include "platform/x11/XConnection.h"

#include <QImage>

#include <cstdio>
#include <cstring>
#include <string>

int main(int argc, char** argv) {
    if (argc != 2 || std::strcmp(argv[1], "--help") == 0) {
        std::fprintf(stderr, "usage: hopla-screenshot PATH.png\n");
        return 2;
    }
    std::string error;
    const auto x = hopla::x11::XConnection::open(nullptr, &error);
    if (!x) {
        std::fprintf(stderr, "hopla-screenshot: %s\n", error.c_str());
        return 1;
    }
    const xcb_setup_t* setup = xcb_get_setup(x->raw());
    auto screens = xcb_setup_roots_iterator(setup);
    for (int i = 0; i < x->screenNumber(); ++i) {
        xcb_screen_next(&screens);
    }
    const xcb_screen_t* screen = screens.data;
    // Read as QImage's RGB32: 32 bits a pixel, blue in the lowest byte.
    if (screen->root_depth != 24 || setup->image_byte_order != XCB_IMAGE_ORDER_LSB_FIRST) {
        std::fprintf(stderr, "hopla-screenshot: only 24-bit little-endian screens are supported\n");
        return 1;
    }
    const hopla::x11::Reply<xcb_get_image_reply_t> image(
        xcb_get_image_reply(x->raw(),
                            xcb_get_image(x->raw(), XCB_IMAGE_FORMAT_Z_PIXMAP, x->root(), 0, 0,
                                          screen->width_in_pixels, screen->height_in_pixels, ~0u),
                            nullptr));
    const auto width = screen->width_in_pixels;
    const auto height = screen->height_in_pixels;
    if (!image || xcb_get_image_data_length(image.get()) < width * height * 4) {
        std::fprintf(stderr, "hopla-screenshot: the X server did not send the screen\n");
        return 1;
    }
    const QImage view(xcb_get_image_data(image.get()), width, height, width * 4,
                      QImage::Format_RGB32);
    if (!view.copy().save(QString::fromLocal8Bit(argv[1]), "PNG")) {
        std::fprintf(stderr, "hopla-screenshot: cannot write %s\n", argv[1]);
        return 1;
    }
    return 0;
}
