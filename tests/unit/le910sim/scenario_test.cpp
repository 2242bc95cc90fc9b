#include <gtest/gtest.h>

#include <utility>

#include "tests/unit/le910sim/test_driver.h"

namespace le910sim {

namespace {

std::string errorOf(const std::string& scenario) {
    try {
        cModem modem(json::parse(scenario));
    } catch (const std::invalid_argument& problem) {
        return problem.what();
    }
    return "";
}

}  // namespace

TEST(Le910simScenario, Errors_NameTheKey) {
    const std::pair<const char*, const char*> cases[] = {
        {"[]", "scenario: not an object"},
        {R"({"modle": "LE910-NA1"})", "scenario: unknown key 'modle'"},
        {R"({"model": "LE910"})", "scenario: key 'model' is 'LE910', which is not simulated"},
        {R"({"sim": {"pim": "1"}})", "scenario.sim: unknown key 'pim'"},
        {R"({"sim": {"lock": 1}})", "scenario.sim: key 'lock' is not true or false"},
        {R"({"sim": {"pin": 1234}})", "scenario.sim: key 'pin' is not a text"},
        {R"({"sim": []})", "scenario.sim: not an object"},
        {R"({"sim": {"pin_attempts": 4}})",
         "scenario.sim: key 'pin_attempts' is not between 0 and 3"},
        {R"({"registration": {"state": "gone"}})",
         "scenario.registration: key 'state' is none of none, home, searching, denied, unknown, "
         "roaming"},
        {R"({"registration": {"tech": "5G"}})",
         "scenario.registration: key 'tech' is '5G', which is not known"},
        {R"({"addresses": {"ipv4": "10.0.0"}})",
         "scenario.addresses: key 'ipv4' holds '10.0.0', which is not an address"},
        {R"({"contexts": [{"apn": "x"}]})", "scenario.contexts[0]: key 'cid' is missing"},
        {R"({"contexts": [{"cid": 1, "active": true}]})",
         "scenario.contexts[0]: key 'active' needs 'attached': true"},
        {R"({"network_time": "2020-06-15"})",
         "scenario: key 'network_time' is not of the form yy/MM/dd,hh:mm:ss-zz,d"},
        {R"({"pace": "fast"})",
         "scenario: key 'pace' is neither 'instant' nor a number of bits a second"},
        {R"({"gps": {"track": [[91, 0]]}})",
         "scenario.gps: key 'track' has a point that is not on Earth"},
        {R"({"sms": {"stored": {}}})", "scenario.sms: key 'stored' is not a list"},
        {R"({"sms": {"stored": [{"pdu": "0G"}]}})",
         "scenario.sms.stored[0]: key 'pdu' is not a PDU in hexadecimal"},
        {R"({"timeline": [{"op": "detach"}]})", "scenario.timeline[0]: key 'at' is missing"},
        {R"({"timeline": [{"at": 1, "op": "detatch"}]})",
         "scenario.timeline at 1000 ms: order: key 'op' is 'detatch', which is not known"},
        {R"({"timeline": [{"at": 1, "op": "set", "signal": {"rsi": 3}}]})",
         "scenario.timeline at 1000 ms: order.signal: unknown key 'rsi'"},
        {R"({"faults": [{"match": "AT", "kind": "error"}, {"match": "AT"}]})",
         "scenario.faults[1]: key 'kind' is missing"},
        {R"({"attached": true, "registration": {"state": "none"}})",
         "scenario: key 'attached' is true, but the modem is not registered"},
    };
    for (const auto& item : cases)
        EXPECT_EQ(errorOf(item.first), item.second) << item.first;
}

TEST(Le910simScenario, Models_AnswerTheirNames) {
    for (const std::string name : {"LE910-NA1", "LE910-NA V2", "LE910-EU V2"}) {
        cModemDriver sim("{\"model\": \"" + name + "\"}");
        EXPECT_EQ(sim.reply("AT+GMM"), "\r\n" + name + "\r\n\r\nOK\r\n");
    }
}

TEST(Le910simControl, BadOrders_NameTheKeyAndChangeNothing) {
    cModemDriver sim;
    const std::pair<const char*, const char*> cases[] = {
        {"3", "order: not an object"},
        {"{}", "order: key 'op' is missing"},
        {R"({"op": "dance"})", "order: key 'op' is 'dance', which is not known"},
        {R"({"op": "dump", "x": 1})", "order: unknown key 'x'"},
        {R"({"op": "set", "signal": {"rssi": 5, "beer": 1}})", "order.signal: unknown key 'beer'"},
        {R"({"op": "set", "model": "LE910-NA1"})", "order: unknown key 'model'"},
        {R"({"op": "address", "cid": 1, "ipv4": "x"})", "order: key 'ipv4' is not an address"},
        {R"({"op": "deactivate"})", "order: key 'cid' is missing"},
        {R"({"op": "detach", "at": 3})", "order: unknown key 'at'"},
        {R"({"op": "inject-sms", "from": "+1"})", "order: key 'text' is missing"},
        {R"({"op": "inject-sms", "from": "+1", "text": "x", "coding": "latin"})",
         "order: key 'coding' is none of auto, gsm7, 8bit, ucs2"},
    };
    for (const auto& item : cases) {
        const json answer = sim.order(item.first);
        EXPECT_EQ(answer.at("ok"), false) << item.first;
        EXPECT_EQ(answer.at("error"), item.second) << item.first;
    }
    EXPECT_EQ(sim.reply("AT+CSQ"), "\r\n+CSQ: 17,99\r\n\r\nOK\r\n");
}

TEST(Le910simControl, CountAndExchanges_FollowTheCommands) {
    cModemDriver sim;
    EXPECT_EQ(sim.order(R"({"op": "count"})").at("exchanges"), 0);
    sim.at("AT");
    sim.at("AT+BAD");
    const json count = sim.order(R"({"op": "count"})");
    EXPECT_EQ(count.at("exchanges"), 2);
    EXPECT_EQ(count.at("problems"), 1);
    EXPECT_EQ(count.at("now_ms"), 20);
    const json since = sim.order(R"({"op": "exchanges", "since": 1})");
    EXPECT_EQ(since.at("next"), 2);
    ASSERT_EQ(since.at("exchanges").size(), 1U);
    EXPECT_EQ(since.at("exchanges")[0].at("command"), "AT+BAD");
    EXPECT_EQ(since.at("exchanges")[0].at("reply"), "\r\nERROR\r\n");
}

TEST(Le910simControl, Dump_ShowsWhatCommandsChanged) {
    cModemDriver sim;
    sim.at("AT#SLED=3,1,9");
    sim.at("AT#AUTOBND=0");
    const json state = sim.state();
    EXPECT_EQ(state.at("settings").at("#SLED"), (json{3, 1, 9}));
    EXPECT_EQ(state.at("settings").at("#AUTOBND"), json::array({0}));
    EXPECT_EQ(state.at("registration").at("state"), 1);
    EXPECT_EQ(state.at("model"), "LE910-NA V2");
    EXPECT_EQ(state.at("gpio").at("2"), (json{1, 1}));
}

TEST(Le910simControl, UnsolicitedLine_OnEitherPort) {
    cModemDriver sim;
    sim.order(R"({"op": "urc", "line": "RING"})");
    sim.order(R"({"op": "urc", "port": "gps", "raw": "\u0000x"})");
    EXPECT_EQ(sim.readAt(0), "\r\nRING\r\n");
    EXPECT_EQ(sim.gps(""), std::string("\0x", 2));
}

TEST(Le910simControl, UnsolicitedLineAtIntervals_IsSentUntilItsTimeIsOverOrItIsCleared) {
    cModemDriver sim;
    sim.order(R"({"op": "urc", "line": "RING", "every_ms": 200, "for_ms": 500})");
    EXPECT_EQ(sim.readAt(0), "\r\nRING\r\n");
    EXPECT_EQ(sim.readAt(190), "");
    EXPECT_EQ(sim.readAt(10), "\r\nRING\r\n");
    EXPECT_EQ(sim.readAt(10000), "\r\nRING\r\n");
    sim.order(R"({"op": "urc", "port": "gps", "raw": "x", "every_ms": 100})");
    EXPECT_EQ(sim.gps("", 1000), "xxxxxxxxxxx");
    EXPECT_EQ(sim.order(R"({"op": "clear-urcs"})").at("cleared"), 1);
    EXPECT_EQ(sim.gps("", 1000), "");
    EXPECT_EQ(sim.order(R"({"op": "urc", "line": "RING", "for_ms": 5})").at("ok"), false);
}

TEST(Le910simControl, UnsolicitedLineAtIntervals_IsNotSentWhileTheModemIsAway) {
    cModemDriver sim;
    sim.order(R"({"op": "urc", "line": "RING", "every_ms": 1000})");
    sim.readAt(0);
    sim.order(R"({"op": "hangup", "away_ms": 10000})");
    EXPECT_EQ(sim.readAt(9990), "");
    EXPECT_EQ(sim.readAt(10), "\r\nRING\r\n");
}

TEST(Le910simLog, Events_ShowExchangesProblemsAndSentMessages) {
    cModemDriver sim;
    sim.at("AT+BAD");
    sim.at("AT+CMGS=19");
    sim.at("0011000B912120550521F30000AA05C8329BFD06\x1a");
    sim.order(R"({"op": "hangup", "away_ms": 10})");
    std::vector<std::string> events;
    for (const json& event : sim.modem.takeLog()) {
        events.push_back(event.at("event"));
        if (events.back() != "exchange") continue;
        EXPECT_TRUE(event.contains("t"));
        EXPECT_EQ(event.at("port"), "at");
    }
    EXPECT_EQ(events, (std::vector<std::string>{"problem", "exchange", "exchange", "sms sent",
                                                "exchange", "hangup"}));
    EXPECT_TRUE(sim.modem.takeLog().empty());
}

TEST(Le910simLog, FinalCode_IsTheLastLine) {
    cModemDriver sim;
    sim.at("AT+CSQ");
    sim.at("AT+CMGS=19");
    const std::vector<json> log = sim.modem.takeLog();
    ASSERT_EQ(log.size(), 2U);
    EXPECT_EQ(log[0].at("final"), "OK");
    EXPECT_EQ(log[1].at("final"), "> ");
}

}  // namespace le910sim
