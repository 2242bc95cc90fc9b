#include "fleet/fleet_metrics.h"

#include <gtest/gtest.h>

#include "tests/unit/fleet/made_fleet.h"

namespace {

bool has(const std::string& text, const std::string& line) {
    return text.find("\n" + line + "\n") != std::string::npos;
}

}  // namespace

TEST(FleetMetrics, Gateways_AreOnlineOrNot) {
    const cFleet fleet = madeFleet();
    const std::string text = fleetMetrics(judgeAll(fleet, RECORDED_S), RECORDED_S);
    EXPECT_TRUE(has(text, "cellslot_gateway_online{gateway=\"healthy\"} 1")) << text;
    EXPECT_TRUE(has(text, "cellslot_gateway_online{gateway=\"gone\"} 0"));
    EXPECT_TRUE(has(text, "cellslot_gateway_waiting_messages{gateway=\"two\"} 0"));
}

TEST(FleetMetrics, Slots_AreThoseOfTheStatusWithTheirGateway) {
    const cFleet fleet = madeFleet();
    const std::string text = fleetMetrics(judgeAll(fleet, RECORDED_S), RECORDED_S);
    EXPECT_TRUE(has(text, "cellslot_session_connected{gateway=\"healthy\",slot=\"1\"} 1"));
    EXPECT_TRUE(has(text, "cellslot_session_connected{gateway=\"two\",slot=\"2\"} 0"));
    EXPECT_TRUE(has(text, "cellslot_signal_rsrp_dbm{gateway=\"healthy\",slot=\"1\"} -98"));
}

TEST(FleetMetrics, OfflineGateway_HasNoSlots) {
    const cFleet fleet = madeFleet();
    const std::string text = fleetMetrics(judgeAll(fleet, RECORDED_S), RECORDED_S);
    EXPECT_EQ(text.find("{gateway=\"gone\",slot="), std::string::npos);
}

TEST(FleetMetrics, EachFamily_IsDescribedOnce) {
    const cFleet fleet = madeFleet();
    const std::string text = fleetMetrics(judgeAll(fleet, RECORDED_S), RECORDED_S);
    const std::string type = "# TYPE cellslot_session_connected gauge\n";
    EXPECT_NE(text.find(type), std::string::npos);
    EXPECT_EQ(text.find(type), text.rfind(type));
}
