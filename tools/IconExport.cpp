// Writes Hopla's application icon as PNG files, for release folders and packages:
//   hopla-icon OUT.png [PIXELS]
#include "app/HoplaIcons.h"

#include <QGuiApplication>
#include <QImage>

#include <cstdio>

int main(int argc, char* argv[]) {
    if (argc < 2 || argc > 3) {
        std::fprintf(stderr, "usage: %s OUT.png [PIXELS]\n", argv[0]);
        return 2;
    }
    qputenv("QT_QPA_PLATFORM", "offscreen"); // drawing needs no display
    QGuiApplication application(argc, argv);
    const int pixels = argc == 3 ? QByteArray(argv[2]).toInt() : 512;
    if (pixels < 16 || pixels > 1024) {
        std::fprintf(stderr, "hopla-icon: PIXELS must be between 16 and 1024\n");
        return 2;
    }
    const QImage icon = hopla::hoplaBaseIcon().scaled(pixels, pixels, Qt::IgnoreAspectRatio,
                                                      Qt::SmoothTransformation);
    if (!icon.save(QString::fromLocal8Bit(argv[1]), "PNG")) {
        std::fprintf(stderr, "hopla-icon: cannot write %s\n", argv[1]);
        return 1;
    }
    return 0;
}
