#pragma once

#include <QPointer>
#include <QString>

#include <functional>

class QMenu;
class QSystemTrayIcon;
class QWidget;

namespace hopla {

// Gives every QMenu of the application the drawn menus' look when it opens: rows 34 pixels
// high and 260 to 440 wide, rounded, highlighted in the accent. Menus that only a tray host
// shows (exported over D-Bus) keep the host's look.
namespace MenuStyle {
// Idempotent.
void install();
// Styles one menu now; its submenus are styled when they open.
void decorate(QMenu& menu);
// The row width for the menu's titles: the widest plus 100, between 260 and 440.
int rowWidth(const QMenu& menu);
} // namespace MenuStyle

// Makes a click on the tray icon open its menu as a drawn menu at the icon's place (at the
// pointer where the tray host does not say where the icon is). Where the tray host shows
// exported menus itself (StatusNotifierItem), its right click keeps showing the exported
// menu and the left click opens the drawn one.
class TrayMenu {
public:
    static void attach(QSystemTrayIcon& tray, QMenu& menu);
    static void detach(QSystemTrayIcon& tray);
    static QMenu* menu(const QSystemTrayIcon& tray);
    // Opens the first bound menu below `anchor`; false when nothing is bound.
    static bool presentForAudit(QWidget& anchor);

    // The tray's click: lets the menu's owner update it, then opens it.
    void show();

private:
    TrayMenu(QSystemTrayIcon& tray, QMenu& menu);

    QPointer<QSystemTrayIcon> tray_;
    QPointer<QMenu> menu_;
};

// The standard editing and window commands as actions of a window, with their standard
// keys: undo, redo, cut, copy, paste and select all for its text fields; close window.
// `translate` maps the Chinese titles to the shown ones.
namespace EditingCommands {
void install(QWidget& window, const std::function<QString(const char*)>& translate);
}
namespace WindowCommands {
void install(QWidget& window, const std::function<QString(const char*)>& translate);
}

} // namespace hopla
