#include "fleet/fleet_model.h"

#include <gtest/gtest.h>

#include "tests/unit/fleet/made_fleet.h"

TEST(FleetModel, StatesOfAGateway_AreKeptTogether) {
    const cFleet fleet = madeFleet();
    EXPECT_EQ(fleet.gateways().size(), 6u);
    const sGateway& two = fleet.gateways().at("two");
    EXPECT_EQ(two.slots.size(), 2u);
    EXPECT_TRUE(two.availability->isOnline);
    EXPECT_EQ(fleet.refused(), 0u);
}

TEST(FleetModel, NewerState_ReplacesTheOlder) {
    cFleet fleet = madeFleet();
    fleet.take(statusOf("error"), madeStatus("healthy"));
    EXPECT_EQ(fleet.gateways().at("error").slots.at(1).state, "connected");
}

TEST(FleetModel, EmptyMessages_RemoveTheGateway) {
    cFleet fleet = madeFleet();
    fleet.take(statusOf("error"), "");
    EXPECT_TRUE(fleet.gateways().at("error").slots.empty());
    fleet.take(availabilityOf("error"), "");
    EXPECT_EQ(fleet.gateways().count("error"), 0u);
    fleet.take(availabilityOf("nobody"), "");
    EXPECT_EQ(fleet.gateways().size(), 5u);
}

TEST(FleetModel, Rubbish_IsCountedAndChangesNothing) {
    cFleet fleet = madeFleet();
    size_t refused = 0;
    for (const std::string& rubbish :
         {std::string("{"), std::string("[]"), std::string("{\"online\":1}"),
          std::string("{\"time\":\"2026-11-22T19:30:00Z\",\"slots\":[]}"), std::string(70000, 'x'),
          std::string(60000, '['), std::string("\xff\xfe")}) {
        fleet.take(statusOf("healthy"), rubbish);
        fleet.take(availabilityOf("healthy"), rubbish);
        refused += 2;
    }
    fleet.take(statusOf("healthy", cFleet::SLOT_MAX + 1), madeStatus("healthy"));
    EXPECT_EQ(fleet.refused(), refused + 1);
    EXPECT_EQ(fleet.gateways().at("healthy").slots.at(1).state, "connected");
}

TEST(FleetModel, OtherMessages_AreNoStates) {
    cFleet fleet;
    for (const eTopic kind : {eTopic::EVENT, eTopic::SMS, eTopic::COMMAND, eTopic::RESULT})
        fleet.take({"x", kind, 1}, madeOnline());
    EXPECT_TRUE(fleet.gateways().empty());
    EXPECT_EQ(fleet.refused(), 0u);
}
