#include "appearance/DrawnMenu.h"

#include <QAction>
#include <QApplication>
#include <QFontMetrics>
#include <QKeyEvent>
#include <QMenu>
#include <QPainter>
#include <QPainterPath>
#include <QScreen>
#include <QTimer>
#include <QWindow>

namespace hopla {

namespace {

QFont textFont(int pixels) {
    QFont font = QApplication::font();
    font.setPixelSize(pixels);
    return font;
}

QColor secondary(const QPalette& palette) {
    QColor text = palette.color(QPalette::WindowText);
    text.setAlphaF(0.55f);
    return text;
}

// A check mark in a 15 × 15 box.
void drawCheck(QPainter& painter, const QRectF& box, const QColor& color) {
    QPainterPath tick;
    tick.moveTo(box.left() + 0.18 * box.width(), box.top() + 0.55 * box.height());
    tick.lineTo(box.left() + 0.42 * box.width(), box.top() + 0.78 * box.height());
    tick.lineTo(box.left() + 0.84 * box.width(), box.top() + 0.24 * box.height());
    painter.setPen(QPen(color, 1.8, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawPath(tick);
}

// The popup window; a close from outside (a click elsewhere) closes the shared menu.
class MenuPopup : public QWidget {
public:
    MenuPopup()
        : QWidget(nullptr, Qt::Popup | Qt::FramelessWindowHint | Qt::NoDropShadowWindowHint) {
        setObjectName(QStringLiteral("nativeMenu"));
        setAttribute(Qt::WA_ShowWithoutActivating, false);
    }

protected:
    void hideEvent(QHideEvent* event) override {
        QWidget::hideEvent(event);
        if (DrawnMenu::shared().popup() == this) {
            DrawnMenu::shared().close();
        }
    }
};

} // namespace

// --- DrawnMenuRow --------------------------------------------------------------------

DrawnMenuRow::DrawnMenuRow(QAction* item, bool selected, std::function<void(QAction*)> choose,
                           QWidget* parent)
    : QAbstractButton(parent)
    , item_(item)
    , selected_(selected)
    , choose_(std::move(choose)) {
    setText(item->text());
    setAccessibleName(item->text());
    setEnabled(item->isEnabled());
    setCheckable(selected || item->isCheckable());
    setChecked(selected || item->isChecked());
    setFixedHeight(height);
    setMouseTracking(true);
    setFocusPolicy(Qt::NoFocus);
    connect(this, &QAbstractButton::clicked, this, &DrawnMenuRow::activate);
}

void DrawnMenuRow::setMenuHighlighted(bool on) {
    if (highlighted_ != on) {
        highlighted_ = on;
        update();
    }
}

void DrawnMenuRow::activate() {
    // The row's own checked state is the item's to change, not the click's.
    setChecked(selected_ || (item_ && item_->isChecked()));
    if (item_ && item_->isEnabled() && choose_) {
        choose_(item_);
    }
}

QString DrawnMenuRow::keyEquivalentText(const QKeySequence& keys) {
    if (keys.isEmpty()) {
        return {};
    }
    const QKeyCombination first = keys[0];
    const Qt::KeyboardModifiers modifiers = first.keyboardModifiers();
    QString text;
    if (modifiers & Qt::ControlModifier) {
        text += QStringLiteral("Ctrl+");
    }
    if (modifiers & Qt::AltModifier) {
        text += QStringLiteral("Alt+");
    }
    if (modifiers & Qt::ShiftModifier) {
        text += QStringLiteral("Shift+");
    }
    if (modifiers & Qt::MetaModifier) {
        text += QStringLiteral("Super+");
    }
    return text + QKeySequence(first.key()).toString(QKeySequence::NativeText).toUpper();
}

void DrawnMenuRow::enterEvent(QEnterEvent* event) {
    QAbstractButton::enterEvent(event);
    if (item_ && item_->isEnabled()) {
        setMenuHighlighted(true);
        if (hovered) {
            hovered();
        }
    }
}

void DrawnMenuRow::leaveEvent(QEvent* event) {
    QAbstractButton::leaveEvent(event);
    setMenuHighlighted(false);
}

void DrawnMenuRow::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QPalette& colors = palette();
    const bool enabled = item_ && item_->isEnabled();
    const QColor accent = colors.color(QPalette::Highlight);
    if (highlighted_ && enabled) {
        QColor tint = accent;
        tint.setAlphaF(0.14f);
        QPainterPath shape;
        shape.addRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), 7, 7);
        painter.fillPath(shape, tint);
    }
    const int w = width();
    painter.setFont(textFont(13));
    painter.setPen(enabled ? colors.color(QPalette::WindowText)
                           : colors.color(QPalette::Disabled, QPalette::WindowText));
    const QRect titleBox(32, (height - 17) / 2, w - 72, 18);
    painter.drawText(titleBox, Qt::AlignLeft | Qt::AlignVCenter,
                     painter.fontMetrics().elidedText(text(), Qt::ElideRight, titleBox.width()));

