#include <gtest/gtest.h>

#include "tests/unit/le910sim/test_driver.h"

namespace le910sim {

TEST(Le910simRestart, Reboot_AnswersThenRemovesThePortsAndComesBack) {
    cModemDriver sim;
    EXPECT_EQ(sim.reply("AT#REBOOT"), OK);
    EXPECT_TRUE(sim.modem.portsPresent());
    sim.wait(490);
    EXPECT_TRUE(sim.modem.portsPresent());
    sim.wait(10);
    EXPECT_FALSE(sim.modem.portsPresent());
    EXPECT_EQ(sim.at("AT"), "");
    sim.wait(2980);
    EXPECT_FALSE(sim.modem.portsPresent());
    sim.wait(10);
    EXPECT_TRUE(sim.modem.portsPresent());
    EXPECT_EQ(sim.readAt(500), "\r\n+PACSP0\r\n");
    EXPECT_EQ(sim.reply("AT"), OK);
    EXPECT_EQ(sim.modem.commands(), (std::vector<std::string>{"AT#REBOOT", "AT"}));
}

TEST(Le910simRestart, Reboot_ForgetsAndKeepsTheSameAsAModem) {
    cModemDriver sim(R"({"attached": true, "sim": {"lock": true, "verified": true},
                       "contexts": [{"cid": 1, "apn": "kept.apn", "active": true}]})");
    for (const char* command : {"AT+CMEE=1", "ATE0", "AT+CREG=2", "AT+CMGF=1", "AT#SLED=3,1,9",
                                "AT+WS46=28", "AT#BND=0,2,2", "AT#AUTOBND=0"}) {
        sim.at(command);
    }
    sim.order(R"({"op": "restart", "away_ms": 100})");
    sim.readAt(1000);
    EXPECT_EQ(sim.at("AT+CMEE?"), "AT+CMEE?\r\r\n+CMEE: 0\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+CPIN?"), "\r\n+CPIN: SIM PIN\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+CREG?"), "\r\n+CREG: 0,0\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+CGATT?;+CGACT?"), "\r\n+CGATT: 0\r\n+CGACT: 1,0\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+CMGF?"), "\r\n+CMGF: 0\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT#SLED?"), "\r\n#SLED: 2,10,10\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+WS46?"), "\r\n+WS46: 28\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT#BND?;#AUTOBND?"), "\r\n#BND: 0,2,2\r\n#AUTOBND: 0\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+CGDCONT?"),
              "\r\n+CGDCONT: 1,\"IP\",\"kept.apn\",\"\",0,0\r\n\r\nOK\r\n");
}

TEST(Le910simRestart, BootLineThatTheHostEchoes_IsNoCommandAndHidesNone) {
    cModemDriver sim;
    sim.order(R"({"op": "restart", "away_ms": 0})");
    EXPECT_EQ(sim.readAt(600), "\r\n+PACSP0\r\n");
    EXPECT_EQ(sim.at("+PAT"), "AT\r\r\nOK\r\n");
    EXPECT_EQ(sim.at("+PACSP0"), "");
    EXPECT_EQ(sim.state().at("problems"), json::array());
    EXPECT_EQ(sim.reply("+PBT"), "\r\nERROR\r\n");
}

TEST(Le910simRestart, SavedLed_SurvivesARestart) {
    cModemDriver sim;
    sim.reply("AT#SLED=3,1,9");
    sim.reply("AT#SLEDSAV");
    sim.order(R"({"op": "restart", "away_ms": 0})");
    sim.readAt(600);
    EXPECT_EQ(sim.reply("AT#SLED?"), "\r\n#SLED: 3,1,9\r\n\r\nOK\r\n");
}

TEST(Le910simRestart, RegistrationAfterBoot_TakesItsTime) {
    cModemDriver sim(R"({"timings": {"register_ms": 5000}, "boot_lines": []})");
    sim.order(R"({"op": "restart", "away_ms": 0})");
    EXPECT_EQ(sim.reply("AT+CEREG?"), "\r\n+CEREG: 0,2\r\n\r\nOK\r\n");
    sim.wait(5000);
    EXPECT_EQ(sim.reply("AT+CEREG?"), "\r\n+CEREG: 0,1\r\n\r\nOK\r\n");
}

TEST(Le910simRestart, FirmwareSwitch_RestartsByItself) {
    cModemDriver sim(R"({"firmware": {"dual": true, "versions": ["20.00.402", "20.00.522"]}})");
    EXPECT_EQ(sim.reply("AT#FWSWITCH=?"), "\r\n#FWSWITCH: (0,1),(0,1)\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT#FWSWITCH?"), "\r\n#FWSWITCH: 0\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT#FWSWITCH=1,1"), OK);
    sim.wait(500);
    EXPECT_FALSE(sim.modem.portsPresent());
    sim.wait(3000);
    sim.readAt(600);
    EXPECT_EQ(sim.reply("AT#FWSWITCH?"), "\r\n#FWSWITCH: 1\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+CGMR"), "\r\n20.00.522\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT#FWSWITCH=1,1"), OK);
    sim.wait(5000);
    EXPECT_TRUE(sim.modem.portsPresent());
}

TEST(Le910simRestart, SingleImage_RefusesTheSwitchWithoutAProblem) {
    cModemDriver sim;
    sim.reply("AT+CMEE=1");
    EXPECT_EQ(sim.reply("AT#FWSWITCH=?"), "\r\nERROR\r\n");
    EXPECT_EQ(sim.reply("AT#FWSWITCH?"), "\r\nERROR\r\n");
    EXPECT_TRUE(sim.modem.problems().empty());
}

TEST(Le910simRestart, TestMode_IsLeftByCommandAndRestart) {
    cModemDriver sim(R"({"test_mode": true})");
    EXPECT_EQ(sim.reply("AT+GMM"), "\r\nModem software not inited\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT#TESTMODE=\"OM\""), OK);
    EXPECT_NE(sim.reply("AT+GMM").find("not inited"), std::string::npos);
    sim.reply("AT#REBOOT");
    sim.readAt(4100);
    EXPECT_EQ(sim.reply("AT+GMM"), "\r\nLE910-NA V2\r\n\r\nOK\r\n");
}

TEST(Le910simRestart, HangUp_LosesThePortsButNotTheState) {
    cModemDriver sim(R"({"attached": true})");
    sim.reply("AT+CMEE=1");
    EXPECT_TRUE(sim.order(R"({"op": "hangup", "away_ms": 1000})").at("ok"));
    EXPECT_FALSE(sim.modem.portsPresent());
    EXPECT_EQ(sim.readAt(1000), "");
    EXPECT_TRUE(sim.modem.portsPresent());
    EXPECT_EQ(sim.reply("AT+CGATT?;+CMEE?"), "\r\n+CGATT: 1\r\n+CMEE: 1\r\n\r\nOK\r\n");
}

TEST(Le910simRestart, RadioOff_EndsService) {
    cModemDriver sim;
    EXPECT_EQ(sim.reply("AT+CFUN=4"), OK);
    EXPECT_EQ(sim.reply("AT+CREG?"), "\r\n+CREG: 0,0\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+CSQ"), "\r\n+CSQ: 99,99\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+CFUN=1"), OK);
    EXPECT_EQ(sim.reply("AT+CREG?"), "\r\n+CREG: 0,1\r\n\r\nOK\r\n");
}

}  // namespace le910sim
