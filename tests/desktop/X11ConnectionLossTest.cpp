#include "core/ApplicationWindowRestorer.h"
#include "platform/qt/QtScheduler.h"
#include "tests/desktop/X11RunningAppsFixture.h"

#include <gtest/gtest.h>

// Alone in its program: it kills the X server.
namespace {

using namespace hopla::testing;

TEST_F(X11RunningAppsTest, ALostConnectionEndsInNothingNeverAHangOrACrash) {
    const Client c = client({"--class", "doomed,Doomed"});
    const auto before = app(c.pid());
    ASSERT_TRUE(before);
    hopla::QtScheduler scheduler;
    hopla::ApplicationWindowRestorer restorer(*windowSystem, scheduler, "test");
    desktop.killServer();

    EXPECT_TRUE(desktop.waitFor([&] {
        runningApps->refresh();
        return runningApps->connectionLost();
    }));
    EXPECT_TRUE(runningApps->runningApplications().empty());
    EXPECT_EQ(runningApps->activeApplication(), nullptr);
    EXPECT_FALSE(before->isActive());
    EXPECT_FALSE(before->activate());
    EXPECT_TRUE(before->isTerminated());
    std::optional<hopla::ApplicationWindowRestorer::Result> result;
    restorer.restoreIfNeeded(c.pid(), [&](auto r) { result = r; });
    ASSERT_TRUE(desktop.waitFor([&] { return result.has_value(); }));
    EXPECT_EQ(result, hopla::ApplicationWindowRestorer::Result::reopen);
}

} // namespace
