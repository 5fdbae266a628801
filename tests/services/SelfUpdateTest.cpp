// Hopla updating itself for real: build 1 runs from a Hopla.AppDir on a private desktop,
// finds build 2 on a loopback HTTPS server, asks (its own dialogs, answered with Return),
// downloads, verifies, restarts into the update helper, and build 2 runs from the same
// place. The server's authority is made for the test and trusted through the system's
// certificate folder while it runs (root only, as in CI).
#include "tests/desktop/harness/X11Desktop.h"
#include "tests/services/LoopbackHttps.h"
#include "tests/services/Processes.h"
#include "tests/support/Files.h"
#include "updater/UpdateConfiguration.h"
#include "updater/UpdateManifest.h"

#include <QCryptographicHash>
#include <QDir>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>
#include <unistd.h>

namespace {

using hopla::testing::readAll;
using hopla::testing::run;
using hopla::testing::write;

using namespace std::chrono_literals;
using hopla::testing::LoopbackHttps;
using hopla::testing::X11Desktop;

// A Hopla.AppDir of the self-updating build with the given identity.
void makeAppDir(const QString& path, const QString& version, const QString& build) {
    write(path + "/hopla.desktop",
          QStringLiteral("[Desktop Entry]\nType=Application\nName=Hopla\nExec=AppRun\n"
                         "X-Hopla-Identifier=app.hopla.Hopla\nX-Hopla-Version=%1\n"
                         "X-Hopla-Build=%2\n")
              .arg(version, build)
              .toUtf8());
    write(path + "/AppRun",
          "#!/bin/sh\nexec \"$(dirname \"$(readlink -f \"$0\")\")/usr/bin/hopla\" \"$@\"\n",
          QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QDir().mkpath(path + "/usr/bin");
    QFile::copy(HOPLA_SELFUPDATE, path + "/usr/bin/hopla");
    run("strip", {"--strip-debug", path + "/usr/bin/hopla"});
}

// The processes whose program is this file.
std::vector<pid_t> runningFrom(const QString& program) {
    std::vector<pid_t> found;
    const QString target = QFileInfo(program).canonicalFilePath();
    for (const QString& pid : QDir("/proc").entryList({"[0-9]*"}, QDir::Dirs)) {
        if (!target.isEmpty() && QFileInfo("/proc/" + pid + "/exe").symLinkTarget() == target) {
            found.push_back(pid.toInt());
        }
    }
    return found;
}

TEST(SelfUpdate, BuildOneFindsBuildTwoAndRestartsIntoItFromTheSamePlace) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "trusting the test's authority needs root (CI runs as root)";
    }
    QTemporaryDir root;
    const QString installed = root.filePath("apps/Hopla.AppDir");
    makeAppDir(installed, "1.0", "1");
    const QString release = root.filePath("release");
    makeAppDir(release + "/Hopla.AppDir", "2.0", "2");
    ASSERT_EQ(run("bash", {HOPLA_SOURCE_DIR "/scripts/sign-appdir", release + "/Hopla.AppDir",
                           UPDATE_KEYS "/publisher.key", UPDATE_KEYS "/notary.key"}),
              QString());
    ASSERT_EQ(
        run("bsdtar", {"-C", release, "-a", "-cf", root.filePath("Hopla-2.0.zip"), "Hopla.AppDir"}),
        QString());
    const QByteArray archive = readAll(root.filePath("Hopla-2.0.zip"));

    // The authority, trusted through the system's certificate folder while the test runs.
    hopla::testing::TestAuthority authority;
    ASSERT_EQ(authority.error, QString());
    const auto [hashed, hash] = hopla::testing::runToEnd(
        "openssl", {"x509", "-hash", "-noout", "-in", authority.authorityPath()});
    ASSERT_EQ(hashed, 0) << hash.toStdString();
    const QString trusted = "/etc/ssl/certs/" + hash.trimmed() + ".0";
    ASSERT_FALSE(QFileInfo::exists(trusted));
    ASSERT_TRUE(QFile::copy(authority.authorityPath(), trusted));
    const std::unique_ptr<void, std::function<void(void*)>> untrust(
        reinterpret_cast<void*>(1), [trusted](void*) { QFile::remove(trusted); });

