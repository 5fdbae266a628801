#pragma once

#include <memory>

namespace hopla {

// A non-owning reference that knows whether its object still exists. Deferred work holds
// its owner through one, so it does nothing once the owner is gone. Only meaningful on the
// owner's thread (the main thread), where the check and the use cannot be interleaved.
template <typename T> class WeakRef {
public:
    WeakRef(T* object, std::weak_ptr<void> alive)
        : object_(object)
        , alive_(std::move(alive)) {}
    T* get() const { return alive_.expired() ? nullptr : object_; }

private:
    T* object_;
    std::weak_ptr<void> alive_;
};

// Owned by an object that hands out WeakRefs to itself; they expire when it is destroyed.
class Lifetime {
public:
    template <typename T> WeakRef<T> weak(T* object) const { return WeakRef<T>(object, alive_); }

private:
    std::shared_ptr<void> alive_ = std::make_shared<char>(0);
};

} // namespace hopla
