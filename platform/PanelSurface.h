#pragma once

#include <QImage>
#include <QPoint>
#include <qwindowdefs.h>

#include <functional>

namespace hopla {

// What the switcher panel asks of the display server beyond Qt's own window. Main thread.
class PanelSurface {
public:
    virtual ~PanelSurface() = default;

    // Whether translucent pixels are blended (a compositor runs); without one the panel is
    // opaque with a shaped outline. Answers from the latest recheck, without a round trip.
    virtual bool compositing() const = 0;
    // Asks again whether a compositor runs; called on every periodic refresh.
    virtual void recheckCompositing() = 0;
    // Whether the display server really shows the window.
    virtual bool isOnScreen(WId window) = 0;
    // Where the pointer was at the key that opened the switcher, in Qt's coordinates, or
    // wherever it is now when no key has arrived yet: the panel opens on that screen.
    virtual QPoint pointer() = 0;
    // Whether the display server can keep the panel's image (setWindowImage); where it cannot,
    // the panel is painted as any window is.
    virtual bool holdsImages() const = 0;
    // Makes the image what the window shows, kept by the display server, so the panel is
    // whole the moment it appears and exposures need no paint.
    virtual void setWindowImage(WId window, const QImage& image) = 0;

    // Whether the display server shows the panel from the images it is handed, on a surface
    // of its own (Wayland, where a client cannot place its windows): Qt's window for the
    // panel is then never shown, and showPanel()/hidePanel() map and unmap that surface.
    virtual bool showsPanel() const { return false; }
    virtual void showPanel() {}
    virtual void hidePanel() {}
    // Where clicks on that surface go, at a point in the panel's coordinates; main thread.
    virtual void setClickHandler(std::function<void(QPoint)> handler) { (void)handler; }
};

} // namespace hopla