    painter.setOpacity(enabled ? 1.0 : 0.35);
    const QRectF lead(10, (height - 15) / 2.0, 15, 15);
    if (selected_ || (item_ && item_->isChecked())) {
        drawCheck(painter, lead, accent);
    } else if (item_ && !item_->icon().isNull()) {
        item_->icon().paint(&painter, lead.toRect());
    }
    painter.setOpacity(1.0);
    if (item_ && item_->menu()) {
        const QRectF mark(w - 23, (height - 11) / 2.0, 9, 11);
        QPainterPath chevron;
        chevron.moveTo(mark.left() + 2, mark.top() + 1);
        chevron.lineTo(mark.right() - 2, mark.center().y());
        chevron.lineTo(mark.left() + 2, mark.bottom() - 1);
        painter.setPen(QPen(secondary(colors), 1.6, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.drawPath(chevron);
    } else if (item_) {
        const QString keys = keyEquivalentText(item_->shortcut());
        if (!keys.isEmpty()) {
            painter.setFont(textFont(11));
            const int textWidth = painter.fontMetrics().horizontalAdvance(keys);
            painter.setPen(secondary(colors));
            painter.drawText(QRect(w - textWidth - 12, (height - 14) / 2, textWidth, 14),
                             Qt::AlignLeft | Qt::AlignVCenter, keys);
        }
    }
}

// --- MenuContentView ------------------------------------------------------------------

int MenuContentView::widthFor(const QMenu& menu) {
    const QList<QAction*> items = menu.actions();
    if (items.isEmpty()) {
        return 240;
    }
    const QFontMetrics metrics(textFont(13));
    int widest = 0;
    for (const QAction* item : items) {
        widest = std::max(widest, metrics.horizontalAdvance(item->text()));
    }
    return std::clamp(widest + 90, 240, 420);
}

MenuContentView::MenuContentView(QMenu& menu, QAction* selected, std::function<void()> back,
                                 std::function<void(QAction*)> choose, QWidget* parent)
    : QWidget(parent)
    , back_(std::move(back)) {
    setObjectName(QStringLiteral("menuContent"));
    setAccessibleName(menu.title());
    setFocusPolicy(Qt::StrongFocus);
    const int width = widthFor(menu);
    int y = margin;
    for (QAction* item : menu.actions()) {
        if (!item->isVisible()) {
            continue;
        }
        if (item->isSeparator()) {
            auto* line = new QWidget(this);
            line->setObjectName(QStringLiteral("separator"));
            line->setGeometry(16, y + 5, width - 32, 1);
            line->setAutoFillBackground(true);
            line->setBackgroundRole(QPalette::Midlight);
            y += separatorStep;
            continue;
        }
        auto* row = new DrawnMenuRow(item, item == selected, choose, this);
        row->setGeometry(8, y, width - 16, DrawnMenuRow::height);
        row->hovered = [this, row] {
            const auto at = std::find(rows_.begin(), rows_.end(), row);
            if (at != rows_.end()) {
                focus(static_cast<int>(at - rows_.begin()));
            }
        };
        rows_.push_back(row);
        y += DrawnMenuRow::height;
    }
    y += margin;
    setFixedSize(width, y); // an empty menu: the two margins, 16
    if (selected) {
        for (std::size_t i = 0; i < rows_.size(); ++i) {
            if (rows_[i]->item() == selected) {
                focus(static_cast<int>(i));
            }
        }
    }
}

void MenuContentView::focus(int index) {
    if (index < 0 || index >= static_cast<int>(rows_.size()) || !rows_[index]->item() ||
        !rows_[index]->item()->isEnabled()) {
        return;
    }
    focused_ = index;
    for (std::size_t i = 0; i < rows_.size(); ++i) {
        rows_[i]->setMenuHighlighted(static_cast<int>(i) == index);
    }
}

void MenuContentView::step(int direction) {
    const int count = static_cast<int>(rows_.size());
    const auto enabled = [this](int i) {
        return rows_[i]->item() && rows_[i]->item()->isEnabled();
    };
    const bool hasFocus = focused_ >= 0 && focused_ < count && enabled(focused_);
    int index = hasFocus ? focused_ : (direction > 0 ? -1 : count);
    for (int tried = 0; tried < count; ++tried) {
        index = (index + direction + count) % count;
        if (enabled(index)) {
            focus(index);
            return;
        }
    }
}

void MenuContentView::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        DrawnMenu::shared().close();
        return;
    }
    const bool anyEnabled = std::any_of(rows_.begin(), rows_.end(), [](DrawnMenuRow* row) {
        return row->item() && row->item()->isEnabled();
    });
    if (!anyEnabled) {
        return;
    }
    switch (event->key()) {
    case Qt::Key_Down:
        step(1);
        return;
    case Qt::Key_Up:
        step(-1);
        return;
    case Qt::Key_Left:
        if (back_) {
            back_();
        }
        return;
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_Right:
    case Qt::Key_Space:
        if (focused_ >= 0 && focused_ < static_cast<int>(rows_.size())) {
            rows_[focused_]->activate();
        }
        return;
    default:
        QWidget::keyPressEvent(event);
    }
}

