#include "platform/xfce/XfwmShortcuts.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusInterface>
#include <QDBusReply>
#include <QDBusVariant>
#include <QRegularExpression>

namespace hopla::xfce {

namespace {

constexpr int callTimeout = 3000; // ms; xfconfd answers at once when it runs at all
const QString channel = QStringLiteral("xfce4-keyboard-shortcuts");
const QString customBase = QStringLiteral("/xfwm4/custom");
const QString defaultBase = QStringLiteral("/xfwm4/default");
const QString overrideKey = QStringLiteral("/xfwm4/custom/override");

QString describe(const QDBusError& error) {
    return QStringLiteral("xfconf: %1")
        .arg(error.message().isEmpty() ? error.name() : error.message());
}

} // namespace

bool isSwitchBinding(const QString& key, const QString& modifier) {
    static const QRegularExpression token(QStringLiteral("<([^>]+)>"));
    QString rest = key;
    bool hasModifier = false;
    auto it = token.globalMatch(key);
    while (it.hasNext()) {
        const QString name = it.next().captured(1);
        if (name.compare(modifier, Qt::CaseInsensitive) == 0) {
            hasModifier = true;
        } else if (name.compare(QLatin1String("Shift"), Qt::CaseInsensitive) != 0) {
            return false; // Control, Primary or another modifier: not our combination
        }
    }
    rest.remove(token);
    return hasModifier && (rest.compare(QLatin1String("Tab"), Qt::CaseInsensitive) == 0 ||
                           rest.compare(QLatin1String("ISO_Left_Tab"), Qt::CaseInsensitive) == 0);
}

std::optional<QString> releaseXfwmSwitchBinding(const QString& modifier) {
    QDBusInterface xfconf(QStringLiteral("org.xfce.Xfconf"), QStringLiteral("/org/xfce/Xfconf"),
                          QStringLiteral("org.xfce.Xfconf"), QDBusConnection::sessionBus());
    xfconf.setTimeout(callTimeout);
    if (!xfconf.isValid()) {
        return describe(xfconf.lastError());
    }
    // a{sv} arrives as a QVariantMap of plain values.
    const auto all = [&](const QString& base) -> std::optional<QVariantMap> {
        const QDBusMessage reply = xfconf.call(QStringLiteral("GetAllProperties"), channel, base);
        if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
            return std::nullopt;
        }
        const QVariant first = reply.arguments().front();
        if (first.canConvert<QDBusArgument>()) {
            QVariantMap properties;
            first.value<QDBusArgument>() >> properties;
            return properties;
        }
        return first.toMap();
    };
    const QDBusReply<QDBusVariant> current =
        xfconf.call(QStringLiteral("GetProperty"), channel, overrideKey);
    const bool overridden = current.isValid() && current.value().variant().toBool();
    if (!overridden) {
        // Take over the defaults as the custom set, the way the keyboard settings do.
        const auto defaults = all(defaultBase);
        if (!defaults) {
            return describe(xfconf.lastError());
        }
        for (auto it = defaults->begin(); it != defaults->end(); ++it) {
            const QString key = customBase + it.key().mid(defaultBase.size());
            const QDBusMessage set = xfconf.call(QStringLiteral("SetProperty"), channel, key,
                                                 QVariant::fromValue(QDBusVariant(it.value())));
            if (set.type() == QDBusMessage::ErrorMessage) {
                return describe(QDBusError(set));
            }
        }
        const QDBusMessage on = xfconf.call(QStringLiteral("SetProperty"), channel, overrideKey,
                                            QVariant::fromValue(QDBusVariant(true)));
        if (on.type() == QDBusMessage::ErrorMessage) {
            return describe(QDBusError(on));
        }
    }
    const auto custom = all(customBase);
    if (!custom) {
        return describe(xfconf.lastError());
    }
    for (auto it = custom->begin(); it != custom->end(); ++it) {
        const QString name = it.key().mid(customBase.size() + 1);
        if (!isSwitchBinding(name, modifier)) {
            continue;
        }
        const QDBusMessage reset =
            xfconf.call(QStringLiteral("ResetProperty"), channel, it.key(), false);
        if (reset.type() == QDBusMessage::ErrorMessage) {
            return describe(QDBusError(reset));
        }
    }
    return std::nullopt;
}

} // namespace hopla::xfce
