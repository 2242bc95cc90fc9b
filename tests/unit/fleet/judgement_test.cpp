#include "fleet/judgement.h"

#include <gtest/gtest.h>

#include "tests/unit/fleet/made_fleet.h"

namespace {

std::vector<std::string> namesOf(const std::vector<sJudgement>& all) {
    std::vector<std::string> names;
    for (const sJudgement& each : all)
        names.push_back(each.gateway->name);
    return names;
}

sJudgement judged(const cFleet& fleet, const std::string& name, time_t now = RECORDED_S) {
    return judge(fleet.gateways().at(name), now);
}

}  // namespace

TEST(Judgement, WorstComeFirst_ThenByName) {
    const cFleet fleet = madeFleet();
    EXPECT_EQ(namesOf(judgeAll(fleet, RECORDED_S)),
              (std::vector<std::string>{"gone", "stopped", "error", "two", "healthy", "roams"}));
}

TEST(Judgement, Offline_SaysSinceWhen) {
    const cFleet fleet = madeFleet();
    const sJudgement gone = judged(fleet, "gone");
    EXPECT_EQ(gone.state, STATE_OFFLINE);
    EXPECT_EQ(gone.troubles.front().id, "lost");
    EXPECT_NE(gone.troubles.front().what.find("(3 h 3 min ago)"), std::string::npos);
    const sJudgement stopped = judged(fleet, "stopped");
    EXPECT_EQ(stopped.troubles.front().id, "agent_stopped");
    EXPECT_NE(stopped.troubles.front().what.find("(1 min ago)"), std::string::npos);
}

TEST(Judgement, SignOfLifeOlderThanTwoAndAHalfIntervals_IsSilence) {
    cFleet fleet;
    fleet.take(availabilityOf("quiet"), madeOnline());
    fleet.take(statusOf("quiet"), madeStatus("healthy"));
    const auto limit = static_cast<time_t>(900 * SILENCE_FACTOR);
    EXPECT_TRUE(judged(fleet, "quiet", RECORDED_S + limit).isOnline);
    const sJudgement silent = judged(fleet, "quiet", RECORDED_S + limit + 1);
    EXPECT_FALSE(silent.isOnline);
    EXPECT_EQ(silent.troubles.front().id, "silent");
    EXPECT_NE(silent.troubles.front().what.find("one is due every 15 min"), std::string::npos);
}

TEST(Judgement, NewerStatus_IsASignOfLifeToo) {
    cFleet fleet;
    fleet.take(availabilityOf("busy"), madeOnline());
    fleet.take(statusOf("busy"), madeStatus("healthy", 1, RECORDED_S + 5000));
    EXPECT_TRUE(judged(fleet, "busy", RECORDED_S + 6000).isOnline);
}

TEST(Judgement, TwoSlots_TheWorstIsListedAndEachTroubleSaysWhich) {
    const cFleet fleet = madeFleet();
    const sJudgement two = judged(fleet, "two");
    EXPECT_EQ(two.worst->slot, 2);
    ASSERT_FALSE(two.troubles.empty());
    EXPECT_EQ(two.troubles.front().what.substr(0, 8), "Slot 2: ");
}

TEST(Judgement, GatewayWithoutAvailabilityOrSlots_IsSaid) {
    cFleet fleet;
    fleet.take(statusOf("never"), madeStatus("healthy"));
    fleet.take(availabilityOf("empty"), madeOnline());
    EXPECT_EQ(judged(fleet, "never").troubles.front().id, "never_online");
    EXPECT_EQ(judged(fleet, "empty").state, STATE_NOT_KNOWN);
    EXPECT_TRUE(judged(fleet, "empty").isOnline);
}

TEST(Judgement, ClockOfTheGatewayAhead_IsNoSilence) {
    cFleet fleet;
    fleet.take(availabilityOf("ahead"), madeOnline(RECORDED_S + 100000));
    EXPECT_TRUE(judged(fleet, "ahead").isOnline);
}

TEST(StateWords, AreThoseOfTheStatus) {
    EXPECT_EQ(stateWords("not_connected"), "NOT CONNECTED");
    EXPECT_EQ(stateWords("no_data"), "NO STATUS");
    EXPECT_EQ(stateWords("of_tomorrow"), "OF TOMORROW");
}

TEST(Judgement, ClockFarAheadOrNotSet_IsSaidAndTheBrokerIsBelieved) {
    for (const time_t clock : {static_cast<time_t>(5), RECORDED_S + 100000}) {
        cFleet fleet;
        fleet.take(availabilityOf("odd"), madeOnline(clock));
        fleet.take(statusOf("odd"), madeStatus("healthy", 1, clock + 1));
        const sJudgement odd = judged(fleet, "odd");
        EXPECT_TRUE(odd.isOnline) << clock;
        ASSERT_FALSE(odd.troubles.empty()) << clock;
        EXPECT_EQ(odd.troubles.front().id, "clock_wrong");
        EXPECT_EQ(odd.troubles.front().level, eSeverity::WARNING);
    }
}

TEST(Judgement, ClockALittleAhead_IsRight) {
    cFleet fleet;
    fleet.take(availabilityOf("well"), madeOnline(RECORDED_S + 120));
    EXPECT_TRUE(judged(fleet, "well").troubles.empty());
}
