#include "platform/ObserverList.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>

namespace {

struct Observer {
    std::function<void(int)> changed;
    std::function<void()> closed;
};

TEST(ObserverList, TellsSetHandlersOnlyWhileSubscribedEvenLeavingMidwayOrOutlivingTheList) {
    std::optional<hopla::Subscription> survivor;
    std::vector<int> seen;
    {
        hopla::ObserverList<Observer> list;
        auto first = list.add({[&](int v) { seen.push_back(v); }, nullptr});
        auto second = list.add({nullptr, [&] { seen.push_back(-1); }});
        std::optional<hopla::Subscription> self;
        self = list.add({[&](int v) {
                             self.reset(); // leaves during the notification, then goes on
                             seen.push_back(100 + v);
                         },
                         nullptr});
        list.notify(&Observer::changed, 7);
        list.notify(&Observer::closed);
        first.reset();
        list.notify(&Observer::changed, 8);
        EXPECT_EQ(list.size(), 1u);
        survivor = list.add({});
    }
    EXPECT_EQ(seen, (std::vector<int>{7, 107, -1}));
    survivor->reset(); // the list is gone: nothing to do, nothing to crash
}

} // namespace
