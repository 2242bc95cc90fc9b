#include "include/device_records.h"
#include "tests/flow/sim_pin_calls_fixture.h"
#include "tests/support/set_up_commands.h"
#include "tests/support/shown_case.h"

// The lock of the SIM: answers to "disable", the lock that a change of the PIN needs, and a lock of
// unknown state.

// ---- the answers to "disable", and to the lock that a change needs ----------------------------

struct sLockCase {
    const char* kind;
    int number;
    eGeneralErrors result;
    const char* outcome;
    const char* currentAfter;
};

SHOW_CASE(sLockCase, row.kind << " " << row.number)

class DisableAnswer : public SimPinCalls, public ::testing::WithParamInterface<sLockCase> {};

TEST_P(DisableAnswer, GivesItsResultAndOutcome) {
    writeFile(CURRENT, "1234\n");
    writeFile(REQUEST, "disable\n");
    startWith(READY_WITH_LOCK);
    fault("AT+CLCK=\"SC\",0,\"1234\"", GetParam().kind, GetParam().number);
    EXPECT_EQ(manage(), GetParam().result);
    EXPECT_EQ(device.sim.s_outcome, GetParam().outcome);
    EXPECT_EQ(readFile(CURRENT), GetParam().currentAfter);
    EXPECT_EQ(logCount(GetParam().outcome), 1u);
}

INSTANTIATE_TEST_SUITE_P(
    Each, DisableAnswer,
    ::testing::Values(
        sLockCase{"silence", 0, eERROR_DEVICE_RESPONSE_TIMEOUT,
                  "Error: Unable to disable SIM PIN '1234', AT command timed out", "1234\n"},
        sLockCase{"error", 0, eERROR_DEVICE_CLEAR_CPIN_FAILED,
                  "Error: Unable to disable SIM PIN '1234', AT command returned an error",
                  "1234\n"},
        sLockCase{"cme", 16, eERROR_DEVICE_CPIN_BAD_PASSWORD,
                  "Error: Unable to disable SIM PIN, bad password '1234'", ""},
        sLockCase{"cme", 12, eERROR_DEVICE_DISABLE_CPIN_FAILED,
                  "Error: Unable to disable SIM PIN, CME error 'SIM PUK REQUIRED' (12)", "1234\n"},
        sLockCase{"cme", 999, eERROR_DEVICE_DISABLE_CPIN_FAILED,
                  "Error: Unable to disable SIM PIN, CME error '' (-1)", "1234\n"}));

class LockBeforeChange : public SimPinCalls, public ::testing::WithParamInterface<sLockCase> {};

TEST_P(LockBeforeChange, ThatFails_EndsTheChangeWithItsOwnResult) {
    writeFile(CURRENT, "1234\n");
    writeFile(REQUEST, "4321\n");
    startWith(OPEN);
    fault("AT+CLCK=\"SC\",1,\"1234\"", GetParam().kind, GetParam().number);
    EXPECT_EQ(manage(), GetParam().result);
    EXPECT_EQ(device.sim.s_outcome, GetParam().outcome);
    EXPECT_EQ(commands(), (tCommands{"AT+CLCK=\"SC\",1,\"1234\""}));
    EXPECT_EQ(readFile(CURRENT), GetParam().currentAfter);
}

INSTANTIATE_TEST_SUITE_P(
    Each, LockBeforeChange,
    ::testing::Values(
        sLockCase{"silence", 0, eERROR_DEVICE_RESPONSE_TIMEOUT,
                  "Error: Unable to enable SIM PIN '1234', AT command timed out", "1234\n"},
        sLockCase{"error", 0, eERROR_DEVICE_SET_CPIN_FAILED,
                  "Error: Unable to enable SIM PIN '1234', AT command returned an error", "1234\n"},
        sLockCase{"cme", 16, eERROR_DEVICE_CPIN_BAD_PASSWORD,
                  "Error: Unable to enable SIM PIN, bad password '1234'", ""},
        sLockCase{"cme", 3, eERROR_DEVICE_DISABLE_CPIN_FAILED,
                  "Error: Unable to enable SIM PIN, CME error 'OPERATION NOT ALLOWED' (3)",
                  "1234\n"}));

TEST_F(SimPinCalls, ChangedPin_IsWrittenAfterAnotherCheckOfTheSim) {
    writeFile(CURRENT, "1234\n");
    writeFile(REQUEST, "87654321\n");
    startWith(READY_WITH_LOCK);
    EXPECT_EQ(manage(), eSUCCESS);
    EXPECT_EQ(commands(), sequence("AT+CPWD=\"SC\",1234,87654321", simCommands()));
    EXPECT_GE(pauseAfter("AT+CPWD=\"SC\",1234,87654321"), 200u);
    EXPECT_LT(pauseAfter("AT+CPWD=\"SC\",1234,87654321"), 300u);
    EXPECT_EQ(readFile(CURRENT), "87654321\n");
    EXPECT_EQ(logCount("CPIN chnage success to 87654321"), 1u);
    EXPECT_EQ(logCount("Device may require a reset after CPIN change"), 1u);
}

TEST_F(SimPinCalls, LogOfAFailedChange_NamesBothPins) {
    startWith(READY_WITH_LOCK);
    const std::pair<const char*, const char*> expected[] = {
        {"silence", "Warning: Device timeout while trying to change CPIN password to 4321"},
        {"error", "Error: Cannot CHANGE CPIN from '1234' to '4321', returned an error."},
        {"cme", "Error: Cannot CHANGE CPIN from '1234' to '4321', bad password"}};
    for (const auto& [kind, message] : expected) {
        writeFile(CURRENT, "1234\n");
        writeFile(REQUEST, "4321\n");
        fault("AT+CPWD=\"SC\",1234,4321", kind, 16);
        EXPECT_NE(manage(), eSUCCESS);
        EXPECT_EQ(logCount(message), 1u) << message;
    }
}

TEST_F(SimPinCalls, WordsOfARequest_AreAcceptedInLowerCaseOnly) {
    writeFile(CURRENT, "1234\n");
    startWith(OPEN);
    for (const char* word : {"Enable", "ENABLE", "enabled"}) {
        writeFile(REQUEST, word);
        EXPECT_EQ(manage(), eERROR_DEVICE_CPIN_FORMAT_INVALID);
    }
    EXPECT_TRUE(commands().empty());
}

// ---- a lock that is not known -----------------------------------------------------------------

TEST_F(SimPinCalls, UnknownLock_NeverCountsAsAlreadyDone) {
    startWith(OPEN);
    for (const auto& [request, command] :
         {std::pair<const char*, const char*>{"disable", "AT+CLCK=\"SC\",0,\"1234\""},
          {"enable", "AT+CLCK=\"SC\",1,\"1234\""},
          {"4321", "AT+CPWD=\"SC\",1234,4321"}}) {
        writeFile(CURRENT, "1234\n");
        writeFile(REQUEST, request);
        device.sim.i_pin_lock_enabled = -1;
        manage();
        EXPECT_EQ(commands().front(), command);
    }
    EXPECT_FALSE(logContains("Notice: CPIN already"));
}
