#pragma once

#include "app/Preferences.h"
#include "appearance/AccentAppearance.h"
#include "updater/SelfUpdater.h"

namespace hopla {
class AccentPicker;
}

#include <QWidget>

#include <functional>
#include <optional>
#include <utility>
#include <vector>

class QAbstractButton;
class QButtonGroup;
class QLabel;
class QScrollArea;
class QVBoxLayout;

namespace hopla {

class Switch;

// What the permission card says, from the live status.
struct PermissionCardText {
    bool ready = false;
    QString title;
    QString subtitle;
    bool offersRelease = false; // the window manager's binding can be released from here
};
PermissionCardText permissionCardText(const Preferences& preferences);

// The settings page: header, permission card, the settings card and the shortcut guide in
// a scroll area, above a footer with the version and a quit button. Bound live to the
// preferences and the appearance kit: changes made elsewhere show at once.
class SettingsView : public QWidget {
    Q_OBJECT
public:
    struct Actions {
        std::function<void()> requestPermission;
        std::function<void()> quit;
        std::function<void()> releaseShortcut; // lets the window manager's binding go
    };
    SettingsView(Preferences& preferences, AccentAppearance& appearance, SelfUpdater& updater,
                 Actions actions, QWidget* parent = nullptr);

    QScrollArea* scrollArea() const { return scroll_; }
    // Shows the store's current values.
    void refresh();

    // The controls, for tests and the accessibility tree.
    Switch* enabledSwitch() const { return enabledSwitch_; }
    Switch* loginSwitch() const { return loginSwitch_; }
    Switch* traySwitch() const { return traySwitch_; }
    Switch* syncSwitch() const { return syncSwitch_; }
    QString syncSubtitle() const;
    QString updateSubtitle() const;
    QAbstractButton* updateButton() const { return updateButton_; }
    Switch* updateSwitch() const { return updateSwitch_; }
    QAbstractButton* historyButton() const { return historyButton_; }
    QAbstractButton* appearanceButton(AppAppearance appearance) const;
    QAbstractButton* permissionButton() const { return permissionButton_; }
    QAbstractButton* releaseButton() const { return releaseButton_; }
    QAbstractButton* modifierButton(SwitchModifier modifier) const;
    QString permissionTitle() const;
    QString permissionSubtitle() const;

private:
    QWidget* header();
    QWidget* accentCard();
    QWidget* permissionCard();
    QWidget* settingsCard();
    QWidget* shortcutCard();
    QWidget* footer();
    // A row of exclusive choices (the chosen one in the accent colour), by id and title.
    QWidget* segmented(const std::vector<std::pair<int, QString>>& choices, QButtonGroup*& group);
    void applyAccent(const QColor& accent);
    QWidget* row(const QString& glyph, const QString& title, QLabel* subtitle, QWidget* control);

    Preferences& preferences_;
    AccentAppearance& appearance_;
    SelfUpdater& updater_;
    Actions actions_;

    QScrollArea* scroll_ = nullptr;
    QLabel* icon_ = nullptr;
    QWidget* permissionMark_ = nullptr;
    QLabel* permissionTitle_ = nullptr;
    QLabel* permissionSubtitle_ = nullptr;
    QWidget* statusDot_ = nullptr;
    QAbstractButton* permissionButton_ = nullptr;
    QAbstractButton* releaseButton_ = nullptr;
    QLabel* enabledSubtitle_ = nullptr;
    QButtonGroup* modifierGroup_ = nullptr;
    std::vector<QLabel*> modifierCaps_; // show the chosen modifier
    QLabel* modifierGuide_ = nullptr;
    QLabel* windowGuide_ = nullptr;
    Switch* enabledSwitch_ = nullptr;
    Switch* loginSwitch_ = nullptr;
    QLabel* loginSubtitle_ = nullptr;
    QLabel* loginError_ = nullptr;
    Switch* traySwitch_ = nullptr;
    Switch* syncSwitch_ = nullptr;
    QLabel* syncSubtitle_ = nullptr;
    QLabel* updateSubtitle_ = nullptr;
    QAbstractButton* updateButton_ = nullptr;
    Switch* updateSwitch_ = nullptr;
    QAbstractButton* historyButton_ = nullptr;
    QWidget* updateSpinner_ = nullptr;
    AccentPicker* picker_ = nullptr;
    QButtonGroup* appearanceGroup_ = nullptr;
    std::optional<AccentPalette> shownPalette_; // whose colours the styles carry
};

} // namespace hopla
