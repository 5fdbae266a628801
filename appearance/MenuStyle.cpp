#include "appearance/MenuStyle.h"

#include "appearance/DrawnMenu.h"

#include <QAction>
#include <QApplication>
#include <QCursor>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QFontMetrics>
#include <QMenu>
#include <QSystemTrayIcon>

#include <map>
#include <memory>

namespace hopla {

namespace {

// Styles each menu as it is about to be shown.
class MenuWatcher : public QObject {
public:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Polish || event->type() == QEvent::Show) {
            if (auto* menu = qobject_cast<QMenu*>(watched)) {
                MenuStyle::decorate(*menu);
            }
        }
        return false;
    }
};

QString styleFor(const QMenu& menu) {
    const QColor accent = menu.palette().color(QPalette::Highlight);
    return QStringLiteral(
               "QMenu { background: palette(window); border: 1px solid palette(midlight);"
               " border-radius: 12px; padding: 8px 0px; }"
               "QMenu::item { min-height: 34px; min-width: %1px; padding: 0px 28px 0px 32px;"
               " margin: 0px 8px; border-radius: 7px; color: palette(window-text); }"
               "QMenu::item:selected { background: rgba(%2, %3, %4, 36); }"
               "QMenu::item:disabled { color: palette(mid); }"
               "QMenu::separator { height: 1px; margin: 5px 16px; background: palette(midlight); }"
               "QMenu::indicator { left: 10px; width: 15px; height: 15px; }")
        .arg(MenuStyle::rowWidth(menu) - 60)
        .arg(accent.red())
        .arg(accent.green())
        .arg(accent.blue());
}

std::map<const QSystemTrayIcon*, std::unique_ptr<TrayMenu>>& bindings() {
    static std::map<const QSystemTrayIcon*, std::unique_ptr<TrayMenu>> bound;
    return bound;
}

// A tray host of the StatusNotifierItem kind shows exported menus itself.
bool trayShowsExportedMenus() {
    const QDBusConnection bus = QDBusConnection::sessionBus();
    return bus.isConnected() && bus.interface() &&
           bus.interface()->isServiceRegistered(QStringLiteral("org.kde.StatusNotifierWatcher"));
}

} // namespace

void MenuStyle::install() {
    static MenuWatcher* watcher = nullptr;
    if (!watcher && qApp) {
        watcher = new MenuWatcher;
        watcher->setParent(qApp);
        qApp->installEventFilter(watcher);
    }
}

int MenuStyle::rowWidth(const QMenu& menu) {
    const QList<QAction*> items = menu.actions();
    if (items.isEmpty()) {
        return 260;
    }
    QFont font = menu.font();
    font.setPixelSize(13);
    const QFontMetrics metrics(font);
    int widest = 0;
    for (const QAction* item : items) {
        widest = std::max(widest, metrics.horizontalAdvance(item->text()) + 100);
    }
    return std::clamp(widest, 260, 440);
}

void MenuStyle::decorate(QMenu& menu) {
    const QString style = styleFor(menu);
    if (menu.styleSheet() != style) {
        menu.setStyleSheet(style);
    }
}

TrayMenu::TrayMenu(QSystemTrayIcon& tray, QMenu& menu)
    : tray_(&tray)
    , menu_(&menu) {}

void TrayMenu::attach(QSystemTrayIcon& tray, QMenu& menu) {
    MenuStyle::install();
    auto& bound = bindings();
    bound[&tray] = std::unique_ptr<TrayMenu>(new TrayMenu(tray, menu));
    const bool exported = trayShowsExportedMenus();
    tray.setContextMenu(exported ? &menu : nullptr);
    QObject::disconnect(&tray, &QSystemTrayIcon::activated, nullptr, nullptr);
    QObject::connect(&tray, &QSystemTrayIcon::activated, &tray,
                     [tray = &tray, exported](QSystemTrayIcon::ActivationReason reason) {
                         const bool opens = reason == QSystemTrayIcon::Trigger ||
                                            (!exported && reason == QSystemTrayIcon::Context);
                         const auto it = bindings().find(tray);
                         if (opens && it != bindings().end()) {
                             it->second->show();
                         }
                     });
}

void TrayMenu::detach(QSystemTrayIcon& tray) {
    QObject::disconnect(&tray, &QSystemTrayIcon::activated, nullptr, nullptr);
    bindings().erase(&tray);
    DrawnMenu::shared().close();
}

QMenu* TrayMenu::menu(const QSystemTrayIcon& tray) {
    const auto it = bindings().find(&tray);
    return it == bindings().end() ? nullptr : it->second->menu_.data();
}

void TrayMenu::show() {
    if (!tray_ || !menu_) {
        return;
    }
    const QRect icon = tray_->geometry();
    const QRect anchor =
        icon.isValid() && !icon.isEmpty() ? icon : QRect(QCursor::pos(), QSize(1, 1));
    DrawnMenu::shared().show(*menu_, anchor);
}

bool TrayMenu::presentForAudit(QWidget& anchor) {
    auto& bound = bindings();
    if (bound.empty() || !bound.begin()->second->menu_) {
        return false;
    }
    DrawnMenu::shared().show(*bound.begin()->second->menu_, anchor);
    return true;
}

namespace {

QAction* windowAction(QWidget& window, const QString& title, const QKeySequence& keys,
                      std::function<void()> run) {
    auto* action = new QAction(title, &window);
    action->setShortcut(keys);
    action->setShortcutContext(Qt::WindowShortcut);
    QObject::connect(action, &QAction::triggered, &window, std::move(run));
    window.addAction(action);
    return action;
}

} // namespace

void EditingCommands::install(QWidget& window,
                              const std::function<QString(const char*)>& translate) {
    // Sent to whatever has the focus, when it knows the command (text fields do).
    const auto command = [](const char* slot) {
        return [slot] {
            if (QWidget* focus = QApplication::focusWidget();
                focus && focus->metaObject()->indexOfMethod(QMetaObject::normalizedSignature(
                             (QByteArray(slot) + "()").constData())) >= 0) {
                QMetaObject::invokeMethod(focus, slot);
            }
        };
    };
    windowAction(window, translate("撤销"), QKeySequence::Undo, command("undo"));
    windowAction(window, translate("重做"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Z),
                 command("redo"));
    windowAction(window, translate("剪切"), QKeySequence::Cut, command("cut"));
    windowAction(window, translate("复制"), QKeySequence::Copy, command("copy"));
    windowAction(window, translate("粘贴"), QKeySequence::Paste, command("paste"));
    windowAction(window, translate("全选"), QKeySequence::SelectAll, command("selectAll"));
}

void WindowCommands::install(QWidget& window,
                             const std::function<QString(const char*)>& translate) {
    windowAction(window, translate("关闭窗口"), QKeySequence(Qt::CTRL | Qt::Key_W),
                 [&window] { window.close(); });
}

} // namespace hopla
