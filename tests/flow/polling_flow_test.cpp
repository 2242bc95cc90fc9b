#include "include/debug.h"
#include "include/device_records.h"
#include "statemachine/modem_control.h"
#include "statemachine/timers.h"
#include "tests/flow/bring_up_steps_fixture.h"

// Each step of a poll: what a silent or refusing modem leads to, and what is then not sent.

class PollSilence : public BringUpSteps, public ::testing::WithParamInterface<sPlace> {};

TEST_P(PollSilence, AtAnyCommand_EndsThereAsATimeOut) {
    const tCommands healthy = pollCommands();
    startRegistered();
    faultAt(healthy, GetParam().index, "silence");
    EXPECT_EQ(poll(), eERROR_DEVICE_RESPONSE_TIMEOUT);
    tCommands expected = firstOf(healthy, GetParam().index + 1);
    EXPECT_EQ(commands(), expected);
}

INSTANTIATE_TEST_SUITE_P(Each, PollSilence, ::testing::ValuesIn(placesOf(pollCommands())),
                         placeName);

class PollRefusal : public BringUpSteps, public ::testing::WithParamInterface<tRefusalCase> {};

TEST_P(PollRefusal, AtACommand_EndsThereOrContinues) {
    const auto& [test, kind] = GetParam();
    const tCommands healthy = pollCommands();
    const auto found = std::find(healthy.begin(), healthy.end(), test.command);
    ASSERT_NE(found, healthy.end());
    startRegistered();
    // After set-up a modem reports its errors by number.
    sendEarlier("AT+CMEE=1");
    faultAt(healthy, static_cast<size_t>(found - healthy.begin()), kind);
    EXPECT_EQ(poll(), refusalResult(test, kind));
    EXPECT_EQ(commands(),
              test.refusal == eRefusal::GOES_ON ? healthy : tCommands(healthy.begin(), found + 1));
}

INSTANTIATE_TEST_SUITE_P(Each, PollRefusal,
                         ::testing::Combine(::testing::ValuesIn(refusalsOf(pollSteps())),
                                            ::testing::Values("error", "cme")),
                         refusalName);

TEST_F(BringUpSteps, SecondRegistrationQueryThatFails_EndsThePollAndForgetsTheState) {
    const tCommands sent = sequence(pollInfoCommands(), "AT+CEREG?", "AT+CREG?");
    start({{"registration", {{"tech", "WCDMA"}}}});
    ASSERT_EQ(poll(), eSUCCESS);
    ASSERT_TRUE(device.network.b_registered);
    for (const auto& [kind, result] :
         {std::pair<const char*, eGeneralErrors>{"error", eERROR_DEVICE_RESPONSE_ERROR},
          {"silence", eERROR_DEVICE_RESPONSE_TIMEOUT}}) {
        commands();
        fault("AT+CREG?", kind);
        EXPECT_EQ(poll(), result);
        EXPECT_EQ(commands(), sent);
        EXPECT_FALSE(device.network.b_registered);
        EXPECT_EQ(device.network.i_reg_state, eREG_UNKNOWN);
        ASSERT_EQ(poll(), eSUCCESS);
        EXPECT_TRUE(device.network.b_registered);
    }
}

TEST_F(BringUpSteps, RegistrationInTheOtherDomain_CountsAsRegistered) {
    start({{"registration", {{"tech", "WCDMA"}, {"state", "roaming"}}}});
    EXPECT_EQ(poll(), eSUCCESS);
    EXPECT_EQ(commands(), sequence(pollInfoCommands(), "AT+CEREG?", "AT+CREG?", "AT+CIREG?",
                                   "AT#SLED=3,10,30", "AT#PSNT?;#RFSTS", "AT+CSQ"));
    EXPECT_TRUE(device.network.b_registered);
    EXPECT_EQ(device.network.i_reg_state, eREG_ROAMING);
}

TEST_F(BringUpSteps, DeniedRegistration_ShowsItsLedAndReadsTheCell) {
    start({{"registration", {{"state", "denied"}}}});
    EXPECT_EQ(poll(), eSUCCESS);
    EXPECT_EQ(commands(), sequence(pollInfoCommands(), "AT+CEREG?", "AT+CREG?", "AT+CIREG?",
                                   "AT#SLED=3,1,30", "AT#PSNT?;#RFSTS", "AT+CSQ"));
}

TEST_F(BringUpSteps, PollOfALockedSim_ReturnsTwoAfterItsStatus) {
    start(LOCKED_SIM);
    EXPECT_EQ(poll(), eFAILURE);
    EXPECT_EQ(commands(),
              sequence(commandsOf(numberAndTemperatureSteps()), simCommands(), simCommands()));
}

TEST_F(BringUpSteps, PollThatUnlocksTheSim_ReturnsOneRightAway) {
    writeFile(CURRENT_PIN, "1234\n");
    start(LOCKED_SIM);
    EXPECT_EQ(poll(), eSUCCESS_DEVICE_UNLOCK);
    EXPECT_EQ(commands(), sequence(commandsOf(numberAndTemperatureSteps()), simCommands(),
                                   simCommands(), "AT+CPIN=1234", simCommands()));
}

