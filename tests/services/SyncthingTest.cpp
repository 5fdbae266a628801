// The settings' mirror carried by a real sync engine: two Syncthing instances on loopback
// (no discovery, no relays) share one folder between two homes, as two machines would.
// A folder's maxConflicts must be written out: left away it reads as 0, no conflict copies.
#include "app/Preferences.h"
#include "tests/support/Files.h"
#include "tests/support/ScriptedAutostart.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QThread>

#include "tests/support/Pump.h"

#include <gtest/gtest.h>

#include <csignal>
#include <sys/prctl.h>

namespace {

using namespace std::chrono_literals;
using hopla::AppAppearance;
using hopla::testing::waitUntil;

quint16 freePort() {
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return probe.serverPort();
}

// One "machine": a home with a Syncthing instance and a Hopla settings store.
struct Machine {
    QString home;
    QString folder; // the synced folder
    QString id;
    quint16 port = freePort();
    QProcess engine;
    std::unique_ptr<QSettings> settings;
    hopla::testing::ScriptedAutostart login;
    std::unique_ptr<hopla::Preferences> preferences;

    explicit Machine(const QString& root)
        : home(root)
        , folder(root + "/Sync") {
        QDir().mkpath(folder + "/.stfolder");
        QProcess::execute("syncthing", {"generate", "--home=" + home + "/st", "--no-default-folder",
                                        "--skip-port-probing"});
        QProcess ask;
        ask.start("syncthing", {"serve", "--home=" + home + "/st", "--device-id"});
        ask.waitForFinished(30000);
        id = QString::fromLatin1(ask.readAllStandardOutput()).trimmed();
        engine.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
        engine.setProcessChannelMode(QProcess::MergedChannels);
        engine.setStandardOutputFile(home + "/syncthing.log");
    }
    ~Machine() { stopEngine(); }
    void configure(const Machine& peer) {
        const QString device = QStringLiteral(R"(<device id="%1" name="%2" compression="metadata">)"
                                              "<address>tcp://127.0.0.1:%3</address></device>");
        const QString configuration = QStringLiteral(R"(<configuration version="36">
<folder id="hopla" label="hopla" path="%1" type="sendreceive" rescanIntervalS="60"
 fsWatcherEnabled="true" fsWatcherDelayS="1"><device id="%2"></device><device id="%3"></device>
<maxConflicts>10</maxConflicts></folder>%4%5<gui enabled="false"></gui><options>
<listenAddress>tcp://127.0.0.1:%6</listenAddress><globalAnnounceEnabled>false</globalAnnounceEnabled>
<localAnnounceEnabled>false</localAnnounceEnabled><relaysEnabled>false</relaysEnabled>
<natEnabled>false</natEnabled><urAccepted>-1</urAccepted><autoUpgradeIntervalH>0</autoUpgradeIntervalH>
<crashReportingEnabled>false</crashReportingEnabled><startBrowser>false</startBrowser>
</options></configuration>)");
        const QString self = device.arg(id, "self").arg(port);
        const QString other = device.arg(peer.id, "peer").arg(peer.port);
        const QByteArray text =
            configuration.arg(folder, id, peer.id, self, other).arg(port).toUtf8();
        ASSERT_TRUE(hopla::testing::write(home + "/st/config.xml", text));
    }
    void startEngine() {
        engine.start("syncthing",
                     {"serve", "--home=" + home + "/st", "--no-browser", "--no-restart"});
        ASSERT_TRUE(engine.waitForStarted(10000));
    }
    // Asked to quit, so it takes the worker process it runs under it along.
    void stopEngine() {
        engine.terminate();
        if (!engine.waitForFinished(15000)) {
            engine.kill();
            engine.waitForFinished(5000);
        }
    }
    void startHopla() {
        settings = std::make_unique<QSettings>(home + "/hopla.ini", QSettings::IniFormat);
        settings->setValue("sync.folder", folder);
        preferences = std::make_unique<hopla::Preferences>(
            *settings, login, hopla::SyncPlaces{home, home + "/locks"});
    }
    bool hasFile() const { return QFile::exists(folder + "/Hopla/config.json"); }
};

TEST(SyncthingTest, TwoHomesConvergeThroughSyncthing) {
    QTemporaryDir root;
    Machine a(root.filePath("a")), b(root.filePath("b"));
    ASSERT_FALSE(a.id.isEmpty() || b.id.isEmpty())
        << "no device ids: is syncthing installed? (scripts/debian-packages.txt lists it)";
    a.configure(b);
    b.configure(a);
    a.startEngine();
    b.startEngine();
    a.startHopla();
    b.startHopla();

    a.preferences->setAppearance(AppAppearance::dark);
    a.preferences->setFolderSync(true);
    ASSERT_TRUE(waitUntil([&] { return b.hasFile(); }, 60s)) << "Syncthing never carried the file";
    b.preferences->setFolderSync(true);
    EXPECT_EQ(b.preferences->appearance(), AppAppearance::dark) << "B took A's settings";

    b.preferences->setEnabled(false);
    EXPECT_TRUE(waitUntil([&] { return !a.preferences->enabled(); }, 60s)) << "A took B's edit";

    // Apart, both edit; together again, Syncthing keeps one version and a conflict copy of
    // the other. Hopla applies neither while the copy is there, and reads again once the
    // user has removed it.
    a.stopEngine();
    b.stopEngine();
    a.preferences->setAppearance(AppAppearance::light);
    QThread::sleep(2); // a later modification time: B's edit wins, A's becomes the copy
    b.preferences->setAppearance(AppAppearance::system);
    a.startEngine();
    QThread::sleep(3); // each side scans its own edit before the two meet again
    b.startEngine();
    const auto copies = [&](const Machine& m) {
        return QDir(m.folder + "/Hopla")
            .entryList({"config.sync-conflict-*"}, QDir::Files | QDir::Hidden);
    };
    ASSERT_TRUE(waitUntil([&] { return !copies(a).isEmpty() && !copies(b).isEmpty(); }, 60s))
        << "Syncthing made no conflict copy";
    for (Machine* m : {&a, &b}) {
        EXPECT_TRUE(waitUntil(
            [&] { return m->preferences->syncStatus.contains(QString::fromUtf8("冲突")); }, 60s))
            << m->preferences->syncStatus.toStdString();
    }
    for (const QString& copy : copies(a)) {
        QFile::remove(a.folder + "/Hopla/" + copy);
    }
    EXPECT_TRUE(waitUntil([&] { return copies(b).isEmpty(); }, 60s)) << "the removal carried over";
    for (Machine* m : {&a, &b}) {
        EXPECT_TRUE(
            waitUntil([&] { return m->preferences->appearance() == AppAppearance::system; }, 60s))
            << "both read the surviving version";
    }
}

} // namespace
