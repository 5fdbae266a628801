// The drawn menu, the popup button, menu styling and the accent picker, as widgets on Qt's
// offscreen platform.
#include "appearance/DrawnMenu.h"
#include "appearance/Accessibility.h"
#include "appearance/Controls.h"
#include "appearance/MenuStyle.h"
#include "tests/support/Images.h"

#include <QAccessible>
#include <QAction>
#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

using hopla::DrawnMenu;
using hopla::MenuContentView;

void key(QWidget* target, int code) {
    QKeyEvent press(QEvent::KeyPress, code, Qt::NoModifier);
    QApplication::sendEvent(target, &press);
}

struct MenuTest : ::testing::Test {
    bool accessible = (hopla::installAccessibility(), true); // before any row exists
    QMenu menu{QStringLiteral("Root")};
    QMenu more{QStringLiteral("More")};
    std::vector<QString> triggered;
    int dismissals = 0;

    QAction* add(QMenu& into, const QString& title, bool enabled = true) {
        QAction* item = into.addAction(title);
        item->setEnabled(enabled);
        QObject::connect(item, &QAction::triggered, [this, title] { triggered.push_back(title); });
        return item;
    }
    MenuContentView* open(QAction* selected = nullptr) {
        DrawnMenu::shared().show(menu, QRect(100, 100, 20, 20), selected, [this] { ++dismissals; });
        return DrawnMenu::shared().contentView();
    }
    void TearDown() override { DrawnMenu::shared().close(); }
};

TEST_F(MenuTest, RowsSeparatorsAndWidthFollowTheItems) {
    add(menu, "Open");
    add(menu, "Hidden")->setVisible(false);
    add(menu, "Pause");
    menu.addSeparator();
    add(menu, "Quit")->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Q));
    const MenuContentView* view = open();
    ASSERT_EQ(view->rows().size(), 3u);
    EXPECT_EQ(view->rows()[0]->y(), MenuContentView::margin);
    EXPECT_EQ(view->rows()[1]->y() - view->rows()[0]->y(), 34) << "the hidden item takes no room";
    EXPECT_EQ(view->rows()[2]->y() - view->rows()[1]->y(), 34 + 12) << "a separator adds 12";
    EXPECT_EQ(view->height(), view->rows()[2]->geometry().bottom() + 1 + MenuContentView::margin);
    EXPECT_EQ(view->width(), 240) << "short titles";
    EXPECT_EQ(hopla::DrawnMenuRow::keyEquivalentText(view->rows()[2]->item()->shortcut()),
              "Ctrl+Shift+Q");

    // Assistive technologies see a popup menu of menu items, and choose with "Press".
    QAccessibleInterface* row = QAccessible::queryAccessibleInterface(view->rows()[1]);
    EXPECT_EQ(QAccessible::queryAccessibleInterface(const_cast<MenuContentView*>(view))->role(),
              QAccessible::PopupMenu);
    EXPECT_EQ(row->role(), QAccessible::MenuItem);
    EXPECT_EQ(row->text(QAccessible::Name), "Pause");
    row->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    EXPECT_EQ(triggered, std::vector<QString>{"Pause"});

    add(menu, QString(200, QLatin1Char('W')));
    EXPECT_EQ(MenuContentView::widthFor(menu), 420);
}

TEST_F(MenuTest, ArrowsWrapAndSkipDisabledRowsThatThePointerCannotFocusEither) {
    add(menu, "One");
    add(menu, "Off", false);
    add(menu, "Three");
    MenuContentView* view = open();
    EXPECT_EQ(view->focused(), -1);
    key(view, Qt::Key_Up);
    EXPECT_EQ(view->focused(), 2) << "no focus: Up takes the last";
    key(view, Qt::Key_Down);
    EXPECT_EQ(view->focused(), 0) << "wrapped";
    key(view, Qt::Key_Down);
    EXPECT_EQ(view->focused(), 2) << "the disabled row skipped";
    view->focus(1);
    EXPECT_EQ(view->focused(), 2);
    view->rows()[1]->activate();
    EXPECT_TRUE(triggered.empty()) << "a disabled row cannot be chosen";
    EXPECT_TRUE(view->rows()[2]->menuHighlighted());
    EXPECT_FALSE(view->rows()[0]->menuHighlighted());
}

