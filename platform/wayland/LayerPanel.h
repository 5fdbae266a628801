#pragma once

#include <QImage>

#include <atomic>
#include <memory>
#include <vector>

struct wl_compositor;
struct wl_shm;
struct wl_surface;
struct zwlr_layer_shell_v1;
struct zwlr_layer_surface_v1;

namespace hopla::wayland {

class ShmBuffer;
class WaylandConnection;

// The switcher's panel as a layer-shell surface on the overlay layer, centred on the output
// the compositor gives it (the one of the focused window). It holds the keyboard while it is
// shown, so the session's keys and the switch modifier's release come to Hopla. Its pixels
// are the image it was last handed, copied into shared memory ahead of showing, so the first
// frame after the key is the whole panel. The connection's thread only, but isShown().
class LayerPanel {
public:
    // Binds what it needs before the connection starts; nothing when the compositor lacks
    // layer-shell or shared memory.
    static std::unique_ptr<LayerPanel> bind(WaylandConnection& connection);
    ~LayerPanel();
    LayerPanel(const LayerPanel&) = delete;
    LayerPanel& operator=(const LayerPanel&) = delete;

    // The image to show (its device pixel ratio is the output's scale); shown at once when
    // the panel is up, else kept ready for show().
    void setImage(const QImage& image);
    void show();
    void hide();
    // Lets the keyboard go while the panel stays on screen: an application asked to come
    // forward gets the focus (and says so) only once no layer surface holds it.
    void releaseKeyboard();
    // Mapped: the compositor configured the surface and it carries an image.
    bool isShown() const { return shown_.load(); }
    wl_surface* surface() const { return surface_; }
    // Shown and meant to hold the keyboard (not let go by releaseKeyboard()).
    bool holdsKeyboard() const { return surface_ && keyboardWanted_; }

private:
    friend struct LayerEvents;
    LayerPanel() = default;
    void configured(std::uint32_t serial);
    void attach();
    ShmBuffer* freeBuffer(QSize pixels);

    wl_compositor* compositor_ = nullptr;
    wl_shm* shm_ = nullptr;
    zwlr_layer_shell_v1* layerShell_ = nullptr;
    wl_surface* surface_ = nullptr;
    zwlr_layer_surface_v1* layer_ = nullptr;
    std::vector<std::unique_ptr<ShmBuffer>> buffers_;
    ShmBuffer* current_ = nullptr; // the latest image's buffer
    int scale_ = 1;
    bool configured_ = false;
    bool keyboardWanted_ = false;
    std::atomic<bool> shown_{false};
};

} // namespace hopla::wayland
