#include "platform/xdg/ThemedIcon.h"

#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QIcon>
#include <QImageReader>
#include <QStandardPaths>

namespace hopla::xdg {

namespace {

QImage readScaled(const QString& path, int size) {
    QImageReader reader(path);
    const QSize natural = reader.size();
    if (natural.isValid() && (natural.width() > size || path.endsWith(QLatin1String(".svg")))) {
        reader.setScaledSize(natural.scaled(size, size, Qt::KeepAspectRatio));
    }
    return reader.read();
}

QStringList pixmapFolders() {
    QStringList folders;
    for (const QString& data :
         QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation)) {
        folders << data + QStringLiteral("/pixmaps");
    }
    folders << QStringLiteral("/usr/share/pixmaps");
    folders.removeDuplicates();
    return folders;
}

} // namespace

QImage themedIcon(const QString& icon, int size) {
    if (icon.isEmpty()) {
        return {};
    }
    if (QFileInfo(icon).isAbsolute()) {
        return readScaled(icon, size);
    }
    if (qobject_cast<QGuiApplication*>(QCoreApplication::instance())) {
        if (QIcon::themeName().isEmpty()) {
            QIcon::setThemeName(QStringLiteral("hicolor"));
        }
        const QIcon themed = QIcon::fromTheme(icon);
        if (!themed.isNull()) {
            if (QImage image = themed.pixmap(size, size).toImage(); !image.isNull()) {
                return image;
            }
        }
    }
    // Old programs install into the pixmaps folders only, by name with or without suffix.
    const QStringList suffixes{QString(), QStringLiteral(".png"), QStringLiteral(".svg"),
                               QStringLiteral(".xpm")};
    for (const QString& folder : pixmapFolders()) {
        for (const QString& suffix : suffixes) {
            const QString path = folder + QLatin1Char('/') + icon + suffix;
            if (QFileInfo(path).isFile()) {
                if (QImage image = readScaled(path, size); !image.isNull()) {
                    return image;
                }
            }
        }
    }
    return {};
}

} // namespace hopla::xdg
