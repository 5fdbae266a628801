#include "core/ApplicationIconCache.h"
#include "tests/support/Files.h"
#include "tests/support/Images.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

QImage solid8(QColor colour) {
    return hopla::testing::solidImage(colour, 8);
}

using hopla::ApplicationIconCache;
using hopla::ApplicationIconIdentity;

struct IconCacheTest : ::testing::Test {
    QTemporaryDir dir;
    QString bundle = dir.filePath("editor.desktop");
    int fileReads = 0;
    ApplicationIconCache cache{[this](const QString&) {
        ++fileReads;
        return solid8(Qt::blue);
    }};
    hopla::WallClockTime launched{std::chrono::seconds(1'700'000'000)};

    void SetUp() override { ASSERT_TRUE(hopla::testing::write(bundle, {})); }
    ApplicationIconIdentity identity(hopla::ProcessId pid, std::optional<QString> location) const {
        return {pid, launched, std::move(location), QString("/usr/bin/editor"), QString("editor")};
    }
};

TEST_F(IconCacheTest, ReadsAnInstalledApplicationsIconOnceAndIgnoresTheFallbackForIt) {
    int fallbacks = 0;
    const auto fallback = [&] {
        ++fallbacks;
        return solid8(Qt::red);
    };
    const auto first = cache.load(identity(10, bundle), fallback);
    const auto second = cache.load(identity(10, bundle), fallback);
    ASSERT_TRUE(first && second);
    EXPECT_EQ(*first, *second);
    EXPECT_EQ(first->pixelColor(0, 0), QColor(Qt::blue));
    EXPECT_EQ(fileReads, 1);
    EXPECT_EQ(fallbacks, 0);

    ApplicationIconCache noFileIcon{[](const QString&) { return QImage(); }};
    EXPECT_EQ(noFileIcon.load(identity(10, bundle), fallback),
              std::nullopt); // on disk: no fallback
    EXPECT_EQ(noFileIcon.size(), 0u);
}

TEST_F(IconCacheTest, MissingOrVanishedLocationsUseTheFallbackAndNothingIsCachedWithoutAnIcon) {
    const auto moved =
        cache.load(identity(11, dir.filePath("gone.desktop")), [] { return solid8(Qt::green); });
    ASSERT_TRUE(moved);
    EXPECT_EQ(moved->pixelColor(0, 0), QColor(Qt::green));
    EXPECT_EQ(cache.load(identity(12, std::nullopt), [] { return QImage(); }), std::nullopt);
    EXPECT_EQ(cache.load(identity(13, std::nullopt), nullptr), std::nullopt);
    EXPECT_EQ(cache.size(), 1u);
    EXPECT_EQ(fileReads, 0);

    // With no file-icon reader an application on disk still gets its own icon.
    ApplicationIconCache ownIcons;
    EXPECT_EQ(
        ownIcons.load(identity(14, bundle), [] { return solid8(Qt::green); })->pixelColor(0, 0),
        QColor(Qt::green));
}

TEST_F(IconCacheTest, ARelaunchIsANewIdentityAndRetainDropsTheOldOne) {
    ASSERT_TRUE(cache.load(identity(10, bundle), nullptr));
    ApplicationIconIdentity relaunched = identity(10, bundle);
    relaunched.launchDate = launched + std::chrono::seconds(60);
    EXPECT_FALSE(relaunched == identity(10, bundle));
    EXPECT_EQ(cache.cached(relaunched), std::nullopt);

    // Identities that differ only in which optional field is present hash apart too.
    ApplicationIconIdentity a(1, std::nullopt, QString("x"), std::nullopt, std::nullopt);
    ApplicationIconIdentity b(1, std::nullopt, std::nullopt, QString("x"), std::nullopt);
    EXPECT_NE(hopla::ApplicationIconIdentityHash{}(a), hopla::ApplicationIconIdentityHash{}(b));

    cache.retain({relaunched});
    EXPECT_EQ(cache.size(), 0u);
    ASSERT_TRUE(cache.load(relaunched, nullptr));
    EXPECT_EQ(fileReads, 2);
    cache.retain({});
    EXPECT_EQ(cache.size(), 0u);
}

} // namespace
