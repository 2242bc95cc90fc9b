#include "statemachine/state_machine.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>

#include "include/options.h"
#include "include/signal_flags.h"
#include "platform/include/key_value_store.h"
#include "tests/flow/state_machine_fixture.h"
#include "tests/support/set_up_commands.h"

TEST_F(StateMachine, ColdStart_TakesTheFixedWaitsOfItsCommandsAndOnePass) {
    startOnTerminal();
    EXPECT_EQ(run(6), eOUTER_EXIT);
    const tCommands sent = commands();
    const tCommands expected = sequence(setupCommands(), "AT", pollCommands(), sessionCommands());
    ASSERT_GE(sent.size(), expected.size());
    EXPECT_EQ(firstOf(sent, expected.size()), expected);
    // 20 ms per command, and one sleep between two passes.
    const le910sim::sExchange& last = simulatedPort().modem().exchanges()[expected.size() - 1];
    EXPECT_EQ(last.command, "AT+CGDATA=\"M-RAW_IP\",1");
    EXPECT_EQ(last.timeMs, 20 * expected.size() + 500);
}

TEST_F(StateMachine, ConnectedSession_IsPolledAndPublished) {
    startOnTerminal();
    std::string state, error, timeUp;
    recordStatus(8, "_QMI_STATE", state);
    recordStatus(8, "_LAST_CONNECT_ERROR", error);
    recordStatus(8, "_QMI_CALL_TIME", timeUp);
    EXPECT_EQ(run(9), eOUTER_EXIT);
    EXPECT_EQ(state, "CONNECTED");
    EXPECT_EQ(error, "eSUCCESS");
    EXPECT_GE(std::stoi(timeUp), 3);
    EXPECT_EQ(callsStartingWith("setup_cellint.sh -i wwan0 --up").size(), 1u);
    const tCommands sent = commands();
    EXPECT_GE(countOf(sent, "AT+CGPADDR=1"), 3u);
    EXPECT_EQ(countOf(sent, "AT+CGDATA=\"M-RAW_IP\",1"), 1u);
}

class StateMachineSignal : public StateMachine,
                           public ::testing::WithParamInterface<volatile std::sig_atomic_t*> {};

TEST_P(StateMachineSignal, ExitSignal_EndsWithStatusTwoAfterTheWholeExitSequence) {
    startOnTerminal();
    at(5, [] { *GetParam() = true; });
    EXPECT_EQ(run(60), eOUTER_EXIT);
    EXPECT_LE(simulatedPort().nowMs(),
              7000u);  // ended by this signal, not by the one that ends every test
    const tCommands sent = commands();
    EXPECT_EQ(sent.back(), "AT#SLED=0");
    EXPECT_EQ(countOf(sent, "AT#REBOOT"), 0u);
    EXPECT_FALSE(fileExists(STATUS_FILE));
    EXPECT_FALSE(fileExists("/var/log/wireless.cardstats"));
    EXPECT_FALSE(fileExists("/var/log/wireless.serialno"));
    EXPECT_FALSE(fileExists("/var/log/wireless.mdn"));
    const auto calls = shell.calls();
    ASSERT_GE(calls.size(), 2u);
    EXPECT_EQ(calls[calls.size() - 1], DOWN);
    EXPECT_EQ(calls[calls.size() - 2], DOWN);
    EXPECT_EQ(logCount("Received SIGTERM/SIGINT/SIGHUP"), 1u);
    EXPECT_LT(placeInLog("Received SIGTERM/SIGINT/SIGHUP"), placeInLog("Cleaning up files"));
    EXPECT_EQ(capturedLog().back(), "Exiting");
    // The store keeps the last status.
    EXPECT_EQ(stored("CELLMODEM1_QMI_STATE"), "Unknown");
    EXPECT_EQ(stored("CELLMODEM1_QMI_CALL_TIME"), "0");
    EXPECT_EQ(stored("CELLMODEM1_SIM_CONT_APN0"), "");
}

INSTANTIATE_TEST_SUITE_P(Each, StateMachineSignal,
                         ::testing::Values(&b_got_sigint, &b_got_sigterm, &b_got_sighup));

