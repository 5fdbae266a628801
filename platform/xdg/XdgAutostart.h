#pragma once

#include "platform/Autostart.h"

#include <QStringList>

namespace hopla {

// The login item as an XDG autostart entry, $XDG_CONFIG_HOME/autostart/<id>.desktop. An
// entry with Hidden=true or X-GNOME-Autostart-enabled=false counts as not registered, as
// desktops treat it.
class XdgAutostart final : public Autostart {
public:
    // The command the entry starts: the program and its arguments.
    XdgAutostart(QString applicationId, QString name, QStringList command);

    AutostartStatus status() const override;
    std::optional<QString> setEnabled(bool enabled) override;

    QString entryPath() const;

private:
    QString id_;
    QString name_;
    QStringList command_;
};

} // namespace hopla
