#include "core/panel/SwitcherPanel.h"
#include "tests/fakes/FakeRunningApps.h"
#include "tests/fakes/ManualScheduler.h"
#include "tests/support/Images.h"

#include <QAccessible>
#include <QApplication>
#include <QGuiApplication>
#include <QScreen>

#include <gtest/gtest.h>

namespace {

using hopla::testing::solidImage;

using namespace std::chrono_literals;
using hopla::AppEntry;
using hopla::SwitchSession;

const QColor accent(10, 132, 255);
const QColor fallbackColour(200, 0, 200);

SwitchSession session(int count, int selected) {
    std::vector<AppEntry> apps;
    const char* names[] = {"Alpha", "Bravo", "Charlie", "Delta", "Echo"};
    for (int i = 0; i < count; ++i) {
        apps.emplace_back(100 + i,
                          QString(names[i % 5]) + (i >= 5 ? QString::number(i) : QString()));
    }
    SwitchSession s(apps, false);
    s.select(100 + selected);
    return s;
}

struct PanelTest : ::testing::Test {
    hopla::fake::ManualScheduler scheduler;
    hopla::fake::FakeRunningApps runningApps;
    bool compositing = false;
    int onScreenChecks = 0;
    bool reportOnScreen = true;
    hopla::SwitcherPanel panel{
        "Hopla 应用切换器",
        [] { return accent; },
        false,
        [](const QString& s) { return s; },
        solidImage(fallbackColour),
        {&scheduler, &runningApps, [this] { return compositing; },
         [this](const QWidget&) {
             ++onScreenChecks;
             return reportOnScreen;
         },
         [] { return QGuiApplication::primaryScreen()->geometry().center(); }}};

