// One Hopla per user and display: the second launch reaches the first and makes it reopen.
#include "app/SingleInstance.h"
#include "tests/support/Files.h"
#include "tests/support/Pump.h"

#include <QCoreApplication>
#include <QFile>
#include <QLocalSocket>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

using Claim = hopla::SingleInstance::Claim;

struct SingleInstanceTest : ::testing::Test {
    QTemporaryDir dir;
    QString name = dir.filePath("hopla.socket");
};

TEST_F(SingleInstanceTest, ASecondLaunchMakesTheFirstReopenEachTimeAndALeftoverBlocksNone) {
    ASSERT_TRUE(hopla::testing::write(name, {})); // what a dead instance left behind
    hopla::SingleInstance first(name);
    int reopened = 0;
    QObject::connect(&first, &hopla::SingleInstance::reopenRequested, [&] { ++reopened; });
    ASSERT_EQ(first.claim(), Claim::first) << first.error().toStdString();

    for (int launch = 1; launch <= 2; ++launch) {
        hopla::SingleInstance later(name);
        EXPECT_EQ(later.claim(), Claim::another);
        EXPECT_TRUE(hopla::testing::waitUntil([&] { return reopened == launch; }));
    }
}

TEST_F(SingleInstanceTest, StrangersOnTheSocketAreHungUpOnWithoutAReopen) {
    hopla::SingleInstance first(name);
    int reopened = 0;
    QObject::connect(&first, &hopla::SingleInstance::reopenRequested, [&] { ++reopened; });
    ASSERT_EQ(first.claim(), Claim::first);
    QLocalSocket stranger;
    stranger.connectToServer(name);
    ASSERT_TRUE(stranger.waitForConnected(1000));
    stranger.write(QByteArray(4096, 'x'));
    stranger.flush();
    EXPECT_TRUE(hopla::testing::waitUntil(
        [&] { return stranger.state() == QLocalSocket::UnconnectedState; }));
    EXPECT_EQ(reopened, 0);
}

TEST_F(SingleInstanceTest, SwitchPressesReachTheRunningInstanceAndUnknownActionsDoNot) {
    hopla::SingleInstance first(name);
    QStringList actions;
    QObject::connect(&first, &hopla::SingleInstance::switchRequested,
                     [&](const QString& action) { actions << action; });
    ASSERT_EQ(first.claim(), Claim::first);
    EXPECT_FALSE(hopla::SingleInstance::sendSwitch(name, "reopen"));
    for (const char* action : {"switch", "windows-back"}) {
        EXPECT_TRUE(hopla::SingleInstance::sendSwitch(name, action));
    }
    EXPECT_TRUE(hopla::testing::waitUntil([&] { return actions.size() == 2; }));
    EXPECT_EQ(actions, QStringList({"switch", "windows-back"}));
}

} // namespace
