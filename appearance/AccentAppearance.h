#pragma once

#include "appearance/AccentPalette.h"

#include <QImage>
#include <QObject>
#include <QSettings>

#include <functional>
#include <map>

namespace hopla {

// The chosen accent palette, stored among the user's settings, and the application icon
// recoloured for each palette (built once per palette and run). Main thread only.
class AccentAppearance : public QObject {
    Q_OBJECT
public:
    using IconBuilder = std::function<QImage(AccentPalette)>;
    using IconSink = std::function<void(const QImage&)>;

    // Reads the stored choice; nothing stored, or a text naming no palette, means the default.
    // The sink receives the application icon to show (by default, every window's icon).
    AccentAppearance(AccentPalette defaultPalette, QString defaultsKey, QSettings& defaults,
                     IconBuilder iconBuilder, IconSink applicationIconSink = {});

    // The palette stored under the key, or the default, without creating an appearance.
    static AccentPalette current(AccentPalette defaultPalette, const QString& defaultsKey,
                                 const QSettings& defaults);

    AccentPalette selection() const { return selection_; }
    QColor accent() const { return color(selection_); }
    QImage applicationIcon() { return icon(selection_); }
    QImage icon(AccentPalette palette);

    // Stores and shows a new choice; choosing the current palette does nothing.
    void select(AccentPalette palette);
    // Shows the current palette's icon, whatever was shown before.
    void applyApplicationIcon();

signals:
    void selectionChanged(AccentPalette palette);

private:
    AccentPalette selection_;
    QString defaultsKey_;
    QSettings& defaults_;
    IconBuilder iconBuilder_;
    IconSink iconSink_;
    std::map<AccentPalette, QImage> icons_;
};

} // namespace hopla
