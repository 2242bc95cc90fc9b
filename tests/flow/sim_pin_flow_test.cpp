#include "statemachine/sim_unlock.h"

#include <sys/stat.h>

#include "include/device_records.h"
#include "statemachine/sim_pin_files.h"
#include "statemachine/sim_pin_requests.h"
#include "statemachine/sim_status.h"
#include "statemachine/timers.h"
#include "tests/flow/sim_pin_fixture.h"
#include "tests/support/shown_case.h"

namespace {

class SimPin : public cSimPinFixture {
  protected:
    static std::string content(const char* path) { return readFile(path); }
    void request(const std::string& text) { writeFile(REQUEST, text); }
};

struct sUnlockCase {
    const char* name;
    const char* faultKind;
    int number;
    eGeneralErrors result;
    const char* outcome;
    bool emptied;
};

SHOW_CASE(sUnlockCase, row.name)

}  // namespace

class SimPinUnlock : public SimPin, public ::testing::WithParamInterface<sUnlockCase> {};

TEST_P(SimPinUnlock, Answer_GivesItsResultAndOutcome) {
    const sUnlockCase& test = GetParam();
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    if (test.faultKind != nullptr) fault("AT+CPIN=1234", test.faultKind, test.number);
    EXPECT_EQ(maybeUnlockSimPin(port(), device.sim), test.result);
    EXPECT_EQ(device.sim.s_outcome, test.outcome);
    EXPECT_EQ(commands(), (tCommands{"AT+CPIN=1234"}));
    EXPECT_EQ(content(CURRENT), test.emptied ? "" : "1234\n");
    // Used once: nothing more is sent until the file is written again.
    device.sim.i_lock_class = eSIM_PIN_REQUIRED;
    EXPECT_EQ(maybeUnlockSimPin(port(), device.sim), eFAILURE);
    EXPECT_TRUE(commands().empty());
}

INSTANTIATE_TEST_SUITE_P(
    Each, SimPinUnlock,
    ::testing::Values(
        sUnlockCase{"Ok", nullptr, 0, eSUCCESS, "SIM PIN successfully unlocked", false},
        sUnlockCase{"Error", "error", 0, eERROR_DEVICE_UNLOCK_CPIN_FAILED,
                    "Error: Unable to unlock SIM PIN, returned error", false},
        sUnlockCase{"Silence", "silence", 0, eERROR_DEVICE_RESPONSE_TIMEOUT,
                    "Error: Unable to unlock SIM PIN, command time out", false},
        sUnlockCase{"WrongPin", "cme", 16, eERROR_DEVICE_ENABLE_CPIN_FAILED,
                    "Error: Unable to unlock SIM PIN, bad password '1234'", true},
        sUnlockCase{"PukRequired", "cme", 12, eERROR_DEVICE_ENABLE_CPIN_FAILED,
                    "Error: Unable to unlock SIM PIN, bad password '1234'", true},
        sUnlockCase{"OtherCme", "cme", 14, eERROR_DEVICE_ENABLE_CPIN_FAILED,
                    "Error: Unable to unlock SIM PIN, CME error 'SIM BUSY' (14)", false},
        sUnlockCase{"UnknownCme", "cme", 999, eERROR_DEVICE_ENABLE_CPIN_FAILED,
                    "Error: Unable to unlock SIM PIN, CME error '' (-1)", false}),
    [](const auto& test) { return test.param.name; });

class SimPinFormat : public SimPin, public ::testing::WithParamInterface<const char*> {};

TEST_P(SimPinFormat, PinThatIsNotFourToEightDigits_IsRejectedAndNeverSent) {
    writeFile(CURRENT, GetParam());
    startWith(LOCKED);
    EXPECT_EQ(maybeUnlockSimPin(port(), device.sim), eERROR_DEVICE_CPIN_FORMAT_INVALID);
    EXPECT_TRUE(commands().empty());
    EXPECT_EQ(content(CURRENT), "");
}

INSTANTIATE_TEST_SUITE_P(Each, SimPinFormat,
                         ::testing::Values("123", "123456789", "12a4", "", "  \n", "1234;AT",
                                           "                 1234", "12345678901234567890"));

