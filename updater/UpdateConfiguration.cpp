#include "updater/UpdateConfiguration.h"

#include "updater/UpdaterText.h"

#include <QDir>
#include <QFileInfo>

#include <glib.h>

#include <memory>

namespace hopla {

QUrl UpdateConfiguration::changelogURL(const QString& language) const {
    const QString tag = language.toLower().replace(QLatin1Char('_'), QLatin1Char('-'));
    QString segment;
    if (tag.startsWith(QLatin1String("zh"))) {
        segment = QStringLiteral("zh/");
        for (const char* traditional : {"zh-hant", "zh-tw", "zh-hk", "zh-mo"}) {
            if (tag.startsWith(QLatin1String(traditional))) {
                segment = QStringLiteral("zh-tw/");
            }
        }
    }
    // "/downloads/latest.json" less its last two components is the site's root.
    QStringList parts = manifestURL.path().split(QLatin1Char('/'));
    parts.resize(std::max<qsizetype>(1, parts.size() - 2));
    QUrl page = manifestURL;
    page.setQuery(QString());
    page.setFragment(QString());
    page.setPath(parts.join(QLatin1Char('/')) + QLatin1Char('/') + segment +
                 QStringLiteral("changelog/"));
    return page;
}

namespace {

struct KeyFileFree {
    void operator()(GKeyFile* file) const { g_key_file_free(file); }
};

std::optional<QString> entry(GKeyFile* file, const char* key) {
    std::unique_ptr<gchar, decltype(&g_free)> value(
        g_key_file_get_string(file, "Desktop Entry", key, nullptr), &g_free);
    if (!value) {
        return std::nullopt;
    }
    return QString::fromUtf8(value.get());
}

} // namespace

std::optional<AppBundle> AppBundle::open(const QString& path) {
    const QByteArray desktop = QFile::encodeName(path + QStringLiteral("/hopla.desktop"));
    std::unique_ptr<GKeyFile, KeyFileFree> file(g_key_file_new());
    if (!QFileInfo(path).isDir() ||
        !g_key_file_load_from_file(file.get(), desktop.constData(), G_KEY_FILE_NONE, nullptr)) {
        return std::nullopt;
    }
    return AppBundle{
        .path = path,
        .identifier = entry(file.get(), "X-Hopla-Identifier"),
        .version = entry(file.get(), "X-Hopla-Version"),
        .build = entry(file.get(), "X-Hopla-Build"),
    };
}

AppBundle AppBundle::running() {
    // An AppDir keeps the program in usr/bin/.
    QDir folder = QFileInfo(QFileInfo(QStringLiteral("/proc/self/exe")).canonicalFilePath()).dir();
    if (folder.cdUp() && folder.cdUp()) {
        if (auto bundle = open(folder.absolutePath())) {
            return *bundle;
        }
    }
    const QString build = QStringLiteral(HOPLA_BUILD_NUMBER);
    return AppBundle{
        .path = QString(),
        .identifier = QStringLiteral(HOPLA_BUNDLE_ID),
        .version = QStringLiteral(HOPLA_VERSION),
        .build = build.isEmpty() ? std::nullopt : std::optional<QString>(build),
    };
}

std::optional<QString> AppBundle::executable() const {
    const QFileInfo run(path + QStringLiteral("/AppRun"));
    if (path.isEmpty() || !run.isFile() || !run.isExecutable()) {
        return std::nullopt;
    }
    return run.absoluteFilePath();
}

QString AppVersion::displayText(const AppBundle& bundle) {
    const QString unknown(QChar(0x2014));
    return updaterCopy("版本 %1（%2）")
        .arg(bundle.version.value_or(unknown), bundle.build.value_or(unknown));
}

} // namespace hopla
