#include <gtest/gtest.h>

#include "tests/unit/le910sim/test_driver.h"

namespace le910sim {

namespace {

const std::string CSQ = "\r\n+CSQ: 17,99\r\n\r\nOK\r\n";

}  // namespace

TEST(Le910simFaults, Silence_NeitherEchoNorAnswerForACount) {
    cModemDriver sim;
    sim.order(R"({"op": "fault", "match": "AT+CSQ", "kind": "silence", "count": 2})");
    EXPECT_EQ(sim.at("AT+CSQ", 5000), "");
    EXPECT_EQ(sim.reply("AT"), OK);
    EXPECT_EQ(sim.at("AT+CSQ", 5000), "");
    EXPECT_EQ(sim.reply("AT+CSQ"), CSQ);
}

TEST(Le910simFaults, Silence_ForATime) {
    cModemDriver sim;
    sim.order(R"({"op": "fault", "prefix": "", "kind": "silence", "for_ms": 1000})");
    EXPECT_EQ(sim.at("AT", 900), "");
    EXPECT_EQ(sim.at("AT", 80), "");
    EXPECT_EQ(sim.reply("AT"), OK);
}

TEST(Le910simFaults, Match_IsExactAndPrefixIsNot) {
    cModemDriver sim;
    sim.order(R"({"op": "fault", "match": "AT+CGATT", "kind": "error"})");
    EXPECT_EQ(sim.reply("AT+CGATT?"), "\r\n+CGATT: 0\r\n" + OK);
    sim.order(R"({"op": "fault", "prefix": "AT+CGATT", "kind": "error"})");
    EXPECT_EQ(sim.reply("AT+CGATT?"), "\r\nERROR\r\n");
    EXPECT_EQ(sim.reply("AT+CGATT=1"), "\r\nERROR\r\n");
    EXPECT_TRUE(sim.modem.problems().empty());
}

TEST(Le910simFaults, ReplacedAnswer_DoesNotExecuteUnlessAsked) {
    cModemDriver sim;
    sim.order(R"({"op": "fault", "match": "AT+CGATT=1", "kind": "error", "count": 1})");
    EXPECT_EQ(sim.reply("AT+CGATT=1"), "\r\nERROR\r\n");
    EXPECT_EQ(sim.reply("AT+CGATT?"), "\r\n+CGATT: 0\r\n" + OK);
    sim.order(R"({"op": "fault", "match": "AT+CGATT=1", "kind": "silence", "execute": true,
                  "count": 1})");
    EXPECT_EQ(sim.at("AT+CGATT=1", 1000), "");
    EXPECT_EQ(sim.reply("AT+CGATT?"), "\r\n+CGATT: 1\r\n" + OK);
}

TEST(Le910simFaults, CmeAndCms_AreSentWithTheirNumber) {
    cModemDriver sim;
    sim.order(R"({"op": "fault", "match": "AT+CIMI", "kind": "cme", "number": 14})");
    sim.order(R"({"op": "fault", "match": "AT+CMGL=0", "kind": "cms", "number": 322})");
    EXPECT_EQ(sim.reply("AT+CIMI"), "\r\n+CME ERROR: 14\r\n");
    EXPECT_EQ(sim.reply("AT+CMGL=0"), "\r\n+CMS ERROR: 322\r\n");
    sim.reply("AT+CMEE=2");
    EXPECT_EQ(sim.reply("AT+CIMI"), "\r\n+CME ERROR: SIM busy\r\n");
}

TEST(Le910simFaults, Delay_HoldsTheAnswerAndLaterCommands) {
    cModemDriver sim;
    sim.order(R"({"op": "fault", "match": "AT+CSQ", "kind": "delay", "delay_ms": 300})");
    EXPECT_EQ(sim.at("AT+CSQ", 290), "AT+CSQ\r");
    sim.send("AT");
    EXPECT_EQ(sim.readAt(0), CSQ + "AT\r" + OK);
}

