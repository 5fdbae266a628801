#pragma once

#include "platform/UserLanguage.h"

#include <QColor>
#include <QString>

#include <array>
#include <optional>

namespace hopla {

// The kit's three languages, chosen from a language identifier.
using AppearanceLanguage = TextLanguage;

// Picks the language for an identifier such as "zh-Hant-TW", or "system" for the user's
// first preferred language (English when there is none).
AppearanceLanguage appearanceLanguageFrom(const QString& identifier);

// The six accent colours the user chooses from, in picker order.
enum class AccentPalette { terracotta, coral, amber, forest, ocean, violet };

inline constexpr std::array<AccentPalette, 6> allAccentPalettes{
    AccentPalette::terracotta, AccentPalette::coral, AccentPalette::amber,
    AccentPalette::forest,     AccentPalette::ocean, AccentPalette::violet};

// Where the choice is stored among the user's settings.
inline constexpr const char* accentPaletteDefaultsKey = "appearance.accentPalette";

// The stored text of a palette ("ocean"), and back; the match is case-sensitive.
QString rawValue(AccentPalette palette);
std::optional<AccentPalette> accentPaletteFromRaw(const QString& raw);

QColor color(AccentPalette palette);
// The palette's title in the language of the identifier ("system" by default).
QString title(AccentPalette palette, const QString& languageIdentifier = QStringLiteral("system"));

} // namespace hopla
