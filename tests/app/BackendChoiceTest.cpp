#include "app/BackendChoice.h"

#include <gtest/gtest.h>

namespace {

using hopla::Backend;

TEST(BackendChoice, TheSessionDecidesAndOnlyARealX11SessionIsReadyToday) {
    struct Case {
        hopla::SessionFacts session;
        Backend backend;
        bool available;
    };
    const Case cases[] = {
        {{"", "x11", "XFCE", ":0", "xcb"}, Backend::x11, true},
        {{"", "", "", ":1", ""}, Backend::x11, true}, // a bare X server, Qt not started yet
        {{"wayland-1", "wayland", "sway", ":0", "wayland"}, Backend::wlroots, true},
        {{"wayland-0", "wayland", "KDE", ":1", "wayland"}, Backend::kde, false},
        {{"", "wayland", "Hyprland", ":0", "wayland"}, Backend::wlroots, true},
        // Qt forced onto Xwayland: X11 windows only and none of the compositor's keys.
        {{"wayland-1", "wayland", "sway", ":0", "xcb"}, Backend::none, false},
        {{"", "tty", "", "", ""}, Backend::none, false},
        {{"", "x11", "", ":0", "offscreen"}, Backend::none, false},
    };
    for (const auto& c : cases) {
        const auto choice = hopla::chooseBackend(c.session);
        const std::string where =
            (c.session.currentDesktop + "/" + c.session.qtPlatform).toStdString();
        EXPECT_EQ(choice.backend, c.backend) << where;
        EXPECT_EQ(choice.available, c.available) << where;
        EXPECT_EQ(choice.reason.isEmpty(), c.available) << where << ": says why when not";
    }
}

} // namespace
