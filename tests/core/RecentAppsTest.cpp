#include "core/RecentApps.h"

#include <gtest/gtest.h>

namespace {

using hopla::AppEntry;
using hopla::AppHandle;
using hopla::RecentApps;

std::vector<AppHandle> idsOf(const std::vector<AppEntry>& entries) {
    std::vector<AppHandle> ids;
    for (const auto& e : entries) {
        ids.push_back(e.id);
    }
    return ids;
}

TEST(RecentApps, ListedFirstInListOrderThenTheRestByNameNaturallyThenById) {
    RecentApps recent;
    recent.activate(10);
    recent.activate(30); // ids: [30, 10]
    EXPECT_EQ(idsOf(recent.ordered({{10, "b"}, {20, "x"}, {30, "c"}, {40, "a"}})),
              (std::vector<AppHandle>{30, 10, 40, 20}));

    // Unlisted: digits by value, case and accents second (the unaccented first), equal names
    // by signed identifier; two entries of one listed id keep their name order.
    const RecentApps none;
    EXPECT_EQ(idsOf(none.ordered({{1, "App 10"},
                                  {2, "app 2"},
                                  {3, "App 1"},
                                  {4, "Zebra"},
                                  {5, "apple"},
                                  {6, "Éclair"},
                                  {7, "Eclair"},
                                  {9, "Same"},
                                  {-4, "Same"}})),
              (std::vector<AppHandle>{3, 2, 1, 5, 7, 6, -4, 9, 4}));
    recent.activate(5);
    const auto ordered = recent.ordered({{8, "z"}, {5, "m"}, {5, "b"}});
    EXPECT_EQ(idsOf(ordered), (std::vector<AppHandle>{5, 5, 8}));
    EXPECT_EQ(ordered[0].name, "b");
}

} // namespace
