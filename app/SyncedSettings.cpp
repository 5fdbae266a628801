#include "app/SyncedSettings.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace hopla {

namespace {
constexpr int formatVersion = 1;

QString invalid(const char* what) {
    return QCoreApplication::translate("Hopla", "配置文件格式不正确：%1").arg(QLatin1String(what));
}
} // namespace

namespace {

// The text as a JSON string, quotes and escapes included.
QByteArray jsonString(const QString& text) {
    const QByteArray array = QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Compact);
    return array.mid(1, array.size() - 2); // without the brackets
}

} // namespace

QByteArray SyncedSettings::encoded() const {
    // Written member by member, so the file reads in this order.
    QByteArray json = "{\"version\":" + QByteArray::number(formatVersion);
    json += ",\"enabled\":" + QByteArray(enabled ? "true" : "false");
    // Normally a stored raw value, but a decoded file may have brought any text.
    json += ",\"appearance\":" + jsonString(appearance);
    json += ",\"showsMenuBarIcon\":" + QByteArray(showsTrayIcon ? "true" : "false") + "}";
    return json;
}

std::variant<SyncedSettings, QString> SyncedSettings::decode(const QByteArray& bytes) {
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        return invalid("not a JSON object");
    }
    const QJsonObject object = document.object();
    const QJsonValue version = object.value(QLatin1String("version"));
    const QJsonValue enabled = object.value(QLatin1String("enabled"));
    const QJsonValue appearance = object.value(QLatin1String("appearance"));
    const QJsonValue trayIcon = object.value(QLatin1String("showsMenuBarIcon"));
    // An integer 1 exactly: not 1.5, not "1", not 1e300.
    if (!version.isDouble() || version.toDouble() != formatVersion) {
        return invalid(version.isUndefined() ? "no version" : "another version");
    }
    if (!enabled.isBool() || !appearance.isString() || !trayIcon.isBool()) {
        return invalid("a member is missing or of the wrong type");
    }
    return SyncedSettings{enabled.toBool(), appearance.toString(), trayIcon.toBool()};
}

} // namespace hopla
