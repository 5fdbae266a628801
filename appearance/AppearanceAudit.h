#pragma once

#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

class QSettings;
class QWidget;

namespace hopla {

// The release check that Hopla looks right in light and in dark colours, run with
// --verify-dark-theme [--evidence-dir DIR]: it draws every scene the application names in
// the phases "light", "dark" and "light-restored", checks that each window took the phase's
// colours and that the drawn tray menu opens and closes, saves a PNG of every scene and of
// the menu in each phase, writes summary.json and ends the process (status 0 when passed,
// 1 with "Appearance audit failed: …" on standard error otherwise). The user's settings are
// never touched: the run uses a throwaway settings file.
namespace AppearanceAudit {

// Something the application shows, and its window. `show` gives nothing and sets `error`
// when it cannot show it.
struct Scene {
    QString name;
    std::function<QWidget*(QString& error)> show;
};

// How the application changes its colours.
struct Appearance {
    // Light (false), dark (true), or as the desktop prefers (nothing).
    std::function<void(std::optional<bool> dark)> force;
    // Whether the application now draws as the desktop prefers.
    std::function<bool()> followsDesktop;
};

struct Capture {
    QString scene;
    QString scheme; // the phase
    QString screenshot;
    int width = 0;
    int height = 0;
};

struct Result {
    bool passed = false;
    std::vector<Capture> captures;
    QString error; // empty when passed
};

// The settings the application builds its preferences on: the user's own, or, when the
// audit is requested, a throwaway file that goes away with this object.
class Defaults {
public:
    explicit Defaults(const QStringList& arguments);
    ~Defaults();
    Defaults(const Defaults&) = delete;
    Defaults& operator=(const Defaults&) = delete;
    QSettings& settings() { return *settings_; }

private:
    std::unique_ptr<QSettings> settings_;
    QString throwaway_; // the file to remove; empty for the user's settings
};

bool requested(const QStringList& arguments);
// The folder after --evidence-dir, else /tmp/native-appearance-audit-<pid>.
QString evidenceDir(const QStringList& arguments);

// The audit itself: every phase, scene and menu check, captures into `dir`. Returns when
// done; its waits run the event loop so that windows and the menu draw meanwhile.
Result run(const std::vector<Scene>& scenes, const Appearance& appearance, const QString& dir);
// summary.json in `dir`; false with the reason when it cannot be written.
bool writeSummary(const Result& result, const QString& dir, QString* error);

// Not requested: false. Requested: starts the audit on the event loop, which then ends the
// process with its outcome, and returns true. Without an X display it fails at once.
bool runIfRequested(const QStringList& arguments, std::vector<Scene> scenes, Appearance appearance);
// Ends a requested audit that cannot start (no display): summary, message, status 1.
[[noreturn]] void failAtOnce(const QStringList& arguments, const QString& message);

// The scene "error-dialog": the error presentation with a fixed message.
Scene errorScene();
// Scrolls the first scroll area in the window to its top or its bottom.
void scroll(QWidget& window, bool toBottom);

} // namespace AppearanceAudit
} // namespace hopla
