#pragma once

#include "platform/DesktopBackend.h"

#include <memory>
#include <string>

namespace hopla::wayland {

class ForeignToplevels;
class LayerPanel;
class SwayKeys;
class WaylandConnection;
class WaylandRunningApps;
class WaylandSeat;
class WaylandWindows;

// The display server as a wlroots compositor (sway first): foreign toplevels for the
// applications, a layer-shell surface for the panel, sway's IPC for the switch keys, all on
// a Wayland connection of Hopla's own.
class WlrootsBackend final : public DesktopBackend, private PanelSurface {
public:
    // Nothing, with the reason, when no compositor answers or it lacks what Hopla needs.
    static std::unique_ptr<WlrootsBackend> open(std::string* error);
    ~WlrootsBackend() override;

    RunningApps& runningApps() override;
    WindowSystem& windows() override;
    KeyEventSource& keys() override;
    PanelSurface& panelSurface() override { return *this; }
    std::optional<KeyLetters> letters() override;
    Readiness readiness() override;
    QString requirements() const override;
    void setIconSize(int pixels) override;
    void noteSwitchKey() override {}
    std::optional<QString> releaseShortcut(const QString& modifier) override;
    std::unique_ptr<SyntheticKeyboard> syntheticKeyboard(std::string* error) override;
    void switchKeyPressed(const QString& action) override;

private:
    WlrootsBackend() = default;
    bool compositing() const override { return true; } // a Wayland compositor always blends
    void recheckCompositing() override {}
    bool isOnScreen(WId window) override;
    QPoint pointer() override;
    bool holdsImages() const override { return true; }
    void setWindowImage(WId window, const QImage& image) override;
    bool showsPanel() const override { return true; }
    void showPanel() override;
    void hidePanel() override;
    void setClickHandler(std::function<void(QPoint)> handler) override;

    std::unique_ptr<WaylandConnection> connection_;
    std::unique_ptr<WaylandSeat> seat_;
    std::unique_ptr<LayerPanel> panel_;
    std::unique_ptr<ForeignToplevels> toplevels_;
    std::unique_ptr<WaylandRunningApps> apps_;
    std::unique_ptr<WaylandWindows> windows_;
    std::unique_ptr<SwayKeys> keys_;
    bool pressHandedOver_ = false; // a compositor binding ran `hopla --switch` once
};

} // namespace hopla::wayland
