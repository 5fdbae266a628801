#pragma once

#include <QString>

#include <chrono>
#include <optional>
#include <vector>

namespace hopla::x11 {

// An installed application's desktop entry.
struct DesktopEntry {
    QString id;   // "org.example.Editor.desktop"
    QString file; // its path
    QString name; // Name, localized for the user's language
    QString icon; // Icon: a theme name or an absolute path
    QString startupWMClass;
};

// Finds the desktop entry of a running window by its WM_CLASS, the way docks and taskbars
// do: StartupWMClass first, then the entry whose id matches the class or instance.
// The index of installed entries is read once and again when a lookup misses and it is
// more than a few seconds old. Main thread only.
class DesktopEntries {
public:
    std::optional<DesktopEntry> forWindowClass(const QString& instance, const QString& className);

    // Launches the entry (Exec with its field codes, no files). An error text, or nothing.
    // Blocks while the process is spawned: call it off the main thread.
    static std::optional<QString> launch(const QString& desktopFile);

private:
    std::optional<DesktopEntry> find(const QString& instance, const QString& className) const;
    void reload();

    std::vector<DesktopEntry> entries_;
    std::chrono::steady_clock::time_point loadedAt_{};
    bool loaded_ = false;
};

} // namespace hopla::x11