TEST_F(MenuTest, SubmenusAreEnteredAndLeftInPlaceAndOnlyADismissalCallsBack) {
    add(menu, "First");
    menu.addMenu(&more);
    add(more, "Deep");
    MenuContentView* view = open();
    key(view, Qt::Key_Down);
    key(view, Qt::Key_Down);
    key(view, Qt::Key_Right);
    view = DrawnMenu::shared().contentView();
    ASSERT_EQ(view->rows().size(), 1u);
    EXPECT_EQ(view->rows()[0]->text(), "Deep");
    key(view, Qt::Key_Left);
    view = DrawnMenu::shared().contentView();
    ASSERT_EQ(view->rows().size(), 2u) << "back at the root";
    EXPECT_EQ(view->focused(), -1);
    key(view, Qt::Key_Left);
    EXPECT_FALSE(DrawnMenu::shared().isOpen()) << "Left at the root closes";
    EXPECT_EQ(dismissals, 1);
    DrawnMenu::shared().close();
    EXPECT_EQ(dismissals, 1) << "once";

    view = open();
    key(view, Qt::Key_Escape);
    EXPECT_EQ(dismissals, 2);
    view = open();
    key(view, Qt::Key_Down);
    key(view, Qt::Key_Return);
    EXPECT_FALSE(DrawnMenu::shared().isOpen());
    EXPECT_EQ(triggered, std::vector<QString>{"First"}) << "chosen once";
    EXPECT_EQ(dismissals, 2) << "a choice is not a dismissal";

    // The menu's owner hears aboutToShow first, and a popup closed from outside dismisses.
    int updates = 0;
    QObject::connect(&menu, &QMenu::aboutToShow, [&] { ++updates; });
    open();
    EXPECT_EQ(updates, 1);
    DrawnMenu::shared().popup()->hide();
    EXPECT_FALSE(DrawnMenu::shared().isOpen());
    EXPECT_EQ(dismissals, 3);
}

TEST_F(MenuTest, ThePopupButtonOpensItsMenuAndTakesTheChoice) {
    QAction* a = add(menu, "Ab");
    QAction* b = add(menu, "Bc");
    hopla::PopupButton button(menu);
    button.select(a);
    button.show();
    std::vector<QAction*> chosen;
    QObject::connect(&button, &hopla::PopupButton::chosen,
                     [&](QAction* item) { chosen.push_back(item); });
    key(&button, Qt::Key_Space);
    ASSERT_TRUE(DrawnMenu::shared().isOpen());
    EXPECT_TRUE(button.isExpanded());
    MenuContentView* view = DrawnMenu::shared().contentView();
    EXPECT_EQ(view->focused(), 0) << "the current choice has the focus";
    EXPECT_TRUE(view->rows()[0]->isChecked());
    key(view, Qt::Key_Down);
    key(view, Qt::Key_Return);
    EXPECT_EQ(chosen, std::vector<QAction*>{b});
    EXPECT_EQ(button.text(), "Bc");
    EXPECT_FALSE(button.isExpanded());
}

TEST_F(MenuTest, LightAndDarkMenusDrawTheirOwnBackgroundAndTheAccentHighlight) {
    add(menu, "One");
    add(menu, "Two");
    for (const auto& [window, text] : {std::pair{QColor(Qt::white), QColor(Qt::black)},
                                       std::pair{QColor(30, 30, 30), QColor(Qt::white)}}) {
        QPalette colours;
        colours.setColor(QPalette::Window, window);
        colours.setColor(QPalette::WindowText, text);
        colours.setColor(QPalette::Highlight, QColor(0, 90, 255));
        QApplication::setPalette(colours);
        MenuContentView* view = open();
        view->focus(0);
        const QImage image = view->grab().toImage();
        EXPECT_EQ(QColor(image.pixel(120, 8 + 34 + 3)), window) << "an unfocused row";
        const QColor highlighted(image.pixel(120, 8 + 3));
        EXPECT_GT(highlighted.blue(), highlighted.red()) << "tinted with the accent";
        EXPECT_TRUE(qAlpha(view->window()->grab().toImage().pixel(0, 0)) == 0 ||
                    !view->window()->mask().contains(QPoint(0, 0)))
            << "the corners are cut";
        DrawnMenu::shared().close();
    }
    QApplication::setPalette(QPalette());
}

