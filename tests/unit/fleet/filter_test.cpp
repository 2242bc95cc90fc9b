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
