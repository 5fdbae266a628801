#include "app/Preferences.h"

#include "sync/SyncedFile.h"
#include "sync/SyncedFileWatcher.h"

#include <QCoreApplication>

namespace hopla {

namespace {

constexpr const char* switchingEnabledKey = "switchingEnabled";
constexpr const char* showsTrayIconKey = "showsTrayIcon";
constexpr const char* appearanceKey = "appearance";
constexpr const char* switchModifierKey = "switchModifier";

// A stored Boolean, or the default when the key is missing or holds something else.
bool storedBool(const QSettings& defaults, const char* key, bool fallback) {
    const QVariant value = defaults.value(QLatin1String(key));
    if (value.typeId() == QMetaType::Bool) {
        return value.toBool();
    }
    if (value.typeId() == QMetaType::QString) { // INI files keep Booleans as text
        const QString text = value.toString();
        if (text == QLatin1String("true") || text == QLatin1String("false")) {
            return text == QLatin1String("true");
        }
    }
    return fallback;
}

} // namespace

QString rawValue(AppAppearance appearance) {
    switch (appearance) {
    case AppAppearance::system:
        return QStringLiteral("system");
    case AppAppearance::light:
        return QStringLiteral("light");
    case AppAppearance::dark:
        return QStringLiteral("dark");
    }
    return QStringLiteral("system");
}

std::optional<AppAppearance> appAppearanceFromRaw(const QString& raw) {
    for (const AppAppearance a :
         {AppAppearance::system, AppAppearance::light, AppAppearance::dark}) {
        if (raw == rawValue(a)) {
            return a;
        }
    }
    return std::nullopt;
}

QString rawValue(SwitchModifier modifier) {
    return modifier == SwitchModifier::alt ? QStringLiteral("alt") : QStringLiteral("super");
}

QString displayName(SwitchModifier modifier) {
    return modifier == SwitchModifier::alt ? QStringLiteral("Alt") : QStringLiteral("Super");
}

QString localized(const char* key) {
    return QCoreApplication::translate("Hopla", key);
}

void moveRenamedSettings(QSettings& settings) {
    const auto move = [&settings](const QString& from, const QString& to) {
        if (settings.contains(from)) {
            if (!settings.contains(to)) {
                settings.setValue(to, settings.value(from));
            }
            settings.remove(from);
        }
    };
    move(QStringLiteral("showsMenuBarIcon"), QLatin1String(showsTrayIconKey));
    move(QStringLiteral("iCloudSyncEnabled"), QLatin1String(Preferences::folderSyncEnabledKey));
    const QString oldUpdater = QStringLiteral("NativeUpdater.");
    for (const QString& key : settings.allKeys()) {
        if (key.startsWith(oldUpdater)) {
            move(key, QStringLiteral("updater.") + key.mid(oldUpdater.size()));
        }
    }
}

Preferences::Preferences(QSettings& defaults, Autostart& autostart, SyncPlaces places)
    : syncStatus(localized("仅保存在本机"))
    , defaults_(defaults)
    , autostart_(autostart)
    , places_(std::move(places)) {
    enabled_ = storedBool(defaults_, switchingEnabledKey, true);
    showsTrayIcon_ = storedBool(defaults_, showsTrayIconKey, true);
    appearance_ = appAppearanceFromRaw(defaults_.value(QLatin1String(appearanceKey)).toString())
                      .value_or(AppAppearance::system);
    folderSyncEnabled_ = storedBool(defaults_, folderSyncEnabledKey, false);
    if (defaults_.value(QLatin1String(switchModifierKey)).toString() ==
        rawValue(SwitchModifier::alt)) {
        switchModifier_ = SwitchModifier::alt;
    }
    if (folderSyncEnabled_) {
        startCloudSync();
    }
}

void Preferences::setSwitchModifier(SwitchModifier modifier) {
    switchModifier_ = modifier;
    emit changed();
    defaults_.setValue(QLatin1String(switchModifierKey), rawValue(modifier));
    emit switchModifierAssigned();
}

void Preferences::assign(bool& field, bool value, const char* key,
                         void (Preferences::*assigned)()) {
    field = value;
    emit changed();
    defaults_.setValue(QLatin1String(key), value);
    emit(this->*assigned)();
    persistCloudIfEnabled();
}

void Preferences::setEnabled(bool enabled) {
    noteLocalEdit(LocalEdit::editedEnabled);
    assign(enabled_, enabled, switchingEnabledKey, &Preferences::enabledAssigned);
}

void Preferences::setShowsTrayIcon(bool shows) {
    noteLocalEdit(LocalEdit::editedTrayIcon);
    assign(showsTrayIcon_, shows, showsTrayIconKey, &Preferences::trayIconAssigned);
}

void Preferences::setAppearance(AppAppearance appearance) {
    noteLocalEdit(LocalEdit::editedAppearance);
    appearance_ = appearance;
    emit changed();
    defaults_.setValue(QLatin1String(appearanceKey), rawValue(appearance));
    emit appearanceAssigned(appearance);
    persistCloudIfEnabled();
}

void Preferences::refreshLoginStatus() {
    const bool enabled = autostart_.status() == AutostartStatus::enabled;
    // Read every 2 s: only a change is worth redrawing the settings for.
    if (enabled != loginEnabled_) {
        loginEnabled_ = enabled;
        emit changed();
    }
}

void Preferences::setLoginEnabled(bool on) {
    loginError_.reset();
    if (const auto failure = autostart_.setEnabled(on)) {
        loginError_ =
            localized("无法更新登录项，请检查自动启动文件夹 ~/.config/autostart 后重试。\n%1")
                .arg(*failure);
    }
    refreshLoginStatus();
    emit changed(); // the message may have come or gone with the state unchanged
}

} // namespace hopla
