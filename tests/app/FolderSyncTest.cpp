// The settings mirrored in a synced folder, between two "machines": two stores with their
// own settings and lock folders on one folder, as a sync tool makes it look.
#include "app/Preferences.h"
#include "app/SyncedSettings.h"
#include "tests/support/Files.h"
#include "tests/support/ScriptedAutostart.h"

#include <QCoreApplication>
#include <QDir>
#include <QTemporaryDir>

#include "tests/support/Pump.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace {

using hopla::testing::waitUntil;

using hopla::AppAppearance;
using hopla::SyncedSettings;

struct Machine {
    Machine(const QTemporaryDir& root, const QString& name, const QString& folder)
        : settings(root.filePath(name + ".ini"), QSettings::IniFormat)
        , places{root.filePath(name), root.filePath(name + "-locks")} {
        settings.setValue("sync.folder", folder);
        restart();
    }
    void restart() {
        preferences.reset();
        preferences = std::make_unique<hopla::Preferences>(settings, login, places);
    }
    QSettings settings;
    hopla::SyncPlaces places;
    hopla::testing::ScriptedAutostart login;
    std::unique_ptr<hopla::Preferences> preferences;
};

struct FolderSyncTest : ::testing::Test {
    QTemporaryDir root;
    QString folder = root.filePath("Sync");
    QString file = folder + "/Hopla/config.json";

    void SetUp() override { QDir().mkpath(folder); }
    QByteArray contents() const { return hopla::testing::readAll(file); }
    void put(const QByteArray& bytes) const { ASSERT_TRUE(hopla::testing::write(file, bytes)); }
};

TEST_F(FolderSyncTest, TwoMachinesConvergeAndAnEditThatLostTheRaceIsWrittenOnTop) {
    Machine a(root, "a", folder);
    a.preferences->setAppearance(AppAppearance::dark);
    a.preferences->setFolderSync(true); // no file yet: A's settings create it
    EXPECT_EQ(a.preferences->syncStatus, QString::fromUtf8("已启用同步文件夹同步"));
    EXPECT_EQ(contents(),
              R"({"version":1,"enabled":true,"appearance":"dark","showsMenuBarIcon":true})");

    Machine b(root, "b", folder);
    const QByteArray before = contents();
    b.preferences->setFolderSync(true); // the file wins over B's own settings
    EXPECT_EQ(b.preferences->appearance(), AppAppearance::dark);
    EXPECT_EQ(contents(), before) << "applying what was read writes nothing back";

    // Both edit before either has read the other's: A wins the file, B is refused, reads
    // A's version when its monitor reports it, and writes its own edit on top.
    a.preferences->setShowsTrayIcon(false);
    b.preferences->setAppearance(AppAppearance::light);
    EXPECT_TRUE(b.preferences->syncStatus.contains(QString::fromUtf8("配置已被其它设备或程序修改")))
        << b.preferences->syncStatus.toStdString();
    ASSERT_TRUE(waitUntil([&] {
        return contents() ==
               R"({"version":1,"enabled":true,"appearance":"light","showsMenuBarIcon":false})";
    })) << contents().toStdString();
    EXPECT_TRUE(waitUntil([&] {
        return a.preferences->appearance() == AppAppearance::light &&
               !b.preferences->showsTrayIcon();
    })) << "both machines end with both edits";

    a.preferences->setFolderSync(false); // off: the file stays, changes are not followed
    EXPECT_EQ(a.preferences->syncStatus, QString::fromUtf8("仅保存在本机"));
    b.preferences->setEnabled(false);
    QCoreApplication::processEvents(QEventLoop::AllEvents, 200);
    EXPECT_TRUE(a.preferences->enabled());
    a.restart();
    b.restart();
    EXPECT_FALSE(a.preferences->folderSyncEnabled()) << "a restart keeps each machine's choice";
    EXPECT_TRUE(b.preferences->folderSyncEnabled());
}

