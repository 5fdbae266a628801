#pragma once

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

    bool compositing();
    bool isViewable(unsigned long window);

private:
    explicit X11PanelSupport(std::unique_ptr<XConnection> x);
    std::unique_ptr<XConnection> x_;
};

} // namespace hopla::x11
