#include "appearance/AccentPalette.h"

#include <QLocale>

namespace hopla {

namespace {

struct PaletteInfo {
    const char* raw;
    double red, green, blue;
    const char* english;
    const char* simplified;
    const char* traditional;
};

constexpr std::array<PaletteInfo, 6> palettes{{
    {"terracotta", 0.706, 0.357, 0.263, "Terracotta", "陶土", "陶土"},
    {"coral", 0.835, 0.267, 0.302, "Coral", "珊瑚", "珊瑚"},
    {"amber", 0.706, 0.424, 0.102, "Amber", "琥珀", "琥珀"},
    {"forest", 0.161, 0.455, 0.345, "Forest", "森林", "森林"},
    {"ocean", 0.125, 0.42, 0.682, "Ocean", "海蓝", "海藍"},
    {"violet", 0.408, 0.302, 0.655, "Violet", "紫罗兰", "紫羅蘭"},
}};

const PaletteInfo& info(AccentPalette palette) {
    return palettes[static_cast<std::size_t>(palette)];
}

} // namespace

AppearanceLanguage appearanceLanguageFrom(const QString& identifier) {
    return textLanguageOf(identifier == QLatin1String("system") ? firstPreferredLanguage()
                                                                : identifier);
}

QString rawValue(AccentPalette palette) {
    return QString::fromLatin1(info(palette).raw);
}

std::optional<AccentPalette> accentPaletteFromRaw(const QString& raw) {
    for (const AccentPalette palette : allAccentPalettes) {
        if (raw == QLatin1String(info(palette).raw)) {
            return palette;
        }
    }
    return std::nullopt;
}

QColor color(AccentPalette palette) {
    const PaletteInfo& p = info(palette);
    return QColor::fromRgbF(static_cast<float>(p.red), static_cast<float>(p.green),
                            static_cast<float>(p.blue));
}

QString title(AccentPalette palette, const QString& languageIdentifier) {
    const PaletteInfo& p = info(palette);
    switch (appearanceLanguageFrom(languageIdentifier)) {
    case AppearanceLanguage::english:
        return QString::fromUtf8(p.english);
    case AppearanceLanguage::simplifiedChinese:
        return QString::fromUtf8(p.simplified);
    case AppearanceLanguage::traditionalChinese:
        return QString::fromUtf8(p.traditional);
    }
    return QString::fromUtf8(p.english);
}

} // namespace hopla