TEST_F(SimPin, RejectedPin_IsLoggedUnlessItIsEmpty) {
    startWith(LOCKED);
    const std::pair<const char*, const char*> expected[] = {
        {" \n", "Error: Cannot unlock SIM, CPIN is not set"},
        {"12a4\n", "Error: Cannot unlock SIM with CPIN '12a4', not a valid format"}};
    for (const auto& [text, outcome] : expected) {
        writeFile(CURRENT, text);
        EXPECT_EQ(maybeUnlockSimPin(port(), device.sim), eERROR_DEVICE_CPIN_FORMAT_INVALID);
        EXPECT_EQ(device.sim.s_outcome, outcome);
        EXPECT_EQ(logCount(outcome), 1u);
    }
}

TEST_F(SimPin, FoldersAndFifosInPlaceOfTheFiles_CountAsEmptyAndDoNotHang) {
    ASSERT_EQ(mkfifo(CURRENT, 0600), 0);
    EXPECT_EQ(readCpinFile(CURRENT), "");
    EXPECT_EQ(readCpinFile("/etc/vuk"), "");
    EXPECT_EQ(readCpinFile("/etc/vuk/none"), "");
}

TEST_F(SimPin, LockedSimWithUnchangedFile_ReturnsTwoOnEveryPollWithoutSending) {
    startWith(LOCKED);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(getSimStatus(port(), device.sim), eFAILURE);
    for (const std::string& command : commands())
        EXPECT_EQ(command.find("AT+CPIN="), std::string::npos);
}

TEST_F(SimPin, RewrittenFile_IsTriedAgain) {
    writeFile(CURRENT, "9999\n");
    startWith(LOCKED);
    EXPECT_EQ(getSimStatus(port(), device.sim), eERROR_DEVICE_ENABLE_CPIN_FAILED);
    writeFile(CURRENT, "1234\n");
    EXPECT_EQ(getSimStatus(port(), device.sim), eSUCCESS_DEVICE_UNLOCK);
    EXPECT_EQ(device.sim.i_lock_class, eSIM_READY);
}

TEST_F(SimPin, OutageAfterAnUnlock_AllowsTheSamePinOnce) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    EXPECT_EQ(getSimStatus(port(), device.sim), eSUCCESS_DEVICE_UNLOCK);
    order({{"op", "set"}, {"sim", {{"verified", false}}}});
    EXPECT_EQ(getSimStatus(port(), device.sim), eFAILURE);
    notePinOutage();
    EXPECT_EQ(getSimStatus(port(), device.sim), eSUCCESS_DEVICE_UNLOCK);
    order({{"op", "set"}, {"sim", {{"verified", false}}}});
    EXPECT_EQ(getSimStatus(port(), device.sim), eFAILURE);
}

TEST_F(SimPin, OutageAfterAFailedUnlock_AllowsNothing) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    fault("AT+CPIN=1234", "error");
    EXPECT_EQ(getSimStatus(port(), device.sim), eERROR_DEVICE_UNLOCK_CPIN_FAILED);
    commands();
    notePinOutage();
    EXPECT_EQ(getSimStatus(port(), device.sim), eFAILURE);
    for (const std::string& command : commands())
        EXPECT_EQ(command.find("AT+CPIN="), std::string::npos);
}

TEST_F(SimPin, OutageAfterASilentUnlock_AllowsTheSamePinOnceMore) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    order({{"op", "fault"},
           {"match", "AT+CPIN=1234"},
           {"kind", "silence"},
           {"count", 1},
           {"execute", false}});
    EXPECT_EQ(getSimStatus(port(), device.sim), eERROR_DEVICE_RESPONSE_TIMEOUT);
    notePinOutage();  // the port is closed because of the silence
    EXPECT_EQ(getSimStatus(port(), device.sim), eFAILURE);
    notePinOutage();
    EXPECT_EQ(getSimStatus(port(), device.sim), eSUCCESS_DEVICE_UNLOCK);
}

TEST_F(SimPin, OutageThatEndedWithAReadySim_AllowsNothingLater) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    EXPECT_EQ(getSimStatus(port(), device.sim), eSUCCESS_DEVICE_UNLOCK);
    notePinOutage();
    EXPECT_EQ(getSimStatus(port(), device.sim), eSUCCESS);
    // Another card with all its attempts: the PIN belongs to another card.
    order({{"op", "set"}, {"sim", {{"pin", "5678"}, {"verified", false}}}});
    EXPECT_EQ(getSimStatus(port(), device.sim), eFAILURE);
}