void MenuContentView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath shape;
    shape.addRoundedRect(QRectF(rect()), 12, 12);
    painter.fillPath(shape, palette().color(QPalette::Window));
}

// --- DrawnMenu -----------------------------------------------------------------------

DrawnMenu& DrawnMenu::shared() {
    static DrawnMenu* menu = new DrawnMenu; // lives as long as the process
    return *menu;
}

void DrawnMenu::show(QMenu& menu, QWidget& anchor, QAction* selected,
                     std::function<void()> onDismiss) {
    show(menu, QRect(anchor.mapToGlobal(QPoint(0, 0)), anchor.size()), selected,
         std::move(onDismiss));
}

void DrawnMenu::show(QMenu& menu, const QRect& anchor, QAction* selected,
                     std::function<void()> onDismiss) {
    close();
    emit menu.aboutToShow(); // the owner updates the items
    stack_ = {&menu};
    popup_ = std::make_unique<MenuPopup>();
    dismissed_ = std::move(onDismiss);
    present(menu, selected);
    // Below the anchor, kept on its screen; above it when there is no room below.
    QPoint at(anchor.left(), anchor.bottom() + 1);
    const QScreen* screen = QGuiApplication::screenAt(anchor.center());
    if (!screen) {
        screen = QGuiApplication::primaryScreen();
    }
    if (screen) {
        const QRect area = screen->availableGeometry();
        const QSize size = popup_->size();
        if (at.y() + size.height() > area.bottom()) {
            at.setY(anchor.top() - size.height());
        }
        at.setX(
            std::clamp(at.x(), area.left(), std::max(area.left(), area.right() - size.width())));
        at.setY(std::max(at.y(), area.top()));
    }
    popup_->move(at);
    popup_->show();
    content_->setFocus();
    holdKeyboard(0);
}

void DrawnMenu::holdKeyboard(int attempt) {
    // A window manager may still hold the keyboard from the click that opened the menu
    // (IceWM's taskbar does), and then the popup's own grab fails: ask again for a while,
    // so that arrows and Escape reach the menu.
    QWindow* window = popup_ ? popup_->windowHandle() : nullptr;
    if (!window || window->setKeyboardGrabEnabled(true) || attempt >= 20) {
        return;
    }
    QTimer::singleShot(50, popup_.get(), [this, attempt] { holdKeyboard(attempt + 1); });
}

void DrawnMenu::present(QMenu& menu, QAction* selected) {
    delete content_;
    content_ = new MenuContentView(
        menu, selected, [this] { back(); }, [this](QAction* item) { choose(item); }, popup_.get());
    content_->move(0, 0);
    content_->show();
    popup_->setFixedSize(content_->size());
    // Round corners without relying on a compositor.
    QPainterPath outline;
    outline.addRoundedRect(QRectF(QPointF(0, 0), QSizeF(content_->size())), 12, 12);
    popup_->setMask(QRegion(outline.toFillPolygon().toPolygon()));
    content_->setFocus();
}

