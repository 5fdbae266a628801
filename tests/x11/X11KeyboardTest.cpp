#include "platform/x11/X11Keyboard.h"
#include "platform/x11/SwitchKeyGrabs.h"
#include "platform/x11/XConnection.h"
#include "tests/support/X11Desktop.h"

#include <xcb/xtest.h>

#include <gtest/gtest.h>

namespace {

using hopla::testing::X11Desktop;
using hopla::x11::GrabConflict;
using hopla::x11::SwitchKeyGrabs;

struct X11KeyboardTest : ::testing::Test {
    X11Desktop& desktop = *X11Desktop::instance();
    std::unique_ptr<hopla::x11::XConnection> x = hopla::x11::XConnection::open(nullptr, nullptr);

    void SetUp() override { ASSERT_TRUE(x) << "no connection to the test display"; }

    hopla::x11::ServerKeyboard keyboard() {
        std::string error;
        auto k = hopla::x11::readServerKeyboard(*x, &error);
        EXPECT_TRUE(k) << error;
        return std::move(*k);
    }
    void setLayout(const QStringList& arguments) {
        QProcess setxkbmap;
        setxkbmap.start("setxkbmap", arguments);
        ASSERT_TRUE(setxkbmap.waitForFinished(10000));
        ASSERT_EQ(setxkbmap.exitCode(), 0);
    }
    void press(xcb_keycode_t key, bool down) { desktop.key(key, down); }
};

std::string letter(const hopla::KeyboardLayout& layout, std::uint16_t code) {
    const auto c = layout.shortcut(code);
    return c ? std::string(1, *c) : std::string();
}

TEST_F(X11KeyboardTest, LettersFollowTheServersLayoutAndItsLatinGroup) {
    setLayout({"-layout", "us"});
    const auto us = keyboard();
    EXPECT_EQ(letter(us.layout, 6), "Z");
    EXPECT_FALSE(us.tabKeys.empty());
    EXPECT_EQ(us.superMask, XCB_MOD_MASK_4);
    EXPECT_EQ(us.numLockMask, XCB_MOD_MASK_2);

    setLayout({"-layout", "de"});
    EXPECT_EQ(letter(keyboard().layout, 6), "Y");
    setLayout({"-layout", "ru,us"}); // the Russian group is active: letters from the US one
    const auto ruUs = keyboard();
    EXPECT_EQ(ruUs.layout.latinGroup(), 1u);
    EXPECT_EQ(letter(ruUs.layout, 12), "Q");
    setLayout({"-layout", "us"});
}

TEST_F(X11KeyboardTest, SwitchGrabsTakeSuperTabFromTheFocusedClientButLeaveTabAlone) {
    const auto typist = desktop.startTestClient({"--class", "typist,Typist"});
    QProcess* client = typist.process;
    ASSERT_FALSE(typist.windows.empty());
    const xcb_window_t window = typist.windows[0];
    ASSERT_TRUE(desktop.waitFor([&] { return desktop.activeWindow() == window; }));

    const auto k = keyboard();
    auto result = SwitchKeyGrabs::grab(*x, k, k.superMask);
    ASSERT_TRUE(std::holds_alternative<SwitchKeyGrabs>(result))
        << std::get<GrabConflict>(result).combination.toStdString();
    EXPECT_EQ(std::get<SwitchKeyGrabs>(result).count(),
              k.tabKeys.size() * 2 * 4); // CapsLock × NumLock (no ScrollLock)

    const xcb_keycode_t tab = k.tabKeys.front(), super = k.superKeys.front();
    press(super, true);
    press(tab, true);
    press(tab, false);
    press(super, false);
    bool grabbed = false;
    ASSERT_TRUE(desktop.waitFor([&] {
        while (xcb_generic_event_t* e = xcb_poll_for_event(x->raw())) {
            grabbed |= (e->response_type & 0x7f) == XCB_KEY_PRESS &&
                       reinterpret_cast<xcb_key_press_event_t*>(e)->detail == tab;
            std::free(e);
        }
        return grabbed;
    })) << "Super+Tab did not come to the grabbing connection";

    press(tab, true); // a plain Tab belongs to the focused client
    press(tab, false);
    const QByteArray expected = "key " + QByteArray::number(tab);
    QByteArray typed;
    ASSERT_TRUE(desktop.waitFor([&] {
        typed += client->readAll();
        return typed.contains(expected);
    }));
    EXPECT_EQ(typed.count(expected), 1)
        << "the grabbed Super+Tab must not have reached the client: " << typed.toStdString();
}

TEST_F(X11KeyboardTest, AGrabHeldElsewhereIsNamedAndNothingIsKeptHalfway) {
    const auto k = keyboard();
    auto rival = hopla::x11::XConnection::open(nullptr, nullptr);
    xcb_grab_key(rival->raw(), 1, rival->root(),
                 static_cast<std::uint16_t>(k.superMask | XCB_MOD_MASK_SHIFT), k.tabKeys.front(),
                 XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
    xcb_flush(rival->raw());
    std::free(xcb_get_input_focus_reply(rival->raw(), xcb_get_input_focus(rival->raw()),
                                        nullptr)); // a round trip

    auto result = SwitchKeyGrabs::grab(*x, k, k.superMask);
    ASSERT_TRUE(std::holds_alternative<GrabConflict>(result));
    EXPECT_EQ(std::get<GrabConflict>(result).combination, "Super+Shift+Tab");

    rival.reset(); // its grab goes with it; ours were released too, so a third client can grab
    auto third = hopla::x11::XConnection::open(nullptr, nullptr);
    const hopla::x11::Reply<xcb_generic_error_t> refused(xcb_request_check(
        third->raw(),
        xcb_grab_key_checked(third->raw(), 1, third->root(), k.superMask, k.tabKeys.front(),
                             XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC)));
    EXPECT_FALSE(refused) << "a Super+Tab grab was left behind";

    // openbox binds Alt+Tab itself.
    auto alt = SwitchKeyGrabs::grab(*x, k, XCB_MOD_MASK_1);
    ASSERT_TRUE(std::holds_alternative<GrabConflict>(alt));
    EXPECT_EQ(std::get<GrabConflict>(alt).combination, "Alt+Tab");
}

} // namespace
