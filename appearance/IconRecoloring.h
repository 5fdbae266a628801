#pragma once

#include <QColor>
#include <QImage>

namespace hopla {

// Turns an icon's dominant hue into another colour's: every clearly saturated pixel whose
// hue lies within 0.24 of a turn of `baseHue` takes the target's hue, keeping 18% of its
// own distance from the base; greys, other hues and nearly transparent pixels stay.
// The result is size × size. A null source comes back as it is.
QImage replacingDominantHue(const QImage& source, double baseHue, const QColor& target, int size);

// Hue (a fraction of a turn, in [0, 1)) and saturation of a colour with components in [0, 1].
struct HueSaturation {
    double hue = 0;
    double saturation = 0;
};
HueSaturation rgbToHueSaturation(double red, double green, double blue);

} // namespace hopla