TEST_F(FolderSyncTest, BadFilesAndConflictCopiesAreNotAppliedAndNoFolderKeepsItOff) {
    Machine a(root, "a", folder);
    ASSERT_TRUE((a.preferences->setFolderSync(true), a.preferences->folderSyncEnabled()));
    for (const QByteArray& bad :
         {QByteArray(
              R"({"version":2,"enabled":false,"appearance":"dark","showsMenuBarIcon":false})"),
          QByteArray(R"({"version":1,"appearance":"dark","showsMenuBarIcon":false})"),
          QByteArray(
              R"({"version":1,"enabled":"yes","appearance":"dark","showsMenuBarIcon":false})")}) {
        put(bad);
        EXPECT_TRUE(waitUntil([&] {
            return a.preferences->syncStatus.startsWith(QString::fromUtf8("同步配置读取失败"));
        })) << bad.toStdString();
        EXPECT_TRUE(a.preferences->enabled()) << bad.toStdString();
        a.preferences->syncStatus.clear();
    }
    put(R"({"version":1,"enabled":true,"appearance":"sepia","showsMenuBarIcon":true,"extra":[1]})");
    EXPECT_TRUE(waitUntil(
        [&] { return a.preferences->syncStatus == QString::fromUtf8("已从同步文件夹同步"); }));
    EXPECT_EQ(a.preferences->appearance(), AppAppearance::system) << "an unknown appearance";

    put(R"({"version":1,"enabled":false,"appearance":"dark","showsMenuBarIcon":true})");
    ASSERT_TRUE(hopla::testing::write(
        folder + "/Hopla/config.sync-conflict-20261123-120000-ABCDEFG.json", {}));
    EXPECT_TRUE(
        waitUntil([&] { return a.preferences->syncStatus.contains(QString::fromUtf8("冲突")); }));
    EXPECT_TRUE(a.preferences->enabled()) << "nothing applied while a conflict copy exists";

    QSettings lonely(root.filePath("c.ini"), QSettings::IniFormat);
    hopla::testing::ScriptedAutostart login;
    hopla::Preferences nowhere(lonely, login,
                               {root.filePath("empty-home"), root.filePath("c-locks")});
    nowhere.setFolderSync(true);
    EXPECT_FALSE(nowhere.folderSyncEnabled());
    EXPECT_TRUE(nowhere.syncStatus.startsWith(QString::fromUtf8("未找到同步文件夹")));
}

TEST_F(FolderSyncTest, TurningSyncOnTakesTheFileAndAFailedStartIsTakenUpWhenMended) {
    Machine a(root, "a", folder);
    put(R"({"version":1,"enabled":true,"appearance":"dark","showsMenuBarIcon":true})");
    a.preferences->setAppearance(AppAppearance::light); // made apart: it stays on this machine
    a.preferences->setFolderSync(true);
    EXPECT_EQ(a.preferences->appearance(), AppAppearance::dark);
    EXPECT_TRUE(contents().contains("dark")) << contents().toStdString();

    // Started at login with a FIFO in place of the file: the start completes and says why.
    QFile::remove(file);
    ASSERT_EQ(::mkfifo(QFile::encodeName(file).constData(), 0600), 0);
    a.restart();
    EXPECT_TRUE(a.preferences->syncStatus.contains(QString::fromUtf8("不是普通文件")))
        << a.preferences->syncStatus.toStdString();
    // A regular file comes back: it is taken up, and edits are written again.
    QFile::remove(file);
    put(R"({"version":1,"enabled":true,"appearance":"light","showsMenuBarIcon":true})");
    EXPECT_TRUE(waitUntil([&] { return a.preferences->appearance() == AppAppearance::light; }));
    a.preferences->setShowsTrayIcon(false);
    EXPECT_TRUE(contents().contains(R"("showsMenuBarIcon":false)")) << contents().toStdString();
}

TEST(SyncedSettings, HostileBytesAreRefusedWithoutHarm) {
    const QByteArray deep = QByteArray(100000, '[') + QByteArray(100000, ']');
    for (const QByteArray& hostile :
         {QByteArray(), QByteArray(R"({"version":1,"enabled":tr)"), deep,
          QByteArray(
              R"({"version":1e999,"enabled":true,"appearance":"x","showsMenuBarIcon":true})"),
          QByteArray(R"({"version":1.5,"enabled":true,"appearance":"x","showsMenuBarIcon":true})"),
          QByteArray(R"([1,2,3])"), QByteArray(5'000'001, '{'), QByteArray("\xff\xfe\x00{", 4)}) {
        EXPECT_TRUE(std::holds_alternative<QString>(SyncedSettings::decode(hostile)))
            << hostile.left(40).toStdString();
    }
    // Any text a file brought survives being written again, quotes and backslashes too.
    for (const SyncedSettings& record :
         {SyncedSettings{false, "light", true},
          SyncedSettings{true, QString::fromUtf8("da\\\"k\n\uFFFD"), false}}) {
        EXPECT_EQ(std::get<SyncedSettings>(SyncedSettings::decode(record.encoded())), record);
    }
}

} // namespace
