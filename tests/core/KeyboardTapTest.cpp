#include "core/KeyboardTap.h"
#include "platform/VirtualKeys.h"
#include "platform/xkb/KeyboardLayout.h"
#include "tests/fakes/FakeKeyEventSource.h"
#include "tests/fakes/ManualScheduler.h"

#include <gtest/gtest.h>

namespace {

using hopla::GestureAction;
using hopla::KeyboardTap;
using hopla::KeyEvent;

using hopla::keyCode;
using hopla::VirtualKey;
constexpr std::int64_t tab = keyCode(VirtualKey::tab), keyS = keyCode(VirtualKey::s),
                       escape = keyCode(VirtualKey::escape),
                       leftSwitchModifier = keyCode(VirtualKey::leftSwitchModifier),
                       leftShift = keyCode(VirtualKey::leftShift),
                       keyReturn = keyCode(VirtualKey::returnKey);

KeyEvent down(std::int64_t code, bool switchModifier = false, bool shift = false) {
    return {KeyEvent::Type::keyDown, code, switchModifier, shift, false, false};
}
KeyEvent up(std::int64_t code) {
    return {KeyEvent::Type::keyUp, code, false, false, false, false};
}
KeyEvent released(std::int64_t modifierKey) {
    return {KeyEvent::Type::modifiersChanged, modifierKey, false, false, false, false};
}

struct KeyboardTapTest : ::testing::Test {
    hopla::fake::ManualScheduler mainQueue;
    hopla::fake::FakeKeyEventSource source;
    std::vector<GestureAction> delivered;
    bool controllerHasSession = false;
    bool opensSomething = true;
    KeyboardTap tap{source,
                    mainQueue,
                    [] { return hopla::KeyboardLayout::fromNames({})->letters(); },
                    {[this](const GestureAction& a) {
                         delivered.push_back(a);
                         if (a.kind == GestureAction::Kind::tab) {
                             controllerHasSession = opensSomething;
                         } else if (a.kind != GestureAction::Kind::letter) {
                             controllerHasSession = false;
                         }
                         return true;
                     },
                     [this] { return controllerHasSession; }}};

    void SetUp() override { ASSERT_TRUE(tap.start()); }
};

TEST_F(KeyboardTapTest, SwitchTabOpensAtOnceSoTheNextLetterIsTakenBeforeTheMainThreadRuns) {
    EXPECT_TRUE(source.send(down(tab, true)));
    EXPECT_TRUE(tap.sessionPredicted()) << "predicted before any delivery ran";
    EXPECT_TRUE(source.send(down(keyS, true))) << "looked up in the letter table and taken";
    EXPECT_FALSE(source.send(down(keyReturn, true)))
        << "Return belongs to the frontmost application";
    EXPECT_EQ(mainQueue.pendingCount(), 2u);
    mainQueue.runDue();
    EXPECT_EQ(delivered, (std::vector<GestureAction>{GestureAction::tab(false),
                                                     GestureAction::letterKey('S')}));
    EXPECT_EQ(source.sessionKeys, (std::vector<bool>{true}));
    EXPECT_TRUE(source.send(up(tab)));
    EXPECT_TRUE(source.send(up(keyS)));
    EXPECT_FALSE(source.send(up(keyReturn)));
}

TEST_F(KeyboardTapTest, NothingToSwitchToIsAdoptedFromTheControllerOnceDeliveriesCatchUp) {
    opensSomething = false;
    EXPECT_TRUE(source.send(down(tab, true)));
    EXPECT_TRUE(tap.sessionPredicted());
    mainQueue.runDue();
    EXPECT_FALSE(tap.sessionPredicted());
    EXPECT_FALSE(source.send(down(keyS, true))) << "no session: the letter goes to the application";
    EXPECT_EQ(source.sessionKeys, (std::vector<bool>{true, false}));
}

TEST_F(KeyboardTapTest, ReleasingTheSwitchKeyDeliversReleaseAndOtherModifiersNothing) {
    source.send(down(tab, true));
    EXPECT_FALSE(source.send(released(leftShift)));
    EXPECT_FALSE(source.send(released(keyCode(VirtualKey::leftOtherModifier))));
    EXPECT_FALSE(source.send(released(leftSwitchModifier))) << "modifier changes always pass";
    EXPECT_FALSE(tap.sessionPredicted());
    mainQueue.runDue();
    EXPECT_EQ(delivered,
              (std::vector<GestureAction>{GestureAction::tab(false), GestureAction::release()}));
    // With no session, and from the right-hand key: still delivered, the controller says no.
    source.send(released(keyCode(VirtualKey::rightSwitchModifier)));
    mainQueue.runDue();
    EXPECT_EQ(delivered.size(), 3u);
    EXPECT_EQ(delivered.back(), GestureAction::release());
}

TEST_F(KeyboardTapTest, StopCutsOffDeliveriesOnTheirWayAndForgetsTakenKeys) {
    source.send(down(tab, true));
    source.send(down(escape));
    tap.stop();
    mainQueue.runDue();
    EXPECT_TRUE(delivered.empty());
    ASSERT_TRUE(tap.start());
    EXPECT_FALSE(source.send(up(tab))) << "the taken Tab was forgotten with the stop";
}

TEST_F(KeyboardTapTest, StartDoesNothingWhileRunning) {
    const int starts = source.starts;
    EXPECT_TRUE(tap.start());
    EXPECT_EQ(source.starts, starts);
}

TEST_F(KeyboardTapTest, ADismissalClosesTheSessionOnlyWhenNothingIsPending) {
    source.send(down(tab, true));
    tap.sessionDismissed(); // a delivery is pending: it will resynchronise
    EXPECT_TRUE(tap.sessionPredicted());
    mainQueue.runDue();
    tap.sessionDismissed();
    EXPECT_FALSE(tap.sessionPredicted());
}

TEST_F(KeyboardTapTest, ATapDestroyedWithDeliveriesQueuedIsSilent) {
    hopla::fake::FakeKeyEventSource other;
    int calls = 0;
    {
        KeyboardTap shortLived(other, mainQueue, {},
                               {[&](const GestureAction&) { return ++calls > 0; }, {}});
        ASSERT_TRUE(shortLived.start());
        other.send(down(tab, true));
    }
    mainQueue.runDue();
    EXPECT_EQ(calls, 0);
}

} // namespace
