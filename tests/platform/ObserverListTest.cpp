#include "platform/ObserverList.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>

namespace {

struct Observer {
    std::function<void(int)> changed;
    std::function<void()> closed;
};

TEST(ObserverList, NotifiesOnlyHandlersThatAreSetAndForgetsDroppedSubscriptions) {
    hopla::ObserverList<Observer> list;
    std::vector<int> seen;
    auto first = list.add({[&](int v) { seen.push_back(v); }, nullptr});
    auto second = list.add({nullptr, [&] { seen.push_back(-1); }});
    list.notify(&Observer::changed, 7);
    list.notify(&Observer::closed);
    first.reset();
    list.notify(&Observer::changed, 8);
    EXPECT_EQ(seen, (std::vector<int>{7, -1}));
    EXPECT_EQ(list.size(), 1u);
}

TEST(ObserverList, AnObserverMayUnsubscribeWhileBeingToldAndSubscriptionsMayOutliveTheList) {
    std::optional<hopla::Subscription> survivor;
    {
        hopla::ObserverList<Observer> list;
        int calls = 0;
        std::optional<hopla::Subscription> self;
        self = list.add({[&](int) {
                             ++calls;
                             self.reset(); // leaves during the notification
                         },
                         nullptr});
        list.notify(&Observer::changed, 1);
        list.notify(&Observer::changed, 2);
        EXPECT_EQ(calls, 1);
        survivor = list.add({});
    }
    survivor->reset(); // the list is gone: nothing to do, nothing to crash
}

} // namespace
