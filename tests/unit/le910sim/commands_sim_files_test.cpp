#include <gtest/gtest.h>

#include "tests/unit/le910sim/test_driver.h"

namespace le910sim {

namespace {

std::string line(const std::string& text) {
    return "\r\n" + text + "\r\n" + OK;
}

}  // namespace

TEST(Le910simFiles, FilesOfTheCard_AreRead) {
    cModemDriver sim(R"({"sim": {"iccid": "8901410321111851072", "imsi": "310410000000001"}})");
    // The last octet of an odd number of digits is filled up.
    EXPECT_EQ(sim.reply("AT+CRSM=176,12258,0,0,10"), line("+CRSM: 144,0,\"981014301211811570F2\""));
    EXPECT_EQ(sim.reply("AT+CRSM=176,12258,0,1,2"), line("+CRSM: 144,0,\"1014\""));
    EXPECT_EQ(sim.reply("AT+CRSM=176,28589,0,0,4"), line("+CRSM: 144,0,\"00000003\""));
    EXPECT_EQ(sim.reply("AT+CRSM=176,28486,0,0,17"),
              line("+CRSM: 144,0,\"0041542654FFFFFFFFFFFFFFFFFFFFFFFF\""));
    EXPECT_EQ(sim.reply("AT+CRSM=176,28599"),
              line("+CRSM: 144,0,\"" + std::string(30, 'F') + "\""));
    EXPECT_TRUE(sim.modem.problems().empty());
}

TEST(Le910simFiles, MncLength_IsThatOfTheNetworkThatIssuedTheCard) {
    cModemDriver sim(R"({"sim": {"imsi": "204080000000001"}})");
    EXPECT_EQ(sim.reply("AT+CRSM=176,28589,0,0,4"), line("+CRSM: 144,0,\"00000002\""));
    cModemDriver unknown(R"({"sim": {"imsi": "999990000000001"}})");
    EXPECT_EQ(unknown.reply("AT+CRSM=176,28589,0,0,4"), line("+CRSM: 144,0,\"00000002\""));
    EXPECT_EQ(unknown.reply("AT+CRSM=176,28486,0,0,1"), line("+CRSM: 144,0,\"00\""));
}

TEST(Le910simFiles, WhatTheCardRefuses_IsAStatusOfTheCard) {
    cModemDriver sim;
    EXPECT_EQ(sim.reply("AT+CRSM=176,28478,0,0,0"), line("+CRSM: 106,130"));
    EXPECT_EQ(sim.reply("AT+CRSM=178,28480,1,4,30"), line("+CRSM: 109,0"));
    EXPECT_EQ(sim.reply("AT+CRSM=176,28589,0,2,3"), line("+CRSM: 103,0"));
    EXPECT_EQ(sim.reply("AT+CRSM=176,28589,9,0,1"), line("+CRSM: 103,0"));
    EXPECT_TRUE(sim.modem.problems().empty());
    cModemDriver empty(R"({"sim": {"present": false}})");
    empty.reply("AT+CMEE=1");
    EXPECT_EQ(empty.reply("AT+CRSM=176,28589,0,0,4"), "\r\n+CME ERROR: 10\r\n");
    EXPECT_EQ(empty.reply("AT+CSIM=10,\"0020000100\""), "\r\n+CME ERROR: 10\r\n");
    EXPECT_EQ(empty.reply("AT+CPOL?"), "\r\n+CME ERROR: 10\r\n");
}

TEST(Le910simFiles, CardCommandsWithoutData_GiveTheAttemptsLeft) {
    cModemDriver sim(R"({"sim": {"lock": true, "pin": "4711"}})");
    sim.reply("AT+CPIN=0000");
    EXPECT_EQ(sim.reply("AT+CSIM=1"), OK);
    EXPECT_EQ(sim.reply("AT+CSIM=10,\"0020000100\""), line("+CSIM: 4,\"63C2\""));
    EXPECT_EQ(sim.reply("AT+CSIM=10,\"002c000100\""), line("+CSIM: 4,\"63CA\""));
    EXPECT_EQ(sim.reply("AT+CSIM=10,\"0020008100\""), line("+CSIM: 4,\"63C3\""));
    EXPECT_EQ(sim.reply("AT+CSIM=10,\"002C008100\""), line("+CSIM: 4,\"63CA\""));
    EXPECT_EQ(sim.reply("AT+CSIM=10,\"00A4000000\""), line("+CSIM: 4,\"6D00\""));
    EXPECT_EQ(sim.reply("AT#PCT"), line("#PCT: 2"));
    EXPECT_TRUE(sim.modem.problems().empty());
    EXPECT_EQ(sim.reply("AT+CSIM=8,\"0020000100\""), "\r\nERROR\r\n");
    EXPECT_EQ(sim.modem.problems().size(), 1U);
}

TEST(Le910simFiles, PreferredNetworks_AreNone) {
    cModemDriver sim;
    EXPECT_EQ(sim.reply("AT+CPLS=0;+CPOL=,2;+CPOL?"), OK);
    EXPECT_TRUE(sim.modem.problems().empty());
    EXPECT_EQ(sim.reply("AT+CPOL=1,2,\"310410\""), "\r\nERROR\r\n");
    EXPECT_EQ(sim.modem.problems().size(), 1U);
}

}  // namespace le910sim
