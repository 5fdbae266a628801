#pragma once

#include <QByteArray>
#include <QString>

#include <variant>

namespace hopla {

// The settings as the synced file holds them: a compact JSON object with exactly the members
// "version" (always 1), "enabled", "appearance" ("system", "light", "dark") and
// "showsMenuBarIcon". Other members are ignored when reading; member order does not matter.
struct SyncedSettings {
    bool enabled = true;
    QString appearance = QStringLiteral("system");
    bool showsTrayIcon = true;

    QByteArray encoded() const;
    // The record, or what is wrong with the bytes (not JSON, a member missing or of the
    // wrong type, another version). Takes hostile input without harm.
    static std::variant<SyncedSettings, QString> decode(const QByteArray& bytes);

    friend bool operator==(const SyncedSettings&, const SyncedSettings&) = default;
};

} // namespace hopla
