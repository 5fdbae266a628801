#include "core/KeyboardTap.h"
#include "platform/qt/QtScheduler.h"
#include "platform/x11/SwitchKeyGrabs.h"
#include "platform/x11/X11KeyEventSource.h"
#include "platform/x11/X11Keyboard.h"
#include "platform/x11/XConnection.h"
#include "tests/desktop/harness/X11Desktop.h"
#include "tests/services/Processes.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

namespace {

using hopla::GestureAction;
using hopla::testing::run;
using hopla::testing::X11Desktop;
using Failure = hopla::KeyEventSource::StartFailure;

struct X11KeyboardTapTest : ::testing::Test {
    X11Desktop& desktop = *X11Desktop::instance();
    std::unique_ptr<hopla::x11::XConnection> x = hopla::x11::XConnection::open(nullptr, nullptr);
    hopla::x11::ServerKeyboard keyboard = std::move(*hopla::x11::readServerKeyboard(*x, nullptr));
    hopla::QtScheduler scheduler;
    hopla::x11::X11KeyEventSource source;
    std::vector<GestureAction> delivered;
    bool sessionOpen = false;
    hopla::KeyboardTap tap{source,
                           scheduler,
                           hopla::x11::readServerLetters,
                           {[this](const GestureAction& a) {
                                delivered.push_back(a);
                                sessionOpen =
                                    a.kind == GestureAction::Kind::tab ||
                                    (a.kind == GestureAction::Kind::letter && sessionOpen);
                                return true;
                            },
                            [this] { return sessionOpen; }}};
    QProcess* client = nullptr;
    QByteArray typed;

    void SetUp() override {
        const auto typist = desktop.startTestClient({"--class", "typist,Typist"});
        client = typist.process;
        ASSERT_FALSE(typist.windows.empty());
        ASSERT_TRUE(desktop.waitFor([&] { return desktop.activeWindow() == typist.windows[0]; }));
    }

