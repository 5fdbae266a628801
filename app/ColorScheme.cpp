#include "app/ColorScheme.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QStyle>
#include <QStyleFactory>

#include <memory>

namespace hopla {

namespace {

// The portal wraps the value in one or two variants, depending on its version.
QVariant unwrap(QVariant value) {
    while (value.canConvert<QDBusVariant>() &&
           value.metaType() == QMetaType::fromType<QDBusVariant>()) {
        value = value.value<QDBusVariant>().variant();
    }
    return value;
}

} // namespace

bool desktopPrefersDark() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (bus.isConnected()) {
        QDBusMessage read = QDBusMessage::createMethodCall(
            QStringLiteral("org.freedesktop.portal.Desktop"),
            QStringLiteral("/org/freedesktop/portal/desktop"),
            QStringLiteral("org.freedesktop.portal.Settings"), QStringLiteral("Read"));
        read << QStringLiteral("org.freedesktop.appearance") << QStringLiteral("color-scheme");
        const QDBusMessage reply = bus.call(read, QDBus::Block, 300);
        if (reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty()) {
            return unwrap(reply.arguments().constFirst()).toUInt() == 1; // 1: prefer dark
        }
    }
    return qEnvironmentVariable("GTK_THEME").endsWith(QStringLiteral(":dark"));
}

DesktopColorScheme::DesktopColorScheme()
    : dark_(desktopPrefersDark()) {
    QDBusConnection::sessionBus().connect(QStringLiteral("org.freedesktop.portal.Desktop"),
                                          QStringLiteral("/org/freedesktop/portal/desktop"),
                                          QStringLiteral("org.freedesktop.portal.Settings"),
                                          QStringLiteral("SettingChanged"), this,
                                          SLOT(settingChanged(QString, QString, QDBusVariant)));
}

void DesktopColorScheme::settingChanged(const QString& group, const QString& key,
                                        const QDBusVariant& value) {
    if (group != QLatin1String("org.freedesktop.appearance") ||
        key != QLatin1String("color-scheme")) {
        return;
    }
    const bool dark = unwrap(value.variant()).toUInt() == 1;
    if (dark != dark_) {
        dark_ = dark;
        emit changed(dark);
    }
}

QPalette lightPalette() {
    const std::unique_ptr<QStyle> fusion(QStyleFactory::create(QStringLiteral("Fusion")));
    QPalette palette = fusion ? fusion->standardPalette() : QPalette();
    palette.setColor(QPalette::Window, QColor(0xf3, 0xf3, 0xf5));
    return palette;
}

QPalette darkPalette() {
    QPalette palette;
    const QColor window(0x1e, 0x1f, 0x22), base(0x2a, 0x2b, 0x2f), text(0xec, 0xec, 0xee);
    palette.setColor(QPalette::Window, window);
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::Base, base);
    palette.setColor(QPalette::AlternateBase, window);
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::Button, QColor(0x34, 0x35, 0x3a));
    palette.setColor(QPalette::ButtonText, text);
    palette.setColor(QPalette::ToolTipBase, base);
    palette.setColor(QPalette::ToolTipText, text);
    palette.setColor(QPalette::PlaceholderText, QColor(0x9a, 0x9b, 0xa1));
    palette.setColor(QPalette::Highlight, QColor(0x3d, 0x7e, 0xd8));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, QColor(0x6c, 0xa8, 0xff));
    palette.setColor(QPalette::Mid, QColor(0x55, 0x56, 0x5c));
    palette.setColor(QPalette::Midlight, QColor(0x3a, 0x3b, 0x40));
    palette.setColor(QPalette::Disabled, QPalette::Text, QColor(0x77, 0x78, 0x7e));
    palette.setColor(QPalette::Disabled, QPalette::ButtonText, QColor(0x77, 0x78, 0x7e));
    palette.setColor(QPalette::Disabled, QPalette::WindowText, QColor(0x77, 0x78, 0x7e));
    return palette;
}

void applyAppearance(AppAppearance appearance, bool desktopDark) {
    if (QApplication::style()->name() != QStringLiteral("fusion")) {
        QApplication::setStyle(QStringLiteral("Fusion"));
    }
    const bool dark =
        appearance == AppAppearance::dark || (appearance == AppAppearance::system && desktopDark);
    QApplication::setPalette(dark ? darkPalette() : lightPalette());
}

} // namespace hopla
