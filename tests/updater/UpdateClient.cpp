// Hopla's updater as the application runs it, without windows: checks the manifest, accepts
// every prompt, downloads, verifies, starts the update helper and quits. For the
// self-update test, which serves the release and watches the installed folder.
//   update-client CA.pem MANIFEST-URL PUBLISHER.pub NOTARY.pub INSTALLED-APPDIR SETTINGS.ini
#include "platform/qt/QtScheduler.h"
#include "updater/HttpsFetcher.h"
#include "updater/Minisign.h"
#include "updater/NativeUpdater.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QFile>
#include <QSslCertificate>

#include <cstdio>

namespace {

QString readText(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromLatin1(file.readAll()) : QString();
}

} // namespace

int main(int argc, char* argv[]) {
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 7) {
        std::fprintf(stderr,
                     "usage: update-client CA MANIFEST PUBLISHER NOTARY INSTALLED SETTINGS\n");
        return 2;
    }
    hopla::NativeUpdateConfiguration configuration;
    configuration.bundleIdentifier = QStringLiteral("app.hopla.Hopla");
    configuration.manifestURL = QUrl(arguments[2]);
    configuration.allowedDownloadHosts = {configuration.manifestURL.host()};
    configuration.publisherKey = readText(arguments[3]);
    configuration.notaryKey = readText(arguments[4]);
    configuration.isEnabled = true;

    QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
    tls.setCaCertificates(QSslCertificate::fromPath(arguments[1]));
    hopla::HttpsFetcher fetcher(tls);
    hopla::QtScheduler scheduler;
    QSettings settings(arguments[6], QSettings::IniFormat);
    const auto installed = hopla::AppBundle::open(arguments[5]);
    if (!installed) {
        std::fprintf(stderr, "update-client: no Hopla folder at %s\n", qPrintable(arguments[5]));
        return 2;
    }
    hopla::NativeUpdater updater(
        configuration,
        {.scheduler = scheduler,
         .fetcher = fetcher,
         .defaults = settings,
         .promptHistory = settings,
         .alert =
             [](const hopla::NativeUpdatePrompt& prompt, hopla::NativeUpdateMessageStyle style,
                std::function<void(bool)> choose) {
                 std::printf("%s\n", qPrintable(prompt.title));
                 std::fflush(stdout);
                 if (style == hopla::NativeUpdateMessageStyle::warning) {
                     QCoreApplication::exit(1);
                 }
                 choose(true);
             },
         .openURL = [](const QUrl&) {},
         .quit = [] { QCoreApplication::exit(0); },
         .running = *installed,
         .secondsSince1970 = [] { return QDateTime::currentMSecsSinceEpoch() / 1000.0; }});
    updater.checkForUpdates(true);
    return QCoreApplication::exec();
}
