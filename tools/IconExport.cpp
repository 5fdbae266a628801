// Writes Hopla's application icon for release folders and packages: a PNG of the given size,
// or a scalable SVG when the file name ends in .svg.
//   hopla-icon OUT.png [PIXELS]
//   hopla-icon OUT.svg
#include "app/HoplaIcons.h"

#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QSvgGenerator>

#include <cstdio>

int main(int argc, char* argv[]) {
    if (argc < 2 || argc > 3) {
        std::fprintf(stderr, "usage: %s OUT.png [PIXELS] | OUT.svg\n", argv[0]);
        return 2;
    }
    qputenv("QT_QPA_PLATFORM", "offscreen"); // drawing needs no display
    QGuiApplication application(argc, argv);
    const QString out = QString::fromLocal8Bit(argv[1]);
    if (out.endsWith(QLatin1String(".svg"))) {
        QSvgGenerator svg;
        svg.setFileName(out);
        svg.setSize(QSize(512, 512));
        svg.setViewBox(QRect(0, 0, 512, 512));
        svg.setTitle(QStringLiteral("Hopla"));
        QPainter painter;
        if (!painter.begin(&svg)) {
            std::fprintf(stderr, "hopla-icon: cannot write %s\n", argv[1]);
            return 1;
        }
        hopla::paintHoplaIcon(painter);
        return painter.end() ? 0 : 1;
    }
    const int pixels = argc == 3 ? QByteArray(argv[2]).toInt() : 512;
    if (pixels < 16 || pixels > 1024) {
        std::fprintf(stderr, "hopla-icon: PIXELS must be between 16 and 1024\n");
        return 2;
    }
    const QImage icon = hopla::hoplaBaseIcon().scaled(pixels, pixels, Qt::IgnoreAspectRatio,
                                                      Qt::SmoothTransformation);
    if (!icon.save(out, "PNG")) {
        std::fprintf(stderr, "hopla-icon: cannot write %s\n", argv[1]);
        return 1;
    }
    return 0;
}
