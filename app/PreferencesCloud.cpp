// The mirror of the settings in the user's synced folder.
#include "app/CloudConfiguration.h"
#include "app/Preferences.h"
#include "configuration/SecureConfigurationFileMonitor.h"
#include "configuration/SecureConfigurationRepository.h"
#include "platform/FileSystem.h"

#include <QDir>
#include <QFileInfo>
#include <QPointer>

namespace hopla {

namespace {
constexpr const char* syncEnabledKey = "iCloudSyncEnabled";
constexpr const char* syncFolderKey = "sync.folder";
const QStringList knownFolders{QStringLiteral("Nextcloud"), QStringLiteral("Dropbox"),
                               QStringLiteral("Sync"), QStringLiteral("ownCloud")};
} // namespace

Preferences::~Preferences() = default; // stops the monitor before anything else goes

std::optional<QString> Preferences::syncFolder() const {
    const QString chosen = defaults_.value(QLatin1String(syncFolderKey)).toString();
    if (!chosen.isEmpty()) {
        return QFileInfo(chosen).isDir() ? std::optional(chosen) : std::nullopt;
    }
    const QString home = places_.home.isEmpty() ? QDir::homePath() : places_.home;
    for (const QString& name : knownFolders) {
        if (const QString folder = home + QLatin1Char('/') + name; QFileInfo(folder).isDir()) {
            return folder;
        }
    }
    return std::nullopt;
}

void Preferences::setSyncFolder(const QString& folder) {
    defaults_.setValue(QLatin1String(syncFolderKey), folder);
    if (iCloudSyncEnabled_) { // the mirror moves with the folder
        setICloudSync(false);
        setICloudSync(true);
    }
    emit changed();
}

QString Preferences::cloudFilePath() const {
    return syncFolder().value_or(QString()) + QStringLiteral("/Hopla/config.json");
}

SecureConfigurationRepository& Preferences::cloudRepository() {
    if (!cloudRepository_) {
        cloudRepository_ =
            std::make_unique<SecureConfigurationRepository>(cloudFilePath(), places_.lockFolder);
    }
    return *cloudRepository_;
}

std::optional<ConfigurationFailure> Preferences::writeCloudConfiguration() {
    const CloudConfiguration record{enabled_, rawValue(appearance_), showsMenuBarIcon_};
    if (auto failed = cloudRepository().write(record.encoded())) {
        return failed;
    }
    unsyncedEdits_ = 0;
    syncStatus = localized("已同步到同步文件夹");
    return std::nullopt;
}

std::optional<QString> Preferences::loadCloudConfiguration() {
    return applyCloudConfiguration(cloudRepository().read());
}

std::optional<QString> Preferences::applyCloudConfiguration(const ConfigurationRead& bytes) {
    if (const auto* failure = std::get_if<ConfigurationFailure>(&bytes)) {
        return failure->description();
    }
    const auto decoded = CloudConfiguration::decode(std::get<QByteArray>(bytes));
    if (const auto* problem = std::get_if<QString>(&decoded)) {
        return *problem;
    }
    const auto& record = std::get<CloudConfiguration>(decoded);
    const unsigned keep = unsyncedEdits_;
    applyingCloud_ = true; // the normal side effects, but no write back
    if (!(keep & LocalEdit::editedEnabled)) {
        setEnabled(record.enabled);
    }
    if (!(keep & LocalEdit::editedAppearance)) {
        setAppearance(appAppearanceFromRaw(record.appearance).value_or(AppAppearance::system));
    }
    if (!(keep & LocalEdit::editedMenuBarIcon)) {
        setShowsMenuBarIcon(record.showsMenuBarIcon);
    }
    applyingCloud_ = false;
    syncStatus = localized("已从同步文件夹同步");
    if (keep != 0 && iCloudSyncEnabled_) {
        // This machine's edits that lost the race go on top of the other's version.
        if (const auto failed = writeCloudConfiguration()) {
            syncStatus = localized("同步保存失败：%1").arg(failed->description());
        }
    }
    emit changed();
    return std::nullopt;
}

void Preferences::persistCloudIfEnabled() {
    if (!iCloudSyncEnabled_ || applyingCloud_) {
        return;
    }
    if (const auto failed = writeCloudConfiguration()) {
        syncStatus = localized("同步保存失败：%1").arg(failed->description());
    }
    emit changed();
}

void Preferences::startCloudMonitoring() {
    cloudMonitor_.reset();
    // The monitor calls from its own thread: the read happens on this one.
    QPointer<Preferences> self(this);
    cloudMonitor_ = std::make_unique<SecureConfigurationFileMonitor>(cloudFilePath(), [self] {
        QMetaObject::invokeMethod(
            self.data(),
            [self] {
                if (self) {
                    self->pollCloudConfiguration();
                }
            },
            Qt::QueuedConnection);
    });
    cloudMonitor_->start();
    syncStatus = localized("已启用同步文件夹同步");
}

void Preferences::pollCloudConfiguration() {
    if (!iCloudSyncEnabled_) {
        return;
    }
    // Read once: bytes this store wrote itself coming back are not applied again.
    auto& repository = cloudRepository();
    auto bytes = repository.readData(cloudFilePath());
    if (const auto* data = std::get_if<QByteArray>(&bytes)) {
        if (repository.isCurrent(*data)) {
            return;
        }
        bytes = repository.adopt(*data);
    }
    if (const auto failed = applyCloudConfiguration(bytes)) {
        syncStatus = localized("同步配置读取失败：%1").arg(*failed);
    }
    emit changed();
}

std::optional<QString> Preferences::connectCloudFile() {
    if (auto failed = makeFolder(QFileInfo(cloudFilePath()).absolutePath())) {
        return failed;
    }
    cloudRepository_.reset(); // forget what an earlier one had read
    if (QFileInfo::exists(cloudFilePath())) {
        return loadCloudConfiguration(); // the synced settings win
    }
    if (const auto failed = writeCloudConfiguration()) { // this machine's settings go up
        return failed->description();
    }
    return std::nullopt;
}

void Preferences::startCloudSync() {
    const std::optional<QString> failed =
        syncFolder() ? connectCloudFile() : std::optional(localized("未找到同步文件夹"));
    if (failed) {
        syncStatus = localized("同步配置不可用：%1").arg(*failed);
    } else {
        startCloudMonitoring();
    }
    emit changed();
}

void Preferences::setICloudSync(bool on) {
    if (on == iCloudSyncEnabled_) {
        return;
    }
    if (!on) {
        iCloudSyncEnabled_ = false;
        defaults_.setValue(QLatin1String(syncEnabledKey), false);
        cloudMonitor_.reset();
        syncStatus = localized("仅保存在本机");
    } else if (!syncFolder()) {
        syncStatus = localized("未找到同步文件夹，请先选择一个（Nextcloud、Dropbox、Syncthing…）");
    } else if (const auto failed = connectCloudFile()) {
        syncStatus = localized("同步配置不可用：%1").arg(*failed);
    } else {
        iCloudSyncEnabled_ = true;
        defaults_.setValue(QLatin1String(syncEnabledKey), true);
        startCloudMonitoring();
    }
    emit changed();
}

} // namespace hopla