TEST_F(BringUpSteps, PollWithoutSim_ContinuesWithRegistration) {
    start({{"sim", {{"present", false}}}});
    EXPECT_EQ(poll(), eSUCCESS);
    EXPECT_EQ(commands(),
              sequence(commandsOf(numberAndTemperatureSteps()), "AT#QSS?", "AT#QSS?", "AT+CEREG?",
                       "AT+CREG?", "AT+CIREG?", "AT#SLED=3,5,30", "AT+CSQ"));
}

TEST_F(BringUpSteps, FiveMinutesWithoutService_RequestAResetBeforeRegistrationIsRead) {
    start({{"registration", {{"state", "searching"}}}});
    ASSERT_EQ(poll(), eSUCCESS);
    commands();
    passSeconds(298);
    // Without registration no messages can come.
    ASSERT_EQ(poll(), eERROR_DEVICE_NETWORK_NOT_REGISTERED);
    commands();
    passSeconds(2);
    EXPECT_EQ(poll(), eERROR_DEVICE_REQUIRES_RESET);
    EXPECT_EQ(commands(), pollInfoCommands());
}

TEST_F(BringUpSteps, RequestsOfOtherPrograms_AreServedEvenWhenMessagesTimeOut) {
    startRegistered();
    passSeconds(5);
    writeFile("/tmp/at_cmd_in", "AT+CSQ\n");
    fault("AT+CMGL=0", "silence");
    EXPECT_EQ(poll(), eERROR_DEVICE_RESPONSE_TIMEOUT);
    EXPECT_EQ(commands().back(), "AT+CSQ");
    EXPECT_TRUE(fileExists("/tmp/at_cmd_out"));
}

TEST_F(BringUpSteps, RequestThatIsNotAnswered_DoesNotFailThePoll) {
    startRegistered();
    writeFile("/tmp/at_cmd_in", "AT+CGMM\n");
    fault("AT+CGMM", "silence");
    EXPECT_EQ(poll(), eSUCCESS);
}

// ---- the clock --------------------------------------------------------------------------------

TEST_F(BringUpSteps, Clock_IsReadBetweenTheSimAndTheOwnNumber) {
    config.syncTime = true;
    startRegistered();
    g_i_debugMode = eLOG_STATE;
    ASSERT_EQ(poll(), eSUCCESS);
    EXPECT_EQ(logCount("DEBUG: maybeSetSystemTime(): Running command 'systime.sh --set "
                       "\"6/15/20 20:32:5\" &>/dev/null'"),
              1u);
    const tCommands sent = commands();
    const tCommands expected =
        sequence(commandsOf(numberAndTemperatureSteps()), simCommands(), simCommands(), "AT+CSDF=1",
                 "AT#CCLKMODE=0", "AT#NITZ=3,0", "AT#CCLK?", "AT+CNUM");
    EXPECT_EQ(firstOf(sent, expected.size()), expected);
    EXPECT_EQ(logCount("Success updating system date/time to '6/15/20 20:32:5'"), 1u);
}

TEST_F(BringUpSteps, Clock_IsNotSetWhileUnregisteredOrNotConfigured) {
    config.syncTime = true;
    start();
    EXPECT_EQ(getModemPollInfo(port(), device, config), eSUCCESS);
    device.network.b_registered = true;
    config.syncTime = false;
    EXPECT_EQ(getModemPollInfo(port(), device, config), eSUCCESS);
    EXPECT_EQ(commands(), sequence(pollInfoCommands(), pollInfoCommands()));
    EXPECT_FALSE(g_Cp_dateTimeSyncTimer->IsTimerEnabled());
}

TEST_F(BringUpSteps, ClockThatCouldNotBeSet_IsTriedAgainAfterThreeHundredSeconds) {
    config.syncTime = true;
    start();
    device.network.b_registered = true;
    shell.setStatus("systime.sh", 1);
    ASSERT_EQ(getModemPollInfo(port(), device, config), eSUCCESS);
    EXPECT_TRUE(logContains("Failed to update system date/time to '"));
    passSeconds(299);
    ASSERT_EQ(getModemPollInfo(port(), device, config), eSUCCESS);
    EXPECT_EQ(shell.calls().size(), 1u);
    passSeconds(1);
    shell.setStatus("systime.sh", 0);
    ASSERT_EQ(getModemPollInfo(port(), device, config), eSUCCESS);
    EXPECT_EQ(shell.calls().size(), 2u);
    passSeconds(14399);
    ASSERT_EQ(getModemPollInfo(port(), device, config), eSUCCESS);
    EXPECT_EQ(shell.calls().size(), 2u);
    passSeconds(1);
    ASSERT_EQ(getModemPollInfo(port(), device, config), eSUCCESS);
    EXPECT_EQ(shell.calls().size(), 3u);
}
