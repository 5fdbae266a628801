// The updater's schedule and state machine on the manual scheduler, its requests answered
// by the test and its prompts recorded.
#include "updater/SelfUpdater.h"
#include "tests/support/UpdaterHost.h"
#include "updater/UpdaterText.h"

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;
using namespace hopla;
using Kind = UpdateState::Kind;

struct UpdaterTest : ::testing::Test, hopla::testing::UpdaterHost {
    static FetchResult manifest(int build) {
        return {QStringLiteral(R"({"schemaVersion":1,"product":"hopla","version":"1.%1",
            "build":%1,"downloadURL":"https://cdn.hopla.test/Hopla.zip","sha256":"%2"})")
                    .arg(build)
                    .arg(QString(64, QLatin1Char('a')))
                    .toUtf8(),
                {}};
    }
};

TEST_F(UpdaterTest, AutomaticChecksRunFourSecondsAfterStartThenEverySixHoursWhileSwitchedOn) {
    auto updates = updater();
    updates->setAutomaticallyChecksForUpdates(true);
    scheduler.advance(10s);
    EXPECT_EQ(fetcher.requests, 0) << "nothing before the application asks for automatic checks";

    updates->startAutomaticChecks();
    scheduler.advance(3900ms);
    EXPECT_EQ(fetcher.requests, 0);
    scheduler.advance(100ms);
    ASSERT_EQ(fetcher.requests, 1);
    EXPECT_EQ(fetcher.pending.front().url, QUrl("https://get.hopla.test/downloads/latest.json"));
    fetcher.answer(manifest(57));
    scheduler.advance(6h);
    EXPECT_EQ(fetcher.requests, 2);
    fetcher.answer(manifest(57));

    updates->setAutomaticallyChecksForUpdates(true); // the same value: nothing rescheduled
    scheduler.advance(5h + 59min);
    EXPECT_EQ(fetcher.requests, 2);
    updates->setAutomaticallyChecksForUpdates(false);
    scheduler.advance(24h);
    EXPECT_EQ(fetcher.requests, 2);
    EXPECT_EQ(settings.value("updater.hopla.automaticallyChecksForUpdates"), false);
    EXPECT_TRUE(shown.empty()) << "automatic checks that find nothing say nothing";
}

TEST_F(UpdaterTest, ADevelopmentBuildNeverChecksAndSaysSoWhenAsked) {
    settings.setValue("updater.hopla.automaticallyChecksForUpdates", true);
    auto updates = updater(false);
    EXPECT_TRUE(updates->automaticallyChecksForUpdates()) << "read from the settings";
    updates->startAutomaticChecks();
    scheduler.advance(7h);
    updates->performPrimaryAction();
    EXPECT_EQ(fetcher.requests, 0);
    ASSERT_EQ(shown.size(), 1u);
    EXPECT_EQ(shown[0].prompt.title, updaterCopy("开发版不检查正式更新。"));
    EXPECT_EQ(updates->statusText(), updaterCopy("开发版不自动更新"));
    EXPECT_EQ(updates->state().kind, Kind::idle);
}

TEST_F(UpdaterTest, ChecksEndCurrentOrFailedAndOnlyManualOnesAreAnswered) {
    auto updates = updater();
    updates->checkForUpdates(true);
    updates->checkForUpdates(true);
    EXPECT_EQ(fetcher.requests, 1) << "a check in flight drops the second";
    EXPECT_TRUE(updates->actionDisabled());
    fetcher.answer({std::nullopt, "the server answered HTTP 404"});
    EXPECT_EQ(updates->state().kind, Kind::failed);
    EXPECT_EQ(updates->statusText(),
              updaterCopy("检查更新失败：%1").arg("the server answered HTTP 404"));
    ASSERT_EQ(shown.size(), 1u);
    EXPECT_EQ(shown[0].style, UpdateMessageStyle::warning);

    updates->checkForUpdates(false);
    fetcher.answer({QByteArray(R"({"schemaVersion":2})"), {}});
    EXPECT_EQ(updates->state().kind, Kind::failed);
    EXPECT_EQ(shown.size(), 1u) << "automatic failures are silent";

    updates->checkForUpdates(false);
    fetcher.answer(manifest(57));
    EXPECT_EQ(updates->state().kind, Kind::current);
    EXPECT_EQ(updates->statusText(), updaterCopy("自动提示新版已关闭"));
    updates->setAutomaticallyChecksForUpdates(true);
    EXPECT_EQ(updates->statusText(), updaterCopy("已经是最新版本"));
    updates->checkForUpdates(true);
    fetcher.answer(manifest(57));
    ASSERT_EQ(shown.size(), 2u);
    EXPECT_EQ(shown[1].prompt.title, updaterCopy("%1 已经是最新版本。").arg("Hopla"));
    EXPECT_EQ(updates->actionTitle(), updaterCopy("检查更新"));
}

TEST_F(UpdaterTest, ANewBuildIsAnnouncedOnceADayUnlessAskedAndADeclinedOneCanStillBeFetched) {
    auto updates = updater();
    updates->setAutomaticallyChecksForUpdates(true);
    updates->checkForUpdates(false);
    fetcher.answer(manifest(58));
    EXPECT_EQ(updates->state(), (UpdateState{Kind::available, "1.58"}));
    ASSERT_EQ(shown.size(), 1u);
    EXPECT_EQ(shown[0].prompt.title, updaterCopy("%1 %2 可更新").arg("Hopla", "1.58"));
    EXPECT_EQ(settings.value("updater.hopla.prompt.58").toDouble(), clock);
    shown[0].choose(false); // later
    EXPECT_EQ(updates->state().kind, Kind::available);

    clock += 23 * 3600;
    updates->checkForUpdates(false);
    fetcher.answer(manifest(58));
    EXPECT_EQ(shown.size(), 1u) << "the same build within a day is not announced again";
    updates->checkForUpdates(true);
    fetcher.answer(manifest(58));
    EXPECT_EQ(shown.size(), 2u) << "asked for, it is";
    clock += 24 * 3600;
    updates->checkForUpdates(false);
    fetcher.answer(manifest(58));
    EXPECT_EQ(shown.size(), 3u) << "and again a day later";

    EXPECT_EQ(updates->actionTitle(), updaterCopy("下载更新"));
    updates->performPrimaryAction();
    ASSERT_EQ(fetcher.pending.size(), 1u);
    EXPECT_EQ(fetcher.pending.front().url, QUrl("https://cdn.hopla.test/Hopla.zip"));
    EXPECT_EQ(fetcher.pending.front().limits.allowedHosts, QSet<QString>{"cdn.hopla.test"});
    EXPECT_EQ(updates->state(), (UpdateState{Kind::downloading, "1.58"}));
    fetcher.answer({QByteArray("not the archive"), {}});
    EXPECT_EQ(updates->state().kind, Kind::failed);
    EXPECT_TRUE(updates->statusText().contains(updaterCopy("更新包已损坏，请重新下载。")));
    EXPECT_EQ(shown.back().style, UpdateMessageStyle::warning);
    EXPECT_EQ(quits, 0);

    updates->openUpdateHistory();
    ASSERT_EQ(opened.size(), 1u);
    EXPECT_TRUE(opened[0].toString().endsWith("changelog/"));
}

TEST_F(UpdaterTest, AnUpdaterGoneBeforeTheAnswerIgnoresIt) {
    auto updates = updater();
    updates->checkForUpdates(true);
    updates.reset();
    fetcher.answer(manifest(58));
    EXPECT_TRUE(shown.empty());
}

} // namespace
