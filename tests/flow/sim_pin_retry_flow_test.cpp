#include <utility>

#include "include/device_records.h"
#include "tests/flow/sim_pin_life_fixture.h"

// When a PIN is sent again after an outage or a restart of the daemon, and when it is not.

namespace {

// What allows the PIN to be sent again.
enum class eWayBack { OUTAGE, OUTAGES, START };

class PinAfter : public PinLife, public ::testing::WithParamInterface<eWayBack> {
  protected:
    void goThrough() {
        switch (GetParam()) {
            case eWayBack::OUTAGES:
                notePinOutage();
                notePinOutage();
                [[fallthrough]];
            case eWayBack::OUTAGE:
                notePinOutage();
                break;
            case eWayBack::START:
                startAgain();
                break;
        }
    }
};

}  // namespace

// ---- a good PIN ----

TEST_P(PinAfter, GoodPin_IsSentAgainEachTime) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    expectUnlocked();
    for (int i = 0; i < 5; ++i) {
        lockAgain();
        goThrough();
        expectUnlocked();
    }
}

TEST_P(PinAfter, GoodPinThatTheSimNeedsWithoutAnOutage_IsNotSent) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    expectUnlocked();
    goThrough();
    EXPECT_EQ(look(), eSUCCESS);  // ready: the outage is over
    lockAgain();
    expectNotSent();
}

TEST_P(PinAfter, GoodPinOfASimWithFewerAttempts_IsOnlySentWhenItIsWrittenAgain) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    expectUnlocked();
    EXPECT_EQ(look(), eSUCCESS);
    lockAgain(2);
    goThrough();
    expectNotSent();
    EXPECT_EQ(
        device.sim.s_outcome,
        "Error: SIM PIN not sent, the SIM has 2 attempts left and had 3 when the PIN was last "
        "good; write the PIN file again to use it");
    expectNotSent();
    EXPECT_EQ(logCount(device.sim.s_outcome), 1u);
    EXPECT_EQ(readFile(CURRENT), "1234\n");
    writeAgain();
    expectUnlocked();
}

TEST_P(PinAfter, GoodPinOfASimThatHadTwoAttempts_IsComparedWithTheAttemptsWhenGood) {
    writeFile(CURRENT, "1234\n");
    startWith({{"sim", {{"pin", "1234"}, {"lock", true}, {"pin_attempts", 2}}}});
    expectUnlocked();
    EXPECT_EQ(look(), eSUCCESS);  // the right PIN restored all three
    lockAgain(2);
    goThrough();
    expectNotSent();
}

TEST_P(PinAfter, GoodPinOfASimThatReportsNoAttempts_IsSentAgainEachTime) {
    for (const char* attempts : {"none", "10", "0x3"}) {
        writeFile(CURRENT, "1234\n");
        startWith({{"sim", {{"pin", "1234"}, {"lock", true}, {"pct_text", attempts}}}});
        expectUnlocked();
        for (int i = 0; i < 3; ++i) {
            setSim({{"verified", false}});
            goThrough();
            expectUnlocked();
        }
    }
}

TEST_P(PinAfter, GoodPinAfterAnExchangeOfTheSim_CostsOneAttemptAndIsEmptied) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    expectUnlocked();
    setSim({{"pin", "5678"}, {"verified", false}});
    goThrough();
    EXPECT_EQ(look(), eERROR_DEVICE_ENABLE_CPIN_FAILED);
    EXPECT_EQ(readFile(CURRENT), "");
    for (int i = 0; i < 4; ++i) {
        goThrough();
        expectNotSent();
    }
    EXPECT_EQ(device.sim.i_pin_attempts, 2);
    EXPECT_EQ(device.sim.s_outcome.empty(), false);
}

TEST_P(PinAfter, GoodPinThatIsRefusedByABusyModem_IsNotSentAgain) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    expectUnlocked();
    lockAgain();
    goThrough();
    fault("AT+CPIN=1234", "cme", 14);
    EXPECT_EQ(look(), eERROR_DEVICE_ENABLE_CPIN_FAILED);
    goThrough();
    expectNotSent();
    writeAgain();
    expectUnlocked();
}

TEST_P(PinAfter, GoodPinThatIsNotAnswered_IsSentOnceMore) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    expectUnlocked();
    lockAgain();
    goThrough();
    silence("AT+CPIN=1234", false);
    lookWithoutAnswer();
    expectNotSent();
    goThrough();
    expectUnlocked();
    lockAgain();
    goThrough();
    expectUnlocked();
}

// ---- sent without an answer ----

TEST_P(PinAfter, PinThatIsNeverAnswered_IsSentOnlyOnceMore) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    silence("AT+CPIN=1234", false, 100);
    lookWithoutAnswer();
    expectNotSent();
    goThrough();
    lookWithoutAnswer();
    EXPECT_EQ(unlocksSent(), 1u);
    for (int i = 0; i < 4; ++i) {
        goThrough();
        expectNotSent();
    }
    EXPECT_EQ(readFile(CURRENT), "1234\n");
    order({{"op", "clear-faults"}});
    writeAgain();
    expectUnlocked();
}

