#include "core/ApplicationIconCache.h"
#include "tests/support/Images.h"

#include <gtest/gtest.h>

namespace {

using hopla::ApplicationIconCache;
using hopla::ApplicationIconIdentity;

struct IconCacheTest : ::testing::Test {
    ApplicationIconCache cache;
    hopla::WallClockTime launched{std::chrono::seconds(1'700'000'000)};
    int fallbacks = 0;

    ApplicationIconIdentity identity(hopla::AppHandle handle) const {
        return {handle, launched, QString("/usr/share/applications/editor.desktop"),
                QString("/usr/bin/editor"), QString("editor")};
    }
    std::function<QImage()> counted(QColor colour) {
        return [this, colour] {
            ++fallbacks;
            return hopla::testing::solidImage(colour, 8);
        };
    }
};

TEST_F(IconCacheTest, AnIconIsAskedForOnceAndNothingIsCachedWithoutOne) {
    const auto first = cache.load(identity(10), counted(Qt::blue));
    const auto second = cache.load(identity(10), counted(Qt::red));
    ASSERT_TRUE(first && second);
    EXPECT_EQ(second->pixelColor(0, 0), QColor(Qt::blue));
    EXPECT_EQ(fallbacks, 1);
    EXPECT_EQ(cache.load(identity(12), [] { return QImage(); }), std::nullopt);
    EXPECT_EQ(cache.load(identity(13), nullptr), std::nullopt);
    EXPECT_EQ(cache.size(), 1u);
}

TEST_F(IconCacheTest, ARelaunchIsANewIdentityAndRetainDropsTheOldOne) {
    ASSERT_TRUE(cache.load(identity(10), counted(Qt::blue)));
    ApplicationIconIdentity relaunched = identity(10);
    relaunched.launchDate = launched + std::chrono::seconds(60);
    EXPECT_FALSE(relaunched == identity(10));
    EXPECT_EQ(cache.cached(relaunched), std::nullopt);

    // Identities that differ only in which optional field is present hash apart too.
    ApplicationIconIdentity a(1, std::nullopt, QString("x"), std::nullopt, std::nullopt);
    ApplicationIconIdentity b(1, std::nullopt, std::nullopt, QString("x"), std::nullopt);
    EXPECT_NE(hopla::ApplicationIconIdentityHash{}(a), hopla::ApplicationIconIdentityHash{}(b));

    cache.retain({relaunched});
    EXPECT_EQ(cache.size(), 0u);
    ASSERT_TRUE(cache.load(relaunched, counted(Qt::blue)));
    EXPECT_EQ(fallbacks, 2);
    cache.retain({});
    EXPECT_EQ(cache.size(), 0u);
}

} // namespace
