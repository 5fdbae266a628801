#include "platform/SerialQueue.h"

#include <pthread.h>

namespace hopla {

SerialQueue::SerialQueue(std::string label)
    : label_(std::move(label))
    , thread_([this] { run(); }) {
    constexpr std::size_t maxThreadName = 15; // the kernel's limit, without the terminator
    const std::string name =
        label_.size() > maxThreadName ? label_.substr(label_.size() - maxThreadName) : label_;
    pthread_setname_np(thread_.native_handle(), name.c_str());
}

SerialQueue::~SerialQueue() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
        work_.clear();
    }
    wake_.notify_all();
    thread_.join();
}

void SerialQueue::async(std::function<void()> work) {
    {
        std::lock_guard lock(mutex_);
        work_.push_back(std::move(work));
    }
    wake_.notify_one();
}

void SerialQueue::run() {
    for (;;) {
        std::function<void()> next;
        {
            std::unique_lock lock(mutex_);
            wake_.wait(lock, [this] { return stopping_ || !work_.empty(); });
            if (stopping_) {
                return;
            }
            next = std::move(work_.front());
            work_.pop_front();
        }
        next();
    }
}

} // namespace hopla