    bool clientTyped(xcb_keycode_t code) {
        typed += client->readAll();
        return typed.contains("key " + QByteArray::number(code) + "\n");
    }
    bool deliveredUpTo(std::size_t count) {
        return desktop.waitFor([&] { return delivered.size() >= count; }, std::chrono::seconds(5));
    }
    xcb_keycode_t tab() const { return keyboard.tabKeys.front(); }
    xcb_keycode_t super() const { return keyboard.superKeys.front(); }
};

constexpr xcb_keycode_t keyD = 32 + 8, keyReturn = 28 + 8;

TEST_F(X11KeyboardTapTest, ASwitchFromTheKeyboardTakesItsKeysAndLeavesTheRestToTheApplication) {
    ASSERT_TRUE(tap.start()) << source.lastFailure().value_or(Failure{}).what;
    desktop.movePointer({1201, 37});
    desktop.key(super(), true);
    desktop.press(tab());
    // Typed at once, before the session's keyboard grab can be in place: the key waits for
    // it. openbox binds Super+D; the grab brings it here all the same.
    desktop.press(keyD);
    ASSERT_TRUE(deliveredUpTo(2));
    EXPECT_EQ(delivered[0], GestureAction::tab(false));
    EXPECT_EQ(delivered[1], GestureAction::letterKey('D'));
    EXPECT_EQ(source.lastKeyPointer(), QPoint(1201, 37)) << "the screen to show on, from the key";
    ASSERT_TRUE(desktop.waitFor([&] { return source.holdsKeyboard(); }));

    // Not the switcher's: handed on to the focused client, also while the key is still down
    // on the keyboard device XTEST types with (as on-screen keyboards type).
    desktop.key(keyReturn, true);
    EXPECT_TRUE(desktop.waitFor([&] { return clientTyped(keyReturn); }));
    desktop.key(keyReturn, false);

    desktop.key(super(), false);
    ASSERT_TRUE(deliveredUpTo(3));
    EXPECT_EQ(delivered[2], GestureAction::release());

    desktop.press(tab()); // no session: a plain Tab is the application's
    EXPECT_TRUE(desktop.waitFor([&] { return clientTyped(tab()); }));
    EXPECT_FALSE(clientTyped(keyD))
        << "the letter was taken by the switcher: " << typed.toStdString();
    EXPECT_EQ(typed.count("key " + QByteArray::number(tab()) + "\n"), 1) << typed.toStdString();
    EXPECT_EQ(delivered.size(), 3u);
}

TEST_F(X11KeyboardTapTest, StormsOfKeysAndAKeyboardHeldElsewhereRaiseNoFalseAlarm) {
    ASSERT_TRUE(tap.start()) << source.lastFailure().value_or(Failure{}).what;
    const auto superTab = [&] {
        desktop.key(super(), true);
        desktop.press(tab());
        desktop.key(super(), false);
    };
    const auto quiet = [&] {
        desktop.waitFor([] { return false; }, std::chrono::milliseconds(400));
    };
    // Another client holds the keyboard (an open menu, a VM viewer, a locker): the keys are
    // its own, and no window manager took anything.
    {
        auto holder = hopla::x11::XConnection::open(nullptr, nullptr);
        free(xcb_grab_keyboard_reply(holder->raw(),
                                     xcb_grab_keyboard(holder->raw(), 0, holder->root(),
                                                       XCB_CURRENT_TIME, XCB_GRAB_MODE_ASYNC,
                                                       XCB_GRAB_MODE_ASYNC),
                                     nullptr));
        superTab();
        quiet();
        EXPECT_FALSE(source.interceptedBy()) << "a held keyboard taken for the window manager";
    }
    // Fast typing: Super, Shift, Tab and a letter pressed and let go in a random storm.
    std::mt19937 random(7);
    const xcb_keycode_t keys[] = {super(), tab(), keyboard.shiftKeys.front(), keyD};
    std::map<xcb_keycode_t, bool> down;
    for (int i = 0; i < 400; ++i) {
        const xcb_keycode_t key = keys[random() % std::size(keys)];
        desktop.key(key, down[key] = !down[key]);
    }
    for (const auto& [key, held] : down) {
        if (held) {
            desktop.key(key, false);
        }
    }
    quiet();
    EXPECT_FALSE(source.interceptedBy()) << "a storm of keys taken for the window manager";
    delivered.clear();
    superTab(); // and a plain switch still works
    ASSERT_TRUE(deliveredUpTo(2));
    EXPECT_EQ(delivered.front(), GestureAction::tab(false));
    EXPECT_EQ(delivered.back(), GestureAction::release());
}

TEST_F(X11KeyboardTapTest, ShiftOpensBackwardsAndALayoutChangeRebuildsLettersAndGrabs) {
    ASSERT_TRUE(tap.start()) << source.lastFailure().value_or(Failure{}).what;
    constexpr std::int64_t zPosition = 6;
    EXPECT_EQ(tap.letterFor(zPosition), 'Z');
    ASSERT_EQ(run("setxkbmap", {"-layout", "de"}), QString());
    ASSERT_TRUE(desktop.waitFor([&] { return tap.letterFor(zPosition) == 'Y'; }));

    const auto keys = std::move(*hopla::x11::readServerKeyboard(*x, nullptr));
    constexpr xcb_keycode_t leftShift = 42 + 8;
    desktop.key(keys.superKeys.front(), true);
    desktop.key(leftShift, true);
    desktop.press(keys.tabKeys.front()); // the grabs were made again for the new mapping
    desktop.key(leftShift, false);
    ASSERT_TRUE(deliveredUpTo(1));
    EXPECT_EQ(delivered[0], GestureAction::tab(true));
    desktop.key(keys.superKeys.front(), false);
    ASSERT_TRUE(deliveredUpTo(2));

    // The Russian group is active: the letters come from the Latin one beside it (Z again
    // where German has Y).
    ASSERT_EQ(run("setxkbmap", {"-layout", "ru,us"}), QString());
    EXPECT_TRUE(desktop.waitFor([&] { return tap.letterFor(zPosition) == 'Z'; }));
    EXPECT_EQ(run("setxkbmap", {"-layout", "us"}), QString());
}

TEST_F(X11KeyboardTapTest, AGrabHeldElsewhereIsNamedAndNothingIsKeptHalfway) {
    auto rival = hopla::x11::XConnection::open(nullptr, nullptr);
    xcb_grab_key(rival->raw(), 1, rival->root(),
                 static_cast<std::uint16_t>(keyboard.superMask | XCB_MOD_MASK_SHIFT), tab(),
                 XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
    free(xcb_get_input_focus_reply(rival->raw(), xcb_get_input_focus(rival->raw()), nullptr));
    EXPECT_FALSE(tap.start());
    const auto failure = source.lastFailure();
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->reason, Failure::Reason::shortcutTaken);
    EXPECT_EQ(failure->what, "Super+Shift+Tab");
    // X11 names no holder: the window manager is the one to suspect when no switcher runs.
    EXPECT_EQ(failure->holder.kind, hopla::ShortcutHolder::Kind::windowManager);
    EXPECT_EQ(failure->holder.name, "Openbox");
    EXPECT_FALSE(failure->holder.releasable);

    rival.reset(); // its grab goes with it; the tap's were released too
    EXPECT_FALSE(desktop.keyHeldElsewhere(keyboard.superMask, tab()))
        << "a Super+Tab grab was left behind";
    using hopla::x11::SwitchKeyGrabs;
    {
        auto grabs = SwitchKeyGrabs::grab(*x, keyboard, keyboard.superMask);
        ASSERT_TRUE(std::holds_alternative<SwitchKeyGrabs>(grabs));
        ASSERT_EQ(keyboard.windowKeys.size(), 1u);
        // Tab and the key above it, with and without Shift, × CapsLock × NumLock.
        EXPECT_EQ(std::get<SwitchKeyGrabs>(grabs).count(), (keyboard.tabKeys.size() + 1) * 2 * 4);
    }

    // The key above Tab held elsewhere costs the window switch only, and is named.
    rival = hopla::x11::XConnection::open(nullptr, nullptr);
    xcb_grab_key(rival->raw(), 1, rival->root(), keyboard.superMask, keyboard.windowKeys.front(),
                 XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
    free(xcb_get_input_focus_reply(rival->raw(), xcb_get_input_focus(rival->raw()), nullptr));
    EXPECT_TRUE(tap.start());
    EXPECT_EQ(source.windowKeyTaken(), "Super+`");
}

} // namespace