TEST_P(PinAfter, PinThatWasNotAnsweredAndCostAnAttempt_IsKeptAndNotSent) {
    writeFile(CURRENT, "9999\n");
    startWith(LOCKED);
    silence("AT+CPIN=9999", true);
    lookWithoutAnswer();
    goThrough();
    expectNotSent();
    EXPECT_EQ(device.sim.s_outcome,
              "Error: SIM PIN not sent, the SIM has 2 attempts left and had 3 before the PIN was "
              "sent; write the PIN file again to use it");
    EXPECT_EQ(readFile(CURRENT), "9999\n");
    EXPECT_EQ(device.sim.i_pin_attempts, 2);
    goThrough();
    expectNotSent();
    writeFile(CURRENT, "1234\n");
    expectUnlocked();
}

TEST_P(PinAfter, RightPinOnASimWithTwoAttempts_IsSentOnceMore) {
    writeFile(CURRENT, "1234\n");
    startWith({{"sim", {{"pin", "1234"}, {"lock", true}, {"pin_attempts", 2}}}});
    silence("AT+CPIN=1234", false);
    lookWithoutAnswer();
    goThrough();
    expectUnlocked();
    EXPECT_EQ(readFile(CURRENT), "1234\n");
}

// The modem was slow, but executed the command.
TEST_P(PinAfter, PinThatUnlockedTheSimWithoutAnAnswer_IsGood) {
    for (const char* attempts : {"", "none", "1"}) {
        writeFile(CURRENT, "1234\n");
        startWith({{"sim", {{"pin", "1234"}, {"lock", true}, {"pct_text", attempts}}}});
        silence("AT+CPIN=1234", true);
        lookWithoutAnswer();
        EXPECT_EQ(look(), eSUCCESS);
        for (int i = 0; i < 3; ++i) {
            setSim({{"verified", false}});
            goThrough();
            expectUnlocked();
        }
    }
}

TEST_P(PinAfter, SecondSendingThatUnlockedTheSim_IsGoodToo) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    silence("AT+CPIN=1234", false);
    lookWithoutAnswer();
    goThrough();
    silence("AT+CPIN=1234", true);
    lookWithoutAnswer();
    EXPECT_EQ(look(), eSUCCESS);
    lockAgain();
    goThrough();
    expectUnlocked();
}

TEST_P(PinAfter, RefusedPin_IsNeverSentAgain) {
    for (const auto& [kind, number] : {std::pair("error", 0), std::pair("cme", 14)}) {
        writeFile(CURRENT, "1234\n");
        startWith(LOCKED);
        fault("AT+CPIN=1234", kind, number);
        EXPECT_NE(look(), eSUCCESS_DEVICE_UNLOCK);
        for (int i = 0; i < 3; ++i) {
            goThrough();
            expectNotSent();
        }
        EXPECT_EQ(readFile(CURRENT), "1234\n");
        writeAgain();
        expectUnlocked();
    }
}

TEST_P(PinAfter, WrongPin_IsEmptiedAndNothingIsSentForTheEmptyFile) {
    for (const int number : {16, 12}) {
        writeFile(CURRENT, "9999\n");
        writeFile(REQUEST, "4321\n");
        startWith(LOCKED);
        fault("AT+CPIN=9999", "cme", number);
        EXPECT_EQ(look(), eERROR_DEVICE_ENABLE_CPIN_FAILED);
        EXPECT_EQ(readFile(CURRENT), "");
        EXPECT_EQ(readFile(REQUEST), "");
        for (int i = 0; i < 3; ++i) {
            goThrough();
            expectNotSent();
        }
        writeFile(CURRENT, "1234\n");
        expectUnlocked();
    }
}

INSTANTIATE_TEST_SUITE_P(Each, PinAfter,
                         ::testing::Values(eWayBack::OUTAGE, eWayBack::OUTAGES, eWayBack::START),
                         [](const auto& test) {
                             switch (test.param) {
                                 case eWayBack::OUTAGE:
                                     return "Outage";
                                 case eWayBack::OUTAGES:
                                     return "Outages";
                                 case eWayBack::START:
                                     return "Start";
                             }
                             return "";
                         });

TEST_F(PinLife, CloseAfterTheSilence_IsNoOutage) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    silence("AT+CPIN=1234", false, 100);
    EXPECT_EQ(look(), eERROR_DEVICE_RESPONSE_TIMEOUT);
    notePinOutage();
    for (int i = 0; i < 5; ++i)
        expectNotSent();
    notePinOutage();
    EXPECT_EQ(look(), eERROR_DEVICE_RESPONSE_TIMEOUT);
    notePinOutage();
    for (int i = 0; i < 5; ++i)
        expectNotSent();
}

// The answer contradicts the state of the SIM: it belonged to another command.
TEST_F(PinLife, WrongPinThatSeemedToBeAccepted_IsNotSentAgain) {
    writeFile(CURRENT, "9999\n");
    startWith(LOCKED);
    order({{"op", "fault"},
           {"match", "AT+CPIN=9999"},
           {"kind", "answer"},
           {"count", 1},
           {"execute", true}});
    EXPECT_EQ(look(), eSUCCESS_DEVICE_UNLOCK);
    expectNotSent();
    startAgain();
    expectNotSent();
    EXPECT_EQ(device.sim.i_pin_attempts, 2);
}