TEST_F(StateMachine, FirmwareTriggerAtStart_EndsTheFirstPassWithStatusThree) {
    startOnTerminal();
    std::filesystem::create_directories("/tmp/cellmodem_firmware");
    writeFile("/tmp/cellmodem_firmware/start_update.1", "");
    EXPECT_EQ(run(60), eOUTER_EXIT_RESET);
    EXPECT_EQ(readFile("/storage/cellmodem.firmware.upd.status.1"),
              "Firmware file trigger is present,\nresetting device to start firmware update\n\n");
    EXPECT_EQ(logCount("Firmware file trigger is present,\n"
                       "resetting device to start firmware update\n"),
              1u);
    EXPECT_FALSE(fileExists("/tmp/cellmodem_firmware/start_update.1"));
    EXPECT_EQ(commands(), (tCommands{"AT#SLED=0", "AT#REBOOT"}));
    EXPECT_TRUE(callsStartingWith("ResetCellular").empty());
}

TEST_F(StateMachine, TemporaryFilesOfAKilledDaemon_AreRemovedByTheNextStart) {
    startOnTerminal();
    const auto anHourAgo = std::filesystem::file_time_type::clock::now() - std::chrono::hours(1);
    const tCommands folders = {"/var/log", "/tmp", "/etc/vuk", "/storage", "/tmp/sms"};
    for (const std::string& folder : folders) {
        std::filesystem::create_directories(folder);
        writeFile(folder + "/.cellslot-tmp-abcdef", "half a li");
        writeFile(folder + "/.cellslot-tmp-ghijkl", "another slot's");
        std::filesystem::last_write_time(folder + "/.cellslot-tmp-abcdef", anHourAgo);
    }
    run(1);
    for (const std::string& folder : folders) {
        EXPECT_FALSE(fileExists(folder + "/.cellslot-tmp-abcdef")) << folder;
        EXPECT_TRUE(fileExists(folder + "/.cellslot-tmp-ghijkl")) << folder;
        std::filesystem::remove(folder + "/.cellslot-tmp-ghijkl");
    }
}

// A daemon was killed while it entered a message: the modem takes all input for the message's text.
TEST_F(StateMachine, PromptLeftOpen_IsEndedBeforeTheFirstCommand) {
    startOnTerminal();
    const std::string command = "AT+CMGS=18\r";
    ASSERT_EQ(write(port(), command.data(), command.size()), 11);
    passSeconds(1);
    std::filesystem::create_directories("/tmp/sms");
    writeFile("/tmp/sms/.cellslot-prompt.1", "");
    std::string state;
    recordStatus(20, "_QMI_STATE", state);
    run(20.5);
    EXPECT_EQ(state, "CONNECTED");
    EXPECT_EQ(logCount("An SMS message or a custom AT command was cut short, ending its prompt"),
              1u);
    EXPECT_FALSE(fileExists("/tmp/sms/.cellslot-prompt.1"));
}

TEST_F(StateMachine, FirmwareImageSwitched_EndsWithStatusFourAndDoesNotSetTheLed) {
    writeFile(CONFIG_FILE, CONFIG + "CM_FW_SLOT=1\n");
    startOnTerminal({{"firmware", {{"dual", true}, {"slot", 0}}}});
    EXPECT_EQ(run(60), eOUTER_EXIT_AS_IT_IS);
    const tCommands sent = commands();
    EXPECT_EQ(sent.back(), "AT#FWSWITCH=1,1");
    EXPECT_EQ(countOf(sent, "AT#REBOOT"), 0u);
}

TEST_F(StateMachine, ModemInTestMode_IsSwitchedBackAndReset) {
    startOnTerminal({{"test_mode", true}});
    EXPECT_EQ(run(60), eOUTER_EXIT_RESET);
    EXPECT_EQ(commands(), (tCommands{"AT+GMM", "AT#TESTMODE=\"OM\"", "AT#SLED=0", "AT#REBOOT"}));
}

TEST_F(StateMachine, HostInTestMode_EndsWithStatusSixAndSendsNothing) {
    writeFile(CONFIG_FILE, CONFIG + "DEBUG_MODE=400000\n");
    startOnTerminal();
    ASSERT_EQ(skvs_set("FC_TESTMODE", "1"), 0);
    EXPECT_EQ(run(60), eOUTER_TEST_MODE);
    skvs_set("FC_TESTMODE", "0");
    EXPECT_TRUE(commands().empty());
    EXPECT_EQ(logCount("DEBUG: Entering maybeStopGps()"), 0u);
    EXPECT_EQ(shell.calls(), (std::vector<std::string>{DOWN, DOWN}));
    // The final status was written, and its files were removed again.
    EXPECT_EQ(stored("CELLMODEM1_SLED_SLOT"), "1");
    EXPECT_EQ(stored("CELLMODEM1_QMI_STATE"), "Unknown");
    EXPECT_FALSE(fileExists(STATUS_FILE));
    EXPECT_EQ(simulatedPort().nowMs(), 0u);
}

