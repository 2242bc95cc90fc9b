#include <gtest/gtest.h>

#include "tests/unit/le910sim/test_driver.h"

namespace le910sim {

TEST(Le910simRegistration, Mode2_AddsPlaceAndTechnology) {
    cModemDriver sim(R"({"registration": {"area": "00AF", "cell": "ABCDEF01"}})");
    EXPECT_EQ(sim.reply("AT+CEREG=2"), OK);
    EXPECT_EQ(sim.reply("AT+CEREG?"), "\r\n+CEREG: 2,1,\"00AF\",\"ABCDEF01\",7\r\n\r\nOK\r\n");
    sim.order(R"({"op": "set", "registration": {"state": "none"}})");
    EXPECT_EQ(sim.reply("AT+CEREG?"), "\r\n+CEREG: 0\r\nAT+CEREG?\r\r\n+CEREG: 2,0\r\n\r\nOK\r\n");
}

TEST(Le910simRegistration, Roaming_IsState5) {
    cModemDriver sim(R"({"registration": {"state": "roaming", "plmn": "20404",
                       "operator": "vodafone NL", "tech": "WCDMA"}})");
    EXPECT_EQ(sim.reply("AT+CEREG?"), "\r\n+CEREG: 0,0\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+CREG?"), "\r\n+CREG: 0,5\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+COPS?"), "\r\n+COPS: 0,0,\"vodafone NL\",2\r\n\r\nOK\r\n");
}

TEST(Le910simRegistration, Timeline_LosesAndRegainsTheNetwork) {
    cModemDriver sim(R"({"attached": true, "timeline": [
        {"at": 12, "op": "set", "registration": {"state": "searching"}},
        {"at": 20, "op": "set", "registration": {"state": "home"}}]})");
    EXPECT_EQ(sim.reply("AT+CREG=1"), OK);
    EXPECT_EQ(sim.readAt(11980), "");
    EXPECT_EQ(sim.readAt(10), "\r\n+CREG: 2\r\n");
    EXPECT_EQ(sim.readAt(8000), "\r\n+CREG: 1\r\n");
    EXPECT_EQ(sim.reply("AT+CREG?"), "\r\n+CREG: 1,1\r\n\r\nOK\r\n");
}

TEST(Le910simRegistration, Searching_KeepsTheContextsThatDenialEnds) {
    cModemDriver sim(R"({"attached": true, "contexts": [{"cid": 1, "active": true}]})");
    sim.order(R"({"op": "set", "registration": {"state": "searching"}})");
    EXPECT_EQ(sim.reply("AT+CGATT?;+CGACT?"), "\r\n+CGATT: 1\r\n+CGACT: 1,1\r\n\r\nOK\r\n");
    sim.order(R"({"op": "set", "registration": {"state": "denied"}})");
    EXPECT_EQ(sim.reply("AT+CGATT?;+CGACT?"), "\r\n+CGATT: 0\r\n+CGACT: 1,0\r\n\r\nOK\r\n");
    sim.order(R"({"op": "set", "registration": {"state": "home"}})");
    EXPECT_EQ(sim.reply("AT+CGATT?"), "\r\n+CGATT: 0\r\n\r\nOK\r\n");
}

TEST(Le910simRegistration, AutoAttach_AttachesWithTheRegistration) {
    cModemDriver sim(R"({"registration": {"auto_attach": true, "state": "none"}})");
    EXPECT_EQ(sim.reply("AT+CGATT?"), "\r\n+CGATT: 0\r\n\r\nOK\r\n");
    sim.order(R"({"op": "set", "registration": {"state": "home"}})");
    EXPECT_EQ(sim.reply("AT+CGATT?"), "\r\n+CGATT: 1\r\n\r\nOK\r\n");
}

TEST(Le910simRegistration, RfstsInWcdma_HasNineteenFieldsAndTheActiveSet) {
    cModemDriver sim(R"({"registration": {"tech": "WCDMA", "channel": 10564, "area": "2242",
                       "cell": "2DDBDAB", "plmn": "20404", "operator": "vodafone NL"},
                       "signal": {"active_set": ["10564,176,-1.5"]}})");
    EXPECT_EQ(sim.reply("AT#PSNT?;#RFSTS"),
              "\r\n#PSNT: 0,2\r\n#RFSTS: \"204 "
              "04\",10564,284,-4.5,-85,-68,2242,1,24,64,19,4,2,000,2DDBDAB,\"310410000000001\","
              "\"vodafone NL\",3,1,10564,176,-1.5\r\n\r\nOK\r\n");
}

TEST(Le910simRegistration, PsntInHsdpa_ShowsTheFourValuesWhenThereAreAny) {
    cModemDriver sim(R"({"registration": {"tech": "HSDPA"}, "signal": {"hspa": [1, 0, 1, 1]}})");
    EXPECT_EQ(sim.reply("AT#PSNT?"), "\r\n#PSNT: 0,3,1,0,1,1\r\n\r\nOK\r\n");
}

