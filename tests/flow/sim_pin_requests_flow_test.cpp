#include <sys/mount.h>

#include <utility>

#include "include/device_records.h"
#include "tests/flow/sim_pin_life_fixture.h"
#include "tests/support/set_up_commands.h"
#include "tests/support/shown_case.h"

// Requests to change the PIN or its lock: those without an answer, and those that overlap.

TEST_F(PinLife, AcceptedRequest_MakesThePinGood) {
    writeFile(CURRENT, "1234\n");
    writeFile(REQUEST, "4321\n");
    startWith(READY_WITH_LOCK);
    EXPECT_EQ(look(), eSUCCESS);
    EXPECT_EQ(readFile(CURRENT), "4321\n");
    lockAgain();
    expectNotSent();
    startAgain();
    expectUnlocked();
    writeFile(REQUEST, "disable\n");
    EXPECT_EQ(look(), eSUCCESS);
    writeFile(REQUEST, "enable\n");
    EXPECT_EQ(look(), eSUCCESS);
    lockAgain(2);
    startAgain();
    expectNotSent();
}

TEST_F(PinLife, ChangedPinThatCannotBeWritten_IsUsedAndNotTheOldOne) {
    writeFile(CURRENT, "1234\n");
    writeFile(REQUEST, "4321\n");
    startWith(READY_WITH_LOCK);
    const auto remount = [](unsigned long flags) {
        return mount(nullptr, "/etc/vuk", nullptr, MS_REMOUNT | MS_BIND | flags, nullptr);
    };
    bool isFull = false;
    simulatedPort().onTurn([&] {
        const std::vector<std::string> sent = simulatedPort().modem().commands();
        if (isFull || sent.empty() || sent.back() != "AT+CPWD=\"SC\",1234,4321") return;
        isFull = remount(MS_RDONLY) == 0;
    });
    EXPECT_EQ(look(), eSUCCESS);
    ASSERT_TRUE(isFull);
    ASSERT_EQ(remount(0), 0);
    EXPECT_EQ(readFile(CURRENT), "1234\n");
    lockAgain();
    startAgain();
    expectUnlocked();
    EXPECT_EQ(readFile(CURRENT), "4321\n");
}

TEST_F(PinLife, RequestThatIsRefusedByABusyModem_LeavesAGoodPinGood) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    expectUnlocked();
    writeFile(REQUEST, "disable\n");
    fault("AT+CLCK=\"SC\",0,\"1234\"", "cme", 14);
    EXPECT_EQ(look(), eERROR_DEVICE_DISABLE_CPIN_FAILED);
    lockAgain();
    notePinOutage();
    expectUnlocked();
}

class UnansweredRequest
    : public PinLife,
      public ::testing::WithParamInterface<std::pair<const char*, const char*>> {};

TEST_P(UnansweredRequest, WithAWrongPin_ReadySimProvesNothingAndThePinIsNotSent) {
    const auto& [request, command] = GetParam();
    writeFile(CURRENT, "9999\n");
    writeFile(REQUEST, request);
    startWith(READY_WITH_LOCK);
    silence(command, true);
    lookWithoutAnswer();
    EXPECT_EQ(look(), eSUCCESS);  // ready as it was before
    setSim({{"verified", false}});
    startAgain();
    expectNotSent();
    EXPECT_EQ(device.sim.i_pin_attempts, 2);
}

INSTANTIATE_TEST_SUITE_P(Each, UnansweredRequest,
                         ::testing::Values(std::pair("5678", "AT+CPWD=\"SC\",9999,5678"),
                                           std::pair("disable", "AT+CLCK=\"SC\",0,\"9999\"")));

struct sOverlapCase {
    const char* name;
    const char* first;
    const char* command;
    const char* second;
    tCommands sent;
};

SHOW_CASE(sOverlapCase, row.name)

class RequestDuringACommand : public PinLife, public ::testing::WithParamInterface<sOverlapCase> {};

