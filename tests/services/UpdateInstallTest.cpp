// An update from archive to installed folder, on real files: releases signed with the
// release script and throwaway minisign keys, hostile archives made with libarchive, the
// helper's swap (also killed half way), and the release engineer's check. The whole
// update over HTTPS, with the real program, is in SelfUpdateTest.cpp.
#include "tests/services/Processes.h"
#include "tests/support/Files.h"
#include "updater/BundleSignature.h"
#include "updater/UpdateArchiveVerification.h"
#include "updater/UpdateHelper.h"
#include "updater/UpdateInstaller.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <archive.h>
#include <archive_entry.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using hopla::testing::readAll;
using hopla::testing::run;
using hopla::testing::write;

using namespace hopla;
using UpdateInstaller::Error;
using UpdateInstaller::Failure;

std::optional<Failure> failureOf(const UpdateInstaller::Result<QString>& result) {
    const auto* error = std::get_if<Error>(&result);
    return error ? error->failure : std::nullopt;
}

struct Entry {
    QByteArray path;
    mode_t type = AE_IFREG;
    QByteArray content;
    QByteArray link; // symbolic link target
};

class UpdateInstall : public ::testing::Test {
protected:
    QTemporaryDir root;
    QString tmp = root.filePath("staging"); // where updates are unpacked

    void SetUp() override {
        QDir().mkpath(tmp);
        for (const char* who : {"publisher", "notary", "stranger"}) {
            ASSERT_EQ(
                run("minisign", {"-G", "-W", "-p", key(who) + ".pub", "-s", key(who) + ".key"}),
                QString());
        }
    }

    QString key(const char* who) const { return root.filePath(QString::fromLatin1(who)); }

    UpdateConfiguration configuration() const {
        return {.desktopId = "app.hopla.Hopla",
                .manifestURL = QUrl("https://get.hopla.test/downloads/latest.json"),
                .isEnabled = true,
                .publisherKey = QString::fromLatin1(readAll(key("publisher") + ".pub")),
                .notaryKey = QString::fromLatin1(readAll(key("notary") + ".pub")),
                .limits = {.unpackedBytes = 1 << 20, .entries = 50, .downloadBytes = 4 << 20}};
    }

    // A signed Hopla folder whose AppRun notes each start in $HOPLA_TEST_LAUNCHES.
    void makeAppDir(const QString& path, const QString& version = "1.4.2",
                    const QString& build = "58") {
        write(path + "/hopla.desktop",
              QStringLiteral("[Desktop Entry]\nType=Application\nName=Hopla\nExec=AppRun\n"
                             "X-Hopla-Identifier=app.hopla.Hopla\nX-Hopla-Version=%1\n"
                             "X-Hopla-Build=%2\n")
                  .arg(version, build)
                  .toUtf8());
        write(path + "/AppRun",
              "#!/bin/sh\necho " + version.toUtf8() + " >> \"$HOPLA_TEST_LAUNCHES\"\n",
              QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadGroup |
                  QFile::ExeGroup | QFile::ReadOther | QFile::ExeOther);
        write(path + "/usr/bin/hopla", "program " + version.toUtf8());
        write(path + "/usr/share/hopla/notes.txt", "notes");
        sign(path);
    }

    void sign(const QString& appDir, const char* publisher = "publisher",
              const char* notary = "notary") {
        ASSERT_EQ(run("bash", {HOPLA_SOURCE_DIR "/scripts/sign-appdir", appDir,
                               key(publisher) + ".key", key(notary) + ".key"}),
                  QString());
    }

    // A release as published: Hopla.AppDir made and signed (then changed, when asked) in
    // release/, zipped to release.zip.
    QString releaseApp() const { return root.filePath("release/Hopla.AppDir"); }
    QByteArray release(const std::function<void()>& change = {}) {
        const QString out = root.filePath("release.zip");
        QDir(root.filePath("release")).removeRecursively();
        makeAppDir(releaseApp());
        if (change) {
            change();
        }
        EXPECT_EQ(run("bsdtar", {"-C", root.filePath("release"), "-a", "-cf", out, "Hopla.AppDir"}),
                  QString());
        return readAll(out);
    }

