#include "fleet/filter.h"

#include <gtest/gtest.h>

#include "tests/unit/fleet/made_fleet.h"

namespace {

std::string chosen(const sFilter& filter) {
    const cFleet fleet = madeFleet();
    std::string names;
    for (const sJudgement& each : filtered(filter, judgeAll(fleet, RECORDED_S)))
        names += (names.empty() ? "" : " ") + each.gateway->name;
    return names;
}

sFilter with(std::string sFilter::*field, const std::string& value) {
    sFilter filter;
    filter.*field = value;
    return filter;
}

}  // namespace

TEST(Filter, Empty_ChoosesAll) {
    EXPECT_EQ(chosen({}), "gone stopped error two healthy roams");
    EXPECT_TRUE(sFilter().isEmpty());
}

TEST(Filter, Names_ArePatterns) {
    EXPECT_EQ(chosen({{"g*", "[hr]*"}, "", "", "", ""}), "gone healthy roams");
    EXPECT_EQ(chosen({{"tw?"}, "", "", "", ""}), "two");
    EXPECT_EQ(chosen({{"nobody"}, "", "", "", ""}), "");
}

TEST(Filter, State_IsThatOfTheGatewayOrItsWorstTrouble) {
    EXPECT_EQ(chosen(with(&sFilter::state, "offline")), "gone stopped");
    EXPECT_EQ(chosen(with(&sFilter::state, "online")), "error two healthy roams");
    EXPECT_EQ(chosen(with(&sFilter::state, "Not Connected")), "error two");
    EXPECT_EQ(chosen(with(&sFilter::state, "connected")), "healthy");
    EXPECT_EQ(chosen(with(&sFilter::state, "error")), "gone stopped error two");
    EXPECT_EQ(chosen(with(&sFilter::state, "warning")), "");
}

TEST(Filter, OperatorSignalAndFirmware_AreOfOneSlot) {
    EXPECT_EQ(chosen(with(&sFilter::operatorName, "at&t")), "gone stopped two healthy");
    EXPECT_EQ(chosen(with(&sFilter::firmware, "21.")), "");
    sFilter both = with(&sFilter::signal, "fair");
    both.operatorName = "AT&T";
    EXPECT_EQ(chosen(both), "gone stopped two healthy");
}

TEST(Filter, UnknownNames_AreFoundButPatternsAreNot) {
    EXPECT_EQ(unknownNames({{"gone", "nobody", "no*"}, "", "", "", ""}, madeFleet()),
              std::vector<std::string>{"nobody"});
}

TEST(Filter, GatewayWithoutAnyState_HasAnUnknownSignal) {
    cFleet fleet;
    fleet.take(availabilityOf("new"), madeOnline());
    EXPECT_EQ(filtered(with(&sFilter::signal, "unknown"), judgeAll(fleet, RECORDED_S)).size(), 1u);
    EXPECT_TRUE(filtered(with(&sFilter::signal, "good"), judgeAll(fleet, RECORDED_S)).empty());
    EXPECT_TRUE(filtered(with(&sFilter::firmware, "20"), judgeAll(fleet, RECORDED_S)).empty());
}

TEST(Filter, Note_ChoosesThoseWithANote) {
    cFleet fleet;
    fleet.take(availabilityOf("noted"), madeOnline());
    fleet.take(statusOf("noted"),
               R"({"time":"2026-11-21T07:42:18Z","slots":[{"slot":1,"state":"connected",)"
               R"("problems":[{"severity":"note","id":"n","what":"x"}]}]})");
    EXPECT_EQ(filtered(with(&sFilter::state, "note"), judgeAll(fleet, RECORDED_S)).size(), 1u);
}