void DrawnMenu::choose(QAction* item) {
    if (QMenu* submenu = item->menu()) {
        replace(*submenu, true);
        return;
    }
    dismissed_ = nullptr; // a choice is not a dismissal
    QPointer<QAction> chosen(item);
    close();
    if (chosen) {
        chosen->trigger();
    }
}

void DrawnMenu::replace(QMenu& menu, bool append) {
    if (!popup_) {
        return;
    }
    if (append) {
        emit menu.aboutToShow();
        stack_.emplace_back(&menu);
    }
    present(menu, nullptr);
}

void DrawnMenu::back() {
    if (stack_.size() < 2) {
        close();
        return;
    }
    stack_.pop_back();
    if (QMenu* parent = stack_.back()) {
        replace(*parent, false);
    } else {
        close();
    }
}

void DrawnMenu::close() {
    std::unique_ptr<QWidget> popup = std::move(popup_);
    stack_.clear();
    std::function<void()> dismissed = std::exchange(dismissed_, nullptr);
    content_ = nullptr;
    if (popup) {
        popup->hide();
        popup.release()->deleteLater(); // it may be the one reporting its own hiding
    }
    if (dismissed) {
        dismissed();
    }
}

// --- PopupButton ----------------------------------------------------------------

PopupButton::PopupButton(QMenu& menu, QWidget* parent)
    : QPushButton(parent)
    , menu_(menu) {
    setCursor(Qt::PointingHandCursor);
    connect(this, &QPushButton::clicked, this, &PopupButton::open);
}

void PopupButton::select(QAction* item) {
    selected_ = item;
    setText(item ? item->text() : QString());
    updateGeometry();
    update();
}

QSize PopupButton::sizeHint() const {
    const int title = QFontMetrics(textFont(13)).horizontalAdvance(text());
    return {std::max(110, title + 42), 30};
}

void PopupButton::open() {
    if (!isEnabled() || menu_.actions().isEmpty()) {
        return;
    }
    for (QAction* item : menu_.actions()) {
        disconnect(item, &QAction::triggered, this, nullptr);
        connect(item, &QAction::triggered, this, [this, item] {
            expanded_ = false;
            select(item);
            emit chosen(item);
        });
    }
    expanded_ = true;
    DrawnMenu::shared().show(menu_, *this, selected_, [this] { expanded_ = false; });
}

void PopupButton::mousePressEvent(QMouseEvent*) {
    open();
}

void PopupButton::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_Space:
    case Qt::Key_Down:
    case Qt::Key_Up:
        open();
        return;
    default:
        QPushButton::keyPressEvent(event);
    }
}

void PopupButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QPalette& colors = palette();
    QPainterPath face;
    face.addRoundedRect(QRectF(rect()), 8, 8);
    painter.fillPath(face, colors.color(QPalette::Button));
    painter.setFont(textFont(13));
    painter.setPen(isEnabled() ? colors.color(QPalette::ButtonText)
                               : colors.color(QPalette::Disabled, QPalette::ButtonText));
    const QRect titleBox(12, (height() - 17) / 2, width() - 38, 18);
    painter.drawText(titleBox, Qt::AlignLeft | Qt::AlignVCenter,
                     painter.fontMetrics().elidedText(text(), Qt::ElideRight, titleBox.width()));
    // Up and down chevrons.
    const QRectF mark(width() - 23, (height() - 12) / 2.0, 12, 12);
    QPainterPath chevrons;
    chevrons.moveTo(mark.left() + 3, mark.top() + 4.5);
    chevrons.lineTo(mark.center().x(), mark.top() + 1.5);
    chevrons.lineTo(mark.right() - 3, mark.top() + 4.5);
    chevrons.moveTo(mark.left() + 3, mark.bottom() - 4.5);
    chevrons.lineTo(mark.center().x(), mark.bottom() - 1.5);
    chevrons.lineTo(mark.right() - 3, mark.bottom() - 4.5);
    painter.setPen(QPen(secondary(colors), 1.4, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawPath(chevrons);
}

} // namespace hopla
