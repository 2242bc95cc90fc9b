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

TEST(FleetListJson, Kinds_CountGateways) {
    const cFleet fleet = madeFleet();
    const auto list = nlohmann::json::parse(fleetListJson(judgeAll(fleet, RECORDED_S)));
    EXPECT_EQ(list["gateways"].size(), 6u);
    EXPECT_FALSE(list["gateways"][0].contains("slots"));
    std::map<std::string, int> counts;
    for (const nlohmann::json& kind : list["kinds"])
        counts[kind["id"]] = kind["gateways"];
    EXPECT_EQ(counts["lost"], 1);
    EXPECT_EQ(counts["agent_stopped"], 1);
}