TEST_F(StateMachine, RegistrationLostForTenSeconds_KeepsTheSession) {
    startOnTerminal();
    at(6, [this] { order({{"op", "set"}, {"registration", {{"state", "searching"}}}}); });
    at(16, [this] { order({{"op", "set"}, {"registration", {{"state", "home"}}}}); });
    std::string during;
    recordStatus(15, "_QMI_STATE", during);
    EXPECT_EQ(run(17), eOUTER_EXIT);
    EXPECT_EQ(during, "CONNECTED");
    EXPECT_FALSE(logContains("Device no longer network registered"));
}

TEST_F(StateMachine, RegistrationLostForTwentySeconds_DropsTheSessionAndStartsItAgain) {
    startOnTerminal();
    at(6, [this] { order({{"op", "set"}, {"registration", {{"state", "searching"}}}}); });
    at(26, [this] { order({{"op", "set"}, {"registration", {{"state", "home"}}}}); });
    std::string after;
    recordStatus(90, "_QMI_STATE", after);
    EXPECT_EQ(run(91), eOUTER_EXIT);
    EXPECT_EQ(logCount("Device no longer network registered"), 1u);
    EXPECT_EQ(after, "CONNECTED");
}

TEST_F(StateMachine, AddressChange_RestartsTheSessionWithAnotherAddress) {
    startOnTerminal();
    at(6, [this] { order({{"op", "address"}, {"cid", 1}, {"ipv4", "10.99.1.7"}}); });
    std::string after;
    recordStatus(15, "_QMI_STATE", after);
    EXPECT_EQ(run(16), eOUTER_EXIT);
    EXPECT_EQ(logCount("IPv4 address changed, restarting connection"), 1u);
    EXPECT_EQ(after, "CONNECTED");
    const auto up = callsStartingWith("setup_cellint.sh -i wwan0 --up");
    ASSERT_EQ(up.size(), 2u);
    // The new start detaches, so that the network assigns an address again.
    EXPECT_NE(up[0].find("--address 10.64.1.8 "), std::string::npos);
    EXPECT_NE(up[1].find("--address 10.64.1.9 "), std::string::npos);
}

TEST_F(StateMachine, ContextDroppedByTheNetwork_IsStartedAgain) {
    startOnTerminal();
    at(6, [this] { order({{"op", "deactivate"}, {"cid", 1}}); });
    std::string after;
    recordStatus(79, "_QMI_STATE", after);
    EXPECT_EQ(run(80), eOUTER_EXIT);
    EXPECT_EQ(logCount("Profile 1 no longer connected"), 1u);
    EXPECT_EQ(callsStartingWith("setup_cellint.sh -i wwan0 --up").size(), 2u);
    EXPECT_EQ(after, "CONNECTED");
}

TEST_F(StateMachine, ExitSignal_StopsGpsOnceMore) {
    writeFile(CONFIG_FILE, CONFIG + "DEBUG_MODE=400000\n");
    startOnTerminal();
    size_t before = 0;
    at(5, [&] { before = logCount("DEBUG: Entering maybeStopGps()"); });
    EXPECT_EQ(run(5), eOUTER_EXIT);
    EXPECT_EQ(logCount("DEBUG: Entering maybeStopGps()"), before + 1);
}

TEST_F(StateMachine, FirmwareImageSwitched_DoesNotStopGps) {
    writeFile(CONFIG_FILE, CONFIG + "CM_FW_SLOT=1\nDEBUG_MODE=400000\n");
    startOnTerminal({{"firmware", {{"dual", true}, {"slot", 0}}}});
    EXPECT_EQ(run(60), eOUTER_EXIT_AS_IT_IS);
    EXPECT_EQ(logCount("DEBUG: Entering maybeStopGps()"), 0u);
}

TEST_F(StateMachine, FirmwareTriggerWithoutPort_EndsAtOnceAndPowerCyclesTheSlot) {
    startOnTerminal();
    g_S_options.s_device = "/dev/there-is-no-such-port";
    at(5, [] {
        std::filesystem::create_directories("/tmp/cellmodem_firmware");
        writeFile("/tmp/cellmodem_firmware/start_update.1", "");
    });
    EXPECT_EQ(run(60), eOUTER_EXIT_RESET);
    EXPECT_LE(simulatedPort().nowMs(), 6000u);
    EXPECT_TRUE(fileExists("/storage/cellmodem.firmware.upd.status.1"));
    expectPowerCycle();
}

