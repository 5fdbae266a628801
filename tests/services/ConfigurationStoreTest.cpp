// The guarded configuration file and its monitor, on real file systems: the guard between
// writers, the limits, conflict copies, crashes mid-write, a full and a read-only disk,
// and the monitor through replacements and a vanishing folder.
#include "sync/SyncedFile.h"
#include "sync/SyncedFileWatcher.h"
#include "tests/services/Processes.h"
#include "tests/support/Files.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <functional>
#include <random>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

using hopla::ConfigurationFailure;
using hopla::SyncedFile;
using hopla::SyncedFileError;
using hopla::SyncedFileWatcher;
using hopla::testing::MountedFolder;

struct ConfigurationStoreTest : ::testing::Test {
    QTemporaryDir dir;
    QString path = dir.filePath("Hopla/config.json");
    QString locks = dir.filePath("locks");

    SyncedFile repository() const { return SyncedFile(path, locks); }
    static void put(const QString& at, const QByteArray& data) {
        ASSERT_TRUE(hopla::testing::write(at, data));
    }
    QByteArray contents() const { return hopla::testing::readAll(path); }
    static ConfigurationFailure refused(SyncedFileError e) { return ConfigurationFailure::of(e); }
    static std::optional<ConfigurationFailure> failureOf(const SyncedFile::ReadResult& r) {
        const auto* f = std::get_if<ConfigurationFailure>(&r);
        return f ? std::optional(*f) : std::nullopt;
    }
};

TEST_F(ConfigurationStoreTest, AWriterOverwritesOnlyWhatItLastSaw) {
    SyncedFile first = repository();
    EXPECT_FALSE(first.isCurrent({}));
    EXPECT_EQ(first.write("one"), std::nullopt) << "nothing there yet: may create";
    SyncedFile second = repository();
    EXPECT_EQ(second.write("two"), refused(SyncedFileError::externalChange))
        << "a file it never read";
    ASSERT_EQ(std::get<QByteArray>(second.read()), "one");
    EXPECT_EQ(second.write("two"), std::nullopt);
    EXPECT_EQ(first.write("three"), refused(SyncedFileError::externalChange));
    EXPECT_EQ(contents(), "two") << "the refused write left the file alone";
    EXPECT_TRUE(second.isCurrent("two"));
    EXPECT_FALSE(first.isCurrent("two"));
    EXPECT_EQ(second.revision(), 2);
    ASSERT_TRUE(std::holds_alternative<QByteArray>(second.adopt("elsewhere")));
    EXPECT_EQ(second.revision(), 3);

    QFile::remove(path); // removed behind its back after a read
    EXPECT_EQ(second.write("four"), refused(SyncedFileError::externalChange));
    EXPECT_EQ(repository().write("five"), std::nullopt) << "a fresh one may create it again";

    // Paths with . and .. name the same file.
    SyncedFile dotted(dir.filePath("Hopla/../Hopla/./config.json"), locks);
    EXPECT_EQ(dotted.path(), path);
}

TEST_F(ConfigurationStoreTest, TheSizeLimitAndTheSyncToolsConflictCopiesStopReading) {
    put(path, QByteArray(SyncedFile::sizeLimit, 'x'));
    EXPECT_EQ(std::get<QByteArray>(repository().read()).size(), SyncedFile::sizeLimit);
    put(path, QByteArray(SyncedFile::sizeLimit + 1, 'x'));
    SyncedFile over = repository();
    EXPECT_EQ(failureOf(over.read()), refused(SyncedFileError::tooLarge));
    EXPECT_EQ(over.revision(), 0);
    EXPECT_EQ(over.write(QByteArray(SyncedFile::sizeLimit + 1, 'y')),
              refused(SyncedFileError::tooLarge));
    EXPECT_EQ(failureOf(over.adopt(QByteArray(SyncedFile::sizeLimit + 1, 'y'))),
              refused(SyncedFileError::tooLarge));

    put(path, "{}");
    put(dir.filePath("Hopla/other.sync-conflict-20260101-000000-ABCDEFG.json"), "{}");
    EXPECT_TRUE(std::holds_alternative<QByteArray>(repository().read())) << "another file's copy";
    for (const char* copy : {"config.sync-conflict-20261123-101010-ABCDEFG.json",
                             "config (conflicted copy 2026-11-23 101010).json",
                             "config (Ada's conflicted copy 2026-11-23).json"}) {
        const QString at = dir.filePath(QStringLiteral("Hopla/") + copy);
        put(at, "{}");
        EXPECT_EQ(failureOf(repository().read()), refused(SyncedFileError::conflict)) << copy;
        QFile::remove(at);
    }
    EXPECT_TRUE(std::holds_alternative<QByteArray>(repository().read()));
}

