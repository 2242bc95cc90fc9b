#include "statemachine/state_machine.h"

#include <algorithm>

#include "include/device_records.h"
#include "include/options.h"
#include "tests/flow/state_machine_fixture.h"
#include "tests/support/set_up_commands.h"

// What the main loop does about a port that is gone and a modem that is silent or refuses.

TEST_F(StateMachine, PortMissingForTwoMinutes_ResetsTheModem) {
    writeFile(CONFIG_FILE, CONFIG + "DEBUG_MODE=480000\n");
    startOnTerminal();
    g_S_options.s_device = "/dev/there-is-no-such-port";
    uint64_t endedMs = 0;
    at(119, [&] { EXPECT_FALSE(logContains("Device missing after")); });
    EXPECT_EQ(run(600), eOUTER_EXIT_RESET);
    endedMs = simulatedPort().nowMs();
    EXPECT_GE(endedMs, 120000u);
    EXPECT_LE(endedMs, 124000u);
    EXPECT_EQ(logCount("Unable to open device port, starting 2 minute timer"), 1u);
    EXPECT_EQ(logCount("Device missing after 2 minutes, resetting"), 1u);
    // A pass every two seconds.
    EXPECT_EQ(logCount("DEBUG: Device handle missing"), 61u);
    EXPECT_EQ(logCount("DEBUG: Entering maybeStopGps()"), 0u);
    expectPowerCycle();
    EXPECT_TRUE(commands().empty());
}

TEST_F(StateMachine, PortThatComesBackInTime_IsSetUp) {
    startOnTerminal();
    const std::string path = g_S_options.s_device;
    g_S_options.s_device = "/dev/there-is-no-such-port";
    at(100, [&] { g_S_options.s_device = path; });
    std::string state;
    recordStatus(110, "_QMI_STATE", state);
    EXPECT_EQ(run(200), eOUTER_EXIT);
    EXPECT_EQ(state, "CONNECTED");
}

TEST_F(StateMachine, SilentModem_IsClosedAndConnectedAgainOnceItAnswers) {
    startOnTerminal();
    at(6, [this] { order({{"op", "fault"}, {"prefix", "AT"}, {"kind", "silence"}}); });
    at(40, [this] { order({{"op", "clear-faults"}}); });
    std::string during, after;
    recordStatus(39, "_QMI_STATE", during);
    recordStatus(60, "_QMI_STATE", after);
    EXPECT_EQ(run(61), eOUTER_EXIT);
    EXPECT_TRUE(logContains("Device not responding, closing port"));
    EXPECT_NE(during, "CONNECTED");
    EXPECT_EQ(after, "CONNECTED");
}

// The session may still work, so it is kept. The unknown IMEI is how others see the silence.
TEST_F(StateMachine, ModemThatBecomesSilentWithinAPoll_KeepsItsSessionAndPublishesNoImei) {
    startOnTerminal();
    at(6, [this] { order({{"op", "fault"}, {"prefix", "AT"}, {"kind", "silence"}, {"skip", 4}}); });
    std::string before, state, imei;
    recordStatus(6, "_IMEI", before);
    recordStatus(39, "_QMI_STATE", state);
    recordStatus(39, "_IMEI", imei);
    EXPECT_EQ(run(41), eOUTER_EXIT);
    EXPECT_EQ(before, "356938035643809");
    EXPECT_EQ(state, "CONNECTED");
    EXPECT_EQ(imei, IMEI_UNKNOWN);
}

TEST_F(StateMachine, ModemThatOnlyReportsErrors_IsResetAfterTenErrorsAndFourRestarts) {
    startOnTerminal();
    order({{"op", "fault"}, {"match", "AT+CSQ"}, {"kind", "error"}});
    EXPECT_EQ(run(600), eOUTER_EXIT_RESET);
    // Errors 10 to 13 close the port, and each counts as a restart.
    EXPECT_EQ(logCount("Device responded with errors 10 times, closing port and restarting"), 1u);
    EXPECT_EQ(logCount("Device responded with errors 13 times, closing port and restarting"), 1u);
    EXPECT_EQ(logCount("Device responded with errors after 13 attempts, requires reset"), 1u);
    expectPowerCycle();
    EXPECT_EQ(countOf(commands(), "AT+CSQ"), 13u);
}

TEST_F(StateMachine, NoServiceForFiveMinutes_ResetsTheModem) {
    startOnTerminal({{"registration", {{"state", "searching"}}}});
    EXPECT_EQ(run(1000), eOUTER_EXIT_RESET);
    EXPECT_GE(simulatedPort().nowMs(), 300000u);
    EXPECT_LE(simulatedPort().nowMs(), 310000u);
    EXPECT_EQ(logCount("Device has No Service after 5 minutes, requires reset"), 1u);
    EXPECT_EQ(commands().back(), "AT#REBOOT");
}

