#pragma once

#include <cstdint>
#include <sys/eventfd.h>
#include <unistd.h>

namespace hopla {

// A file descriptor that a thread waiting in poll() can be woken through: signal() from any
// thread makes it readable until drain(). Closed with the object.
class WakeupEvent {
public:
    WakeupEvent()
        : fd_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
    ~WakeupEvent() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }
    WakeupEvent(const WakeupEvent&) = delete;
    WakeupEvent& operator=(const WakeupEvent&) = delete;

    int fd() const { return fd_; }
    void signal() const {
        const std::uint64_t one = 1;
        [[maybe_unused]] const auto written = ::write(fd_, &one, sizeof one);
    }
    void drain() const {
        std::uint64_t count = 0;
        [[maybe_unused]] const auto read = ::read(fd_, &count, sizeof count);
    }

private:
    int fd_;
};

} // namespace hopla
