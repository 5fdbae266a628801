#include "updater/Minisign.h"
#include "updater/UpdateConfiguration.h"

// The values come from the build (see HOPLA_UPDATES in CMakeLists.txt); this file is
// compiled for each program that carries its own.
namespace hopla {

UpdateConfiguration UpdateConfiguration::shipped() {
    UpdateConfiguration configuration;
    configuration.desktopId = QStringLiteral(HOPLA_BUNDLE_ID);
    configuration.manifestURL = QUrl(QStringLiteral(HOPLA_UPDATE_MANIFEST_URL));
    for (const QString& host :
         QStringLiteral(HOPLA_UPDATE_HOSTS).split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        configuration.allowedDownloadHosts.insert(host.trimmed().toLower());
    }
    configuration.publisherKey = QStringLiteral(HOPLA_UPDATE_PUBLISHER_KEY);
    configuration.notaryKey = QStringLiteral(HOPLA_UPDATE_NOTARY_KEY);
    if (const auto key = MinisignPublicKey::parse(configuration.publisherKey)) {
        configuration.teamIdentifier = key->idText();
    }
    configuration.isEnabled = HOPLA_UPDATES_ENABLED;
    return configuration;
}

} // namespace hopla
