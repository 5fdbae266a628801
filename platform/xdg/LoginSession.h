#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <QVariantMap>

#include <functional>

namespace hopla::xdg {

// Follows the user's login session through logind on the system bus and reports when it
// stops being the active one (another user switched in) or gets locked. Without logind
// (no system bus, no session) it stays silent.
class LoginSession : public QObject {
    Q_OBJECT
public:
    explicit LoginSession(std::function<void()> onResignActive);

    // Whether a logind session was found and is being followed.
    bool following() const { return !sessionPath_.isEmpty(); }

public slots:
    // org.freedesktop.DBus.Properties.PropertiesChanged of the session object.
    void propertiesChanged(const QString& interface, const QVariantMap& changed,
                           const QStringList& invalidated);
    // The session's Lock signal.
    void locked();

private:
    std::function<void()> onResignActive_;
    QString sessionPath_;
};

} // namespace hopla::xdg