    QByteArray craft(const std::vector<Entry>& entries, bool tar = false) {
        const QString out = root.filePath("crafted");
        archive* a = archive_write_new();
        tar ? archive_write_set_format_pax_restricted(a) : archive_write_set_format_zip(a);
        archive_write_open_filename(a, QFile::encodeName(out).constData());
        for (const Entry& e : entries) {
            archive_entry* entry = archive_entry_new();
            archive_entry_set_pathname(entry, e.path.constData());
            archive_entry_set_filetype(entry, e.type);
            archive_entry_set_perm(entry, 0644);
            if (e.type == AE_IFLNK) {
                archive_entry_set_symlink(entry, e.link.constData());
            } else if (!e.link.isEmpty()) {
                archive_entry_set_hardlink(entry, e.link.constData());
            }
            archive_entry_set_size(entry, e.type == AE_IFREG ? e.content.size() : 0);
            archive_write_header(a, entry);
            if (e.type == AE_IFREG) {
                archive_write_data(a, e.content.constData(), static_cast<size_t>(e.content.size()));
            }
            archive_entry_free(entry);
        }
        archive_write_close(a);
        archive_write_free(a);
        return readAll(out);
    }

    UpdateManifest manifestFor(const QByteArray& archive, const QString& version = "1.4.2",
                               qint64 build = 58) const {
        return {.schemaVersion = 1,
                .product = "hopla",
                .version = version,
                .build = build,
                .downloadURL = "https://get.hopla.test/Hopla.zip",
                .sha256 = QCryptographicHash::hash(archive, QCryptographicHash::Sha256).toHex(),
                .releaseNotes = std::nullopt};
    }

    // Prepares the archive against its own manifest unless given another; the failure.
    std::optional<Failure> refusal(const QByteArray& archive,
                                   std::optional<UpdateManifest> manifest = std::nullopt,
                                   std::optional<UpdateConfiguration> with = std::nullopt) {
        return failureOf(UpdateInstaller::prepare(archive, manifest.value_or(manifestFor(archive)),
                                                  with.value_or(configuration()), tmp));
    }

    QStringList staging() const {
        return QDir(tmp).entryList({".hopla-update-*"}, QDir::Dirs | QDir::Hidden);
    }
};

