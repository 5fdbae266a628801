#pragma once

#include "platform/Autostart.h"
#include "platform/KeyEventSource.h"
#include "sync/SyncedFileError.h"

#include <QObject>
#include <QSettings>
#include <QString>

#include <functional>
#include <memory>
#include <optional>
#include <variant>

namespace hopla {

class SyncedFileWatcher;
class SyncedFile;

// Where the settings' mirror lives: the user's home (whose Nextcloud, Dropbox, Sync or
// ownCloud folder is the synced folder unless one was chosen) and where lock files go.
struct SyncPlaces {
    QString home;       // empty: the user's home
    QString lockFolder; // empty: the runtime folder
};

// The application's appearance choice.
enum class AppAppearance { system, light, dark };

QString rawValue(AppAppearance appearance);
std::optional<AppAppearance> appAppearanceFromRaw(const QString& raw);

// The switch modifier as stored ("super", "alt") and as users read it ("Super", "Alt").
QString rawValue(SwitchModifier modifier);
QString displayName(SwitchModifier modifier);

// The window manager keeps the switch shortcut from Hopla: it holds the combination, or it
// takes the modifier key for itself so the combination never arrives.
struct WindowManagerConflict {
    QString windowManager; // "Xfwm4"
    QString combination;   // "Super+Tab"
    bool takesModifier = false;
    bool releasable = false; // Hopla can release the binding (xfwm4, through xfconf)
    QString line;            // the binding as written in the window manager's file, if so

    friend bool operator==(const WindowManagerConflict&, const WindowManagerConflict&) = default;
};

// The translation of one of the shell's texts (Simplified Chinese keys), or the key itself.
QString localized(const char* key);

// Settings stored by earlier versions under other names move to today's names, once: a value
// already stored under the new name wins. Call before anything reads the settings.
void moveRenamedSettings(QSettings& settings);

// The application's settings and the live status the settings window shows. Settings are
// written back the moment they change; unknown or missing stored values read as the
// defaults. Every assignment announces itself through changed(). Main thread only.
class Preferences : public QObject {
    Q_OBJECT
public:
    // Where the folder-sync choice is stored (the synced file's own keys live in SyncedSettings).
    static constexpr const char* folderSyncEnabledKey = "folderSyncEnabled";

    Preferences(QSettings& defaults, Autostart& autostart, SyncPlaces places = {});
    ~Preferences() override;

    bool enabled() const { return enabled_; }
    void setEnabled(bool enabled);
    bool showsTrayIcon() const { return showsTrayIcon_; }
    void setShowsTrayIcon(bool shows);
    AppAppearance appearance() const { return appearance_; }
    void setAppearance(AppAppearance appearance);
    bool folderSyncEnabled() const { return folderSyncEnabled_; }

    // The mirror of the settings in the synced folder: <folder>/Hopla/config.json. The
    // folder is the one chosen (stored under "sync.folder"), else the first that exists of
    // ~/Nextcloud, ~/Dropbox, ~/Sync and ~/ownCloud; none means the mirror is unavailable.
    std::optional<QString> syncFolder() const;
    void setSyncFolder(const QString& folder);
    QString cloudFilePath() const;
    // Turns the mirror on (the file wins when it exists, else the local settings create
    // it) or off; what happened is in syncStatus.
    void setFolderSync(bool on);
    SwitchModifier switchModifier() const { return switchModifier_; }
    void setSwitchModifier(SwitchModifier modifier);

    // Live status, set by the application controller.
    bool displayReady = false;
    bool listening = false;
    std::optional<QString> runtimeError;
    std::optional<QString> conflictingApp;
    std::optional<QString> windowKeyTaken; // "Super+`", held by another program
    std::optional<WindowManagerConflict> windowManagerConflict;
    QString syncStatus;

    bool loginEnabled() const { return loginEnabled_; }
    const std::optional<QString>& loginError() const { return loginError_; }
    // Re-reads the login item; announces only when its state changed.
    void refreshLoginStatus();
    void setLoginEnabled(bool on);

    // Tells observers that a live status field was assigned.
    void announce() { emit changed(); }

signals:
    void changed();
    // After every assignment, also of the same value, once it is stored.
    void enabledAssigned();
    void trayIconAssigned();
    void switchModifierAssigned();
    // The application takes the appearance (light, dark or the system's).
    void appearanceAssigned(hopla::AppAppearance appearance);

private:
    void startCloudSync();
    void persistCloudIfEnabled();
    std::optional<ConfigurationFailure> writeSyncedSettings();
    // Each answers an error text, or nothing.
    std::optional<QString> loadSyncedSettings();
    using ConfigurationRead = std::variant<QByteArray, ConfigurationFailure>;
    std::optional<QString> applySyncedSettings(const ConfigurationRead& bytes);
    // Makes the folder, then applies the file when there is one, else writes it.
    std::optional<QString> connectCloudFile();
    // Watches the file; false, with the reason in the sync status, when it cannot.
    bool startCloudMonitoring();
    void pollSyncedSettings();
    SyncedFile& cloudRepository();
    // Local edits not yet in the file: when another machine's version arrives first, they
    // are kept over it and written again, so neither side's edit is lost.
    enum LocalEdit : unsigned { editedEnabled = 1, editedAppearance = 2, editedTrayIcon = 4 };
    // Only edits made while syncing count: turning sync on takes the file's settings.
    void noteLocalEdit(LocalEdit edit) {
        if (folderSyncEnabled_ && !applyingCloud_) {
            unsyncedEdits_ |= edit;
        }
    }

    // Publishes a stored switch, writes it under its key (also when unchanged), then tells.
    void assign(bool& field, bool value, const char* key, void (Preferences::*assigned)());

    QSettings& defaults_;
    Autostart& autostart_;
    bool enabled_ = true;
    bool showsTrayIcon_ = true;
    AppAppearance appearance_ = AppAppearance::system;
    SwitchModifier switchModifier_ = SwitchModifier::super;
    bool folderSyncEnabled_ = false;
    bool loginEnabled_ = false;
    std::optional<QString> loginError_;
    SyncPlaces places_;
    std::unique_ptr<SyncedFile> cloudRepository_;
    std::unique_ptr<SyncedFileWatcher> cloudMonitor_;
    bool applyingCloud_ = false; // values read from the file are not written back
    unsigned unsyncedEdits_ = 0;
    bool cloudConnected_ = false; // the file was read or written since sync came on
};

} // namespace hopla
