#pragma once

#include <functional>
#include <utility>

namespace hopla {

// Keeps one registration alive (an observer, a callback): dropping or resetting the
// subscription unregisters it.
class Subscription {
public:
    Subscription() = default;
    explicit Subscription(std::function<void()> unsubscribe)
        : unsubscribe_(std::move(unsubscribe)) {}
    Subscription(Subscription&& other) noexcept
        : unsubscribe_(std::exchange(other.unsubscribe_, nullptr)) {}
    Subscription& operator=(Subscription&& other) noexcept {
        if (this != &other) {
            reset();
            unsubscribe_ = std::exchange(other.unsubscribe_, nullptr);
        }
        return *this;
    }
    Subscription(const Subscription&) = delete;
    Subscription& operator=(const Subscription&) = delete;
    ~Subscription() { reset(); }

    bool active() const { return static_cast<bool>(unsubscribe_); }

    void reset() {
        if (auto unsubscribe = std::exchange(unsubscribe_, nullptr)) {
            unsubscribe();
        }
    }

private:
    std::function<void()> unsubscribe_;
};

} // namespace hopla