TEST_F(StateMachine, SecondOutageOfThePort_HasItsOwnTwoMinutes) {
    startOnTerminal();
    const std::string path = g_S_options.s_device;
    const auto loseThePort = [this] {
        g_S_options.s_device = "/dev/there-is-no-such-port";
        order({{"op", "fault"}, {"match", "AT"}, {"kind", "silence"}, {"count", 1}});
    };
    at(10, loseThePort);
    at(100, [&] { g_S_options.s_device = path; });
    at(120, loseThePort);
    at(220, [&] { g_S_options.s_device = path; });
    EXPECT_EQ(run(240), eOUTER_EXIT);
    EXPECT_EQ(logCount("Unable to open device port, starting 2 minute timer"), 2u);
    EXPECT_FALSE(logContains("Device missing after"));
    EXPECT_EQ(countOf(commands(), "AT+GMM"), 3u);
}

TEST_F(StateMachine, PortTestWithoutAnswer_SetsTheModemUpAgain) {
    startOnTerminal();
    at(6, [this] { silenceOnce("AT"); });
    EXPECT_EQ(run(20), eOUTER_EXIT);
    EXPECT_EQ(countOf(commands(), "AT+GMM"), 2u);
    EXPECT_EQ(logCount("Unable to open device port, starting 2 minute timer"), 1u);
    EXPECT_FALSE(logContains("Device not responding, closing port"));
}

TEST_F(StateMachine, LostPort_IsPublishedAtOnce) {
    startOnTerminal();
    at(6.5, [this] { silenceOnce("AT"); });
    std::string atOnce;
    for (int tenths = 66; tenths < 100; ++tenths)
        at(tenths / 10.0, [&] {
            if (atOnce.empty() && logContains("Unable to open device port"))
                atOnce = statusOf("_QMI_STATE");
        });
    EXPECT_EQ(run(20), eOUTER_EXIT);
    EXPECT_EQ(atOnce, "Unknown");
}

TEST_F(StateMachine, PortThatVanishesBeforeASetUp_IsPublishedWithinTwoSeconds) {
    startOnTerminal();
    at(6, [this] {
        reconfigure("CM_MTU=1400\n");
        simulatedPort().unplug();
    });
    std::string sim, state;
    recordStatus(8, "_SIM_STATUS", sim);
    recordStatus(8, "_QMI_STATE", state);
    run(20);
    EXPECT_EQ(sim, "Unknown");
    EXPECT_EQ(state, "Unknown");
    EXPECT_EQ(logCount("Device port has hung up, closing it"), 1u);
    EXPECT_FALSE(logContains("Device responded with errors"));
}

TEST_F(StateMachine, UnpluggedBetweenTwoPasses_IsSetUpOnceItIsBackAndNoErrorOfTheModem) {
    startOnTerminal();
    at(10, [this] { simulatedPort().unplug(); });
    at(14, [this] { plugInAgain(); });
    std::string state;
    recordStatus(24, "_QMI_STATE", state);
    EXPECT_EQ(run(25), eOUTER_EXIT);
    EXPECT_EQ(state, "CONNECTED");
    EXPECT_EQ(countOf(commands(), "AT+GMM"), 2u);
    EXPECT_FALSE(logContains("Device responded with errors"));
}

// The name of the port leads to the modem again before the daemon looks.
TEST_F(StateMachine, UnpluggedForAMoment_IsSetUpAgainToo) {
    startOnTerminal();
    at(10, [this] {
        simulatedPort().unplug();
        plugInAgain();
    });
    std::string state;
    recordStatus(20, "_QMI_STATE", state);
    EXPECT_EQ(run(21), eOUTER_EXIT);
    EXPECT_EQ(state, "CONNECTED");
    EXPECT_EQ(countOf(commands(), "AT+GMM"), 2u);
    EXPECT_EQ(logCount("Device port has hung up, closing it"), 1u);
    EXPECT_FALSE(logContains("Unable to open device port"));
}

// A set-up that each unplug interrupts clears no errors.
TEST_F(StateMachine, UnpluggedTwentyTimesInAMinute_IsNeverReset) {
    startOnTerminal();
    for (int i = 0; i < 20; ++i)
        at(10 + 3 * i, [this] {
            simulatedPort().unplug();
            plugInAgain();
        });
    std::string state;
    recordStatus(85, "_QMI_STATE", state);
    EXPECT_EQ(run(86), eOUTER_EXIT);
    EXPECT_EQ(state, "CONNECTED");
}

