#pragma once

#include "platform/Subscription.h"

#include <map>
#include <memory>

namespace hopla {

// The observers of one source, each registered until its Subscription is dropped. A
// subscription may outlive the list; observers may unsubscribe while being told.
template <typename Observer> class ObserverList {
public:
    [[nodiscard]] Subscription add(Observer observer) {
        const int key = nextKey_++;
        observers_->emplace(key, std::move(observer));
        return Subscription([weak = std::weak_ptr<Map>(observers_), key] {
            if (const auto observers = weak.lock()) {
                observers->erase(key);
            }
        });
    }

    // Calls the given handler of every observer that set one.
    template <typename Handler, typename... Args>
    void notify(Handler Observer::*handler, const Args&... args) const {
        const Map snapshot = *observers_;
        for (const auto& [key, observer] : snapshot) {
            if (const auto& call = observer.*handler) {
                call(args...);
            }
        }
    }

    std::size_t size() const { return observers_->size(); }

private:
    using Map = std::map<int, Observer>;
    std::shared_ptr<Map> observers_ = std::make_shared<Map>();
    int nextKey_ = 0;
};

} // namespace hopla
