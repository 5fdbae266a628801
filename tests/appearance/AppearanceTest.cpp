#include "appearance/AccentAppearance.h"
#include "appearance/IconRecoloring.h"
#include "tests/support/Images.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

using hopla::AccentPalette;
using hopla::testing::solidImage;

struct AppearanceStore : ::testing::Test {
    QTemporaryDir dir;
    QSettings settings{dir.filePath("hopla.ini"), QSettings::IniFormat};
    int builds = 0;
    std::vector<QImage> shown;
    std::unique_ptr<hopla::AccentAppearance> make() {
        return std::make_unique<hopla::AccentAppearance>(
            AccentPalette::ocean, hopla::accentPaletteDefaultsKey, settings,
            [this](AccentPalette p) {
                ++builds;
                return solidImage(hopla::color(p), 2);
            },
            [this](const QImage& image) { shown.push_back(image); });
    }
};

TEST_F(AppearanceStore, BadStoredValuesFallBackAndSelectingTheSamePaletteChangesNothing) {
    for (const auto palette : hopla::allAccentPalettes) { // each stored under a name of its own
        EXPECT_EQ(hopla::accentPaletteFromRaw(hopla::rawValue(palette)), palette);
    }
    settings.setValue(hopla::accentPaletteDefaultsKey, "Forest"); // names are case-sensitive
    EXPECT_EQ(make()->selection(), AccentPalette::ocean);
    settings.setValue(hopla::accentPaletteDefaultsKey, 42);
    EXPECT_EQ(make()->selection(), AccentPalette::ocean);
    settings.remove(hopla::accentPaletteDefaultsKey);

    auto appearance = make();
    appearance->select(AccentPalette::ocean);
    EXPECT_FALSE(settings.contains(hopla::accentPaletteDefaultsKey));
    EXPECT_TRUE(shown.empty());

    appearance->select(AccentPalette::forest);
    EXPECT_EQ(settings.value(hopla::accentPaletteDefaultsKey).toString(), "forest");
    ASSERT_EQ(shown.size(), 1u);
    EXPECT_EQ(shown.back().pixelColor(0, 0).rgb(), hopla::color(AccentPalette::forest).rgb());
    appearance->select(AccentPalette::ocean);
    appearance->select(AccentPalette::forest); // from the cache: built once per palette
    EXPECT_EQ(builds, 2);
    EXPECT_EQ(make()->selection(), AccentPalette::forest);
}

double hueOf(const QImage& image) {
    const QColor c = image.pixelColor(1, 1);
    return hopla::rgbToHueSaturation(c.redF(), c.greenF(), c.blueF()).hue;
}

TEST(IconRecoloring, PixelsNearTheBaseHueTakeTheTargetHueKeepingPartOfTheirOffsetGreysStay) {
    const QColor target = hopla::color(AccentPalette::coral);
    const double targetHue =
        hopla::rgbToHueSaturation(target.redF(), target.greenF(), target.blueF()).hue;
    const auto recolour = [&](double hue, double base = 0.64) {
        return hopla::replacingDominantHue(
            solidImage(QColor::fromHsvF(static_cast<float>(hue), 0.8f, 0.9f), 4), base, target, 4);
    };
    EXPECT_NEAR(hueOf(recolour(0.64)), targetHue, 0.005);
    EXPECT_NEAR(hueOf(recolour(0.41)), std::fmod(targetHue - 0.0414 + 1, 1.0), 0.005);
    const QImage outside = solidImage(QColor::fromHsvF(0.40f, 0.8f, 0.9f), 4);
    EXPECT_EQ(hopla::replacingDominantHue(outside, 0.64, target, 4).pixelColor(1, 1),
              outside.pixelColor(1, 1));
    // Across the wrap: 0.95 against a base of 0.05 is 0.10 away, so it is recoloured.
    EXPECT_NEAR(hueOf(recolour(0.95, 0.05)), std::fmod(targetHue - 0.018 + 1, 1.0), 0.005);

    // Transparent and grey pixels stay; the result has the asked size.
    const QImage grey = solidImage(QColor(128, 128, 140), 4);
    EXPECT_EQ(hopla::replacingDominantHue(grey, 0.64, target, 4).pixelColor(2, 2),
              grey.pixelColor(2, 2));
    const QImage clear = solidImage(QColor(30, 80, 200, 2), 4);
    EXPECT_EQ(hopla::replacingDominantHue(clear, 0.64, target, 4).pixelColor(2, 2).alpha(), 2);
    EXPECT_EQ(hopla::replacingDominantHue(grey, 0.64, target, 16).size(), QSize(16, 16));
    EXPECT_TRUE(hopla::replacingDominantHue(QImage(), 0.64, target, 16).isNull());
}

} // namespace