TEST_F(SimPin, OutageWithASimThatLostAnAttempt_AllowsNothing) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    EXPECT_EQ(getSimStatus(port(), device.sim), eSUCCESS_DEVICE_UNLOCK);
    order({{"op", "set"}, {"sim", {{"pin", "5678"}, {"verified", false}, {"pin_attempts", 2}}}});
    commands();
    notePinOutage();
    EXPECT_EQ(getSimStatus(port(), device.sim), eFAILURE);
    for (const std::string& command : commands())
        EXPECT_EQ(command.find("AT+CPIN="), std::string::npos);
}

struct sPukCase {
    const char* name;
    const char* puk;
    const char* pin;
    const char* faultKind;
    int number;
    eGeneralErrors result;
    const char* outcome;
};

SHOW_CASE(sPukCase, row.name)

class SimPuk : public SimPin, public ::testing::WithParamInterface<sPukCase> {};

TEST_P(SimPuk, Answer_GivesItsResultAndEmptiesBothFiles) {
    const sPukCase& test = GetParam();
    writeFile(PUK, test.puk);
    writeFile(REQUEST, test.pin);
    startWith(BLOCKED);
    if (test.faultKind != nullptr) fault("AT+CPIN=12345678,4321", test.faultKind, test.number);
    EXPECT_EQ(maybeUnlockSimPuk(port(), device.sim), test.result);
    EXPECT_EQ(device.sim.s_outcome, test.outcome);
    EXPECT_EQ(content(PUK), "");
    EXPECT_EQ(content(REQUEST), "");
    EXPECT_EQ(content(CURRENT), test.result == eSUCCESS ? "4321\n" : "");
}

INSTANTIATE_TEST_SUITE_P(
    Each, SimPuk,
    ::testing::Values(
        sPukCase{"Ok", "12345678\n", "4321\n", nullptr, 0, eSUCCESS,
                 "SIM PUK successfully unlocked"},
        sPukCase{"SevenDigits", "1234567", "4321", nullptr, 0, eERROR_DEVICE_PUK_FORMAT_INVALID,
                 "Error: Cannot unlock SIM PUK, PUK '1234567', not a valid format"},
        sPukCase{"EmptyPuk", " \n", "4321", nullptr, 0, eERROR_DEVICE_PUK_FORMAT_INVALID,
                 "Error: Cannot unlock SIM PUK, PUK is empty"},
        sPukCase{"EmptyPin", "12345678", "", nullptr, 0, eERROR_DEVICE_CPIN_FORMAT_INVALID,
                 "Error: Cannot unlock SIM PUK, CPIN is not set"},
        sPukCase{"BadPin", "12345678", "12", nullptr, 0, eERROR_DEVICE_CPIN_FORMAT_INVALID,
                 "Error: Cannot unlock SIM PUK, and change CPIN, CPIN '12', not a valid format"},
        sPukCase{"WrongPuk", "12345678", "4321", "cme", 16, eERROR_DEVICE_UNLOCK_PUK_FAILED,
                 "Error: Unable to unlock SIM PUK, returned error"},
        sPukCase{"Error", "12345678", "4321", "error", 0, eERROR_DEVICE_UNLOCK_PUK_FAILED,
                 "Error: Unable to unlock SIM PUK, returned error"},
        sPukCase{"Silence", "12345678", "4321", "silence", 0, eERROR_DEVICE_RESPONSE_TIMEOUT,
                 "Error: Unable to unlock SIM PUK, command time out"}),
    [](const auto& test) { return test.param.name; });

struct sRequestCase {
    const char* name;
    nlohmann::json scenario;
    const char* request;
    const char* faultCommand;
    const char* faultKind;
    int number;
    eGeneralErrors result;
    const char* outcome;
    tCommands sent;
    const char* currentAfter;
};

SHOW_CASE(sRequestCase, row.name)

class SimPinRequest : public SimPin, public ::testing::WithParamInterface<sRequestCase> {};

TEST_P(SimPinRequest, Request_IsAppliedOnceWithItsOutcome) {
    const sRequestCase& test = GetParam();
    writeFile(CURRENT, "1234\n");
    request(test.request);
    startWith(test.scenario);
    if (test.faultKind != nullptr) fault(test.faultCommand, test.faultKind, test.number);
    EXPECT_EQ(manageCpin(port(), device.sim), test.result);
    EXPECT_EQ(device.sim.s_outcome, test.outcome);
    tCommands sent = commands();
    if (sent.size() > test.sent.size())
        sent.resize(test.sent.size());  // a check of the SIM follows
    EXPECT_EQ(sent, test.sent);
    EXPECT_EQ(content(REQUEST), "");
    EXPECT_EQ(content(CURRENT), test.currentAfter);
    commands();
    EXPECT_EQ(manageCpin(port(), device.sim), eSUCCESS);
    EXPECT_TRUE(commands().empty());
}

