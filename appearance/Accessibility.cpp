#include "appearance/Accessibility.h"

#include "appearance/DrawnMenu.h"

#include <QAbstractButton>
#include <QAccessibleWidget>
#include <QButtonGroup>

namespace hopla {

namespace {

// Asked about at construction already (a text set before the button is made checkable),
// so everything is read from the button when asked.
class Button final : public QAccessibleWidget {
public:
    explicit Button(QAbstractButton* button)
        : QAccessibleWidget(button, QAccessible::Button) {}

    QAccessible::Role role() const override {
        if (qobject_cast<const DrawnMenuRow*>(button())) {
            return QAccessible::MenuItem;
        }
        if (!button()->isCheckable()) {
            return QAccessible::Button;
        }
        const QButtonGroup* group = button()->group();
        return group && group->exclusive() ? QAccessible::RadioButton : QAccessible::CheckBox;
    }
    QAccessible::State state() const override {
        QAccessible::State state = QAccessibleWidget::state();
        state.checkable = button()->isCheckable();
        state.checked = button()->isChecked();
        return state;
    }
    QString text(QAccessible::Text kind) const override {
        const QString text = QAccessibleWidget::text(kind);
        return text.isEmpty() && kind == QAccessible::Name ? button()->text() : text;
    }
    QStringList actionNames() const override {
        if (!widget()->isEnabled()) {
            return {};
        }
        return button()->isCheckable() ? QStringList{toggleAction(), pressAction()}
                                       : QStringList{pressAction()};
    }
    void doAction(const QString& action) override {
        if (widget()->isEnabled() && actionNames().contains(action)) {
            button()->click(); // what a click does: the control's own handlers run
        }
    }

private:
    QAbstractButton* button() const { return static_cast<QAbstractButton*>(widget()); }
};

// Asked with the most derived class's name first: Hopla's own controls are answered here
// before Qt's factory answers for the button classes they derive from.
QAccessibleInterface* hoplaControls(const QString& className, QObject* object) {
    if (!className.startsWith(QLatin1String("hopla::"))) {
        return nullptr;
    }
    if (auto* button = qobject_cast<QAbstractButton*>(object)) {
        return new Button(button);
    }
    if (auto* menu = qobject_cast<MenuContentView*>(object)) {
        return new QAccessibleWidget(menu, QAccessible::PopupMenu);
    }
    return nullptr;
}

} // namespace

void installAccessibility() {
    static const bool installed = [] {
        QAccessible::installFactory(hoplaControls);
        return true;
    }();
    (void)installed;
}

} // namespace hopla
