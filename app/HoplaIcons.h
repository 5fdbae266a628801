#pragma once

#include "appearance/AccentAppearance.h"

#include <QColor>
#include <QImage>
#include <QPainterPath>
#include <QSettings>

#include <memory>

namespace hopla {

// The tray's rabbit head: a 20-unit design (head, two ears, clear eyes).
struct RabbitMenuIcon {
    // The head and ears in the design's units, y growing downwards, within 2…18.
    static QPainterPath silhouette();
    // The eyes, punched out of the silhouette.
    static QPainterPath eyes();
    // The icon in one colour on transparency, `pixels` square (20 design units across).
    static QImage image(const QColor& ink, int pixels);
};

// Hopla's application icon as drawn here: a blue (hue 0.64) rounded square with the white
// rabbit head, 512 pixels square. Recolouring its blue gives each palette's icon.
QImage hoplaBaseIcon();
// Draws that icon, 512 units square, with any painter (an image, an SVG file).
void paintHoplaIcon(QPainter& painter);
inline constexpr double hoplaBaseHue = 0.64;

struct HoplaAppearance {
    // The application's appearance kit: ocean by default, stored under the standard key,
    // each palette's icon recoloured from the base icon at 512 pixels.
    static std::unique_ptr<AccentAppearance> make(QSettings& defaults,
                                                  AccentAppearance::IconSink sink = {});
};

} // namespace hopla