TEST(MenuStyle, OpeningAMenuStylesItWithRowsBetween260And440Wide) {
    hopla::MenuStyle::install();
    hopla::MenuStyle::install();
    QMenu menu;
    menu.addAction("Open");
    EXPECT_EQ(hopla::MenuStyle::rowWidth(menu), 260);
    menu.addAction(QString(300, QLatin1Char('W')));
    EXPECT_EQ(hopla::MenuStyle::rowWidth(menu), 440);
    menu.popup(QPoint(10, 10));
    EXPECT_TRUE(menu.styleSheet().contains("min-height: 34px"));
    menu.close();
}

TEST(WindowCommands, EditingReachesTheWindowsFocusedField) {
    QWidget window;
    auto* field = new QLineEdit(QStringLiteral("hello"), &window);
    const auto same = [](const char* title) { return QString::fromUtf8(title); };
    hopla::EditingCommands::install(window, same); // Ctrl+W's close is checked end to end
    QApplication::processEvents();                 // earlier tests' popups go
    window.show();
    QApplication::setActiveWindow(&window);
    field->setFocus();
    ASSERT_EQ(QApplication::focusWidget(), field);
    const auto command = [&](const char* title) {
        for (QAction* action : window.actions()) {
            if (action->text() == QString::fromUtf8(title)) {
                action->trigger();
                return action->shortcut();
            }
        }
        ADD_FAILURE() << title;
        return QKeySequence();
    };
    EXPECT_EQ(command("全选"), QKeySequence(QKeySequence::SelectAll));
    EXPECT_EQ(field->selectedText(), "hello");
    command("剪切");
    EXPECT_EQ(field->text(), "");
    command("撤销");
    EXPECT_EQ(field->text(), "hello");
}

TEST(AppearancePicker, OneChoiceIsSelectedAndAClickRecoloursAtOnce) {
    QTemporaryDir dir;
    QSettings settings(dir.filePath("a.ini"), QSettings::IniFormat);
    std::vector<QImage> shownIcons;
    hopla::AccentAppearance appearance(
        hopla::AccentPalette::ocean, "appearance.accentPalette", settings,
        [](hopla::AccentPalette p) { return hopla::testing::solidImage(hopla::color(p), 8); },
        [&](const QImage& icon) { shownIcons.push_back(icon); });
    hopla::AccentPicker picker(appearance, "zh-Hant-TW");
    EXPECT_EQ(picker.title(), QString::fromUtf8("圖示與強調色"));
    ASSERT_EQ(picker.choices().size(), 6u);
    const auto selectedCount = [&] {
        return std::count_if(picker.choices().begin(), picker.choices().end(),
                             [](auto* c) { return c->isSelected(); });
    };
    EXPECT_EQ(selectedCount(), 1);
    auto* violet = picker.choices()[5];
    EXPECT_EQ(violet->accessibleDescription(), QString::fromUtf8("未選取"));
    violet->click();
    EXPECT_EQ(appearance.selection(), hopla::AccentPalette::violet);
    EXPECT_EQ(selectedCount(), 1);
    EXPECT_EQ(violet->accessibleDescription(), QString::fromUtf8("已選取"));
    ASSERT_FALSE(shownIcons.empty()) << "recoloured at once";
    EXPECT_EQ(shownIcons.back(), appearance.icon(hopla::AccentPalette::violet));
    EXPECT_EQ(hopla::AccentPicker(appearance, "en").title(), "Icon & Accent Color");

    // Reached from the keyboard, a choice shows that it has the focus.
    picker.show();
    QApplication::setActiveWindow(&picker); // as the window manager does for a new window
    auto* second = picker.choices()[1];
    ASSERT_FALSE(second->hasFocus());
    const QImage before = second->grab().toImage();
    second->setFocus(Qt::TabFocusReason);
    ASSERT_TRUE(second->hasFocus());
    EXPECT_NE(second->grab().toImage(), before);
}

} // namespace
