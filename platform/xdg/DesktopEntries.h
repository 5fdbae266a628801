#pragma once

#include <QString>

#include <chrono>
#include <optional>
#include <vector>

namespace hopla::xdg {

// An installed application's desktop entry.
struct DesktopEntry {
    QString id;   // "org.example.Editor.desktop"
    QString file; // its path
    QString name; // Name, localized for the user's language
    QString icon; // Icon: a theme name or an absolute path
    QString startupWMClass;
    QString program; // the file name of the program Exec runs ("gnome-calculator")
};

// Finds the desktop entry of a running window by its WM_CLASS, the way docks and taskbars
// do: StartupWMClass first, then the entry whose id matches the class or instance.
// The index of installed entries is read once and again when a lookup misses and it is
// more than a few seconds old. Main thread only.
class DesktopEntries {
public:
    std::optional<DesktopEntry> forWindowClass(const QString& instance, const QString& className);
    // The entry with this desktop-file id ("org.gnome.Calculator", ".desktop" optional).
    std::optional<DesktopEntry> byId(const QString& id);
    // The one entry whose Exec runs a program of this name; nothing when none or several do
    // (many entries run "env" or "flatpak"). What is left when a toolkit names its windows
    // after the program, as GTK does with an app id of "gnome-calculator".
    std::optional<DesktopEntry> byProgram(const QString& program);

    // Launches the entry (Exec with its field codes, no files). An error text, or nothing.
    // Blocks while the process is spawned: call it off the main thread.
    static std::optional<QString> launch(const QString& desktopFile);
    // Starts what an application's launch path names: its desktop entry, else its
    // executable, detached. An error text, or nothing. Blocks while spawning, as launch().
    static std::optional<QString> open(const QString& launchPath);

private:
    // Looks up with `search`, reading the installed entries again when it misses and they
    // were read more than a few seconds ago (an application installed since).
    template <typename Search> std::optional<DesktopEntry> lookUp(Search search);
    std::optional<DesktopEntry> find(const QString& instance, const QString& className) const;
    void reload();

    std::vector<DesktopEntry> entries_;
    std::chrono::steady_clock::time_point loadedAt_{};
    bool loaded_ = false;
};

} // namespace hopla::xdg
