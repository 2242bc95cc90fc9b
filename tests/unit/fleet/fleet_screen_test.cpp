#include "fleet/fleet_screen.h"

#include <gtest/gtest.h>

#include "cli/base/display_text.h"
#include "tests/support/recorded_text.h"
#include "tests/unit/fleet/made_fleet.h"

namespace {

void expectScreen(const std::string& name, const tLines& lines) {
    expectRecorded("fleet/" + name + ".screen", joinLines(lines));
    for (const std::string& line : lines)
        EXPECT_LE(displayWidth(line), SCREEN_WIDTH) << line;
}

}  // namespace

TEST(FleetScreen, AllGateways) {
    const cFleet fleet = madeFleet();
    expectScreen("all", fleetScreen(judgeAll(fleet, RECORDED_S + 5), 6, RECORDED_S + 5));
}

TEST(FleetScreen, OneGateway) {
    const cFleet fleet = madeFleet();
    for (const char* name : {"healthy", "gone", "two"})
        expectScreen(
            name, gatewayScreen(judge(fleet.gateways().at(name), RECORDED_S + 5), RECORDED_S + 5));
}

TEST(FleetScreen, LongName_HasALineOfItsOwn) {
    cFleet fleet;
    const std::string name(48, 'g');
    fleet.take(availabilityOf(name), madeOnline());
    expectScreen("long_name", fleetScreen(judgeAll(fleet, RECORDED_S), 1, RECORDED_S));
}

TEST(FleetSummary, CountsEachGatewayOnce) {
    const cFleet fleet = madeFleet();
    const std::vector<sJudgement> all = judgeAll(fleet, RECORDED_S);
    EXPECT_EQ(fleetSummary(all, 6), "6 gateways: 2 offline, 2 with an error, 2 well");
    EXPECT_EQ(fleetSummary({all.front()}, 6), "1 of 6 gateways: 1 offline");
    EXPECT_EQ(fleetSummary({}, 0), "0 gateways");
}

TEST(FleetScreen, ClockThatIsWrong_LeavesOpenWhenItWasHeard) {
    for (const time_t clock : {static_cast<time_t>(5), RECORDED_S + 100000}) {
        cFleet fleet;
        fleet.take(availabilityOf("odd"), madeOnline(clock));
        const sJudgement odd = judge(fleet.gateways().at("odd"), RECORDED_S);
        EXPECT_NE(gatewayLines(odd, RECORDED_S).front().find("not known"), std::string::npos);
        const std::string title = gatewayScreen(odd, RECORDED_S).front();
        EXPECT_NE(title.find("heard at a time not known"), std::string::npos) << title;
    }
}