TEST_F(ConfigurationStoreTest, ReplaceKeepsABackupButNeverOverwritesOne) {
    put(path, "old");
    SyncedFile r = repository();
    const QString backup = dir.filePath("backups/config.json");
    EXPECT_EQ(r.replace("new", backup), std::nullopt);
    EXPECT_EQ(contents(), "new");
    EXPECT_TRUE(r.isCurrent("new"));
    EXPECT_TRUE(r.replace("newer", backup).has_value()) << "the backup exists already";
    EXPECT_EQ(contents(), "new");
}

TEST_F(ConfigurationStoreTest, WhatASyncPeerPutsInPlaceOfTheFileIsNeitherReadNorWritten) {
    const QString victim = dir.filePath("victim");
    put(victim, "precious");
    QDir().mkpath(dir.filePath("Hopla"));
    const auto fifo = [&] { return ::mkfifo(QFile::encodeName(path).constData(), 0600) == 0; };
    const auto link = [&](const QString& to) { return QFile::link(to, path); };
    const std::function<bool()> hostile[] = {
        [&] { return link(victim); }, [&] { return link("/dev/zero"); }, fifo,
        [&] { return QDir().mkpath(path); }, [&] { return link(dir.filePath("nowhere")); }};
    for (const auto& make : hostile) {
        ASSERT_TRUE(make());
        SyncedFile r = repository();
        // Returns at once: no FIFO or device is waited on, no link followed.
        EXPECT_EQ(failureOf(r.read()), refused(SyncedFileError::notRegular));
        EXPECT_EQ(r.write("mine"), refused(SyncedFileError::notRegular));
        EXPECT_EQ(r.replace("mine", dir.filePath("backup")), refused(SyncedFileError::notRegular));
        EXPECT_FALSE(QFileInfo::exists(dir.filePath("backup")));
        EXPECT_EQ(hopla::testing::readAll(victim), "precious");
        QFile::remove(path);
        QDir(path).removeRecursively();
    }
}

TEST_F(ConfigurationStoreTest, AWriterKilledAtAnyMomentLeavesTheOldBytesOrTheNew) {
    const QByteArray a(3'000'000, 'a'), b(2'000'000, 'b');
    ASSERT_EQ(repository().replace(a), std::nullopt);
    std::mt19937 random(7);
    for (int round = 0; round < 40; ++round) {
        const pid_t writer = ::fork();
        if (writer == 0) { // writes one and the other until killed
            SyncedFile own = repository();
            for (int i = 0;; ++i) {
                own.replace(i % 2 ? a : b);
            }
        }
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 20000));
        ::kill(writer, SIGKILL);
        ::waitpid(writer, nullptr, 0);
        const QByteArray now = contents();
        ASSERT_TRUE(now == a || now == b) << "round " << round << ": " << now.size() << " bytes";
    }
    // What a killed writer left aside is not taken for the file.
    EXPECT_TRUE(std::holds_alternative<QByteArray>(repository().read()));
}

