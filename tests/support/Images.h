#pragma once

#include <QColor>
#include <QImage>

namespace hopla::testing {

// A square image of one colour, as a stand-in icon.
inline QImage solidImage(QColor colour, int side = 80) {
    QImage image(side, side, QImage::Format_ARGB32);
    image.fill(colour);
    return image;
}

} // namespace hopla::testing