const tCommands ENABLE = {"AT+CLCK=\"SC\",1,\"1234\""};
const tCommands DISABLE = {"AT+CLCK=\"SC\",0,\"1234\""};
const tCommands CHANGE = {"AT+CPWD=\"SC\",1234,4321"};

INSTANTIATE_TEST_SUITE_P(
    Each, SimPinRequest,
    ::testing::Values(
        sRequestCase{"Enable", OPEN, "enable\n", nullptr, nullptr, 0, eSUCCESS,
                     "SIM PIN '1234' successfully enabled", ENABLE, "1234\n"},
        sRequestCase{"EnableError", OPEN, "enable", "AT+CLCK=\"SC\",1,\"1234\"", "error", 0,
                     eERROR_DEVICE_SET_CPIN_FAILED,
                     "Error: Unable to enable SIM PIN '1234', AT command returned an error", ENABLE,
                     "1234\n"},
        sRequestCase{"EnableSilence", OPEN, "enable", "AT+CLCK=\"SC\",1,\"1234\"", "silence", 0,
                     eERROR_DEVICE_RESPONSE_TIMEOUT,
                     "Error: Unable to enable SIM PIN '1234', AT command timed out", ENABLE,
                     "1234\n"},
        sRequestCase{"EnableWrongPin", OPEN, "enable", "AT+CLCK=\"SC\",1,\"1234\"", "cme", 16,
                     eERROR_DEVICE_CPIN_BAD_PASSWORD,
                     "Error: Unable to enable SIM PIN, bad password '1234'", ENABLE, ""},
        sRequestCase{"EnableOtherCme", OPEN, "enable", "AT+CLCK=\"SC\",1,\"1234\"", "cme", 14,
                     eERROR_DEVICE_DISABLE_CPIN_FAILED,
                     "Error: Unable to enable SIM PIN, CME error 'SIM BUSY' (14)", ENABLE,
                     "1234\n"},
        sRequestCase{
            "DisableAlreadyOff", OPEN, "disable", nullptr, nullptr, 0, eSUCCESS, "", {}, "1234\n"},
        sRequestCase{"Disable", READY_WITH_LOCK, "disable", nullptr, nullptr, 0, eSUCCESS,
                     "SIM PIN '1234' successfully disabled", DISABLE, "1234\n"},
        sRequestCase{"DisableError", READY_WITH_LOCK, "disable", "AT+CLCK=\"SC\",0,\"1234\"",
                     "error", 0, eERROR_DEVICE_CLEAR_CPIN_FAILED,
                     "Error: Unable to disable SIM PIN '1234', AT command returned an error",
                     DISABLE, "1234\n"},
        sRequestCase{"EnableAlreadyOn",
                     READY_WITH_LOCK,
                     "enable",
                     nullptr,
                     nullptr,
                     0,
                     eSUCCESS,
                     "",
                     {},
                     "1234\n"},
        sRequestCase{"Change", READY_WITH_LOCK, "4321\n", nullptr, nullptr, 0, eSUCCESS,
                     "SIM PIN successfully changed from '1234' to '4321'", CHANGE, "4321\n"},
        sRequestCase{"ChangeWhileTheLockIsOff", OPEN, "4321", nullptr, nullptr, 0, eSUCCESS,
                     "SIM PIN successfully changed from '1234' to '4321'", sequence(ENABLE, CHANGE),
                     "4321\n"},
        sRequestCase{"ChangeError", READY_WITH_LOCK, "4321", "AT+CPWD=\"SC\",1234,4321", "error", 0,
                     eERROR_DEVICE_SET_CPIN_FAILED,
                     "Error: Unable to change SIM PIN from '1234' to '4321', AT command returned "
                     "an error",
                     CHANGE, "1234\n"},
        sRequestCase{"ChangeWrongPin", READY_WITH_LOCK, "4321", "AT+CPWD=\"SC\",1234,4321", "cme",
                     16, eERROR_DEVICE_CPIN_BAD_PASSWORD,
                     "Error: Unable to change SIM PIN from '1234' to '4321', bad password.", CHANGE,
                     ""},
        sRequestCase{"ChangeOtherCme", READY_WITH_LOCK, "4321", "AT+CPWD=\"SC\",1234,4321", "cme",
                     14, eERROR_DEVICE_CHANGE_CPIN_FAILED,
                     "Error: Unable to change SIM PIN from'1234' to '4321', CME error 'SIM BUSY' "
                     "(14)",
                     CHANGE, "1234\n"},
        sRequestCase{"ChangeSilence", READY_WITH_LOCK, "4321", "AT+CPWD=\"SC\",1234,4321",
                     "silence", 0, eERROR_DEVICE_RESPONSE_TIMEOUT,
                     "Error: Unable to change SIM PIN from '1234' to '4321', AT command timed out",
                     CHANGE, "1234\n"},
        sRequestCase{"SamePin",
                     READY_WITH_LOCK,
                     "1234",
                     nullptr,
                     nullptr,
                     0,
                     eSUCCESS,
                     "OLD/NEW CPINs '1234' are the same, ignoring",
                     {},
                     "1234\n"},
        sRequestCase{"InvalidNewPin",
                     READY_WITH_LOCK,
                     "12",
                     nullptr,
                     nullptr,
                     0,
                     eERROR_DEVICE_CPIN_FORMAT_INVALID,
                     "Error: Cannot change SIM CPIN, New CPIN '12' is not a valid format.",
                     {},
                     "1234\n"}),
    [](const auto& test) { return test.param.name; });