// The daemon waits for the current command as if the modem were silent.
TEST_F(StateMachine, PortThatVanishesInASetUp_IsPublishedWithTheEndOfItsCommand) {
    startOnTerminal();
    at(6, [this] {
        reconfigure("CM_MTU=1400\n");
        silenceOnce("AT+GMM");
    });
    at(6.8, [this] { simulatedPort().unplug(); });
    std::string atEnd;
    for (int hundredths = 680; hundredths < 1000; ++hundredths)
        at(hundredths / 100.0, [&] {
            if (atEnd.empty() && logContains("Device not responding, closing port"))
                atEnd = statusOf("_SIM_STATUS") + " after " +
                        std::to_string((simulatedPort().nowMs() - 6800) / 1000) + " s";
        });
    run(20);
    EXPECT_EQ(atEnd, "Unknown after 0 s");
}

TEST_F(StateMachine, OnePollWithoutAnswer_ReopensThePortAndKeepsTheSession) {
    startOnTerminal();
    at(6, [this] { silenceOnce("AT+CSQ"); });
    EXPECT_EQ(run(20), eOUTER_EXIT);
    EXPECT_EQ(logCount("Device not responding, closing port"), 1u);
    const tCommands sent = commands();
    EXPECT_EQ(countOf(sent, "AT+GMM"), 1u);
    EXPECT_EQ(countOf(sent, "AT+CGDATA=\"M-RAW_IP\",1"), 1u);
    // A port that was just opened is not tested in the same pass.
    const tCommands reopened = {"AT+CSQ", "AT+CGSN"};
    EXPECT_NE(std::search(sent.begin(), sent.end(), reopened.begin(), reopened.end()), sent.end());
}

TEST_F(StateMachine, ModemThatFailsAndThenIsSilent_IsResetAndItsGpsPortIsNotUsed) {
    writeFile(CONFIG_FILE, CONFIG + "DEBUG_MODE=480000\n");
    startOnTerminal();
    order({{"op", "fault"}, {"match", "AT+CSQ"}, {"kind", "error"}, {"count", 12}});
    order({{"op", "fault"}, {"match", "AT+CSQ"}, {"kind", "silence"}});
    EXPECT_EQ(run(600), eOUTER_EXIT_RESET);
    EXPECT_EQ(logCount("Device not responding, closing port"), 1u);
    EXPECT_EQ(logCount("DEBUG: Entering maybeStopGps()"), 1u) << "the set-up's";
    expectPowerCycle();
}

TEST_F(StateMachine, ErrorsBeforeASetUp_AreForgottenByIt) {
    startOnTerminal();
    at(6, [this] { fault("AT+CSQ", "error", 0, 9); });
    at(30, [this] { reconfigure("CM_MTU=1400\n"); });
    at(40, [this] { fault("AT+CSQ", "error", 0, 9); });
    EXPECT_EQ(run(60), eOUTER_EXIT);
    EXPECT_EQ(countOf(commands(), "AT+GMM"), 2u);
    EXPECT_FALSE(logContains("Device responded with errors"));
}

TEST_F(StateMachine, ErrorsWithGoodPollsBetween_AddUpAndThenEveryPassCountsARestart) {
    startOnTerminal();
    writeFile(CONFIG_FILE, CONFIG + "DEBUG_MODE=80000\n");
    at(6, [this] { fault("AT+CSQ", "error", 0, 5); });
    at(30, [this] { fault("AT+CSQ", "error", 0, 5); });
    EXPECT_EQ(run(60), eOUTER_EXIT_RESET);
    EXPECT_EQ(logCount("Device responded with errors 10 times, closing port and restarting"), 1u);
    // The tenth error and the three good passes after it.
    EXPECT_EQ(logCount("DEBUG: Device responded with errors 10 times, closing port and restarting"),
              3u);
    EXPECT_EQ(logCount("Device responded with errors after 10 attempts, requires reset"), 1u);
    expectPowerCycle();
    EXPECT_EQ(countOf(commands(), "AT#REBOOT"), 0u);
}

TEST_F(StateMachine, ContextThatIsRefused_IsTriedEveryThirtySecondsAndIsNoError) {
    startOnTerminal();
    order({{"op", "fault"}, {"match", "AT+CGACT=1,1"}, {"kind", "error"}});
    std::string error;
    recordStatus(400, "_LAST_CONNECT_ERROR", error);
    EXPECT_EQ(run(401), eOUTER_EXIT);
    const size_t attempts = countOf(commands(), "AT+CGACT=1,1");
    EXPECT_GE(attempts, 12u);
    EXPECT_LE(attempts, 14u);
    EXPECT_EQ(logCount("runStateMachine(): startDataSession() PDP Context Activation failure"), 1u);
    EXPECT_FALSE(logContains("Device responded with errors"));
    EXPECT_EQ(error, "eERROR_DEVICE_PDP_CONTEXT_ACTIVATE_FAILURE");
}

