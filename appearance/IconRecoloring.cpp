#include "appearance/IconRecoloring.h"

#include <QPainter>

#include <algorithm>
#include <cmath>

namespace hopla {

namespace {

double wrapToTurn(double hue) {
    double fraction = std::fmod(hue, 1.0); // keeps the sign
    return fraction < 0 ? fraction + 1.0 : fraction;
}

struct Rgb {
    double r, g, b;
};

Rgb hsvToRgb(double hue, double saturation, double value) {
    const double scaled = 6.0 * hue;
    const double whole = std::floor(scaled);
    const int sector = static_cast<int>(std::fmod(whole, 6.0) + 6) % 6;
    const double f = scaled - whole;
    const double p = value * (1 - saturation);
    const double q = value * (1 - saturation * f);
    const double t = value * (1 - saturation * (1 - f));
    switch (sector) {
    case 0:
        return {value, t, p};
    case 1:
        return {q, value, p};
    case 2:
        return {p, value, t};
    case 3:
        return {p, q, value};
    case 4:
        return {t, p, value};
    default:
        return {value, p, q};
    }
}

std::uint8_t premultiplied(double alpha, double component) {
    const double scaled = std::round(alpha * component * 255.0); // halves away from zero
    return static_cast<std::uint8_t>(std::clamp(scaled, 0.0, 255.0));
}

} // namespace

HueSaturation rgbToHueSaturation(double red, double green, double blue) {
    const double max = std::max({red, green, blue});
    const double min = std::min({red, green, blue});
    const double delta = max - min;
    if (delta <= 0) {
        return {0, 0};
    }
    double h = 0;
    if (max == red) {
        h = std::fmod((green - blue) / delta, 6.0);
    } else if (max == green) {
        h = (blue - red) / delta + 2;
    } else {
        h = (red - green) / delta + 4;
    }
    return {wrapToTurn(h / 6.0), delta / max};
}

QImage replacingDominantHue(const QImage& source, double baseHue, const QColor& target, int size) {
    if (source.isNull() || size <= 0) {
        return source;
    }
    // Premultiplied RGBA bytes, R G B A in memory, the source scaled to fill the square.
    QImage canvas(size, size, QImage::Format_RGBA8888_Premultiplied);
    canvas.fill(Qt::transparent);
    {
        QPainter painter(&canvas);
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.drawImage(QRect(0, 0, size, size), source);
    }
    const QColor targetRgb = target.toRgb();
    const HueSaturation goal =
        rgbToHueSaturation(targetRgb.redF(), targetRgb.greenF(), targetRgb.blueF());

    for (int y = 0; y < size; ++y) {
        std::uint8_t* pixel = canvas.scanLine(y);
        for (int x = 0; x < size; ++x, pixel += 4) {
            const double a = pixel[3] / 255.0;
            if (a <= 0.01) {
                continue;
            }
            const double r = std::min(pixel[0] / 255.0 / a, 1.0);
            const double g = std::min(pixel[1] / 255.0 / a, 1.0);
            const double b = std::min(pixel[2] / 255.0 / a, 1.0);
            const double value = std::max({r, g, b});
            const HueSaturation own = rgbToHueSaturation(r, g, b);
            double d = own.hue - baseHue;
            if (d > 0.5) {
                d -= 1;
            }
            if (d < -0.5) {
                d += 1;
            }
            if (own.saturation <= 0.18 || std::abs(d) >= 0.24) {
                continue;
            }
            const double hue = wrapToTurn(goal.hue + 0.18 * d);
            const double saturation = std::max(0.82 * own.saturation, 0.72 * goal.saturation);
            const Rgb rgb = hsvToRgb(hue, saturation, value);
            pixel[0] = premultiplied(a, rgb.r);
            pixel[1] = premultiplied(a, rgb.g);
            pixel[2] = premultiplied(a, rgb.b);
        }
    }
    return canvas;
}

} // namespace hopla