TEST(Le910simRegistration, RfstsInGsm_HasFourteenFields) {
    cModemDriver sim(R"({"registration": {"tech": "GSM", "channel": 1020, "band": 2}})");
    EXPECT_EQ(sim.reply("AT#RFSTS"),
              "\r\n#RFSTS:\"310 "
              "410\",1020,-68,700D,1,0,19,29,,00001D7,\"310410000000001\",\"AT&T\",3,2\r\n"
              "\r\nOK\r\n");
}

TEST(Le910simRegistration, WithoutService_RfstsIsEmpty) {
    cModemDriver sim(R"({"registration": {"state": "denied"}})");
    EXPECT_EQ(sim.reply("AT#PSNT?;#RFSTS"),
              "\r\n#PSNT: 0,5\r\n#RFSTS: ,32767,-68,,,19,27,,,\"310410000000001\",\"\",0,4\r\n"
              "\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+COPS?"), "\r\n+COPS: 0\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+CREG?"), "\r\n+CREG: 0,3\r\n\r\nOK\r\n");
}

TEST(Le910simRegistration, Deregistered_UntilSelectionIsAutomaticAgain) {
    cModemDriver sim(R"({"attached": true, "timings": {"register_ms": 2000}})");
    EXPECT_EQ(sim.reply("AT+COPS=2"), OK);
    EXPECT_EQ(sim.reply("AT+CEREG?"), "\r\n+CEREG: 0,0\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+CGATT?"), "\r\n+CGATT: 0\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+COPS?"), "\r\n+COPS: 2\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+COPS=0"), OK);
    EXPECT_EQ(sim.reply("AT+CEREG?"), "\r\n+CEREG: 0,2\r\n\r\nOK\r\n");
    sim.wait(2000);
    EXPECT_EQ(sim.reply("AT+CEREG?"), "\r\n+CEREG: 0,1\r\n\r\nOK\r\n");
}

TEST(Le910simRegistration, ManualSelection_ByNumberOrName) {
    cModemDriver sim(R"({"registration": {"visible": [{"plmn": "310260", "name": "T-Mobile"}]}})");
    sim.reply("AT+CMEE=1");
    EXPECT_EQ(sim.reply("AT+COPS=1,2,\"310410\""), OK);
    EXPECT_EQ(sim.reply("AT+COPS?"), "\r\n+COPS: 1,2,\"310410\",7\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+COPS=4,0,\"T-Mobile\""), OK);
    EXPECT_EQ(sim.reply("AT+COPS?"), "\r\n+COPS: 4,0,\"T-Mobile\",7\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+COPS=?"),
              "\r\n+COPS: "
              "(2,\"T-Mobile\",\"T-Mobile\",\"310260\",7),(1,\"AT&T\",\"AT&T\",\"310410\",7),,(0-4)"
              ",(0,2)\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+COPS=1,2,\"26201\""), "\r\n+CME ERROR: 30\r\n");
    EXPECT_EQ(sim.reply("AT+CREG?"), "\r\n+CREG: 0,2\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+COPS=4,2,\"26201\""), OK);
    EXPECT_EQ(sim.reply("AT+CREG?"), "\r\n+CREG: 0,1\r\n\r\nOK\r\n");
}

TEST(Le910simRegistration, Signal_ChangesWhileRunning) {
    cModemDriver sim;
    EXPECT_TRUE(sim.order(R"({"op": "set", "signal": {"rssi": 31, "ber": 0}})").at("ok"));
    EXPECT_EQ(sim.reply("AT+CSQ"), "\r\n+CSQ: 31,0\r\n\r\nOK\r\n");
}

TEST(Le910simRegistration, Ims_IsReported) {
    cModemDriver sim(R"({"registration": {"ims": true}})");
    EXPECT_EQ(sim.reply("AT+CIREG?"), "\r\n+CIREG: 0,1\r\n\r\nOK\r\n");
}

TEST(Le910simRadio, NetworkMode_OnlyWhatTheModelHas) {
    cModemDriver american;
    american.reply("AT+CMEE=1");
    EXPECT_EQ(american.reply("AT+WS46=25"), "\r\n+CME ERROR: 4\r\n");
    EXPECT_EQ(american.reply("AT+WS46=22"), OK);
    EXPECT_EQ(american.reply("AT+WS46?"), "\r\n+WS46: 22\r\n\r\nOK\r\n");
    cModemDriver european(R"({"model": "LE910-EU V2"})");
    EXPECT_EQ(european.reply("AT+GMM"), "\r\nLE910-EU V2\r\n\r\nOK\r\n");
    EXPECT_EQ(european.reply("AT+WS46?"), "\r\n+WS46: 25\r\n\r\nOK\r\n");
    EXPECT_EQ(european.reply("AT+WS46=29"), OK);
}

