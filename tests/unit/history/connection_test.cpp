#include "history/connection.h"

#include <gtest/gtest.h>

namespace {

sEvent at(time_t time, const char* kind, const char* cause = "", const char* text = "") {
    sEvent event = eventOf(time, kind, text);
    event.cause = cause;
    return event;
}

}  // namespace

TEST(Connection, OutageWithSeveralCauses_HasTheOneThatLastedLongest) {
    const sConnection found =
        connectionIn({at(0, EVENT_ONLINE),
                      at(100, EVENT_OFFLINE, "session", "Connection lost after 1 min: Refused."),
                      at(110, EVENT_CAUSE, "searching", "Still no connection: No network."),
                      at(300, EVENT_ONLINE)},
                     {0, 400}, 400);
    ASSERT_EQ(found.outages.size(), 1u);
    EXPECT_EQ(found.outages[0].from, 100);
    EXPECT_EQ(found.outages[0].to, 300);
    EXPECT_EQ(found.outages[0].cause, "searching");
    EXPECT_EQ(found.outages[0].text, "No network.");
    EXPECT_FALSE(found.outages[0].endsUnknown);
    EXPECT_EQ(found.availability.knownS, 400);
    EXPECT_EQ(found.availability.connectedS, 200);
}

TEST(Connection, DataSwitchedOff_IsNoOutage_AndNotConnected) {
    const sConnection found = connectionIn(
        {at(0, EVENT_ONLINE), at(100, EVENT_OFFLINE, "data_off"), at(200, EVENT_ONLINE)}, {0, 300},
        300);
    EXPECT_TRUE(found.outages.empty());
    EXPECT_EQ(found.availability.connectedS, 200);
    EXPECT_EQ(found.availability.knownS, 300);
}

TEST(Connection, StatusLostInAnOutage_ItsEndIsNotKnown) {
    const sConnection found = connectionIn({at(0, EVENT_OFFLINE, "no_sim"), at(100, EVENT_LOST),
                                            at(500, EVENT_FOLLOWED), at(500, EVENT_ONLINE)},
                                           {0, 600}, 600);
    ASSERT_EQ(found.outages.size(), 1u);
    EXPECT_EQ(found.outages[0].to, 100);
    EXPECT_TRUE(found.outages[0].endsUnknown);
    EXPECT_EQ(found.availability.knownS, 200);
}

TEST(Connection, OutageThatLasts_HasNoEnd) {
    const sConnection found = connectionIn({at(0, EVENT_OFFLINE)}, {0, 600}, 590);
    ASSERT_EQ(found.outages.size(), 1u);
    EXPECT_EQ(found.outages[0].to, 0);
    EXPECT_EQ(found.outages[0].durationS(600), 600);
}

// The service was killed in an outage, and nothing came since.
TEST(Connection, NoFiguresSinceAnOutageBegan_ItLastedAtLeastUntilTheLastOne) {
    const std::vector<sEvent> events = {at(0, EVENT_OFFLINE)};
    const sConnection found = connectionIn(events, {0, 100000}, 590);
    ASSERT_EQ(found.outages.size(), 1u);
    EXPECT_EQ(found.outages[0].to, 590);
    EXPECT_TRUE(found.outages[0].endsUnknown);
    EXPECT_EQ(found.availability.knownS, 590);
    EXPECT_TRUE(connectionIn(events, {50000, 100000}, 590).outages.empty())
        << "of that time nothing is known";
}

TEST(Connection, MoreThanAThousandOutages_AreAllCounted) {
    std::vector<sEvent> events;
    for (time_t time = 0; time < 1500; ++time) {
        events.push_back(at(20 * time, EVENT_OFFLINE));
        events.push_back(at(20 * time + 10, EVENT_ONLINE));
    }
    const sConnection found = connectionIn(events, {0, 30000}, 30000);
    EXPECT_EQ(found.outages.size(), 1500u);
    EXPECT_EQ(found.availability.connectedS, 15000);
}