TEST(Le910simFaults, Pieces_ComeWithGaps) {
    cModemDriver sim;
    sim.order(R"({"op": "fault", "match": "AT+CSQ", "kind": "pieces", "pieces": 3,
                  "gap_ms": 100})");
    EXPECT_EQ(sim.at("AT+CSQ"), "AT+CSQ\r\r\n+CSQ:");
    EXPECT_EQ(sim.readAt(90), "");
    EXPECT_EQ(sim.readAt(10), " 17,99\r");
    EXPECT_EQ(sim.readAt(100), "\n\r\nOK\r\n");
}

TEST(Le910simFaults, Garbage_IsTheSameForTheSameSeed) {
    cModemDriver first;
    cModemDriver second;
    const char* const before =
        R"({"op": "fault", "match": "AT+CSQ", "kind": "garbage", "bytes": 20, "seed": 7})";
    first.order(before);
    second.order(before);
    const std::string reply = first.reply("AT+CSQ");
    EXPECT_EQ(reply.size(), 20 + CSQ.size());
    EXPECT_EQ(reply.substr(20), CSQ);
    EXPECT_EQ(reply.find_first_of("\r\n"), 20U);
    EXPECT_EQ(second.reply("AT+CSQ"), reply);
}

TEST(Le910simFaults, Garbage_InsteadOfTheAnswer) {
    cModemDriver sim;
    sim.order(R"({"op": "fault", "match": "AT+CSQ", "kind": "garbage", "bytes": 5,
                  "place": "instead"})");
    EXPECT_EQ(sim.reply("AT+CSQ").size(), 5U);
}

TEST(Le910simFaults, UnsolicitedLine_BeforeInsideAndAfter) {
    const std::pair<const char*, std::string> cases[] = {
        {"before", "\r\nSRING: 2,86\r\n" + CSQ},
        {"inside", "\r\n+CSQ: 17,99\r\n\r\nSRING: 2,86\r\n" + OK},
        {"after", CSQ + "\r\nSRING: 2,86\r\n"}};
    for (const auto& item : cases) {
        cModemDriver sim;
        sim.order(std::string(R"({"op": "fault", "match": "AT+CSQ", "kind": "urc",
                                  "line": "SRING: 2,86", "place": ")") +
                  item.first + "\"}");
        EXPECT_EQ(sim.reply("AT+CSQ"), item.second) << item.first;
    }
}

TEST(Le910simFaults, HangUp_TakesThePortsAway) {
    cModemDriver sim;
    sim.order(R"({"op": "fault", "match": "AT+CSQ", "kind": "hangup", "away_ms": 2000,
                  "count": 1})");
    EXPECT_EQ(sim.at("AT+CSQ"), "");
    EXPECT_FALSE(sim.modem.portsPresent());
    sim.wait(2000);
    EXPECT_TRUE(sim.modem.portsPresent());
    EXPECT_EQ(sim.reply("AT+CSQ"), CSQ);
}

TEST(Le910simFaults, WrongAnswer_ByLinesOrRaw) {
    cModemDriver sim;
    sim.order(R"({"op": "fault", "match": "AT+CSQ", "kind": "answer", "count": 1,
                  "lines": ["+CSQ: 17", "+CSQ: 18,99"]})");
    EXPECT_EQ(sim.reply("AT+CSQ"), "\r\n+CSQ: 17\r\n+CSQ: 18,99\r\n\r\nOK\r\n");
    sim.order(R"({"op": "fault", "match": "AT+CSQ", "kind": "answer", "count": 1, "lines": [],
                  "final": "NO CARRIER"})");
    EXPECT_EQ(sim.reply("AT+CSQ"), "\r\nNO CARRIER\r\n");
    sim.order(R"({"op": "fault", "match": "AT+CSQ", "kind": "raw", "raw": "+CSQ: 1\nOK\n"})");
    EXPECT_EQ(sim.reply("AT+CSQ"), "+CSQ: 1\nOK\n");
}

TEST(Le910simFaults, SkipAndCount_HitTheThirdOnly) {
    cModemDriver sim;
    sim.order(R"({"op": "fault", "match": "AT", "kind": "error", "skip": 2, "count": 1})");
    EXPECT_EQ(sim.reply("AT"), OK);
    EXPECT_EQ(sim.reply("AT"), OK);
    EXPECT_EQ(sim.reply("AT"), "\r\nERROR\r\n");
    EXPECT_EQ(sim.reply("AT"), OK);
}

