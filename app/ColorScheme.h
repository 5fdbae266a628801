#pragma once

#include "app/Preferences.h"

#include <QPalette>

namespace hopla {

// Whether the desktop asks applications for dark colours (the desktop portal's
// colour-scheme setting; GTK_THEME ending in ":dark" where there is no portal).
bool desktopPrefersDark();

// The Fusion palettes Hopla draws its windows in.
QPalette lightPalette();
QPalette darkPalette();

// Draws the whole application light, dark, or as the desktop prefers.
void applyAppearance(AppAppearance appearance, bool desktopDark);

} // namespace hopla