TEST_F(StateMachine, SessionStartsThatFailOtherwise_CountAsErrors) {
    startOnTerminal();
    writeFile(CONFIG_FILE, CONFIG + "DEBUG_MODE=20000\n");
    order({{"op", "fault"}, {"match", "AT#NCM=1,1"}, {"kind", "error"}});
    EXPECT_EQ(run(600), eOUTER_EXIT_RESET);
    EXPECT_EQ(logCount("Error: startDataSession() returned '208'"), 1u);
    EXPECT_EQ(logCount("DEBUG: Error: startDataSession() returned '208'"), 9u);
    EXPECT_EQ(logCount("Device responded with errors after 10 attempts, requires reset"), 1u);
    expectPowerCycle();
}

TEST_F(StateMachine, SessionStartWithoutAnswer_ClosesThePortAndStartsAgain) {
    startOnTerminal();
    silenceOnce("AT#NCM=1,1");
    std::string state;
    recordStatus(60, "_QMI_STATE", state);
    EXPECT_EQ(run(61), eOUTER_EXIT);
    EXPECT_EQ(logCount("Device not responding, closing port"), 1u);
    EXPECT_EQ(state, "CONNECTED");
    EXPECT_EQ(countOf(commands(), "AT+GMM"), 1u);
}

TEST_F(StateMachine, SetupErrors_CountBeforeTheSimWasReadToo) {
    startOnTerminal();
    order({{"op", "fault"}, {"match", "AT+GMM"}, {"kind", "error"}});
    EXPECT_EQ(run(60), eOUTER_EXIT_RESET);
    EXPECT_EQ(countOf(commands(), "AT+GMM"), 13u);
    EXPECT_EQ(logCount("Device responded with errors after 13 attempts, requires reset"), 1u);
    expectPowerCycle();
}

TEST_F(StateMachine, SetupThatFailsOtherwise_CountsAsError) {
    writeFile(CONFIG_FILE, CONFIG + "CM_FW_SLOT=1\n");
    startOnTerminal({{"firmware", {{"dual", true}, {"slot", 1}}}});
    order({{"op", "fault"}, {"prefix", "AT#IMSPDPSET="}, {"kind", "error"}});
    EXPECT_EQ(run(600), eOUTER_EXIT_RESET);
    EXPECT_EQ(logCount("Device responded with errors after 13 attempts, requires reset"), 1u);
    expectPowerCycle();
}

TEST_F(StateMachine, PortThatCannotBeOpened_IsTracedWithItsAttempts) {
    writeFile(CONFIG_FILE, CONFIG + "DEBUG_MODE=C0000\n");
    startOnTerminal();
    const std::string path = g_S_options.s_device;
    g_S_options.s_device = CONFIG_FILE;  // exists, but is no port
    at(3, [&] { g_S_options.s_device = path; });
    at(20, [this] {
        g_S_options.s_device = CONFIG_FILE;
        silenceOnce("AT");
    });
    EXPECT_EQ(run(25), eOUTER_EXIT);
    const std::string attempt =
        "DEBUG: Error opening port '" + std::string(CONFIG_FILE) + "', attempt ";
    // The count starts again after the port was good; a port test without answer counts too.
    EXPECT_EQ(logCount(attempt + "1"), 2u);
    EXPECT_EQ(logCount(attempt + "2"), 2u);
    EXPECT_TRUE(
        logContains("DEBUG: runStateMachine(): Port '" + path + "' is open and good with FH "));
}

TEST_F(StateMachine, FailuresOfEachState_AreTracedWithTheirNumbers) {
    writeFile(CONFIG_FILE, CONFIG + "DEBUG_MODE=10000\n");
    startOnTerminal();
    silenceOnce("AT+GMM");
    fault("AT+CMEE=1", "error");
    silenceOnce("AT#NCM=1,1");
    at(60, [this] { silenceOnce("AT+CSQ"); });
    at(70, [this] { fault("AT+CSQ", "error"); });
    EXPECT_EQ(run(80), eOUTER_EXIT);
    const std::string start = "DEBUG: runStateMachine(): ";
    for (const char* line :
         {"Error: setupModem() returned TIMEOUT '6'", "Error: setupModem() returned '7'",
          "Error: startDataSession() returned TIMEOUT '6'",
          "Error: pollDevice() returned TIMEOUT '6'", "Error: pollDevice() returned '7'"})
        EXPECT_EQ(logCount(start + line), 1u) << line;
    EXPECT_GE(logCount(start + "startDataSession() waiting on Network Delay Timer"), 20u);
}