TEST(Le910simFaults, SeveralFaults_FirstReplacementAndAllShapes) {
    cModemDriver sim;
    sim.order(R"({"op": "fault", "match": "AT", "kind": "error"})");
    sim.order(R"({"op": "fault", "match": "AT", "kind": "cme", "number": 3})");
    sim.order(R"({"op": "fault", "match": "AT", "kind": "delay", "delay_ms": 100})");
    EXPECT_EQ(sim.at("AT", 90), "AT\r");
    EXPECT_EQ(sim.readAt(10), "\r\nERROR\r\n");
}

TEST(Le910simFaults, Cleared_ByIdOrAll) {
    cModemDriver sim;
    const json answer = sim.order(R"({"op": "fault", "match": "AT", "kind": "error"})");
    sim.order(R"({"op": "fault", "match": "AT+CSQ", "kind": "error"})");
    const std::string clear = R"({"op": "clear-faults", "id": )" + answer.at("id").dump() + "}";
    EXPECT_EQ(sim.order(clear).at("cleared"), 1);
    EXPECT_EQ(sim.reply("AT"), OK);
    EXPECT_EQ(sim.reply("AT+CSQ"), "\r\nERROR\r\n");
    EXPECT_EQ(sim.order(R"({"op": "clear-faults"})").at("cleared"), 1);
    EXPECT_EQ(sim.reply("AT+CSQ"), CSQ);
}

TEST(Le910simFaults, FromScenarioAndTimeline) {
    cModemDriver sim(R"({"faults": [{"match": "AT+CSQ", "kind": "error", "count": 1}],
        "timeline": [{"at": 0.5, "op": "fault", "match": "AT", "kind": "error"},
                     {"at": 1, "op": "clear-faults"}]})");
    EXPECT_EQ(sim.reply("AT+CSQ"), "\r\nERROR\r\n");
    EXPECT_EQ(sim.reply("AT+CSQ"), CSQ);
    EXPECT_EQ(sim.reply("AT"), OK);
    sim.wait(500);
    EXPECT_EQ(sim.reply("AT"), "\r\nERROR\r\n");
    sim.wait(500);
    EXPECT_EQ(sim.reply("AT"), OK);
}

TEST(Le910simFaults, OnOnePortOnly) {
    cModemDriver sim;
    sim.order(R"({"op": "fault", "prefix": "AT", "kind": "error", "port": "gps"})");
    EXPECT_EQ(sim.reply("AT"), OK);
    EXPECT_EQ(sim.gps("AT\r"), "AT\r\r\nERROR\r\n");
}

TEST(Le910simFaults, BadOrders_NameTheKey) {
    const std::pair<const char*, const char*> cases[] = {
        {R"({"op": "fault", "match": "AT"})", "order: key 'kind' is missing"},
        {R"({"op": "fault", "kind": "error"})",
         "order: key 'match' or 'prefix' must be given, one of the two"},
        {R"({"op": "fault", "match": "AT", "kind": "eror"})",
         "order: key 'kind' is 'eror', which is not known"},
        {R"({"op": "fault", "match": "AT", "kind": "error", "number": 3})",
         "order: unknown key 'number'"},
        {R"({"op": "fault", "match": "AT", "kind": "cme"})", "order: key 'number' is missing"},
        {R"({"op": "fault", "match": "AT", "kind": "error", "count": 0})",
         "order: key 'count' is not between 1 and 1000000"},
        {R"({"op": "fault", "match": "AT", "kind": "urc", "line": "X", "place": "instead"})",
         "order: key 'place' cannot be 'instead' here"},
    };
    for (const auto& item : cases) {
        cModemDriver sim;
        const json answer = sim.order(item.first);
        EXPECT_FALSE(answer.at("ok"));
        EXPECT_EQ(answer.at("error"), item.second);
    }
}

}  // namespace le910sim
