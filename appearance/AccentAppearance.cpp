#include "appearance/AccentAppearance.h"

#include <QGuiApplication>
#include <QIcon>
#include <QPixmap>

namespace hopla {

AccentPalette AccentAppearance::current(AccentPalette defaultPalette, const QString& defaultsKey,
                                        const QSettings& defaults) {
    const QVariant stored = defaults.value(defaultsKey);
    if (stored.typeId() != QMetaType::QString) {
        return defaultPalette;
    }
    return accentPaletteFromRaw(stored.toString()).value_or(defaultPalette);
}

AccentAppearance::AccentAppearance(AccentPalette defaultPalette, QString defaultsKey,
                                   QSettings& defaults, IconBuilder iconBuilder,
                                   IconSink applicationIconSink)
    : selection_(current(defaultPalette, defaultsKey, defaults))
    , defaultsKey_(std::move(defaultsKey))
    , defaults_(defaults)
    , iconBuilder_(std::move(iconBuilder))
    , iconSink_(std::move(applicationIconSink)) {
    if (!iconSink_) {
        iconSink_ = [](const QImage& image) {
            if (qobject_cast<QGuiApplication*>(QCoreApplication::instance())) {
                QGuiApplication::setWindowIcon(QIcon(QPixmap::fromImage(image)));
            }
        };
    }
}

QImage AccentAppearance::icon(AccentPalette palette) {
    if (const auto it = icons_.find(palette); it != icons_.end()) {
        return it->second;
    }
    QImage built = iconBuilder_ ? iconBuilder_(palette) : QImage();
    icons_.emplace(palette, built);
    return built;
}

void AccentAppearance::select(AccentPalette palette) {
    if (palette == selection_) {
        return;
    }
    defaults_.setValue(defaultsKey_, rawValue(palette));
    selection_ = palette;
    emit selectionChanged(palette);
    iconSink_(icon(palette));
}

void AccentAppearance::applyApplicationIcon() {
    iconSink_(icon(selection_));
}

} // namespace hopla
