#pragma once

#include "core/PanelGeometry.h"
#include "core/PanelModel.h"
#include "core/panel/SwitcherView.h"
#include "platform/Lifetime.h"
#include "platform/RunningApps.h"
#include "platform/Scheduler.h"
#include "platform/Subscription.h"

#include <QWidget>

#include <functional>
#include <memory>

namespace hopla {

// What the panel needs from the desktop it runs on.
struct SwitcherPanelEnvironment {
    Scheduler* scheduler = nullptr;
    // Told when the user moves to another desktop; may be absent.
    RunningApps* runningApps = nullptr;
    // Whether a compositor blends translucent windows; without one, the panel is opaque
    // with a rounded shape instead (translucent pixels would show black).
    std::function<bool()> compositing;
    // Whether the window server really shows the window; defaults to Qt's own idea.
    std::function<bool(const QWidget&)> isOnScreen;
    // The pointer position; defaults to QCursor::pos().
    std::function<QPoint()> pointer;
    // Makes the image what the window shows, kept by the window system itself (on X11 the
    // window's background): given before the window is mapped, the panel is complete the
    // moment it appears, and exposures need no paint. Qt then draws nothing in the panel's
    // window; each change of the view hands over a new image. May be absent: Qt paints.
    std::function<void(QWidget& window, const QImage& image)> windowImage;
    // Where the display server shows the images on a surface of its own (with windowImage):
    // the panel's Qt window is never shown, these map and unmap that surface instead.
    std::function<void()> showSurface;
    std::function<void()> hideSurface;
};

// The floating window the switcher draws in: frameless, above everything, never focused
// and never activating Hopla, yet clickable. Shown on the screen under the pointer.
// Main thread only.
class SwitcherPanel final : public SwitcherPanelInterface {
public:
    // How long after showing the panel checks that it is really on screen, and how often.
    static constexpr auto verifyDelay = std::chrono::milliseconds(120);
    static constexpr int verifyAttempts = 2;

    SwitcherPanel(QString accessibilityLabel, std::function<QColor()> accent, bool badgeUsesAccent,
                  std::function<QString(const QString&)> localize, QImage fallbackIcon,
                  SwitcherPanelEnvironment environment);
    ~SwitcherPanel() override;

    PanelModel& model() override { return model_; }
    void show(const SwitchSession& session, const IconMap& icons) override;
    void prepare(const SwitchSession& session, const IconMap& icons) override;
    void update(const SwitchSession& session) override;
    void update(const IconMap& icons) override;
    void hide() override;

    // A click at this point of a panel the display server shows on its own surface.
    void click(QPoint at);

    // Renders the view into a PNG file; false (and nothing written) when that fails.
    bool capture(const QString& path) const;

    bool isPresented() const { return presented_; }
    QWidget& window() const { return *window_; }
    SwitcherView& view() const { return *view_; }

private:
    std::unique_ptr<QWidget> makeWindow() const;
    void present();
    void verifyOnScreen(int attempts);
    // Puts the session, its icons and the current look into the model and the window,
    // changing only what differs.
    void load(const SwitchSession& session, const IconMap& icons);
    // Fits the window to the candidates; its shape is cut again when its size changed or
    // when asked.
    void resize(int count, bool reshape);
    void rebuildForCurrentSpaceIfNeeded();
    void applyShape();

    QString accessibilityLabel_;
    SwitcherPanelEnvironment environment_;
    PanelModel model_;
    std::unique_ptr<QWidget> window_;
    SwitcherView* view_ = nullptr; // a child of window_, moved to each new window
    bool presented_ = false;
    bool needsSpaceRebuild_ = false;
    bool translucent_ = false;
    bool loaded_ = false; // whether the model and the look were set once
    Subscription spaceObserver_;
    Lifetime lifetime_;
};

} // namespace hopla
