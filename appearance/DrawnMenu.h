#pragma once

#include <QAbstractButton>
#include <QPointer>
#include <QPushButton>
#include <QWidget>

#include <functional>
#include <memory>
#include <vector>

class QAction;
class QMenu;

namespace hopla {

// One clickable row of a drawn menu: the action's check mark or icon, its title, and its
// shortcut or a submenu mark; highlighted under the pointer or the keyboard focus.
class DrawnMenuRow : public QAbstractButton {
    Q_OBJECT
public:
    static constexpr int height = 34;

    DrawnMenuRow(QAction* item, bool selected, std::function<void(QAction*)> choose,
                 QWidget* parent = nullptr);
    QAction* item() const { return item_; }
    bool menuHighlighted() const { return highlighted_; }
    void setMenuHighlighted(bool on);
    // Runs `choose` with the item when it is enabled.
    void activate();
    // What the row shows at its end: "Ctrl+Shift+Q" for a shortcut, empty otherwise.
    static QString keyEquivalentText(const QKeySequence& keys);

    std::function<void()> hovered; // the pointer entered an enabled row

protected:
    void paintEvent(QPaintEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    QPointer<QAction> item_;
    bool selected_;
    bool highlighted_ = false;
    std::function<void(QAction*)> choose_;
};

// One level of a drawn menu: the rows of the menu's visible actions, separators between
// them, and the keyboard (arrows, Return, Space, Escape, Left for the parent level).
class MenuContentView : public QWidget {
    Q_OBJECT
public:
    static constexpr int margin = 8;
    static constexpr int separatorStep = 12;

    MenuContentView(QMenu& menu, QAction* selected, std::function<void()> back,
                    std::function<void(QAction*)> choose, QWidget* parent = nullptr);
    const std::vector<DrawnMenuRow*>& rows() const { return rows_; }
    int focused() const { return focused_; }
    // Focuses the row at `index`; nothing for an index out of range or a disabled row.
    void focus(int index);
    // The menu's width for its titles: the widest plus 90, between 240 and 420.
    static int widthFor(const QMenu& menu);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void step(int direction);

    std::vector<DrawnMenuRow*> rows_;
    int focused_ = -1;
    std::function<void()> back_;
};

// The one presenter of drawn menus: shows a QMenu as a frameless popup under an anchor,
// with submenus entered in place and left again, and closes on a choice, Escape, a click
// elsewhere or the next show. The dismissal callback runs once, and only without a choice.
class DrawnMenu : public QObject {
    Q_OBJECT
public:
    static DrawnMenu& shared();

    // Opens `menu` below `anchor` (global coordinates); the menu's aboutToShow() runs first
    // so that its owner can update the items. `selected` gets the focus and a check mark.
    void show(QMenu& menu, const QRect& anchor, QAction* selected = nullptr,
              std::function<void()> onDismiss = {});
    void show(QMenu& menu, QWidget& anchor, QAction* selected = nullptr,
              std::function<void()> onDismiss = {});
    void close();
    // The parent level, or closed at the root.
    void back();
    // Shows another level in the open popup; `append` enters it as a submenu.
    void replace(QMenu& menu, bool append);
    bool isOpen() const { return popup_ != nullptr; }
    MenuContentView* contentView() const { return content_; }
    QWidget* popup() const { return popup_.get(); }

private:
    void choose(QAction* item);
    void present(QMenu& menu, QAction* selected);
    void holdKeyboard(int attempt);

    std::unique_ptr<QWidget> popup_;
    MenuContentView* content_ = nullptr; // owned by popup_
    std::vector<QPointer<QMenu>> stack_;
    std::function<void()> dismissed_;
};

// A button showing the chosen action's title that opens its menu as a drawn menu.
class PopupButton : public QPushButton {
    Q_OBJECT
public:
    explicit PopupButton(QMenu& menu, QWidget* parent = nullptr);
    QAction* selected() const { return selected_; }
    void select(QAction* item);
    QSize sizeHint() const override;
    bool isExpanded() const { return expanded_; }

signals:
    void chosen(QAction* item);

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void open();

    QMenu& menu_;
    QPointer<QAction> selected_;
    bool expanded_ = false;
};

} // namespace hopla
