#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "tests/unit/le910sim/test_driver.h"

namespace le910sim {

namespace {

// CELLSLOT_SEED=n sets the seed. A failing test prints the seed that it used.
uint32_t seed() {
    const char* given = std::getenv("CELLSLOT_SEED");
    return given == nullptr ? 1U : static_cast<uint32_t>(std::strtoul(given, nullptr, 10));
}

const std::vector<std::string> LINES = {
    "AT+CMGS=19",
    "0011000B912120550521F30000AA05C8329BFD06\x1a",
    "\x1b",
    "AT+CPIN=1234",
    "AT+CPIN=12345678,1234",
    "AT+CLCK=\"SC\",1,\"1234\"",
    "AT+CGDCONT=1,\"IPV4V6\",\"a.b\"",
    "AT+CGATT=1;+CGACT=1,1",
    "AT+CGCONTRDP=1",
    "AT$GPSNMUN=3,1,0,0,0,1,0",
    "AT#GPIO=2,0,1,1;#ATDELAY=5;#SIMDET=0;#ATDELAY=50;#SIMDET=1",
    "AT#REBOOT",
    "AT+CMGL=4",
    "AT#PSNT?;#RFSTS",
    "+++",
};

const std::vector<std::string> ORDERS = {
    R"({"op": "set", "registration": {"state": 3, "tech": "GSM"}})",
    R"({"op": "fault", "prefix": "AT", "kind": "garbage", "bytes": 9, "seed": 3, "count": 2})",
    R"({"op": "fault", "prefix": "", "kind": "pieces", "pieces": 9, "gap_ms": 7, "count": 2})",
    R"({"op": "fault", "prefix": "AT", "kind": "hangup", "count": 1})",
    R"({"op": "inject-sms", "from": "+12025550123", "text": "x"})",
    R"({"op": "address", "cid": 1, "ipv4": "10.1.1.1"})",
    R"({"op": "dump"})",
};

// A text with some bytes changed, inserted or removed.
std::string mutated(std::string text, std::mt19937& random) {
    for (unsigned changes = random() % 4; changes > 0 && !text.empty(); --changes) {
        const size_t at = random() % text.size();
        const auto byte = static_cast<char>(random());
        switch (random() % 3) {
            case 0:
                text[at] = byte;
                break;
            case 1:
                text.insert(at, 1, byte);
                break;
            default:
                text.erase(at, 1);
                break;
        }
    }
    return text;
}

}  // namespace

// Whatever it receives, the modem keeps running and its records can be written.
TEST(Le910simRobustness, RandomLinesAndOrders_NeverEndTheModem) {
    std::mt19937 random(seed());
    SCOPED_TRACE("CELLSLOT_SEED=" + std::to_string(seed()));
    cModemDriver sim(R"({"gps": {"enabled": true}, "pace": "230400"})");
    for (int round = 0; round < 20000; ++round) {
        const std::string line = mutated(LINES[random() % LINES.size()], random);
        if (random() % 2 == 0) {
            sim.modem.receiveAt(line + "\r", sim.nowMs);
        } else {
            sim.modem.receiveGps(line + "\r", sim.nowMs);
        }
        if (random() % 8 == 0) {
            const std::string order = mutated(ORDERS[random() % ORDERS.size()], random);
            const json parsed = json::parse(order, nullptr, false);
            if (!parsed.is_discarded()) {
                EXPECT_TRUE(sim.modem.control(parsed).contains("ok"));
            }
        }
        sim.wait(random() % 50);
        sim.modem.takeAtOutput();
        sim.modem.takeGpsOutput();
        sim.modem.takeLog();
    }
    const json::error_handler_t replace = json::error_handler_t::replace;
    EXPECT_GT(sim.state().dump(-1, ' ', false, replace).size(), 1000U);
    EXPECT_FALSE(sim.modem.problems().empty());
}

TEST(Le910simRobustness, RandomScenarios_AreAcceptedOrRefusedWithAReason) {
    std::mt19937 random(seed());
    SCOPED_TRACE("CELLSLOT_SEED=" + std::to_string(seed()));
    const std::string scenario =
        R"({"attached": true, "sim": {"lock": false}, "signal": {"rssi": 3, "hspa": [1,0,1,0]},
            "contexts": [{"cid": 1, "active": true, "addresses": {"ipv4": "10.0.0.1"}}],
            "gps": {"track": [[1, 2, 3]]}, "network_time": "20/06/15,20:32:05-24,1",
            "timeline": [{"at": 1, "op": "detach"}], "faults": [{"match": "AT", "kind": "error"}]})";
    int refused = 0;
    for (int round = 0; round < 5000; ++round) {
        const json parsed = json::parse(mutated(scenario, random), nullptr, false);
        if (parsed.is_discarded()) continue;
        try {
            cModem modem(parsed);
            modem.receiveAt("AT+CGCONTRDP=1;+CSQ;#CCLK?;+CGACT?\r", 2000);
            EXPECT_FALSE(modem.takeAtOutput().empty());
        } catch (const std::invalid_argument& problem) {
            EXPECT_NE(std::string(problem.what()).find("scenario"), std::string::npos);
            ++refused;
        }
    }
    EXPECT_GT(refused, 100);
}

}  // namespace le910sim
