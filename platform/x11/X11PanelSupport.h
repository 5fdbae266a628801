#pragma once

#include <QImage>
#include <QPoint>

#include <cstdint>
#include <memory>
#include <optional>

namespace hopla::x11 {

class XConnection;

// What the switcher panel asks of the X server: whether a compositor is running (it owns
// _NET_WM_CM_S<screen>), whether a window is mapped and viewable, and a fast way to put
// the panel's first image into its window.
class X11PanelSupport {
public:
    // How setWindowImage's pixels reach the server: through memory shared with it (MIT-SHM) where
    // the server offers that, which is one short request whatever the image's size, or
    // always through the socket.
    enum class Transfer { sharedMemoryWhereOffered, socket };

    // Nothing without an X server.
    static std::unique_ptr<X11PanelSupport>
    open(Transfer transfer = Transfer::sharedMemoryWhereOffered);
    ~X11PanelSupport();
    X11PanelSupport(const X11PanelSupport&) = delete;
    X11PanelSupport& operator=(const X11PanelSupport&) = delete;

    // What the latest recheckCompositing() learned: no round trip when a panel opens. Each
    // check takes the answer to the previous one's question (the first waits for its own),
    // so the state is at most one check interval older than the check.
    bool compositing() const { return compositing_; }
    void recheckCompositing();
    bool isViewable(unsigned long window);
    // Makes the image the window's background, so the server shows it when it maps the
    // window and after any exposure without asking Hopla, and shows it now if the window is
    // mapped. Only the area that differs from the last image travels and is redrawn. Travels on
    // Qt's own connection, so it lands before a map Qt requests next. Ignored where the image
    // cannot travel as is (a server of the other byte order, a depth other than 24 or 32).
    void setWindowImage(unsigned long window, const QImage& image);
    // Whether images can travel as they are: a server of this machine's byte order whose
    // screen is 24 or 32 bits deep. Elsewhere the window is painted as usual.
    bool holdsImages() const;
    // Whether setWindowImage goes through shared memory.
    bool sharesMemory() const { return shared_ != nullptr; }
    // A point in the server's pixels (as key events give the pointer) in Qt's coordinates:
    // each screen keeps its top-left and scales what lies within it.
    static QPoint fromServerPixels(QPoint point);

private:
    class SharedImage;
    X11PanelSupport(std::unique_ptr<XConnection> x, Transfer transfer);
    std::unique_ptr<XConnection> x_;
    bool compositing_ = false;
    std::optional<unsigned int> ownerQuestion_; // the sequence of the question on its way
    // The window given an image last, and the pixmap behind it.
    struct Background {
        unsigned long window = 0;
        int depth = 0;
        QSize size;
        std::uint32_t pixmap = 0;
        QImage shown; // what the pixmap holds
    };
    Background background_;
    std::unique_ptr<SharedImage> shared_;
};

} // namespace hopla::x11
