#include "history/layout.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>

namespace {

constexpr unsigned DAY_S = 86400;

// What a user is promised: how far back each step goes, of the average.
std::map<unsigned, unsigned> reachOf(const sStore& store, eConsolidation function) {
    std::map<unsigned, unsigned> reach;
    for (const sArchive& archive : store.archives)
        if (archive.function == function) reach[archive.stepS] = archive.lengthS();
    return reach;
}

}  // namespace

TEST(Layout, Averages_ReachBackAsFarAsPromised) {
    const std::map<unsigned, unsigned> fine = {
        {10, DAY_S}, {60, 8 * DAY_S}, {900, 60 * DAY_S}, {DAY_S, 3 * 365 * DAY_S}};
    const std::map<unsigned, unsigned> slow = {{900, 60 * DAY_S}, {DAY_S, 3 * 365 * DAY_S}};
    EXPECT_EQ(reachOf(STORES.at(0), eConsolidation::AVERAGE), fine);
    EXPECT_EQ(reachOf(STORES.at(1), eConsolidation::AVERAGE), slow);
    const std::map<unsigned, unsigned> byDay = {{DAY_S, 3 * 365 * DAY_S}};
    for (const sStore& store : STORES) {
        EXPECT_EQ(reachOf(store, eConsolidation::MIN), byDay);
        EXPECT_EQ(reachOf(store, eConsolidation::MAX), byDay);
    }
}

TEST(Layout, EverySource_HasItsPlaceInOneStore) {
    size_t places = 0;
    for (const sStore& store : STORES)
        places += store.sources.size();
    EXPECT_EQ(places, SOURCES);
    for (const sSource& source : SOURCE_TABLE) {
        const sStore& store = storeOf(source.source);
        EXPECT_LT(placeOf(store, source.source), store.sources.size()) << source.name;
        EXPECT_EQ(&describe(source.source), &source);
        EXPECT_EQ(sourceNamed(source.name), source.source);
        EXPECT_LT(source.least, source.greatest);
    }
    EXPECT_FALSE(sourceNamed("none"));
}
