#pragma once

#include "app/Preferences.h"

#include <QDBusVariant>

#include <QObject>
#include <QPalette>

namespace hopla {

// Whether the desktop asks applications for dark colours (the desktop portal's
// colour-scheme setting; GTK_THEME ending in ":dark" where there is no portal).
bool desktopPrefersDark();

// Follows the desktop's colour-scheme preference while Hopla runs: the settings portal
// announces every change on the session bus.
class DesktopColorScheme : public QObject {
    Q_OBJECT
public:
    DesktopColorScheme();
    bool dark() const { return dark_; }

signals:
    void changed(bool dark);

private slots:
    void settingChanged(const QString& group, const QString& key, const QDBusVariant& value);

private:
    bool dark_ = false;
};

// The Fusion palettes Hopla draws its windows in.
QPalette lightPalette();
QPalette darkPalette();

// Draws the whole application light, dark, or as the desktop prefers.
void applyAppearance(AppAppearance appearance, bool desktopDark);

} // namespace hopla
