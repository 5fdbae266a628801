#pragma once

#include <QImage>
#include <QString>

namespace hopla::xdg {

// The image a desktop entry's Icon key names, at about `size` pixels: an absolute file, a
// name in the user's icon theme or hicolor (SVG included, through Qt's SVG plugins), else
// a file of that name in the legacy pixmaps folders ("mini.xterm", "speedcrunch.png").
// A null image when none is found. Needs a QGuiApplication for themes.
QImage themedIcon(const QString& icon, int size);

} // namespace hopla::xdg
