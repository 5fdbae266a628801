#pragma once

#include <QImage>

#include <map>
#include <memory>

namespace hopla::x11 {

class XConnection;

// What the switcher panel asks of the X server: whether a compositor is running (it owns
// _NET_WM_CM_S<screen>), whether a window is mapped and viewable, and a fast way to put
// the panel's first image into its window.
class X11PanelSupport {
public:
    // How drawNow's pixels reach the server: through memory shared with it (MIT-SHM) where
    // the server offers that, which is one short request whatever the image's size, or
    // always through the socket.
    enum class Transfer { sharedMemoryWhereOffered, socket };

    // Nothing without an X server.
    static std::unique_ptr<X11PanelSupport>
    open(Transfer transfer = Transfer::sharedMemoryWhereOffered);
    ~X11PanelSupport();
    X11PanelSupport(const X11PanelSupport&) = delete;
    X11PanelSupport& operator=(const X11PanelSupport&) = delete;

    // The answer of the latest recheckCompositing(): no round trip when a panel opens.
    bool compositing() const { return compositing_; }
    void recheckCompositing();
    bool isViewable(unsigned long window);
    // Puts the image into the window, on Qt's own connection so that it follows Qt's
    // request to map the window without waiting for the Expose. Ignored where the image
    // cannot travel as is (a server of the other byte order, a depth other than 24 or 32).
    void drawNow(unsigned long window, const QImage& image);
    // Whether drawNow goes through shared memory.
    bool sharesMemory() const { return shared_ != nullptr; }

private:
    class SharedImage;
    X11PanelSupport(std::unique_ptr<XConnection> x, Transfer transfer);
    std::unique_ptr<XConnection> x_;
    bool compositing_ = false;
    std::map<unsigned long, int> depths_; // of the windows given a background so far
    std::unique_ptr<SharedImage> shared_;
};

} // namespace hopla::x11