TEST(Le910simRadio, Bands_OnlyWhatTheModelHas) {
    cModemDriver sim;
    sim.reply("AT+CMEE=1");
    EXPECT_EQ(sim.reply("AT#BND=0,4,71706"), OK);
    EXPECT_EQ(sim.reply("AT#BND?"), "\r\n#BND: 0,4,71706\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT#BND=0,4,1"), "\r\n+CME ERROR: 50\r\n");
    EXPECT_EQ(sim.reply("AT#BND=0,5,2"), "\r\n+CME ERROR: 50\r\n");
    EXPECT_EQ(sim.reply("AT#AUTOBND=2;#AUTOBND?"), "\r\n#AUTOBND: 2\r\n\r\nOK\r\n");
}

TEST(Le910simRadio, Clock_RunsFromTheNetworkTime) {
    cModemDriver sim;
    sim.wait(27990);
    EXPECT_EQ(sim.reply("AT#CCLK?"), "\r\n#CCLK: \"20/06/15,20:32:33-24,1\"\r\n\r\nOK\r\n");
    sim.order(R"({"op": "set", "network_time": "24/12/31,23:59:59+04,0"})");
    sim.wait(1000);
    EXPECT_EQ(sim.reply("AT#CCLK?"), "\r\n#CCLK: \"25/01/01,00:00:00+04,0\"\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT#CCLKMODE=1;#CCLK?"),
              "\r\n#CCLK: \"24/12/31,23:00:00+04,0\"\r\n\r\nOK\r\n");
}

TEST(Le910simRadio, ClockWithoutNetworkTime_BeginsIn1980) {
    cModemDriver sim(R"({"network_time": null})");
    EXPECT_EQ(sim.reply("AT#CCLK?"), "\r\n#CCLK: \"80/01/06,00:00:00+00,0\"\r\n\r\nOK\r\n");
}

TEST(Le910simRadio, Temperature_ColdAndBelowTheLevel) {
    cModemDriver sim(R"({"temperature": {"celsius": -32, "level": -1}})");
    EXPECT_EQ(sim.reply("AT#TEMPMON=1"), "\r\n#TEMPMEAS: -1,-32\r\n\r\nOK\r\n");
}

TEST(Le910simRegistration, ExtendedSignalQuality_FollowsTheTechnology) {
    cModemDriver lte;
    EXPECT_EQ(lte.reply("AT+CESQ"), "\r\n+CESQ: 99,99,255,255,22,43\r\n\r\nOK\r\n");
    cModemDriver wcdma(R"({"registration": {"tech": "WCDMA"}})");
    EXPECT_EQ(wcdma.reply("AT+CESQ"), "\r\n+CESQ: 99,99,36,40,255,255\r\n\r\nOK\r\n");
    cModemDriver gsm(R"({"registration": {"tech": "GSM"}, "signal": {"ber": 0}})");
    EXPECT_EQ(gsm.reply("AT+CESQ"), "\r\n+CESQ: 43,0,255,255,255,255\r\n\r\nOK\r\n");
    EXPECT_EQ(lte.reply("AT+CFUN=4;+CESQ"), "\r\n+CESQ: 99,99,255,255,255,255\r\n\r\nOK\r\n");
}

TEST(Le910simRegistration, ExtendedSignalQuality_StaysOnItsScale) {
    cModemDriver weak(R"({"signal": {"rsrp_dbm": -150, "rsrq_db": -30}})");
    EXPECT_EQ(weak.reply("AT+CESQ"), "\r\n+CESQ: 99,99,255,255,0,0\r\n\r\nOK\r\n");
    cModemDriver strong(R"({"signal": {"rsrp_dbm": -30, "rsrq_db": 0}})");
    EXPECT_EQ(strong.reply("AT+CESQ"), "\r\n+CESQ: 99,99,255,255,34,97\r\n\r\nOK\r\n");
}

TEST(Le910simRegistration, Indicators_ShowServiceMessageCallAndRoaming) {
    cModemDriver sim(R"({"sms": {"capacity": 1}})");
    EXPECT_EQ(sim.reply("AT+CIND?"), "\r\n+CIND: 99,99,1,0,0,0,0,0,3\r\n\r\nOK\r\n");
    sim.order(R"({"op": "inject-sms", "from": "+12025550123", "text": "hello"})");
    sim.gps("ATD*99#\r");
    sim.order(R"({"op": "set", "registration": {"state": "roaming"}})");
    EXPECT_EQ(sim.reply("AT+CIND?"), "\r\n+CIND: 99,99,1,0,1,1,1,1,3\r\n\r\nOK\r\n");
}

}  // namespace le910sim