TEST_F(UpdateInstall, ASignedReleasePassesAndAnyChangeToItDoesNot) {
    const QByteArray good = release();
    const auto prepared = UpdateInstaller::prepare(good, manifestFor(good), configuration(), tmp);
    ASSERT_TRUE(std::holds_alternative<QString>(prepared))
        << std::get<Error>(prepared).detail.toStdString();
    const QString staged = std::get<QString>(prepared);
    EXPECT_TRUE(staged.startsWith(tmp + "/.hopla-update-"));
    EXPECT_EQ(readAll(staged + "/usr/bin/hopla"), "program 1.4.2");
    EXPECT_TRUE(QFileInfo(staged + "/AppRun").isExecutable());
    QDir(QFileInfo(staged).path()).removeRecursively();

    // One byte off: refused before anything is written.
    QByteArray damaged = good;
    damaged[damaged.size() / 2] = static_cast<char>(damaged[damaged.size() / 2] ^ 1);
    EXPECT_EQ(refusal(damaged, manifestFor(good)), Failure::invalidArchive);
    EXPECT_TRUE(staging().isEmpty());

    // Identity: another version or build than the manifest, another bundle than configured.
    EXPECT_EQ(refusal(good, manifestFor(good, "1.4.3")), Failure::invalidApplication);
    EXPECT_EQ(refusal(good, manifestFor(good, "1.4.2", 59)), Failure::invalidApplication);
    auto elsewhere = configuration();
    elsewhere.desktopId = "app.other.Tool";
    EXPECT_EQ(refusal(good, std::nullopt, elsewhere), Failure::invalidApplication);

    // Signed releases changed after signing, or signed by the wrong parties.
    const QString app = releaseApp();
    const std::pair<const char*, std::function<void()>> tampering[] = {
        {"a file not listed", [&] { write(app + "/usr/bin/extra", "x"); }},
        {"a listed file changed", [&] { write(app + "/usr/bin/hopla", "program 6.6.6"); }},
        {"a listed file missing", [&] { QFile::remove(app + "/usr/share/hopla/notes.txt"); }},
        {"a mode changed",
         [&] {
             QFile::setPermissions(app + "/usr/bin/hopla",
                                   QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
         }},
        {"no countersignature", [&] { QFile::remove(app + "/.signature/files.notary.minisig"); }},
        {"signed by a stranger", [&] { sign(app, "stranger", "notary"); }},
        {"countersigned by a stranger", [&] { sign(app, "publisher", "stranger"); }},
        {"signed for another bundle",
         [&] {
             EXPECT_EQ(run("minisign",
                           {"-S", "-s", key("publisher") + ".key", "-m", app + "/.signature/files",
                            "-x", app + "/.signature/files.minisig", "-t",
                            "identifier=app.other.Tool version=1.4.2 build=58"}),
                       QString());
         }},
    };
    for (const auto& [what, change] : tampering) {
        EXPECT_EQ(refusal(release(change)), Failure::invalidApplication) << what;
        EXPECT_TRUE(staging().isEmpty()) << what;
    }
}

TEST_F(UpdateInstall, HostileArchivesAreRefusedWithNothingWrittenOutside) {
    const QByteArray outside = QFile::encodeName(root.filePath("outside"));
    const QByteArray desktop = "[Desktop Entry]\nX-Hopla-Identifier=app.hopla.Hopla\n";
    std::vector<std::pair<const char*, QByteArray>> archives = {
        {"a parent step", craft({{"Hopla.AppDir/../../escape", AE_IFREG, "x"}})},
        {"an absolute path", craft({{outside + "/absolute", AE_IFREG, "x"}})},
        {"a link out of the folder", craft({{"Hopla.AppDir/link", AE_IFLNK, {}, outside},
                                            {"Hopla.AppDir/link/through", AE_IFREG, "x"}})},
        {"a hard link (tar: zip cannot carry one)",
         craft({{"Hopla.AppDir/a", AE_IFREG, "x"},
                {"Hopla.AppDir/b", AE_IFREG, {}, "Hopla.AppDir/a"}},
               true)},
        {"an entry outside the folder",
         craft({{"Hopla.AppDir/hopla.desktop", AE_IFREG, desktop}, {"Other/file", AE_IFREG, "x"}})},
        {"a duplicate entry",
         craft({{"Hopla.AppDir/hopla.desktop", AE_IFREG, desktop},
                {"Hopla.AppDir/hopla.desktop", AE_IFREG, desktop + "X-Hopla-Build=99\n"}})},
        {"a bomb by size", craft({{"Hopla.AppDir/zeros", AE_IFREG, QByteArray(2 << 20, '\0')}})},
    };
    std::vector<Entry> many;
    for (int i = 0; i < 60; ++i) {
        many.push_back({"Hopla.AppDir/f" + QByteArray::number(i), AE_IFREG, "x"});
    }
    archives.emplace_back("a bomb by entries", craft(many));
    // A device: zip keeps the Unix mode in the central directory's external attributes.
    QByteArray device = craft({{"Hopla.AppDir/dev", AE_IFREG, {}}});
    const qsizetype central = device.indexOf(QByteArray("PK\x01\x02", 4));
    ASSERT_GT(central, 0);
    const quint32 characterDevice = (0020644u) << 16;
    for (int i = 0; i < 4; ++i) {
        device[central + 38 + i] = static_cast<char>((characterDevice >> (8 * i)) & 0xff);
    }
    archives.emplace_back("a device", device);

    for (const auto& [what, archive] : archives) {
        const auto result =
            UpdateInstaller::prepare(archive, manifestFor(archive), configuration(), tmp);
        EXPECT_EQ(failureOf(result), Failure::invalidApplication) << what;
        EXPECT_FALSE(std::get<Error>(result).detail.isEmpty()) << what;
        EXPECT_TRUE(staging().isEmpty()) << what;
        EXPECT_FALSE(QFileInfo::exists(root.filePath("escape"))) << what;
        EXPECT_FALSE(QFileInfo::exists(root.filePath("outside"))) << what;
    }
}

// The installed Hopla at `path` is whole: exactly one version's files, as signed.
::testing::AssertionResult whole(const QString& path) {
    const auto listing = bundleListing(path);
    if (!listing || *listing != readAll(path + "/.signature/files") ||
        !QFileInfo(path + "/AppRun").isExecutable()) {
        return ::testing::AssertionFailure() << path.toStdString() << " is not a whole Hopla";
    }
    return ::testing::AssertionSuccess();
}

TEST_F(UpdateInstall, TheHelperSwapsOrLeavesTheOldHoplaRunnable) {
    const QStringList helper{"hopla", "--native-update-helper", "/opt/Hopla.AppDir"};
    for (const auto& [pid, accepted] : std::vector<std::pair<QString, bool>>{
             {"4242", true}, {"+4242", true}, {"abc", false}, {"2147483648", false}, {"", false}}) {
        EXPECT_EQ(UpdateHelper::parseArguments(helper + QStringList{pid}).has_value(), accepted)
            << pid.toStdString();
    }
    for (const QStringList& wrong : {helper, helper + QStringList{"1", "x"},
                                     QStringList{"hopla", "--other", "/opt/Hopla.AppDir", "1"}}) {
        EXPECT_FALSE(UpdateHelper::parseArguments(wrong)) << wrong.join(' ').toStdString();
    }

    const QString current = root.filePath("apps/Hopla.AppDir");
    const QString source = root.filePath("staged/Hopla.AppDir");
    const QString launches = root.filePath("launches");
    qputenv("HOPLA_TEST_LAUNCHES", launches.toLocal8Bit());
    const auto fresh = [&] {
        QDir(root.filePath("apps")).removeRecursively();
        QDir(root.filePath("staged")).removeRecursively();
        makeAppDir(current, "1.0", "50");
        makeAppDir(source);
    };
    const auto versionAt = [](const QString& path) { return AppBundle::open(path)->version; };
    // The install folder holds one whole Hopla of this version and nothing beside it.
    const auto installed = [&](const char* version) {
        EXPECT_EQ(versionAt(current), version);
        EXPECT_TRUE(whole(current));
        EXPECT_EQ(QDir(root.filePath("apps"))
                      .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                  QStringList{"Hopla.AppDir"});
    };

    // A Hopla that never quits: the helper gives up and starts the old one again.
    fresh();
    UpdateHelper::install(source, current, ::getpid(),
                          {.attempts = 3, .interval = std::chrono::milliseconds(1)});
    EXPECT_EQ(versionAt(current), "1.0");
    for (int i = 0; i < 500 && readAll(launches).isEmpty(); ++i) {
        ::usleep(10000); // the start is detached
    }
    EXPECT_EQ(readAll(launches), "1.0\n");

    // A relaunch that fails puts the old folder back; so does a source that is not there.
    fresh();
    const auto failing = [](const QString&) -> std::optional<Error> {
        return Error{Failure::invalidApplication, {}, "refused"};
    };
    EXPECT_TRUE(UpdateHelper::replaceApplication(source, current, failing));
    installed("1.0");
    EXPECT_TRUE(UpdateHelper::replaceApplication(root.filePath("nowhere"), current, failing));
    EXPECT_EQ(versionAt(current), "1.0");

    // The plain swap runs end to end in SelfUpdateTest; here staged on another file system:
    // copied next to the old one, modes kept.
    std::vector<QString> relaunched;
    const auto starts = [&](const QString& path) -> std::optional<Error> {
        relaunched.push_back(path);
        return std::nullopt;
    };
    hopla::testing::MountedFolder elsewhere("size=8m");
    if (elsewhere.mounted) {
        fresh();
        const QString across = elsewhere.dir.filePath("Hopla.AppDir");
        makeAppDir(across);
        EXPECT_FALSE(UpdateHelper::replaceApplication(across, current, starts));
        installed("1.4.2");
        EXPECT_EQ(relaunched, std::vector<QString>{current});
    }

    // Installed where this user may not write: refused before Hopla quits, nothing started.
    hopla::testing::MountedFolder readOnly("ro,size=64k");
    if (readOnly.mounted) {
        const auto refused =
            UpdateInstaller::launchHelper(source, readOnly.dir.filePath("Hopla.AppDir"));
        ASSERT_TRUE(refused);
        EXPECT_EQ(refused->failure, Failure::cannotReplace);
        EXPECT_TRUE(refused->detail.endsWith(QString::fromLocal8Bit(std::strerror(EROFS))))
            << refused->detail.toStdString();
    }

    // Killed at any step, the target holds one whole Hopla, old or new.
    for (auto step : {UpdateHelper::Step::staged, UpdateHelper::Step::swapped,
                      UpdateHelper::Step::relaunched, UpdateHelper::Step::cleaned}) {
        fresh();
        const pid_t child = ::fork();
        if (child == 0) {
            UpdateHelper::replaceApplication(source, current, starts, [step](auto reached) {
                if (reached == step) {
                    ::raise(SIGKILL);
                }
            });
            ::_exit(0);
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status)) << static_cast<int>(step);
        EXPECT_TRUE(whole(current)) << static_cast<int>(step);
        EXPECT_EQ(versionAt(current), step == UpdateHelper::Step::staged ? "1.0" : "1.4.2");
    }
    qunsetenv("HOPLA_TEST_LAUNCHES");
}

