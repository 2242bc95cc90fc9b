#include "fleet/fleet_watch.h"

#include <gtest/gtest.h>

#include "cli/base/display_text.h"
#include "tests/unit/fleet/made_fleet.h"

TEST(FleetWatch, FitsEverySize) {
    const cFleet fleet = madeFleet();
    const std::vector<sJudgement> all = judgeAll(fleet, RECORDED_S);
    for (size_t rows = 1; rows < 60; ++rows)
        for (const size_t columns : {20u, 80u, 200u}) {
            const tLines lines = fleetWatch(all, 6, RECORDED_S, {rows, columns}, "");
            EXPECT_LE(lines.size(), std::max<size_t>(rows, 3));
            for (const std::string& line : lines)
                EXPECT_LT(displayWidth(line), columns);
        }
}

TEST(FleetWatch, WhatIsCut_IsCounted) {
    const cFleet fleet = madeFleet();
    const tLines lines = fleetWatch(judgeAll(fleet, RECORDED_S), 6, RECORDED_S, {10, 80}, "");
    EXPECT_EQ(lines.back().substr(0, 12), "3 more below") << lines.back();
}

TEST(FleetWatch, NoConnection_IsSaid) {
    const tLines lines = fleetWatch({}, 0, RECORDED_S, {24, 80}, "refused");
    EXPECT_EQ(lines.back(), "! no connection: refused; q quits");
}

TEST(FleetWatch, GatewayWithAFloodOfProblems_LeavesRoomForTheOthers) {
    cFleet fleet = madeFleet();
    std::string problems;
    for (int i = 0; i < 16; ++i)
        problems += std::string(i > 0 ? "," : "") + R"({"severity":"error","id":"p","what":")" +
                    std::string(900, 'x') + R"(","mend":"y"})";
    fleet.take(availabilityOf("a-flood"), madeOffline(AVAILABILITY_LOST));
    fleet.take(statusOf("a-flood"),
               R"({"time":"2026-11-21T07:42:18Z","slots":[{"slot":1,"state":"stale","problems":[)" +
                   problems + "]}]}");
    const tLines lines = fleetWatch(judgeAll(fleet, RECORDED_S), 7, RECORDED_S, {24, 80}, "");
    EXPECT_EQ(lines.back().find("more below"), std::string::npos) << lines.back();
    EXPECT_NE(lines[3].find("(and 16 more)"), std::string::npos) << lines[3];
}
