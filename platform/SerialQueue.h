#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace hopla {

// One worker thread that runs submitted work one item at a time, in order. Destroying the
// queue lets the running item finish, drops the rest, and joins the thread.
class SerialQueue {
public:
    // The label names the thread (shortened to what the system allows) for debuggers.
    explicit SerialQueue(std::string label);
    ~SerialQueue();
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    void async(std::function<void()> work);
    const std::string& label() const { return label_; }

private:
    void run();

    std::string label_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<std::function<void()>> work_;
    bool stopping_ = false;
    std::thread thread_; // last: starts after everything above exists
};

} // namespace hopla
