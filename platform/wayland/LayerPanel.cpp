#include "platform/wayland/LayerPanel.h"

#include "platform/wayland/WaylandConnection.h"

#include "wlr-layer-shell-unstable-v1-client-protocol.h"
#include <wayland-client.h>

#include <cmath>
#include <cstring>
#include <sys/mman.h>
#include <unistd.h>

namespace hopla::wayland {

// One image's worth of shared memory, handed to the compositor as a buffer.
class ShmBuffer {
public:
    static std::unique_ptr<ShmBuffer> create(wl_shm* shm, QSize pixels) {
        const int stride = pixels.width() * 4;
        const std::size_t bytes = static_cast<std::size_t>(stride) * pixels.height();
        const int fd = memfd_create("hopla-panel", MFD_CLOEXEC);
        if (fd < 0) {
            return nullptr;
        }
        std::unique_ptr<ShmBuffer> result(new ShmBuffer);
        result->pixels_ = pixels;
        result->bytes_ = bytes;
        if (ftruncate(fd, static_cast<off_t>(bytes)) == 0) {
            void* data = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
            if (data != MAP_FAILED) {
                result->data_ = static_cast<uchar*>(data);
                wl_shm_pool* pool = wl_shm_create_pool(shm, fd, static_cast<std::int32_t>(bytes));
                result->buffer_ = wl_shm_pool_create_buffer(
                    pool, 0, pixels.width(), pixels.height(), stride, WL_SHM_FORMAT_ARGB8888);
                wl_shm_pool_destroy(pool);
                wl_buffer_add_listener(result->buffer_, &listener, result.get());
            }
        }
        ::close(fd);
        return result->buffer_ ? std::move(result) : nullptr;
    }
    ~ShmBuffer() {
        if (buffer_) {
            wl_buffer_destroy(buffer_);
        }
        if (data_) {
            munmap(data_, bytes_);
        }
    }

    // Copies the image in; its format is made premultiplied ARGB, the buffer's.
    void fill(const QImage& image) {
        const QImage source = image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
        const auto row = static_cast<std::size_t>(pixels_.width()) * 4;
        for (int y = 0; y < pixels_.height(); ++y) {
            std::memcpy(data_ + row * static_cast<std::size_t>(y), source.constScanLine(y), row);
        }
    }

    QSize pixels() const { return pixels_; }
    wl_buffer* buffer() const { return buffer_; }
    bool busy = false; // the compositor holds it until it releases it

private:
    ShmBuffer() = default;
    static void released(void* data, wl_buffer*) { static_cast<ShmBuffer*>(data)->busy = false; }
    static constexpr wl_buffer_listener listener{released};

