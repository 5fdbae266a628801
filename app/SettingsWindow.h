#pragma once

#include "app/Preferences.h"
#include "app/SettingsView.h"
#include "appearance/AccentAppearance.h"
#include "updater/SelfUpdater.h"

#include <QWidget>

#include <functional>
#include <memory>
#include <optional>

namespace hopla {

// The settings window's height for a screen whose free height is given: 80 less, at most
// 880 (880 without a screen).
int settingsWindowHeight(std::optional<int> availableHeight);

// Hopla's one window: created on first show, then kept; closing only hides it.
class SettingsWindow {
public:
    static constexpr int width = 600;

    struct Actions {
        std::function<void()> requestPermission;
        std::function<void()> showSettings;    // Ctrl+,
        std::function<void()> quit;            // Ctrl+Q and the footer's button
        std::function<void()> releaseShortcut; // the permission card's "释放快捷键"
    };
    SettingsWindow(Preferences& preferences, AccentAppearance& appearance, SelfUpdater& updater,
                   Actions actions);
    ~SettingsWindow();

    // Creates the window when needed, refreshes the login state and brings it to the front.
    void show();
    QWidget* window() const { return window_.get(); }
    SettingsView* view() const { return view_; }
    // Writes a PNG of the window's content, scrolled to the bottom when asked; false when
    // there is no window yet or the file cannot be written.
    bool capture(const QString& path, bool scrollToBottom) const;

private:
    Preferences& preferences_;
    AccentAppearance& appearance_;
    SelfUpdater& updater_;
    Actions actions_;
    std::unique_ptr<QWidget> window_;
    SettingsView* view_ = nullptr; // owned by window_
};

} // namespace hopla