TEST_P(RequestDuringACommand, IsHandledAfterIt) {
    const sOverlapCase& test = GetParam();
    writeFile(CURRENT, "1234\n");
    writeFile(REQUEST, test.first);
    startWith(READY_WITH_LOCK);
    order({{"op", "fault"},
           {"match", test.command},
           {"kind", "delay"},
           {"delay_ms", 600},
           {"count", 1}});
    bool isWritten = false;
    simulatedPort().onTurn([&] {
        const std::vector<std::string> sent = simulatedPort().modem().commands();
        if (isWritten || sent.empty() || sent.back() != test.command) return;
        isWritten = true;
        writeFile(REQUEST, test.second);
    });
    EXPECT_EQ(look(), eSUCCESS);
    ASSERT_TRUE(isWritten);
    EXPECT_EQ(readFile(REQUEST), test.second);
    commands();
    EXPECT_EQ(look(), eSUCCESS);
    tCommands sent = commands();
    sent.erase(sent.begin(), sent.begin() + 10);  // two checks of the SIM
    sent.resize(test.sent.size());                // another one follows a change
    EXPECT_EQ(sent, test.sent);
    EXPECT_EQ(readFile(REQUEST), "");
    commands();
    EXPECT_EQ(look(), eSUCCESS);
    EXPECT_EQ(commands(), sequence(simCommands(), simCommands()));
}

INSTANTIATE_TEST_SUITE_P(Each, RequestDuringACommand,
                         ::testing::Values(sOverlapCase{"ChangeThenChange",
                                                        "4321\n",
                                                        "AT+CPWD=\"SC\",1234,4321",
                                                        "5678\n",
                                                        {"AT+CPWD=\"SC\",4321,5678"}},
                                           sOverlapCase{"ChangeThenDisable",
                                                        "4321\n",
                                                        "AT+CPWD=\"SC\",1234,4321",
                                                        "disable\n",
                                                        {"AT+CLCK=\"SC\",0,\"4321\""}},
                                           sOverlapCase{"DisableThenEnable",
                                                        "disable\n",
                                                        "AT+CLCK=\"SC\",0,\"1234\"",
                                                        "enable\n",
                                                        {"AT+CLCK=\"SC\",1,\"1234\""}}),
                         [](const auto& test) { return test.param.name; });

TEST_F(PinLife, PukWrittenDuringAChange_IsUsedWhenTheSimRequiresIt) {
    writeFile(CURRENT, "1234\n");
    writeFile(REQUEST, "4321\n");
    startWith(READY_WITH_LOCK);
    bool isWritten = false;
    simulatedPort().onTurn([&] {
        const std::vector<std::string> sent = simulatedPort().modem().commands();
        if (isWritten || sent.empty() || sent.back() != "AT+CPWD=\"SC\",1234,4321") return;
        isWritten = true;
        writeFile(PUK, "12345678\n");
        writeFile(REQUEST, "8888\n");
        setSim({{"verified", false}, {"pin_attempts", 0}});
    });
    look();
    ASSERT_TRUE(isWritten);
    EXPECT_EQ(look(), eSUCCESS_DEVICE_UNLOCK);
    EXPECT_EQ(readFile(CURRENT), "8888\n");
    EXPECT_EQ(look(), eSUCCESS);
}

TEST_F(PinLife, PukWrittenWhileTheSimRefusesAnother_IsUsedAfterIt) {
    writeFile(PUK, "87654321\n");
    writeFile(REQUEST, "4321\n");
    startWith(
        {{"sim", {{"pin", "1234"}, {"puk", "12345678"}, {"lock", true}, {"pin_attempts", 0}}}});
    bool isWritten = false;
    simulatedPort().onTurn([&] {
        const std::vector<std::string> sent = simulatedPort().modem().commands();
        if (isWritten || sent.empty() || sent.back() != "AT+CPIN=87654321,4321") return;
        isWritten = true;
        writeFile(REQUEST, "4321\n");
        writeFile(PUK, "12345678\n");
    });
    EXPECT_EQ(look(), eERROR_DEVICE_UNLOCK_PUK_FAILED);
    ASSERT_TRUE(isWritten);
    EXPECT_EQ(look(), eSUCCESS_DEVICE_UNLOCK);
    EXPECT_EQ(readFile(CURRENT), "4321\n");
}