TEST_F(StateMachine, SetupThatRequestsAReset_EndsWithStatusThreeAndResetsTheModem) {
    startOnTerminal({{"sim", {{"present", false}}}});
    // Set-up fails from shortly before the end of the ten minutes without a SIM until shortly after
    // it, so that set-up notices the end.
    at(597, [this] {
        fault("AT+GMM", "error", 0, 9);
        reconfigure("CM_MTU=1400\n");
    });
    EXPECT_EQ(run(700), eOUTER_EXIT_RESET);
    EXPECT_TRUE(logContains("SIM not detected after 10 minutes, device requires reset"));
    const tCommands sent = commands();
    ASSERT_GE(sent.size(), 2u);
    EXPECT_EQ(tCommands(sent.end() - 2, sent.end()), (tCommands{"AT#SLED=0", "AT#REBOOT"}));
    // After the last AT+GMM comes one set-up and no polling.
    const auto setup = std::find(sent.rbegin(), sent.rend(), "AT+GMM").base();
    EXPECT_EQ(std::count(setup, sent.end(), "AT+CEREG?"), 0);
}

TEST_F(StateMachine, Session_IsKeptAliveFiveMinutesAfterItsOwnStart) {
    writeFile(CONFIG_FILE, CONFIG + "DEBUG_MODE=1000000\n");
    startOnTerminal();
    const std::string ping =
        "DEBUG: networkKeepAlive(): running command "
        "'ping -c 1 -I wwan0 1.2.3.4 &>/dev/null &'";
    at(200, [this] { reconfigure("CM_MTU=1400\nDEBUG_MODE=1000000\n"); });
    size_t before = 99;
    at(490, [&] { before = logCount(ping); });
    EXPECT_EQ(run(520), eOUTER_EXIT);
    EXPECT_EQ(before, 0u);
    EXPECT_EQ(logCount(ping), 1u);
}

TEST_F(StateMachine, CallTime_IsZeroWhileTheModemIsSetUpAgain) {
    startOnTerminal();
    std::string before, during;
    recordStatus(20, "_QMI_CALL_TIME", before);
    at(20, [this] {
        fault("AT+GMM", "error", 0, 8);
        reconfigure("CM_MTU=1400\n");
    });
    recordStatus(24, "_QMI_CALL_TIME", during);
    EXPECT_EQ(run(25), eOUTER_EXIT);
    EXPECT_GE(std::stoi(before), 10);
    EXPECT_EQ(during, "0");
}

TEST_F(StateMachine, CallTime_IsZeroOnceTheSessionIsLost) {
    startOnTerminal();
    at(6, [this] { order({{"op", "set"}, {"registration", {{"state", "searching"}}}}); });
    std::string during;
    recordStatus(30, "_QMI_CALL_TIME", during);
    EXPECT_EQ(run(31), eOUTER_EXIT);
    EXPECT_EQ(logCount("Device no longer network registered"), 1u);
    EXPECT_EQ(during, "0");
}

TEST_F(StateMachine, RegistrationLostAsTheSessionStarts_HasItsFifteenSeconds) {
    startOnTerminal();
    at(2.51, [this] { order({{"op", "set"}, {"registration", {{"state", "searching"}}}}); });
    at(17, [] { EXPECT_FALSE(logContains("Device no longer network registered")); });
    EXPECT_EQ(run(25), eOUTER_EXIT);
    EXPECT_EQ(callsStartingWith("setup_cellint.sh -i wwan0 --up").size(), 1u);
    EXPECT_EQ(logCount("Device no longer network registered"), 1u);
}

TEST_F(StateMachine, StatesThatChange_AreTracedByName) {
    writeFile(CONFIG_FILE, CONFIG + "DEBUG_MODE=80000\n");
    startOnTerminal();
    at(10, [] { b_got_sigterm = true; });
    EXPECT_EQ(run(20), eOUTER_EXIT);
    for (const char* change :
         {"Modem state set-up -> registered", "Modem state registered -> connected",
          "Outer state running -> exit"})
        EXPECT_EQ(logCount(std::string("DEBUG: ") + change), 1u) << change;
}
