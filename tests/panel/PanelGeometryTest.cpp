#include "core/PanelGeometry.h"

#include <gtest/gtest.h>

namespace {

using hopla::panelGeometry;
using hopla::ScreenArea;

// A 1440×900 screen whose top 25 points are a menu bar.
const ScreenArea laptop{{0, 0, 1440, 900}, {0, 25, 1440, 875}};
const ScreenArea external{{1440, 0, 1280, 1024}, {1440, 0, 1280, 1024}};

TEST(PanelGeometry, FitsTheTilesCentredOnTheAvailableAreaOrScrollsWithinIt) {
    const auto g = panelGeometry(3, {laptop}, {10, 10}, 0);
    EXPECT_EQ(g.frame.width(), 3 * 112 + 40);
    EXPECT_FALSE(g.needsSelectionScrolling);
    EXPECT_EQ(g.frame.center().x(), 720 - 1); // Qt's centre of an even width rounds down
    EXPECT_EQ(g.frame.height(), 156);
    EXPECT_EQ(g.frame.bottom() + 1, 25 + 875 / 2 + 78); // bottom edge 78 below the middle
    EXPECT_EQ(panelGeometry(0, {laptop}, {}, 0).frame.width(), 40);

    // Too many tiles scroll within the screen less its margin.
    const ScreenArea narrow{{0, 0, 1280, 800}, {0, 0, 1280, 800}};
    const auto scrolled = panelGeometry(20, {narrow}, {5, 5}, 0);
    EXPECT_EQ(scrolled.frame.width(), 1200);
    EXPECT_TRUE(scrolled.needsSelectionScrolling);
    const ScreenArea tiny{{0, 0, 250, 400}, {0, 0, 250, 400}};
    EXPECT_EQ(panelGeometry(5, {tiny}, {1, 1}, 0).frame.width(), 200);
}

TEST(PanelGeometry, FollowsThePointerThenThePrimaryScreenThenADefaultArea) {
    const auto onExternal = panelGeometry(2, {laptop, external}, {2000, 500}, 0);
    EXPECT_TRUE(external.available.contains(onExternal.frame));
    EXPECT_EQ(onExternal.frame.center().x(), 1440 + 640 - 1);
    const auto nowhere = panelGeometry(2, {laptop, external}, {-500, -500}, 1);
    EXPECT_TRUE(external.available.contains(nowhere.frame));
    const auto noScreens = panelGeometry(2, {}, {0, 0}, std::nullopt);
    EXPECT_EQ(noScreens.frame.center().x(), 600 - 1);
}

} // namespace