    QImage rendered() { return panel.view().grab().toImage(); }
};

bool orange(QColor c) {
    return c.red() > 200 && c.green() > 110 && c.green() < 180 && c.blue() < 80;
}

TEST_F(PanelTest, TilesDrawIconsOrTheFallbackTheSelectionAndTheFailureMarkOnOneTileOnly) {
    panel.show(session(3, 1), {{100, solidImage(Qt::green)}, {101, solidImage(Qt::yellow)}});
    panel.model().setFailedId(102);
    const QImage image = rendered();
    auto& view = panel.view();
    for (int i = 0; i < 3; ++i) {
        const QRect tile = view.tileRect(i);
        const QColor iconCentre = image.pixelColor(tile.center().x(), tile.top() + 8 + 30);
        EXPECT_EQ(iconCentre, i == 0   ? QColor(Qt::green)
                              : i == 1 ? QColor(Qt::yellow)
                                       : fallbackColour)
            << i;
        const QPoint mark = tile.topRight() + QPoint(-5 - 9 - 5, 5 + 9); // left of the white stroke
        EXPECT_EQ(orange(image.pixelColor(mark)), i == 2) << "failure mark on tile " << i;
    }
    // The highlight: the selected tile's margin is tinted with the accent, the others are not.
    const auto margin = [&](int i) {
        return image.pixelColor(view.tileRect(i).topLeft() + QPoint(6, 60));
    };
    EXPECT_GT(margin(1).blue(), margin(0).blue() + 20);
    EXPECT_EQ(margin(0), margin(2));
    panel.model().setFailedId(std::nullopt);
    EXPECT_FALSE(orange(rendered().pixelColor(view.tileRect(2).topRight() + QPoint(-19, 14))));
    // Badges keep their dark plate even after a failure mark was drawn before them.
    panel.model().setFailedId(100);
    const QImage after = rendered();
    const QRect badge = view.badgeRect(1);
    ASSERT_FALSE(badge.isEmpty());
    const QColor plate = after.pixelColor(badge.topLeft() + QPoint(3, badge.height() / 2));
    EXPECT_LT(plate.red(), 90) << "the badge's plate is dark, whatever was drawn before it";
}

TEST_F(PanelTest, EachTileIsOneAccessibleElementLabelledWithNameBadgeAndSelection) {
    panel.show(session(3, 1), {});
    EXPECT_EQ(panel.window().accessibleName(), QString::fromUtf8("Hopla 应用切换器"));
    QAccessibleInterface* list = QAccessible::queryAccessibleInterface(&panel.view());
    ASSERT_NE(list, nullptr);
    ASSERT_EQ(list->childCount(), 3);
    EXPECT_EQ(list->child(0)->text(QAccessible::Name), QString::fromUtf8("Alpha，A"));
    EXPECT_EQ(list->child(1)->text(QAccessible::Name), QString::fromUtf8("Bravo，B，已选中"));
    EXPECT_TRUE(list->child(1)->state().selected);
    EXPECT_FALSE(list->child(2)->state().selected);
}

TEST_F(PanelTest, SizesForTheCandidatesAndScrollsTheSelectionIntoSightOnlyWhenTheyDoNotFit) {
    panel.show(session(3, 1), {});
    const QRect area = QGuiApplication::primaryScreen()->availableGeometry();
    EXPECT_EQ(panel.window().width(), 3 * 112 + 40);
    EXPECT_EQ(panel.window().geometry().center().x(), area.center().x());
    EXPECT_FALSE(panel.model().needsSelectionScrolling());
    EXPECT_EQ(panel.view().scrollOffset(), 0);

    const QRect before = panel.window().geometry();
    panel.update(session(3, 2)); // same count: same frame
    EXPECT_EQ(panel.window().geometry(), before);

    panel.update(session(40, 30)); // far too many: scrolls so the selection is centred
    EXPECT_TRUE(panel.model().needsSelectionScrolling());
    EXPECT_EQ(panel.window().width(), std::max(area.width() - 80, 200));
    EXPECT_NEAR(panel.view().tileRect(30).center().x(), panel.view().width() / 2, 1);
    panel.update(session(40, 0)); // the first tile cannot be centred: scrolled fully left
    EXPECT_EQ(panel.view().scrollOffset(), 0);
}

TEST_F(PanelTest, UpdatesWhileHiddenChangeOnlyTheModel) {
    panel.show(session(2, 0), {});
    panel.hide();
    panel.update(session(4, 3));
    panel.update(hopla::IconMap{{100, solidImage(Qt::red)}});
    EXPECT_FALSE(panel.window().isVisible());
    EXPECT_EQ(panel.model().session().selectedId(), 103);
    EXPECT_EQ(panel.model().icons().size(), 1u);
}

TEST_F(PanelTest, ChecksTwiceThatItIsOnScreenAndPresentsAgainWhenNotUnlessHidden) {
    reportOnScreen = false;
    panel.show(session(2, 0), {});
    scheduler.advance(2s);
    EXPECT_EQ(onScreenChecks, 2);
    EXPECT_TRUE(panel.window().isVisible()) << "presented again";

    panel.show(session(2, 0), {});
    panel.hide(); // hidden before the check
    scheduler.advance(2s);
    EXPECT_EQ(onScreenChecks, 2) << "no check of a hidden panel";
}

TEST_F(PanelTest, ADesktopChangeRebuildsTheWindowAtTheNextShowKeepingViewAndLabel) {
    panel.show(session(2, 0), {});
    const QWidget* first = &panel.window();
    hopla::SwitcherView* view = &panel.view();
    runningApps.changeSpace();
    EXPECT_EQ(&panel.window(), first) << "nothing happens until the next show";
    panel.hide();
    panel.show(session(2, 1), {});
    EXPECT_NE(&panel.window(), first);
    EXPECT_EQ(&panel.view(), view);
    EXPECT_EQ(panel.view().parentWidget(), &panel.window());
    EXPECT_EQ(panel.window().accessibleName(), QString::fromUtf8("Hopla 应用切换器"));
}

// Without one the corners are cut away (seen on a real server in X11PanelTest).
TEST_F(PanelTest, WithACompositorTheCornersAreTransparentNotCut) {
    compositing = true;
    panel.show(session(3, 0), {});
    EXPECT_TRUE(panel.window().mask().isEmpty());
    EXPECT_TRUE(panel.window().testAttribute(Qt::WA_TranslucentBackground));
    EXPECT_LT(rendered().pixelColor(0, 0).alpha(), 255);
}

} // namespace
