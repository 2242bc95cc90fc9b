#include "fleet/live_fleet.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/unit/fleet/made_fleet.h"

namespace {

void updateAll(cLiveFleet& live, const cFleet& fleet, time_t now) {
    for (const auto& [name, gateway] : fleet.gateways())
        live.update(judge(gateway, now), now);
}

struct sRead {
    std::string event;
    nlohmann::json data;
    std::set<std::string> names;
};

sRead readNext(const cLiveFleet& live, cStreamSource::sPosition& position) {
    sRead read;
    const cStreamSource::tMessage message = live.next(position);
    if (message == nullptr) return read;
    const size_t line = message->find("\ndata: ");
    read.event = message->substr(7, line - 7);
    read.data = nlohmann::json::parse(message->substr(line + 7));
    for (const auto& gateway : read.data["gateways"])
        read.names.insert(gateway["name"]);
    return read;
}

}  // namespace

TEST(LiveFleet, NewReader_GetsEverythingThenOnlyChanges) {
    cFleet fleet = madeFleet();
    cLiveFleet live;
    updateAll(live, fleet, RECORDED_S);
    cStreamSource::sPosition position;
    const sRead whole = readNext(live, position);
    EXPECT_EQ(whole.event, "fleet");
    EXPECT_EQ(whole.names.size(), 6u);
    EXPECT_FALSE(live.hasNext(position));
    fleet.take(availabilityOf("roams"), madeOffline(AVAILABILITY_LOST));
    updateAll(live, fleet, RECORDED_S);
    const sRead changes = readNext(live, position);
    EXPECT_EQ(changes.event, "changes");
    EXPECT_EQ(changes.names, std::set<std::string>{"roams"});
}

TEST(LiveFleet, PassingTimeAlone_IsSaidNowAndThen) {
    const cFleet fleet = madeFleet();
    cLiveFleet live;
    updateAll(live, fleet, RECORDED_S);
    cStreamSource::sPosition position;
    readNext(live, position);
    updateAll(live, fleet, RECORDED_S + 5);
    EXPECT_FALSE(live.hasNext(position));
    updateAll(live, fleet, RECORDED_S + 620);
    EXPECT_EQ(readNext(live, position).names, (std::set<std::string>{"gone", "stopped"}));
    updateAll(live, fleet, RECORDED_S + 2400);
    EXPECT_EQ(readNext(live, position).names.count("healthy"), 1u);
}

TEST(LiveFleet, GatewayThatIsGone_IsNamed) {
    cFleet fleet = madeFleet();
    cLiveFleet live;
    updateAll(live, fleet, RECORDED_S);
    cStreamSource::sPosition position;
    readNext(live, position);
    live.remove("roams");
    EXPECT_EQ(readNext(live, position).data["gone"], nlohmann::json({"roams"}));
}

TEST(LiveFleet, ReaderThatMissedTooManyThatAreGone_GetsEverything) {
    cLiveFleet live;
    sGateway gateway;
    cStreamSource::sPosition position;
    readNext(live, position);
    for (size_t i = 0; i <= cLiveFleet::GONE_MAX; ++i) {
        gateway.name = "g" + std::to_string(i);
        live.update(judge(gateway, RECORDED_S), RECORDED_S);
        live.remove(gateway.name);
    }
    EXPECT_EQ(readNext(live, position).event, "fleet");
}

TEST(LiveFleet, LostBroker_IsSaidWithWhy) {
    cLiveFleet live;
    cStreamSource::sPosition position;
    readNext(live, position);
    live.setTrouble("connection \"refused\"");
    EXPECT_EQ(readNext(live, position).data["trouble"], "connection \"refused\"");
}

TEST(LiveFleet, GatewayThatCameAndWentBetweenTwoLooks_IsGone) {
    cLiveFleet live;
    cStreamSource::sPosition position;
    readNext(live, position);
    live.remove("brief");
    EXPECT_EQ(readNext(live, position).data["gone"], nlohmann::json::array({"brief"}));
}
