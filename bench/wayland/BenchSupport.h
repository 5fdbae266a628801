#pragma once

// What the Wayland benchmark programs share: ownership of the C library's objects, file
// descriptors, a wl_shm buffer in a memory file, and the clock their times are read on.
#include <sys/mman.h>
#include <time.h>
#include <unistd.h>
#include <wayland-client.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <utility>

namespace hopla::bench {

template <typename T, void (*release)(T*)> struct Release {
    void operator()(T* object) const { release(object); }
};
// A C object that goes with its owner ("Owned<wl_surface, wl_surface_destroy>").
template <typename T, void (*release)(T*)> using Owned = std::unique_ptr<T, Release<T, release>>;

class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int fd)
        : fd_(fd) {}
    FileDescriptor(FileDescriptor&& other) noexcept
        : fd_(std::exchange(other.fd_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~FileDescriptor() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }

private:
    int fd_ = -1;
};

// CLOCK_MONOTONIC in nanoseconds: the clock sway's headless output stamps its frames with.
inline std::int64_t monotonicNow() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
}

// Pixels in a memory file that the compositor shares as one wl_buffer.
class ShmBuffer {
public:
    // Nothing when the memory cannot be had.
    static std::unique_ptr<ShmBuffer> create(wl_shm* shm, int width, int height, int stride,
                                             std::uint32_t format) {
        const auto bytes = static_cast<std::size_t>(stride) * static_cast<std::size_t>(height);
        const FileDescriptor file{memfd_create("hopla-bench-buffer", MFD_CLOEXEC)};
        if (!file || ftruncate(file.get(), static_cast<off_t>(bytes)) != 0) {
            return nullptr;
        }
        void* data = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
        if (data == MAP_FAILED) {
            return nullptr;
        }
        std::unique_ptr<ShmBuffer> result(new ShmBuffer(static_cast<std::uint8_t*>(data), bytes));
        wl_shm_pool* pool = wl_shm_create_pool(shm, file.get(), static_cast<std::int32_t>(bytes));
        result->buffer_.reset(wl_shm_pool_create_buffer(pool, 0, width, height, stride, format));
        wl_shm_pool_destroy(pool); // the buffer keeps the memory
        result->width_ = width;
        result->height_ = height;
        result->stride_ = stride;
        return result;
    }
    ~ShmBuffer() { munmap(data_, bytes_); }
    ShmBuffer(const ShmBuffer&) = delete;
    ShmBuffer& operator=(const ShmBuffer&) = delete;

    wl_buffer* buffer() const { return buffer_.get(); }
    std::uint8_t* data() const { return data_; }
    int width() const { return width_; }
    int height() const { return height_; }
    int stride() const { return stride_; }

private:
    ShmBuffer(std::uint8_t* data, std::size_t bytes)
        : data_(data)
        , bytes_(bytes) {}

    struct Destroy {
        void operator()(wl_buffer* buffer) const { wl_buffer_destroy(buffer); }
    };

    std::uint8_t* data_;
    std::size_t bytes_;
    std::unique_ptr<wl_buffer, Destroy> buffer_;
    int width_ = 0;
    int height_ = 0;
    int stride_ = 0;
};

// Binds a global at the lower of the offered version and the one the caller speaks.
template <typename T>
T* bind(wl_registry* registry, std::uint32_t name, const wl_interface& interface,
        std::uint32_t offered, std::uint32_t wanted) {
    return static_cast<T*>(wl_registry_bind(registry, name, &interface, std::min(offered, wanted)));
}

} // namespace hopla::bench
