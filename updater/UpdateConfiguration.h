#pragma once

#include <QSet>
#include <QString>
#include <QUrl>

#include <cstdint>
#include <optional>

namespace hopla {

// The most an update archive may hold once unpacked, against archive bombs.
struct ArchiveLimits {
    std::int64_t unpackedBytes = 1LL << 30; // 1 GiB
    int entries = 20000;
    std::int64_t downloadBytes = 512LL << 20; // the archive itself
};

// What the release build was configured with; built once at start and never changed.
struct UpdateConfiguration {
    QString product = QStringLiteral("hopla");
    QString appName = QStringLiteral("Hopla"); // the archive holds appName + ".AppDir"
    QString desktopId;
    QString teamIdentifier; // the publisher key's id, as minisign prints it
    QUrl manifestURL;
    QSet<QString> allowedDownloadHosts; // lower case
    bool isEnabled = false;             // false: a development build, never updated
    QString publisherKey;               // minisign public keys, as minisign prints them
    QString notaryKey;
    ArchiveLimits limits;

    // The public change log for a language tag: zh-TW and the other traditional tags get
    // the zh-tw/ page, other Chinese tags the zh/ page, everybody else the site's own.
    QUrl changelogURL(const QString& language) const;

    // The folder name of the application inside an archive and at its install place.
    QString bundleName() const { return appName + QStringLiteral(".AppDir"); }

    // The configuration this build was made with (see HOPLA_UPDATES in CMakeLists.txt).
    static UpdateConfiguration shipped();
};

// An installed Hopla folder (Hopla.AppDir): its identity from its hopla.desktop.
struct AppBundle {
    QString path;
    std::optional<QString> identifier; // X-Hopla-Identifier
    std::optional<QString> version;    // X-Hopla-Version
    std::optional<QString> build;      // X-Hopla-Build

    // The bundle at `path`, or nothing when it has no readable hopla.desktop.
    static std::optional<AppBundle> open(const QString& path);
    // The bundle holding the running executable; outside one (a package, a build tree),
    // the version and build this binary was made with, and no path.
    static AppBundle running();
    // The program that starts the bundle, when it is there and executable.
    std::optional<QString> executable() const;
};

// The version line of the settings window: "版本 1.4.2（57）", "—" for what is unknown.
namespace AppVersion {
QString displayText(const AppBundle& bundle);
}

} // namespace hopla
