#include "platform/x11/WindowIcon.h"

#include "platform/x11/XConnection.h"

#include <algorithm>

#include <cstring>
#include <optional>

namespace hopla::x11 {

QImage imageFromWmIcon(std::span<const std::uint32_t> data, int wanted) {
    constexpr std::uint32_t maxSide = 1024;
    struct Candidate {
        std::size_t offset;
        int width;
        int height;
    };
    std::optional<Candidate> best;
    const auto better = [wanted](const Candidate& c, const Candidate& current) {
        const bool fits = c.width >= wanted;
        const bool currentFits = current.width >= wanted;
        if (fits != currentFits) {
            return fits;
        }
        return fits ? c.width < current.width : c.width > current.width;
    };
    for (std::size_t i = 0; i + 2 <= data.size();) {
        const std::uint32_t width = data[i];
        const std::uint32_t height = data[i + 1];
        if (width == 0 || height == 0 || width > maxSide || height > maxSide) {
            break;
        }
        const std::size_t pixels = std::size_t{width} * height;
        if (pixels > data.size() - i - 2) {
            break; // truncated
        }
        const Candidate c{i + 2, static_cast<int>(width), static_cast<int>(height)};
        if (!best || better(c, *best)) {
            best = c;
        }
        i += 2 + pixels;
    }
    if (!best) {
        return {};
    }
    QImage image(best->width, best->height, QImage::Format_ARGB32);
    for (int y = 0; y < best->height; ++y) {
        std::memcpy(image.scanLine(y), data.data() + best->offset + std::size_t(y) * best->width,
                    std::size_t(best->width) * 4);
    }
    return image;
}

} // namespace hopla::x11

namespace hopla::x11 {

namespace {

struct PixmapImage {
    int width = 0;
    int height = 0;
    std::uint8_t depth = 0;
    Reply<xcb_get_image_reply_t> image;
};

std::optional<PixmapImage> fetch(XConnection& x, xcb_pixmap_t pixmap) {
    constexpr std::uint16_t maxSide = 1024;
    xcb_generic_error_t* error = nullptr;
    const Reply<xcb_get_geometry_reply_t> geometry(
        xcb_get_geometry_reply(x.raw(), xcb_get_geometry(x.raw(), pixmap), &error));
    const Reply<xcb_generic_error_t> geometryError(error);
    if (!geometry || geometry->width == 0 || geometry->height == 0 || geometry->width > maxSide ||
        geometry->height > maxSide) {
        return std::nullopt;
    }
    error = nullptr;
    Reply<xcb_get_image_reply_t> image(
        xcb_get_image_reply(x.raw(),
                            xcb_get_image(x.raw(), XCB_IMAGE_FORMAT_Z_PIXMAP, pixmap, 0, 0,
                                          geometry->width, geometry->height, ~0u),
                            &error));
    const Reply<xcb_generic_error_t> imageError(error);
    if (!image) {
        return std::nullopt;
    }
    return PixmapImage{geometry->width, geometry->height, geometry->depth, std::move(image)};
}

// Bit (x, y) of a 1-bit Z-pixmap laid out as the server says.
bool bitAt(const xcb_setup_t* setup, const std::uint8_t* data, std::size_t size, int width, int x,
           int y) {
    const int pad = setup->bitmap_format_scanline_pad;
    const std::size_t stride = static_cast<std::size_t>((width + pad - 1) / pad * pad / 8);
    const std::size_t byte = std::size_t(y) * stride + std::size_t(x) / 8;
    if (byte >= size) {
        return false;
    }
    const int bit = x % 8;
    const bool lsbFirst = setup->bitmap_format_bit_order == XCB_IMAGE_ORDER_LSB_FIRST;
    return (data[byte] >> (lsbFirst ? bit : 7 - bit)) & 1;
}

} // namespace

QImage readPixmapIcon(XConnection& x, xcb_window_t window) {
    const auto hints = x.cardinals(window, XCB_ATOM_WM_HINTS, XCB_ATOM_WM_HINTS, 36);
    constexpr std::uint32_t iconPixmapHint = 1 << 2;
    constexpr std::uint32_t iconMaskHint = 1 << 5;
    if (!hints || hints->size() < 8 || !((*hints)[0] & iconPixmapHint) ||
        (*hints)[3] == XCB_PIXMAP_NONE) {
        return {};
    }
    const auto icon = fetch(x, (*hints)[3]);
    if (!icon) {
        return {};
    }
    const xcb_setup_t* setup = xcb_get_setup(x.raw());
    const auto* data = xcb_get_image_data(icon->image.get());
    const auto size =
        static_cast<std::size_t>(std::max(0, xcb_get_image_data_length(icon->image.get())));
    QImage image(icon->width, icon->height, QImage::Format_ARGB32);
    if (icon->depth == 24 || icon->depth == 32) {
        const std::size_t needed = std::size_t(icon->width) * icon->height * 4; // 32 bits a pixel
        if (size < needed) {
            return {};
        }
        for (int y = 0; y < icon->height; ++y) {
            auto* line = reinterpret_cast<std::uint32_t*>(image.scanLine(y));
            std::memcpy(line, data + std::size_t(y) * icon->width * 4,
                        std::size_t(icon->width) * 4);
            for (int x0 = 0; x0 < icon->width; ++x0) {
                line[x0] |= 0xff000000u; // the pixmap has no alpha of its own
            }
        }
    } else if (icon->depth == 1) {
        for (int y = 0; y < icon->height; ++y) {
            auto* line = reinterpret_cast<std::uint32_t*>(image.scanLine(y));
            for (int x0 = 0; x0 < icon->width; ++x0) {
                line[x0] = bitAt(setup, data, size, icon->width, x0, y) ? 0xff000000u : 0xffffffffu;
            }
        }
    } else {
        return {};
    }
    if (((*hints)[0] & iconMaskHint) && (*hints)[7] != XCB_PIXMAP_NONE) {
        const auto mask = fetch(x, (*hints)[7]);
        if (mask && mask->depth == 1 && mask->width == icon->width &&
            mask->height == icon->height) {
            const auto* maskData = xcb_get_image_data(mask->image.get());
            const auto maskSize =
                static_cast<std::size_t>(std::max(0, xcb_get_image_data_length(mask->image.get())));
            for (int y = 0; y < icon->height; ++y) {
                auto* line = reinterpret_cast<std::uint32_t*>(image.scanLine(y));
                for (int x0 = 0; x0 < icon->width; ++x0) {
                    if (!bitAt(setup, maskData, maskSize, icon->width, x0, y)) {
                        line[x0] = 0; // transparent
                    }
                }
            }
        }
    }
    return image;
}

} // namespace hopla::x11
