#include "platform/x11/WindowIcon.h"

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