TEST_F(SimPin, RequestOfWhiteSpace_DoesNothing) {
    writeFile(CURRENT, "1234\n");
    request(" \n\t\n");
    startWith(OPEN);
    device.sim.s_outcome = "what was before";
    EXPECT_EQ(manageCpin(port(), device.sim), eSUCCESS);
    EXPECT_EQ(device.sim.s_outcome, "what was before");
    EXPECT_TRUE(commands().empty());
}

TEST_F(SimPin, LockThatIsAsRequested_OnlyLogsANotice) {
    writeFile(CURRENT, "1234\n");
    request("disable");
    startWith(OPEN);
    EXPECT_EQ(manageCpin(port(), device.sim), eSUCCESS);
    EXPECT_EQ(logCount("Notice: CPIN already disabled, cannot change"), 1u);
    request("enable");
    device.sim.i_pin_lock_enabled = 1;
    EXPECT_EQ(manageCpin(port(), device.sim), eSUCCESS);
    EXPECT_EQ(logCount("Notice: CPIN already enabled, cannot change"), 1u);
    EXPECT_TRUE(commands().empty());
}

TEST_F(SimPin, InvalidCurrentPin_IsRejectedBeforeTheRequest) {
    writeFile(CURRENT, "12\n");
    request("enable");
    startWith(OPEN);
    EXPECT_EQ(manageCpin(port(), device.sim), eERROR_DEVICE_CPIN_FORMAT_INVALID);
    EXPECT_EQ(device.sim.s_outcome,
              "Error: Cannot change SIM CPIN, Current CPIN 12 is not a valid format");
    EXPECT_EQ(content(CURRENT), "");
    EXPECT_TRUE(commands().empty());
}

TEST_F(SimPin, MissingSim_IsLoggedAsTenMinutesAndResetsAfterItsTimer) {
    start({{"sim", {{"present", false}}}});
    g_Cp_simMissingTimer->SetTimeout(120);
    EXPECT_EQ(getSimStatus(port(), device.sim), eSUCCESS);
    EXPECT_EQ(logCount("Notice: SIM is missing, starting timer (10 minutes)"), 1u);
    passSeconds(119);
    EXPECT_EQ(getSimStatus(port(), device.sim), eSUCCESS);
    passSeconds(2);
    EXPECT_EQ(getSimStatus(port(), device.sim), eERROR_DEVICE_REQUIRES_RESET);
    EXPECT_EQ(getSimStatus(port(), device.sim), eERROR_DEVICE_REQUIRES_RESET);
    EXPECT_EQ(logCount("SIM not detected after 2 minutes, device requires reset"), 2u);
}

TEST_F(SimPin, SimThatAppears_IsReportedOnceAsUnlocked) {
    start({{"sim", {{"present", false}}}});
    EXPECT_EQ(getSimStatus(port(), device.sim), eSUCCESS);
    order({{"op", "set"}, {"sim", {{"present", true}}}});
    passSeconds(30);
    EXPECT_EQ(getSimStatus(port(), device.sim), eSUCCESS_DEVICE_UNLOCK);
    EXPECT_EQ(getSimStatus(port(), device.sim), eSUCCESS);
    EXPECT_EQ(logCount("SIM is Ready, stopping SIM missing timer"), 1u);
}