    LoopbackHttps server(authority, 48213);
    ASSERT_EQ(server.port(), 48213) << "the port the build names is taken";
    const hopla::UpdateManifest manifest{
        .schemaVersion = 1,
        .product = "hopla",
        .version = "2.0",
        .build = 2,
        .downloadURL = server.url("/downloads/Hopla-2.0.zip"),
        .sha256 = QCryptographicHash::hash(archive, QCryptographicHash::Sha256).toHex(),
        .releaseNotes = QStringLiteral("# Hopla 2.0\n\n- **Faster** switching"),
    };
    server.route("/downloads/latest.json", LoopbackHttps::answer("200 OK", manifest.encode()));
    server.route("/downloads/Hopla-2.0.zip", LoopbackHttps::answer("200 OK", archive));

    // Build 1 at login, with automatic checks on.
    QString error;
    X11Desktop* desktop = X11Desktop::start(&error);
    ASSERT_TRUE(desktop) << error.toStdString();
    write(root.filePath("config/Hopla/Hopla.conf"),
          "[General]\nupdater.hopla.automaticallyChecksForUpdates=true\n");
    qputenv("XDG_CONFIG_HOME", root.filePath("config").toUtf8());
    // Hardened systems mount the temporary folder noexec: nothing may run from there.
    const hopla::testing::MountedFolder noexec("noexec,size=64m");
    ASSERT_TRUE(noexec.mounted);
    qputenv("TMPDIR", noexec.dir.path().toUtf8());
    QDir().mkpath(root.filePath("runtime"));
    QFile::setPermissions(root.filePath("runtime"),
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    qputenv("XDG_RUNTIME_DIR", root.filePath("runtime").toUtf8());
    qputenv("QT_QPA_PLATFORM", "xcb");
    qputenv("LANGUAGE", "en"); // the prompts' titles below are the English ones
    qputenv("LC_ALL", "C");
    QProcess* buildOne = desktop->launch(installed + "/AppRun", {"--login-item"});
    // Each prompt is a window titled with its question; Return chooses its first button
    // (download, then restart). A Return that came before the dialog had the keyboard is
    // pressed again.
    const auto titled = [&](const char* text) { return desktop->windowTitled(text); };
    for (const char* title : {"Hopla 2.0 is available", "Hopla 2.0 is ready"}) {
        ASSERT_TRUE(desktop->waitFor([&] { return titled(title) != 0; }, 30s))
            << title << " never showed";
        for (int attempt = 0; attempt < 5 && titled(title) != 0; ++attempt) {
            desktop->waitFor([&] { return desktop->activeWindow() == titled(title); }, 2s);
            desktop->press(36); // Return
            desktop->waitFor([&] { return titled(title) == 0; }, 3s);
        }
        ASSERT_EQ(titled(title), 0u) << title << " was not answered";
    }
    // Build 1 quits, the helper swaps, build 2 runs from the install path.
    ASSERT_TRUE(desktop->waitFor([&] { return buildOne->state() == QProcess::NotRunning; }, 30s));
    std::vector<pid_t> buildTwo;
    ASSERT_TRUE(desktop->waitFor(
        [&] {
            buildTwo = runningFrom(installed + "/usr/bin/hopla");
            return !buildTwo.empty() &&
                   hopla::AppBundle::open(installed)->build == QStringLiteral("2");
        },
        60s))
        << "build 2 is not running from " << installed.toStdString() << " (installed build "
        << hopla::AppBundle::open(installed)->build.value_or("?").toStdString() << ")";
    // The helper removes the old folder once build 2 has started, and build 2 the staged
    // download; nothing was left in the temporary folder.
    const auto entries = [](const QString& folder) {
        return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    };
    EXPECT_TRUE(desktop->waitFor(
        [&] { return entries(root.filePath("apps")) == QStringList{"Hopla.AppDir"}; }, 30s))
        << entries(root.filePath("apps")).join(' ').toStdString();
    EXPECT_EQ(entries(noexec.dir.path()).join(' ').toStdString(), "");
    for (const pid_t pid : buildTwo) {
        ::kill(pid, SIGTERM);
    }
}

} // namespace