TEST_F(UpdateInstall, TheReleaseCheckPrintsItsVerdict) {
    const QByteArray archive = release();
    const QString path = root.filePath("release.zip");
    const QString sum = manifestFor(archive).sha256;

    EXPECT_FALSE(UpdateArchiveVerification::runIfRequested(
        configuration(), {"hopla", "--verify-update-archive", path, "1.4.2", "58"}));
    EXPECT_FALSE(UpdateArchiveVerification::runIfRequested(
        configuration(), {"hopla", "--settings", path, "1.4.2", "58", sum}));

    ::testing::internal::CaptureStdout();
    EXPECT_EQ(UpdateArchiveVerification::runIfRequested(
                  configuration(), {"hopla", "--verify-update-archive", path, "1.4.2", "58", sum}),
              0);
    EXPECT_EQ(
        ::testing::internal::GetCapturedStdout(),
        "UPDATE VERIFY PASS: checksum, app identity, Developer ID signature and notarization\n");
    EXPECT_TRUE(staging().isEmpty()) << "the check leaves no staging folder";

    // The hopla program takes the check before it looks for a display.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove("DISPLAY");
    environment.remove("QT_QPA_PLATFORM");
    const auto [status, said] = hopla::testing::runToEnd(
        HOPLA_BINARY, {"--verify-update-archive", path, "1.4.2", "x", sum}, environment);
    EXPECT_EQ(status, 1);
    EXPECT_TRUE(said.endsWith(
        "UPDATE VERIFY FAILED: " + UpdateInstaller::description(Failure::invalidArchive) + "\n"))
        << said.toStdString();
}

} // namespace
