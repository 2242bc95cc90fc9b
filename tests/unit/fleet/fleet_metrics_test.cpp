#include "fleet/fleet_metrics.h"

#include <gtest/gtest.h>

#include "tests/unit/fleet/made_fleet.h"

namespace {

std::string metrics(const cFleet& fleet) {
    return fleetMetrics(judgeAll(fleet, RECORDED_S), RECORDED_S);
}

bool has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

}  // namespace

TEST(FleetMetrics, Totals_CountGatewaysByStateAndProblem) {
    const std::string text = metrics(madeFleet());
    EXPECT_TRUE(has(text, "\ncellslot_fleet_gateways{state=\"offline\"} 2\n")) << text;
    EXPECT_TRUE(has(text, "\ncellslot_fleet_gateways{state=\"starting\"} 1\n")) << text;
    EXPECT_TRUE(has(text, "problem=\"sim_missing\",severity=\"error\"} 1\n")) << text;
}

TEST(FleetMetrics, OfflineGateway_HasNoValuesOfItsModem) {
    const std::string text = metrics(madeFleet());
    EXPECT_TRUE(has(text, "\ncellslot_gateway_online{gateway=\"gone\"} 0\n"));
    EXPECT_TRUE(has(text, "cellslot_gateway_problem{gateway=\"gone\",problem=\"lost\""));
    EXPECT_FALSE(has(text, "cellslot_signal_rsrp_dbm{gateway=\"gone\""));
    EXPECT_TRUE(has(text, "cellslot_signal_rsrp_dbm{gateway=\"healthy\",slot=\"1\"} "));
    EXPECT_TRUE(has(text, "cellslot_slot_state{gateway=\"two\",slot=\"2\",state="));
}

TEST(FleetMetrics, StrangeNameOfAProblem_IsOther) {
    cFleet fleet;
    fleet.take(availabilityOf("odd"), madeOnline());
    fleet.take(statusOf("odd"),
               "{\"time\":\"2026-11-21T07:42:18Z\",\"slots\":[{\"slot\":1,\"state\":\"connected\","
               "\"problems\":[{\"severity\":\"error\",\"id\":\"a\\\"b\",\"what\":\"x\"}]}]}");
    EXPECT_TRUE(has(metrics(fleet), "problem=\"other\",severity=\"error\"} 1\n"));
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

TEST(BrokerMetrics, Connection_IsOneOrZero) {
    EXPECT_TRUE(has(brokerMetrics(true, 0), "\ncellslot_fleet_broker_connected 1\n"));
    EXPECT_TRUE(has(brokerMetrics(false, 3), "\ncellslot_fleet_broker_connected 0\n"));
    EXPECT_TRUE(has(brokerMetrics(false, 3), "\ncellslot_fleet_refused_messages_total 3\n"));
}

TEST(FleetMetrics, StrangeState_IsOther) {
    cFleet fleet;
    fleet.take(availabilityOf("odd"), madeOnline());
    fleet.take(statusOf("odd"),
               R"({"time":"2026-11-21T07:42:18Z","slots":[{"slot":1,"state":"a\"b 4711"}]})");
    const std::string text = metrics(fleet);
    EXPECT_TRUE(has(text, "\ncellslot_fleet_gateways{state=\"other\"} 1\n")) << text;
    EXPECT_FALSE(has(text, "4711")) << text;
}
