#include "platform/xdg/LoginSession.h"

#include <QDBusInterface>
#include <QDBusObjectPath>
#include <QDBusReply>

#include <unistd.h>

namespace hopla::xdg {

namespace {
const QString service = QStringLiteral("org.freedesktop.login1");
const QString sessionInterface = QStringLiteral("org.freedesktop.login1.Session");
} // namespace

LoginSession::LoginSession(std::function<void()> onResignActive)
    : onResignActive_(std::move(onResignActive)) {
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected()) {
        return;
    }
    QDBusInterface manager(service, QStringLiteral("/org/freedesktop/login1"),
                           QStringLiteral("org.freedesktop.login1.Manager"), bus);
    if (!manager.isValid()) {
        return;
    }
    QDBusReply<QDBusObjectPath> session =
        manager.call(QStringLiteral("GetSessionByPID"), static_cast<uint>(::getpid()));
    const QByteArray id = qgetenv("XDG_SESSION_ID");
    if (!session.isValid() && !id.isEmpty()) {
        session = manager.call(QStringLiteral("GetSession"), QString::fromLocal8Bit(id));
    }
    if (!session.isValid()) {
        return;
    }
    sessionPath_ = session.value().path();
    bus.connect(service, sessionPath_, QStringLiteral("org.freedesktop.DBus.Properties"),
                QStringLiteral("PropertiesChanged"), this,
                SLOT(propertiesChanged(QString, QVariantMap, QStringList)));
    bus.connect(service, sessionPath_, sessionInterface, QStringLiteral("Lock"), this,
                SLOT(locked()));
}

void LoginSession::propertiesChanged(const QString& interface, const QVariantMap& changed,
                                     const QStringList&) {
    if (interface != sessionInterface) {
        return;
    }
    const bool inactive = changed.contains(QStringLiteral("Active")) &&
                          !changed.value(QStringLiteral("Active")).toBool();
    const bool lockedNow = changed.value(QStringLiteral("LockedHint")).toBool();
    if ((inactive || lockedNow) && onResignActive_) {
        onResignActive_();
    }
}

void LoginSession::locked() {
    if (onResignActive_) {
        onResignActive_();
    }
}

} // namespace hopla::xdg