    QSize pixels_;
    std::size_t bytes_ = 0;
    uchar* data_ = nullptr;
    wl_buffer* buffer_ = nullptr;
};

struct LayerEvents {
    static void configure(void* data, zwlr_layer_surface_v1*, std::uint32_t serial, std::uint32_t,
                          std::uint32_t) {
        static_cast<LayerPanel*>(data)->configured(serial);
    }
    static void closed(void* data, zwlr_layer_surface_v1*) {
        static_cast<LayerPanel*>(data)->hide(); // its output went away
    }
};

namespace {
constexpr zwlr_layer_surface_v1_listener layerListener{LayerEvents::configure, LayerEvents::closed};
} // namespace

std::unique_ptr<LayerPanel> LayerPanel::bind(WaylandConnection& connection) {
    std::unique_ptr<LayerPanel> panel(new LayerPanel);
    panel->compositor_ =
        static_cast<wl_compositor*>(connection.bind(wl_compositor_interface, 3, 4));
    panel->shm_ = static_cast<wl_shm*>(connection.bind(wl_shm_interface, 1, 1));
    panel->layerShell_ =
        static_cast<zwlr_layer_shell_v1*>(connection.bind(zwlr_layer_shell_v1_interface, 1, 3));
    if (!panel->compositor_ || !panel->shm_ || !panel->layerShell_) {
        return nullptr;
    }
    return panel;
}

LayerPanel::~LayerPanel() {
    hide();
    buffers_.clear();
    if (layerShell_) {
        zwlr_layer_shell_v1_destroy(layerShell_);
    }
    if (shm_) {
        wl_shm_destroy(shm_);
    }
    if (compositor_) {
        wl_compositor_destroy(compositor_);
    }
}

ShmBuffer* LayerPanel::freeBuffer(QSize pixels) {
    // Buffers of another size go once the compositor is done with them; two of the
    // size wanted are enough to draw one while the other is on screen.
    std::erase_if(buffers_, [&](const auto& b) {
        return !b->busy && b->pixels() != pixels && b.get() != current_;
    });
    for (const auto& b : buffers_) {
        if (!b->busy && b->pixels() == pixels && b.get() != current_) {
            return b.get();
        }
    }
    auto fresh = ShmBuffer::create(shm_, pixels);
    if (!fresh) {
        return nullptr;
    }
    buffers_.push_back(std::move(fresh));
    return buffers_.back().get();
}

void LayerPanel::setImage(const QImage& image) {
    if (image.isNull()) {
        return;
    }
    ShmBuffer* buffer = freeBuffer(image.size());
    if (!buffer) {
        return;
    }
    buffer->fill(image);
    current_ = buffer;
    scale_ = std::max(1, static_cast<int>(std::lround(image.devicePixelRatio())));
    if (configured_) {
        attach();
    }
}

void LayerPanel::show() {
    if (surface_ || !current_) {
        return;
    }
    surface_ = wl_compositor_create_surface(compositor_);
    // No output named: the compositor puts it on the focused one.
    layer_ = zwlr_layer_shell_v1_get_layer_surface(layerShell_, surface_, nullptr,
                                                   ZWLR_LAYER_SHELL_V1_LAYER_OVERLAY, "hopla");
    zwlr_layer_surface_v1_add_listener(layer_, &layerListener, this);
    const QSize logical = current_->pixels() / scale_;
    zwlr_layer_surface_v1_set_size(layer_, static_cast<std::uint32_t>(logical.width()),
                                   static_cast<std::uint32_t>(logical.height()));
    zwlr_layer_surface_v1_set_exclusive_zone(layer_, -1);        // centred on the whole output
    zwlr_layer_surface_v1_set_keyboard_interactivity(layer_, 1); // exclusive
    keyboardWanted_ = true;
    wl_surface_commit(surface_); // the compositor answers with a configure
}

void LayerPanel::configured(std::uint32_t serial) {
    zwlr_layer_surface_v1_ack_configure(layer_, serial);
    configured_ = true;
    attach();
}

void LayerPanel::attach() {
    if (!surface_ || !current_) {
        return;
    }
    const QSize logical = current_->pixels() / scale_;
    zwlr_layer_surface_v1_set_size(layer_, static_cast<std::uint32_t>(logical.width()),
                                   static_cast<std::uint32_t>(logical.height()));
    wl_surface_set_buffer_scale(surface_, scale_);
    wl_surface_attach(surface_, current_->buffer(), 0, 0);
    current_->busy = true;
    wl_surface_damage(surface_, 0, 0, logical.width(), logical.height());
    wl_surface_commit(surface_);
    shown_ = true;
}

void LayerPanel::releaseKeyboard() {
    keyboardWanted_ = false;
    if (layer_) {
        zwlr_layer_surface_v1_set_keyboard_interactivity(layer_, 0);
        wl_surface_commit(surface_);
    }
}

void LayerPanel::hide() {
    shown_ = false;
    keyboardWanted_ = false;
    configured_ = false;
    if (layer_) {
        zwlr_layer_surface_v1_destroy(layer_);
        layer_ = nullptr;
    }
    if (surface_) {
        wl_surface_destroy(surface_);
        surface_ = nullptr;
    }
    for (const auto& b : buffers_) {
        b->busy = false; // a destroyed surface holds no buffer
    }
}

} // namespace hopla::wayland
