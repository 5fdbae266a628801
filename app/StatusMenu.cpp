#include "app/StatusMenu.h"

#include "app/HoplaIcons.h"
#include "app/Preferences.h"
#include "appearance/MenuStyle.h"

namespace hopla {

StatusMenu::StatusMenu(Actions actions, const QColor& ink)
    : actions_(std::move(actions))
    , menu_(std::make_unique<QMenu>()) {
    const auto item = [this](const char* title, const std::function<void()>& action) {
        QAction* added = menu_->addAction(localized(title));
        if (action) {
            QObject::connect(added, &QAction::triggered, menu_.get(), [action] { action(); });
        } else {
            added->setEnabled(false);
        }
        return added;
    };
    item("打开 Hopla", actions_.showSettings);
    enabledItem_ = item("暂停 / 恢复切换", actions_.toggleEnabled);
    enabledItem_->setCheckable(true);
    item("检查更新…", actions_.checkForUpdates);
    menu_->addSeparator();
    item("退出 Hopla", actions_.quit)->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));

    tray_ = std::make_unique<QSystemTrayIcon>(icon(ink));
    tray_->setToolTip(localized("Hopla · 首字母切换"));
    // A click opens the menu drawn by the appearance kit at the icon.
    TrayMenu::attach(*tray_, *menu_);
}

StatusMenu::~StatusMenu() {
    TrayMenu::detach(*tray_);
}

void StatusMenu::setVisible(bool visible) {
    tray_->setVisible(visible);
}

void StatusMenu::setInk(const QColor& ink) {
    tray_->setIcon(icon(ink));
}

QIcon StatusMenu::icon(const QColor& ink) {
    QIcon icon;
    for (int pixels : {16, 20, 22, 24, 32, 40, 48, 64}) {
        icon.addPixmap(QPixmap::fromImage(RabbitMenuIcon::image(ink, pixels)));
    }
    return icon;
}

} // namespace hopla
