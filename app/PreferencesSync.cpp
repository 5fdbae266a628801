// The mirror of the settings in the user's synced folder.
#include "app/Preferences.h"
#include "app/SyncedSettings.h"
#include "platform/FileSystem.h"
#include "sync/SyncedFile.h"
#include "sync/SyncedFileWatcher.h"

#include <QDir>
#include <QFileInfo>
#include <QPointer>

namespace hopla {

namespace {
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
    if (folderSyncEnabled_) { // the mirror moves with the folder
        setFolderSync(false);
        setFolderSync(true);
    }
    emit changed();
}

QString Preferences::cloudFilePath() const {
    return syncFolder().value_or(QString()) + QStringLiteral("/Hopla/config.json");
}

SyncedFile& Preferences::cloudRepository() {
    if (!cloudRepository_) {
        cloudRepository_ = std::make_unique<SyncedFile>(cloudFilePath(), places_.lockFolder);
    }
    return *cloudRepository_;
}

std::optional<ConfigurationFailure> Preferences::writeSyncedSettings() {
    if (!syncFolder()) {
        return ConfigurationFailure::of(SyncedFileError::unavailable); // nowhere to write
    }
    const SyncedSettings record{enabled_, rawValue(appearance_), showsTrayIcon_};
    if (auto failed = cloudRepository().write(record.encoded())) {
        return failed;
    }
    unsyncedEdits_ = 0;
    syncStatus = localized("已同步到同步文件夹");
    return std::nullopt;
}

std::optional<QString> Preferences::loadSyncedSettings() {
    return applySyncedSettings(cloudRepository().read());
}

std::optional<QString> Preferences::applySyncedSettings(const ConfigurationRead& bytes) {
    if (const auto* failure = std::get_if<ConfigurationFailure>(&bytes)) {
        return failure->description();
    }
    const auto decoded = SyncedSettings::decode(std::get<QByteArray>(bytes));
    if (const auto* problem = std::get_if<QString>(&decoded)) {
        return *problem;
    }
    const auto& record = std::get<SyncedSettings>(decoded);
    const unsigned keep = unsyncedEdits_;
    applyingCloud_ = true; // the normal side effects, but no write back
    if (!(keep & LocalEdit::editedEnabled)) {
        setEnabled(record.enabled);
    }
    if (!(keep & LocalEdit::editedAppearance)) {
        setAppearance(appAppearanceFromRaw(record.appearance).value_or(AppAppearance::system));
    }
    if (!(keep & LocalEdit::editedTrayIcon)) {
        setShowsTrayIcon(record.showsTrayIcon);
    }
    applyingCloud_ = false;
    syncStatus = localized("已从同步文件夹同步");
    if (keep != 0 && folderSyncEnabled_) {
        // This machine's edits that lost the race go on top of the other's version.
        if (const auto failed = writeSyncedSettings()) {
            syncStatus = localized("同步保存失败：%1").arg(failed->description());
        }
    }
    emit changed();
    return std::nullopt;
}

void Preferences::persistCloudIfEnabled() {
    if (!folderSyncEnabled_ || applyingCloud_) {
        return;
    }
    if (const auto failed = writeSyncedSettings()) {
        syncStatus = localized("同步保存失败：%1").arg(failed->description());
    }
    emit changed();
}

bool Preferences::startCloudMonitoring() {
    cloudMonitor_.reset();
    // The monitor calls from its own thread: the read happens on this one.
    QPointer<Preferences> self(this);
    cloudMonitor_ = std::make_unique<SyncedFileWatcher>(cloudFilePath(), [self] {
        QMetaObject::invokeMethod(
            self.data(),
            [self] {
                if (self) {
                    self->pollSyncedSettings();
                }
            },
            Qt::QueuedConnection);
    });
    if (const auto failed = cloudMonitor_->start()) {
        cloudMonitor_.reset();
        syncStatus = localized("无法监视同步文件夹：%1").arg(*failed);
        return false;
    }
    syncStatus = localized("已启用同步文件夹同步");
    return true;
}

void Preferences::pollSyncedSettings() {
    if (!folderSyncEnabled_) {
        return;
    }
    if (!cloudConnected_) { // the start failed: try again now that something changed
        if (const auto failed = connectCloudFile()) {
            syncStatus = localized("同步配置不可用：%1").arg(*failed);
        }
        emit changed();
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
    if (const auto failed = applySyncedSettings(bytes)) {
        syncStatus = localized("同步配置读取失败：%1").arg(*failed);
    }
    emit changed();
}

std::optional<QString> Preferences::connectCloudFile() {
    if (auto failed = makeFolder(QFileInfo(cloudFilePath()).absolutePath())) {
        return failed;
    }
    cloudRepository_.reset(); // forget what an earlier one had read
    unsyncedEdits_ = 0;       // the synced settings win over what was set while apart
    const QFileInfo file(cloudFilePath());
    std::optional<QString> failed;
    if (file.exists() || file.isSymLink()) {
        failed = loadSyncedSettings();
    } else if (const auto written = writeSyncedSettings()) { // this machine's settings go up
        failed = written->description();
    }
    cloudConnected_ = !failed;
    return failed;
}

void Preferences::startCloudSync() {
    if (!syncFolder()) {
        syncStatus = localized("同步配置不可用：%1").arg(localized("未找到同步文件夹"));
        emit changed();
        return;
    }
    const std::optional<QString> failed = connectCloudFile();
    // Watched also after a failed start (a conflict copy, a malformed file): the file is
    // taken up as soon as it can be read.
    if (startCloudMonitoring() && failed) {
        syncStatus = localized("同步配置不可用：%1").arg(*failed);
    }
    emit changed();
}

void Preferences::setFolderSync(bool on) {
    if (on == folderSyncEnabled_) {
        return;
    }
    if (!on) {
        folderSyncEnabled_ = false;
        defaults_.setValue(QLatin1String(folderSyncEnabledKey), false);
        cloudMonitor_.reset();
        syncStatus = localized("仅保存在本机");
    } else if (!syncFolder()) {
        syncStatus = localized("未找到同步文件夹，请先选择一个（Nextcloud、Dropbox、Syncthing…）");
    } else if (const auto failed = connectCloudFile()) {
        syncStatus = localized("同步配置不可用：%1").arg(*failed);
    } else if (startCloudMonitoring()) {
        folderSyncEnabled_ = true;
        defaults_.setValue(QLatin1String(folderSyncEnabledKey), true);
    }
    emit changed();
}

} // namespace hopla
