#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace hopla {

// What the command line asks of this launch. Switches match whole arguments; a path
// switch without a following argument is ignored.
struct LaunchOptions {
    bool preview = false;         // --preview: a session at once, no tap, no single instance
    bool verifyShortcuts = false; // --verify-app-shortcuts
    bool verifyDarkTheme = false; // --verify-dark-theme (throwaway settings)
    bool dark = false;            // --dark (preview only)
    bool light = false;           // --light (preview only; wins over --dark)
    bool autostart = false;       // --login-item: started at login, opens no window
    bool settingsScrollBottom = false;
    std::optional<QString> panelScreenshot;    // --panel-screenshot PATH (preview only)
    std::optional<QString> settingsScreenshot; // --settings-screenshot PATH

    static LaunchOptions parse(const QStringList& arguments);
    // Previews and self-checks may run beside a running Hopla.
    bool bypassesSingleInstance() const { return preview || verifyShortcuts || verifyDarkTheme; }
};

} // namespace hopla
