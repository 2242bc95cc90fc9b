#include <gtest/gtest.h>

#include "tests/unit/le910sim/test_driver.h"

namespace le910sim {

namespace {

const char* const LOCKED = R"({"sim": {"lock": true, "pin": "4711", "puk": "87654321"}})";

// A modem with numeric error codes.
void prepare(cModemDriver& sim) {
    ASSERT_EQ(sim.reply("AT+CMEE=1"), OK);
}

}  // namespace

TEST(Le910simCard, LockedCard_RefusesWhatNeedsThePin) {
    cModemDriver sim(LOCKED);
    prepare(sim);
    EXPECT_EQ(sim.reply("AT+CPIN?;#PCT"), "\r\n+CPIN: SIM PIN\r\n#PCT: 3\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT#QSS?"), "\r\n#QSS: 0,1\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+CLCK=\"SC\",2"), "\r\n+CLCK: 1\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+CIMI"), cme(11));
    EXPECT_EQ(sim.reply("AT+CNUM"), cme(11));
    EXPECT_EQ(sim.reply("AT+CGATT=1"), cme(11));
    EXPECT_EQ(sim.reply("AT+CPWD=\"SC\",4711,1111"), cme(11));
    EXPECT_EQ(sim.reply("AT+CMGL=0"), "\r\n+CMS ERROR: 311\r\n");
    EXPECT_EQ(sim.reply("AT+CREG?"), "\r\n+CREG: 0,0\r\n\r\nOK\r\n");
    EXPECT_TRUE(sim.modem.problems().empty());
}

TEST(Le910simCard, RightPin_UnlocksAndAnnouncesReadinessAMomentLater) {
    cModemDriver sim(LOCKED);
    EXPECT_EQ(sim.reply("AT+CPIN=4711"), OK);
    EXPECT_EQ(sim.readAt(490), "");
    EXPECT_EQ(sim.readAt(10), "\r\n+PACSP0\r\n");
    EXPECT_EQ(sim.reply("AT+CPIN?"), "\r\n+CPIN: READY\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+CREG?"), "\r\n+CREG: 0,1\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+CPIN=4711"), "\r\nERROR\r\n");
    EXPECT_TRUE(sim.modem.problems().empty());
}

TEST(Le910simCard, WrongPins_CountDownToThePuk) {
    cModemDriver sim(LOCKED);
    prepare(sim);
    EXPECT_EQ(sim.reply("AT+CPIN=0000"), cme(16));
    EXPECT_EQ(sim.reply("AT#PCT"), "\r\n#PCT: 2\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+CPIN=0000"), cme(16));
    EXPECT_EQ(sim.reply("AT+CPIN=0000"), cme(12));
    EXPECT_EQ(sim.reply("AT+CPIN?;#PCT"), "\r\n+CPIN: SIM PUK\r\n#PCT: 10\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+CPIN=4711"), cme(12));
    EXPECT_EQ(sim.reply("AT+CPIN=11111111,2222"), cme(16));
    EXPECT_EQ(sim.reply("AT#PCT"), "\r\n#PCT: 9\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+CPIN=87654321,2222"), OK);
    EXPECT_EQ(sim.reply("AT+CPIN?;#PCT"), "\r\n+CPIN: READY\r\n#PCT: 3\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+CPWD=\"SC\",2222,3333"), OK);
}

TEST(Le910simCard, ConfiguredAttempts_AreReportedWhateverTheRealNumber) {
    cModemDriver counting(R"({"sim": {"lock": true, "pct_text": "10"}})");
    counting.reply("AT+CPIN=0000");
    EXPECT_EQ(counting.reply("AT+CPIN?;#PCT"), "\r\n+CPIN: SIM PIN\r\n#PCT: 10\r\n\r\nOK\r\n");
    cModemDriver silent(R"({"sim": {"lock": true, "pct_text": "none"}})");
    EXPECT_EQ(silent.reply("AT+CPIN?;#PCT"), "\r\n+CPIN: SIM PIN\r\n\r\nOK\r\n");
}

TEST(Le910simCard, RightPinAfterAWrongOne_RestoresTheAttempts) {
    cModemDriver sim(LOCKED);
    sim.reply("AT+CPIN=0000");
    EXPECT_EQ(sim.reply("AT+CPIN=4711"), OK);
    EXPECT_EQ(sim.reply("AT#PCT"), "\r\n#PCT: 3\r\n\r\nOK\r\n");
}

TEST(Le910simCard, PukAttemptsUsedUp_BlockTheCard) {
    cModemDriver sim(R"({"sim": {"lock": true, "pin_attempts": 0, "puk_attempts": 1}})");
    prepare(sim);
    EXPECT_EQ(sim.reply("AT+CPIN=11111111,2222"), cme(13));
    EXPECT_EQ(sim.reply("AT+CPIN?"), cme(13));
    EXPECT_EQ(sim.reply("AT#PCT"), "\r\n#PCT: 0\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+CPIN=12345678,2222"), cme(13));
}

TEST(Le910simCard, Lock_IsSwitchedWithThePinInQuotes) {
    cModemDriver sim;
    prepare(sim);
    EXPECT_EQ(sim.reply("AT+CPWD=\"SC\",1234,4321"), cme(3));
    EXPECT_EQ(sim.reply("AT+CLCK=\"SC\",1,\"9999\""), cme(16));
    EXPECT_EQ(sim.reply("AT+CPIN?;#PCT"), "\r\n+CPIN: READY\r\n#PCT: 2\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+CLCK=\"SC\",1,\"1234\""), OK);
    EXPECT_EQ(sim.reply("AT+CLCK=\"SC\",2"), "\r\n+CLCK: 1\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+CPIN?"), "\r\n+CPIN: READY\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+CPWD=\"SC\",1234,4321"), OK);
    EXPECT_EQ(sim.reply("AT+CLCK=\"SC\",0,\"4321\""), OK);
    EXPECT_EQ(sim.reply("AT+CLCK=\"SC\",2"), "\r\n+CLCK: 0\r\n\r\nOK\r\n");
}

