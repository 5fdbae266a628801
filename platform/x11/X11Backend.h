#pragma once

#include "platform/DesktopBackend.h"

#include <memory>
#include <string>

namespace hopla::x11 {

class X11KeyEventSource;
class X11PanelSupport;
class X11RunningApps;
class X11WindowSystem;

// The display server as an X11 session with an EWMH window manager: the client list and
// _NET_ACTIVE_WINDOW for the applications, grabs and XInput 2 for the keyboard, the panel's
// image as its window's background, XTEST for self-checks, xfconf to free xfwm4's binding.
class X11Backend final : public DesktopBackend, private PanelSurface {
public:
    // Nothing, with the reason, without an X server to connect to.
    static std::unique_ptr<X11Backend> open(std::string* error);
    ~X11Backend() override;

    RunningApps& runningApps() override;
    WindowSystem& windows() override;
    KeyEventSource& keys() override;
    PanelSurface& panelSurface() override { return *this; }
    std::optional<KeyLetters> letters() override;
    Readiness readiness() override;
    QString requirements() const override;
    void setIconSize(int pixels) override;
    void noteSwitchKey() override;
    std::optional<QString> releaseShortcut(const QString& modifier) override;
    std::unique_ptr<SyntheticKeyboard> syntheticKeyboard(std::string* error) override;

private:
    X11Backend() = default;
    bool compositing() const override;
    void recheckCompositing() override;
    bool isOnScreen(WId window) override;
    QPoint pointer() override;
    void setWindowImage(WId window, const QImage& image) override;
    bool holdsImages() const override;

    std::unique_ptr<X11RunningApps> runningApps_;
    std::unique_ptr<X11WindowSystem> windows_;
    std::unique_ptr<X11PanelSupport> panel_;
    std::unique_ptr<X11KeyEventSource> keys_;
    Readiness server_; // XInput 2.2 and XTEST: the server's extensions stay while connected
};

} // namespace hopla::x11
