#pragma once

#include <QAction>
#include <QMenu>
#include <QSystemTrayIcon>

#include <functional>
#include <memory>

namespace hopla {

// The tray icon (the rabbit head) and its menu: open Hopla, pause / resume switching (with a
// check mark while switching is on), check for updates, quit. A click on the icon shows
// the menu drawn by the appearance kit.
class StatusMenu {
public:
    struct Actions {
        std::function<void()> showSettings;
        std::function<void()> toggleEnabled;
        std::function<void()> checkForUpdates; // the item is disabled without it
        std::function<void()> quit;
    };
    // `ink`: the colour the rabbit is drawn in, the tray's foreground.
    StatusMenu(Actions actions, const QColor& ink);
    ~StatusMenu();

    void setEnabledChecked(bool on) { enabledItem_->setChecked(on); }
    // Shows or hides the tray icon; nothing shows where the desktop has no tray.
    void setVisible(bool visible);
    static QIcon icon(const QColor& ink);
    // Redraws the rabbit, when the desktop's colours changed.
    void setInk(const QColor& ink);

    QMenu& menu() { return *menu_; }
    QAction& enabledItem() { return *enabledItem_; }
    QSystemTrayIcon& trayIcon() { return *tray_; }

private:
    Actions actions_;
    std::unique_ptr<QMenu> menu_;
    QAction* enabledItem_ = nullptr; // owned by menu_
    std::unique_ptr<QSystemTrayIcon> tray_;
};

} // namespace hopla
