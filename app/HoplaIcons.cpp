#include "app/HoplaIcons.h"

#include "appearance/IconRecoloring.h"

#include <QLinearGradient>
#include <QPainter>

namespace hopla {

namespace {

// The design is drawn y-up, moved in by 2 and scaled by 0.8 so it lands within 2…18;
// this maps it onto Qt's y-down 20 × 20 square.
const QTransform designToIcon(0.8, 0, 0, -0.8, 2, 18);

} // namespace

QPainterPath RabbitMenuIcon::silhouette() {
    QPainterPath head;
    head.addEllipse(QRectF(3, 1, 14, 12));

    QPainterPath leftEar(QPointF(5, 10));
    leftEar.cubicTo(QPointF(2, 16), QPointF(2, 20), QPointF(4, 19));
    leftEar.cubicTo(QPointF(7, 20), QPointF(9, 15), QPointF(9, 11));
    leftEar.closeSubpath();

    QPainterPath rightEar(QPointF(11, 11));
    rightEar.cubicTo(QPointF(11, 16), QPointF(12, 20), QPointF(15, 19));
    rightEar.cubicTo(QPointF(18, 19), QPointF(19, 17), QPointF(18, 15));
    rightEar.cubicTo(QPointF(17, 13), QPointF(15, 14), QPointF(15, 16));
    rightEar.lineTo(QPointF(15, 11));
    rightEar.closeSubpath();

    QPainterPath all;
    all.setFillRule(Qt::WindingFill);
    all.addPath(head);
    all.addPath(leftEar);
    all.addPath(rightEar);
    return designToIcon.map(all);
}

QPainterPath RabbitMenuIcon::eyes() {
    QPainterPath eyes;
    eyes.addEllipse(QRectF(6.5, 6.5, 2, 2.5));
    eyes.addEllipse(QRectF(11.5, 6.5, 2, 2.5));
    return designToIcon.map(eyes);
}

QImage RabbitMenuIcon::image(const QColor& ink, int pixels) {
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(pixels / 20.0, pixels / 20.0);
    painter.fillPath(silhouette(), ink);
    painter.setCompositionMode(QPainter::CompositionMode_Clear);
    painter.fillPath(eyes(), Qt::transparent);
    return image;
}

void paintHoplaIcon(QPainter& painter) {
    constexpr int size = 512;
    painter.setRenderHint(QPainter::Antialiasing);
    QLinearGradient blue(0, 0, 0, size);
    blue.setColorAt(0, QColor::fromHsvF(static_cast<float>(hoplaBaseHue), 0.55f, 1.0f));
    blue.setColorAt(1, QColor::fromHsvF(static_cast<float>(hoplaBaseHue), 0.85f, 0.80f));
    painter.setPen(Qt::NoPen);
    painter.setBrush(blue);
    painter.drawRoundedRect(QRectF(24, 24, size - 48, size - 48), 104, 104);
    // The rabbit in white, its eyes showing the blue beneath.
    painter.translate(76, 66);
    painter.scale(360 / 20.0, 360 / 20.0);
    painter.fillPath(RabbitMenuIcon::silhouette().subtracted(RabbitMenuIcon::eyes()), Qt::white);
}

QImage hoplaBaseIcon() {
    QImage icon(512, 512, QImage::Format_ARGB32_Premultiplied);
    icon.fill(Qt::transparent);
    QPainter painter(&icon);
    paintHoplaIcon(painter);
    return icon;
}

std::unique_ptr<AccentAppearance> HoplaAppearance::make(QSettings& defaults,
                                                        AccentAppearance::IconSink sink) {
    return std::make_unique<AccentAppearance>(
        AccentPalette::ocean, QString::fromLatin1(accentPaletteDefaultsKey), defaults,
        [base = hoplaBaseIcon()](AccentPalette palette) {
            return replacingDominantHue(base, hoplaBaseHue, color(palette), 512);
        },
        std::move(sink));
}

} // namespace hopla