TEST_F(ConfigurationStoreTest, AFullOrReadOnlyDiskGivesTheSystemsReasonAndKeepsTheFile) {
    MountedFolder full("size=64k");
    if (!full.mounted) {
        GTEST_SKIP() << "cannot mount a tmpfs here (not root)";
    }
    SyncedFile small(full.dir.filePath("config.json"), locks);
    ASSERT_EQ(small.write("{\"version\":1}"), std::nullopt);
    const auto failure = small.write(QByteArray(200'000, 'x'));
    ASSERT_TRUE(failure && !failure->refusal);
    EXPECT_TRUE(failure->description().contains(QString::fromLocal8Bit(std::strerror(ENOSPC))))
        << failure->description().toStdString();
    EXPECT_EQ(hopla::testing::readAll(full.dir.filePath("config.json")), "{\"version\":1}");
    EXPECT_TRUE(small.isCurrent("{\"version\":1}")) << "a failure changes nothing";

    MountedFolder readOnly("ro,size=64k");
    SyncedFile locked(readOnly.dir.filePath("Hopla/config.json"), locks);
    const auto refusedWrite = locked.write("{}");
    ASSERT_TRUE(refusedWrite && !refusedWrite->refusal);
    EXPECT_TRUE(refusedWrite->description().contains(QString::fromLocal8Bit(std::strerror(EROFS))))
        << refusedWrite->description().toStdString();
}

struct MonitorTest : ConfigurationStoreTest {
    std::atomic<int> changes = 0;
    SyncedFileWatcher monitor{path, [this] { ++changes; }};
    void SetUp() override { QDir().mkpath(dir.filePath("Hopla")); }
    bool waitFor(int count) {
        for (int i = 0; i < 1000 && changes < count; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return changes >= count;
    }
    // The count once the events of what was done before have landed.
    int settled(std::chrono::milliseconds quiet = std::chrono::milliseconds(100)) {
        std::this_thread::sleep_for(quiet);
        return changes;
    }
    bool seesChange(const std::function<void()>& action,
                    std::chrono::milliseconds quiet = std::chrono::milliseconds(100)) {
        const int before = settled(quiet);
        action();
        return waitFor(before + 1);
    }
};

TEST_F(MonitorTest, SeesWritesAndMovesOfTheOneFileAndNothingElse) {
    monitor.start();
    monitor.start(); // once is enough
    put(dir.filePath("Hopla/other.json"), "x");
    EXPECT_EQ(settled(), 0) << "the neighbour's write is not ours";
    put(path, "x");
    ASSERT_TRUE(waitFor(1));
    ASSERT_TRUE(QFile::rename(dir.filePath("Hopla/other.json"), path + ".tmp"));
    EXPECT_TRUE(seesChange([&] { QFile::rename(path, dir.filePath("Hopla/away.json")); }));
    EXPECT_TRUE(seesChange([&] { QFile::rename(path + ".tmp", path); })) << "moved onto the name";
    EXPECT_TRUE(seesChange([&] {
        put(dir.filePath("Hopla/config.sync-conflict-20261123-101010-ABCDEFG.json"), "x");
    })) << "a conflict copy decides whether the file may be read";
    const int seen = settled();
    monitor.stop();
    monitor.stop();
    put(path, "after");
    EXPECT_EQ(settled(), seen) << "stopped";
}

TEST_F(MonitorTest, SeesEveryOneOfAThousandReplacementsAndOutlivesItsFolder) {
    monitor.start();
    for (int i = 0; i < 1000; ++i) {
        put(path + ".new", QByteArray::number(i));
        ASSERT_TRUE(::rename(QFile::encodeName(path + ".new"), QFile::encodeName(path)) == 0);
    }
    EXPECT_TRUE(waitFor(1000)) << changes;

    ASSERT_TRUE(seesChange([&] { QDir(dir.filePath("Hopla")).removeRecursively(); }))
        << "the file went with its folder";
    ASSERT_TRUE(seesChange([&] { put(path, "back"); })) << "the folder and the file came back";
    EXPECT_TRUE(seesChange([&] { put(path, "written again"); }, std::chrono::milliseconds(200)))
        << "still watching the new folder";
}

} // namespace
