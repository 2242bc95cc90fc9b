#include "fleet/fleet_json.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/unit/fleet/made_fleet.h"

TEST(FleetJson, Gateway_HasWhatItSaidAndWhatIsWrong) {
    const cFleet fleet = madeFleet();
    const auto all = nlohmann::json::parse(fleetJson(judgeAll(fleet, RECORDED_S)));
    ASSERT_EQ(all["gateways"].size(), 6u);
    const nlohmann::json& gone = all["gateways"][0];
    EXPECT_EQ(gone["name"], "gone");
    EXPECT_EQ(gone["state"], "offline");
    EXPECT_EQ(gone["problems"][0]["severity"], "error");
    EXPECT_EQ(gone["availability"]["reason"], "lost");
    EXPECT_EQ(gone["slots"][0]["state"], "connected");
}

TEST(ListedJson, Gateway_HasWhatIsWrongButNoDetails) {
    const cFleet fleet = madeFleet();
    const auto listed =
        nlohmann::json::parse(listedJson(judge(fleet.gateways().at("error"), RECORDED_S)));
    EXPECT_EQ(listed["problems"][0]["id"], "sim_missing");
    EXPECT_FALSE(listed["problems"][0].contains("mend"));
    EXPECT_FALSE(listed.contains("slots"));
    EXPECT_FALSE(listed.contains("operator"));
    const auto two =
        nlohmann::json::parse(listedJson(judge(fleet.gateways().at("healthy"), RECORDED_S)));
    EXPECT_EQ(two["operator"], "AT&T");
    EXPECT_TRUE(two["problems"].empty());
}

TEST(FleetJson, SlotThatClaimsAnotherNumberOrTime_HasThoseOfItsMessage) {
    cFleet fleet;
    fleet.take(availabilityOf("odd"), madeOnline());
    fleet.take(
        statusOf("odd", 2),
        R"({"time":"2026-11-21T07:42:18Z","slots":[{"slot":7,"time":"now","state":"stale"}]})");
    const auto odd =
        nlohmann::json::parse(gatewayJson(judge(fleet.gateways().at("odd"), RECORDED_S)));
    EXPECT_EQ(odd["slots"][0]["slot"], 2);
    EXPECT_EQ(odd["slots"][0]["time"], "2026-11-21T07:42:18Z");
}
