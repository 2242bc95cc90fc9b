#include <gtest/gtest.h>

#include "le910sim/nmea.h"
#include "tests/unit/le910sim/test_driver.h"

namespace le910sim {

namespace {

const char* const ENABLED = R"({"gps": {"enabled": true}})";
const char* const START = "AT$GPSNMUN=3,1,0,0,0,1,0\r";

std::string answered(const std::string& command, const std::string& reply) {
    return command + reply;
}

}  // namespace

TEST(Le910simNmea, Checksum_OfAKnownSentence) {
    EXPECT_EQ(nmeaSentence("GPGGA,142917.000,5049.5326,N,00555.9750,E,1,04,3.25,192.0,M,,M,,0000"),
              "$GPGGA,142917.000,5049.5326,N,00555.9750,E,1,04,3.25,192.0,M,,M,,0000*74\r\n");
    EXPECT_EQ(nmeaSentence("GPGGA,,,,,,0,,,,M,,M,,"), "$GPGGA,,,,,,0,,,,M,,M,,*66\r\n");
}

TEST(Le910simNmea, Epoch_SouthAndWestAndRounding) {
    sGpsReceiver gps;
    const sGpsPoint point = {-0.999999999, -179.5, -3.25};
    EXPECT_EQ(nmeaEpoch(gps, point, {3, 1, 0, 0, 0, 0, 0}, *parseClock("24/03/05,07:08:09")),
              nmeaSentence("GPGGA,070809.000,0100.0000,S,17930.0000,W,1,08,1.10,-3.3,M,,M,,0000"));
}

TEST(Le910simGps, Chipset_AppearsOnlyAfterEnablingAndARestart) {
    cModemDriver sim;
    EXPECT_EQ(sim.gps("AT$GPSSW\r"), answered("AT$GPSSW\r", "\r\n$GPSSW: \r\n" + OK));
    for (const std::string command : {"AT#PORTCFG=11", "AT$GPSD=5", "AT$GPSGPIO=5,6,8,7",
                                      "AT$GPSSERSPEED=9600", "AT$GPSP=1", "AT$GPSSAV"}) {
        EXPECT_EQ(sim.gps(command + "\r"), command + "\r" + OK);
    }
    EXPECT_EQ(sim.gps("AT$GPSSW\r"), answered("AT$GPSSW\r", "\r\n$GPSSW: \r\n" + OK));
    sim.order(R"({"op": "restart", "away_ms": 0})");
    EXPECT_EQ(sim.gps("AT$GPSSW\r"), answered("AT$GPSSW\r", "\r\n$GPSSW: GSW3.5.0\r\n" + OK));
    EXPECT_TRUE(sim.modem.problems().empty());
}

TEST(Le910simGps, NotSaved_IsForgotten) {
    cModemDriver sim;
    sim.gps("AT$GPSP=1\r");
    sim.order(R"({"op": "restart", "away_ms": 0})");
    EXPECT_EQ(sim.gps("AT$GPSSW\r"), answered("AT$GPSSW\r", "\r\n$GPSSW: \r\n" + OK));
}

TEST(Le910simGps, Stream_SendsOneEpochPerSecondAndIgnoresCommands) {
    cModemDriver sim(ENABLED);
    EXPECT_EQ(sim.gps(START), answered(START, "\r\nCONNECT\r\n"));
    EXPECT_EQ(sim.gps("", 990), "");
    EXPECT_EQ(sim.gps("", 10),
              "$GPGGA,023206.000,5049.5326,N,00555.9750,E,1,08,1.10,192.0,M,,M,,0000*71\r\n"
              "$GNRMC,023206.000,A,5049.5326,N,00555.9750,E,0.0,0.0,160620,,,A*72\r\n");
    EXPECT_EQ(sim.gps("AT\r", 500), "");
    EXPECT_EQ(sim.gps("", 500).substr(0, 17), "$GPGGA,023207.000");
    EXPECT_EQ(sim.reply("AT"), OK);
}

TEST(Le910simGps, EscapeWithGuardTimes_EndsTheStream) {
    cModemDriver sim(ENABLED);
    sim.gps(START, 1000);
    EXPECT_EQ(sim.gps("+++", 990), "");
    EXPECT_EQ(sim.gps("", 10), "\r\nNO CARRIER\r\n");
    EXPECT_EQ(sim.gps("", 5000), "");
    EXPECT_EQ(sim.gps("AT\r"), "AT\r" + OK);
    EXPECT_TRUE(sim.modem.problems().empty());
}

TEST(Le910simGps, EscapeWithoutGuardTime_IsIgnored) {
    cModemDriver sim(ENABLED);
    sim.gps(START, 1500);
    sim.gps("x", 500);
    sim.gps("+++", 5000);
    EXPECT_EQ(sim.gps("AT\r"), "");
    sim.wait(1000);
    sim.gps("+++", 500);
    sim.gps("+", 2000);
    EXPECT_EQ(sim.gps("AT\r"), "");
}

TEST(Le910simGps, EscapeReply_CanBeOk) {
    cModemDriver sim(R"({"gps": {"enabled": true, "escape_reply": "OK"}})");
    sim.gps(START, 1000);
    sim.gps("+++", 990);
    EXPECT_EQ(sim.gps("", 10), OK);
}

TEST(Le910simGps, EscapeUnderAFault_StaysInTheStream) {
    cModemDriver sim(ENABLED);
    sim.order(R"({"op": "fault", "match": "+++", "kind": "silence", "count": 1})");
    sim.gps(START, 1000);
    EXPECT_EQ(sim.gps("+++", 990), "");
    EXPECT_EQ(sim.gps("", 10).substr(0, 6), "$GPGGA");
    EXPECT_EQ(sim.gps("", 1000).substr(0, 6), "$GPGGA");
    sim.gps("+++", 1000);
    EXPECT_EQ(sim.gps("AT\r"), "AT\r" + OK);
}

TEST(Le910simGps, HangUpWhileStreaming_ContinuesAfterItWithoutABurst) {
    cModemDriver sim(ENABLED);
    sim.gps(START);
    sim.order(R"({"op": "hangup", "away_ms": 10000})");
    sim.wait(10000);
    const std::string text = sim.modem.takeGpsOutput();
    EXPECT_EQ(text.find("$GPGGA"), 0U);
    EXPECT_EQ(text.rfind("$GPGGA"), 0U);
}

TEST(Le910simGps, NotEnabled_NoStream) {
    cModemDriver sim;
    EXPECT_EQ(sim.gps(START), answered(START, "\r\nERROR\r\n"));
    EXPECT_TRUE(sim.modem.problems().empty());
}

TEST(Le910simGps, EscapeInCommandMode_DoesNoHarm) {
    cModemDriver sim;
    EXPECT_EQ(sim.gps("+++", 1100), "");
    EXPECT_EQ(sim.gps("AT\r"), "+++AT\r" + OK);
    EXPECT_TRUE(sim.modem.problems().empty());
}

TEST(Le910simGps, NoFix_GivesEmptySentences) {
    cModemDriver sim(R"({"gps": {"enabled": true, "fix": false}})");
    sim.gps(START);
    EXPECT_EQ(sim.gps("", 1000), "$GPGGA,,,,,,0,,,,M,,M,,*66\r\n$GNRMC,,V,,,,,,,,,,N*4D\r\n");
}

TEST(Le910simGps, Track_MovesOnePointPerSecondAndRepeats) {
    cModemDriver sim(R"({"gps": {"enabled": true, "track": [[10, 20], [11, 21]]}})");
    sim.gps("AT$GPSNMUN=3,1\r");
    EXPECT_NE(sim.gps("", 1000).find(",1100.0000,N,02100.0000,E,"), std::string::npos);
    EXPECT_NE(sim.gps("", 1000).find(",1000.0000,N,02000.0000,E,"), std::string::npos);
    EXPECT_NE(sim.gps("", 1000).find(",1100.0000,N,02100.0000,E,"), std::string::npos);
}

TEST(Le910simGps, RestartWhileStreaming_IsBackInCommandMode) {
    cModemDriver sim(ENABLED);
    sim.gps(START, 1000);
    sim.order(R"({"op": "restart", "away_ms": 100})");
    sim.wait(3000);
    EXPECT_EQ(sim.gps("AT\r"), "AT\r" + OK);
}

}  // namespace le910sim
