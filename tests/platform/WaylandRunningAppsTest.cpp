// The applications of a Wayland session as Hopla groups and orders the compositor's
// toplevels, over a source that lists what the test says.
#include "platform/wayland/WaylandRunningApps.h"
#include "tests/support/Pump.h"

#include <gtest/gtest.h>

namespace {

using hopla::AppHandle;
using hopla::wayland::Toplevel;

class ScriptedToplevels final : public hopla::wayland::ToplevelSource {
public:
    std::vector<Toplevel> list;
    Listener listener;
    std::vector<std::uint64_t> activated, unminimized;

    void setListener(Listener l) override { listener = std::move(l); }
    std::vector<Toplevel> current() override { return list; }
    void activate(std::uint64_t id) override { activated.push_back(id); }
    void unminimize(std::uint64_t id) override { unminimized.push_back(id); }
    // The compositor changed something: the whole list arrives again.
    void publish() { listener(list); }
};

Toplevel toplevel(std::uint64_t id, const char* appId, const char* title, bool active = false) {
    return {id, appId, title, active, false};
}

std::vector<QString> names(hopla::RunningApps& apps) {
    std::vector<QString> out;
    for (const AppHandle handle : apps.recencyOrder()) {
        out.push_back(apps.application(handle)->localizedName().value_or("?"));
    }
    return out;
}

struct WaylandRunningAppsTest : ::testing::Test {
    ScriptedToplevels source;
};

TEST_F(WaylandRunningAppsTest, WindowsOfOneAppIdAreOneApplicationInTheCompositorsOrder) {
    // The compositor's focus order knew the terminal's title before its shell changed it.
    source.list = {toplevel(1, "test.editor", "notes"), toplevel(2, "test.term", "~/src"),
                   toplevel(3, "test.term", "second"), toplevel(4, "hopla", "Hopla"),
                   toplevel(5, "test.viewer", "a.pdf", true)};
    hopla::wayland::WaylandRunningApps apps(
        source, "hopla",
        {{"test.viewer", "a.pdf"}, {"test.term", "term"}, {"test.editor", "notes"}});

    EXPECT_EQ(names(apps), (std::vector<QString>{"test.viewer", "test.term", "test.editor"}))
        << "Hopla's own window is never listed; app ids without an entry name themselves";
    const auto terminal = apps.application(apps.recencyOrder()[1]);
    EXPECT_EQ(terminal->windows().size(), 2u);
    EXPECT_EQ(apps.activeApplication()->localizedName(), "test.viewer");
}

TEST_F(WaylandRunningAppsTest, ActivationMovesAnApplicationFrontAndTheLastWindowEndsIt) {
    source.list = {toplevel(1, "test.editor", "notes", true), toplevel(2, "test.term", "one"),
                   toplevel(3, "test.term", "two")};
    hopla::wayland::WaylandRunningApps apps(source, "hopla", {});
    std::vector<QString> activated, terminated;
    const auto subscription = apps.observe(
        {.activated = [&](const auto& app) { activated.push_back(*app->localizedName()); },
         .terminated = [&](const auto& app) { terminated.push_back(*app->localizedName()); }});

    source.list = {toplevel(1, "test.editor", "notes"), toplevel(2, "test.term", "one"),
                   toplevel(3, "test.term", "two", true)};
    source.publish();
    ASSERT_TRUE(hopla::testing::waitUntil([&] { return !activated.empty(); }));
    EXPECT_EQ(activated, std::vector<QString>{"test.term"});
    const auto terminal = apps.activeApplication();
    EXPECT_EQ(terminal->windows().front().title, "two") << "its most recent window first";

    // Asked forward, the application brings its most recent window.
    source.list[2].activated = false;
    source.list[0].activated = true;
    source.publish();
    ASSERT_TRUE(hopla::testing::waitUntil([&] { return activated.size() == 2; }));
    ASSERT_TRUE(terminal->activate());
    EXPECT_EQ(source.activated, std::vector<std::uint64_t>{3});

    source.list.resize(1);
    source.publish();
    ASSERT_TRUE(hopla::testing::waitUntil([&] { return !terminated.empty(); }));
    EXPECT_EQ(terminated, std::vector<QString>{"test.term"});
    EXPECT_TRUE(terminal->isTerminated());
    EXPECT_FALSE(terminal->activate());
}

} // namespace