TEST(Le910simCard, ThreeWrongPinsWhileReady_LockThePukAndEndService) {
    cModemDriver sim;
    prepare(sim);
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(sim.reply("AT+CLCK=\"SC\",1,\"9999\""), cme(16));
    EXPECT_EQ(sim.reply("AT+CLCK=\"SC\",1,\"9999\""), cme(12));
    EXPECT_EQ(sim.reply("AT+CPIN?"), "\r\n+CPIN: SIM PUK\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+CEREG?"), "\r\n+CEREG: 0,0\r\n\r\nOK\r\n");
}

TEST(Le910simCard, NoCard_IsReported) {
    cModemDriver sim(R"({"sim": {"present": false}})");
    prepare(sim);
    EXPECT_EQ(sim.reply("AT#QSS?"), "\r\n#QSS: 0,0\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+CPIN?;#PCT"), cme(10));
    EXPECT_EQ(sim.reply("AT+CLCK=\"SC\",2"), cme(10));
    EXPECT_EQ(sim.reply("AT+CCID?"), cme(10));
    EXPECT_EQ(sim.reply("AT+CIMI"), cme(10));
}

TEST(Le910simCard, CpinText_ReplacesTheRealState) {
    cModemDriver sim(R"({"sim": {"cpin_text": "PH-NET PIN"}})");
    EXPECT_EQ(sim.reply("AT+CPIN?"), "\r\n+CPIN: PH-NET PIN\r\n\r\nOK\r\n");
}

TEST(Le910simCard, PulledAndInserted_ReportsWithQssMode) {
    cModemDriver sim;
    EXPECT_EQ(sim.reply("AT#QSS=1"), OK);
    EXPECT_TRUE(sim.order(R"({"op": "set", "sim": {"present": false}})").at("ok"));
    EXPECT_EQ(sim.readAt(0), "\r\n#QSS: 0\r\n");
    EXPECT_EQ(sim.reply("AT#QSS?"), "\r\n#QSS: 1,0\r\n\r\nOK\r\n");
    sim.order(R"({"op": "set", "sim": {"present": true}})");
    EXPECT_EQ(sim.readAt(0), "\r\n#QSS: 1\r\n");
    EXPECT_EQ(sim.reply("AT#QSS=2"), OK);
    EXPECT_EQ(sim.reply("AT#QSS?"), "\r\n#QSS: 2,3\r\n\r\nOK\r\n");
}

TEST(Le910simCard, PulledAndInserted_NeedsThePinAgain) {
    cModemDriver sim(LOCKED);
    EXPECT_EQ(sim.reply("AT+CPIN=4711"), OK);
    sim.order(R"({"op": "set", "sim": {"present": false}})");
    sim.order(R"({"op": "set", "sim": {"present": true}})");
    sim.readAt(600);
    EXPECT_EQ(sim.reply("AT+CPIN?"), "\r\n+CPIN: SIM PIN\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+CPIN=4711", 500), "\r\nOK\r\n\r\n+PACSP0\r\n");
}

// The line that the daemon sends: both waits count, 0.5 s and 5 s; then the other card answers.
TEST(Le910simCard, SlotSwitch_TakesEffectWithTheDetection) {
    cModemDriver sim(R"({"sim2": {"iccid": "89011480000000000021", "imsi": "311480000000021"}})");
    EXPECT_EQ(sim.reply("AT#GPIO=2,2"), "\r\n#GPIO: 1,1\r\n\r\nOK\r\n");
    const std::string line = "AT#GPIO=2,0,1,1;#ATDELAY=5;#SIMDET=0;#ATDELAY=50;#SIMDET=1";
    EXPECT_EQ(sim.reply(line, 5490), "");
    EXPECT_EQ(sim.state().at("sim_state"), "missing");
    EXPECT_EQ(sim.readAt(10), line + "\r\r\nOK\r\n");
    EXPECT_EQ(sim.readAt(500), "\r\n+PACSP0\r\n");
    EXPECT_EQ(sim.reply("AT#GPIO=2,2"), "\r\n#GPIO: 1,0\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+CIMI"), "\r\n311480000000021\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.state().at("sim_slot"), 2);
    EXPECT_TRUE(sim.modem.problems().empty());
}

TEST(Le910simCard, SlotSwitchToAnEmptySlot_FindsNoCard) {
    cModemDriver sim;
    sim.reply("AT#GPIO=2,0,1,1;#SIMDET=0;#SIMDET=1", 600);
    EXPECT_EQ(sim.reply("AT#QSS?"), "\r\n#QSS: 0,0\r\n\r\nOK\r\n");
}

TEST(Le910simCard, PinAlone_DoesNotSwitchTheSlot) {
    cModemDriver sim(R"({"sim2": {"imsi": "311480000000021"}})");
    EXPECT_EQ(sim.reply("AT#GPIO=2,0,1,1"), OK);
    EXPECT_EQ(sim.reply("AT+CIMI"), "\r\n310410000000001\r\n\r\nOK\r\n");
}

}  // namespace le910sim
