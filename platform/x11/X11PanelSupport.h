#pragma once

#include <QImage>

#include <map>
#include <memory>

namespace hopla::x11 {

class XConnection;

// What the switcher panel asks of the X server: whether a compositor is running (it owns
// _NET_WM_CM_S<screen>), and whether a window is mapped and viewable.
class X11PanelSupport {
public:
    // Nothing without an X server.
    static std::unique_ptr<X11PanelSupport> open();
    ~X11PanelSupport();

    // The answer of the latest recheckCompositing(): no round trip when a panel opens.
    bool compositing() const { return compositing_; }
    void recheckCompositing();
    bool isViewable(unsigned long window);
    // Puts the image into the window, on Qt's own connection so that it follows Qt's
    // request to map the window without waiting for the Expose. Ignored where the image
    // cannot travel as is (a server of the other byte order, a depth other than 24 or 32).
    void drawNow(unsigned long window, const QImage& image);

private:
    explicit X11PanelSupport(std::unique_ptr<XConnection> x);
    std::unique_ptr<XConnection> x_;
    bool compositing_ = false;
    std::map<unsigned long, int> depths_; // of the windows given a background so far
};

} // namespace hopla::x11
