#include "fleet/gateway.h"

#include <gtest/gtest.h>

#include "tests/unit/fleet/made_fleet.h"

TEST(GatewayState, RecordedSlot_IsReadForTheList) {
    const std::optional<sSlotState> state = readSlotState(madeStatus("no_sim"), 1);
    ASSERT_TRUE(state);
    EXPECT_EQ(state->state, "not_connected");
    EXPECT_EQ(state->firmware, "20.00.402");
    ASSERT_FALSE(state->troubles.empty());
    EXPECT_EQ(state->troubles.front().level, eSeverity::ERROR);
    EXPECT_EQ(state->troubles.front().what, "The modem detects no SIM card.");
    const std::optional<sSlotState> healthy = readSlotState(madeStatus("healthy"), 1);
    EXPECT_EQ(healthy->operatorName, "AT&T");
    EXPECT_EQ(healthy->quality, "fair");
    EXPECT_TRUE(healthy->troubles.empty());
}

TEST(GatewayState, ForeignText_IsBoundedAndPrintable) {
    const std::string body =
        "{\"time\":\"2026-11-22T19:30:00Z\",\"slots\":[{\"state\":\"a\\u001b[2J\",\"network\":"
        "{\"operator\":\"" +
        std::string(5000, 'x') +
        "\",\"technology\":7},\"signal\":[],\"problems\":[1,{},{\"what\":"
        "\"b\\nc\",\"severity\":\"none\"}]}]}";
    const std::optional<sSlotState> state = readSlotState(body, 3);
    ASSERT_TRUE(state);
    EXPECT_EQ(state->state, "a?[2J");
    EXPECT_TRUE(state->operatorName.empty());
    EXPECT_TRUE(state->technology.empty());
    ASSERT_EQ(state->troubles.size(), 2u);
    EXPECT_EQ(state->troubles.back().what, "b c");
    EXPECT_EQ(state->troubles.back().level, eSeverity::ERROR);
}

TEST(GatewayState, ManyProblems_AreCut) {
    std::string problems = "{}";
    for (int i = 0; i < 100; ++i)
        problems += ",{}";
    const std::optional<sSlotState> state = readSlotState(
        "{\"time\":\"2026-11-22T19:30:00Z\",\"slots\":[{\"problems\":[" + problems + "]}]}", 1);
    EXPECT_EQ(state->troubles.size(), 16u);
}
