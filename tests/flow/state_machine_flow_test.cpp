#include "statemachine/state_machine.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>

#include "config/config_look.h"
#include "include/debug.h"
#include "include/options.h"
#include "include/signal_flags.h"
#include "platform/include/key_value_store.h"
#include "published/paths.h"
#include "tests/flow/state_machine_fixture.h"
#include "tests/support/set_up_commands.h"

namespace {

const char* const DOWN = "setup_cellint.sh -i wwan0 --down";

}  // namespace

TEST_F(StateMachine, ColdStart_TakesTheFixedWaitsOfItsCommandsAndOnePass) {
    startOnTerminal();
    EXPECT_EQ(run(6), eOUTER_EXIT);
    const tCommands sent = commands();
    const tCommands expected = sequence(setupCommands(), "AT", pollCommands(), sessionCommands());
    ASSERT_GE(sent.size(), expected.size());
    EXPECT_EQ(firstOf(sent, expected.size()), expected);
    // 20 ms a command, and one sleep between two passes.
    const le910sim::sExchange& last = port().modem().exchanges()[expected.size() - 1];
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
    EXPECT_LE(port().nowMs(), 7000u);  // by this signal, and not by the one that ends every test
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
    // The last view, which the store keeps.
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

TEST_F(StateMachine, TemporaryFilesOfAKilledDaemon_AreGoneAfterTheNextStart) {
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

// A daemon was killed while it entered a message: the modem takes what comes for the message's
// text.
TEST_F(StateMachine, PromptLeftOpen_IsEndedBeforeTheFirstCommand) {
    startOnTerminal();
    const std::string command = "AT+CMGS=18\r";
    ASSERT_EQ(write(handle(), command.data(), command.size()), 11);
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

TEST_F(StateMachine, FirmwareImageSwitched_EndsWithStatusFourAndLeavesTheLedAlone) {
    writeFile(CONFIG_FILE, CONFIG + "CM_FW_SLOT=1\n");
    startOnTerminal({{"firmware", {{"dual", true}, {"slot", 0}}}});
    EXPECT_EQ(run(60), eOUTER_EXIT_AS_IT_IS);
    const tCommands sent = commands();
    EXPECT_EQ(sent.back(), "AT#FWSWITCH=1,1");
    EXPECT_EQ(countOf(sent, "AT#REBOOT"), 0u);
}

TEST_F(StateMachine, ModemInTestMode_IsToldToLeaveItAndReset) {
    startOnTerminal({{"test_mode", true}});
    EXPECT_EQ(run(60), eOUTER_EXIT_RESET);
    EXPECT_EQ(commands(), (tCommands{"AT+GMM", "AT#TESTMODE=\"OM\"", "AT#SLED=0", "AT#REBOOT"}));
}

TEST_F(StateMachine, HostInTestMode_EndsWithStatusSixWithoutTouchingTheModem) {
    writeFile(CONFIG_FILE, CONFIG + "DEBUG_MODE=400000\n");
    startOnTerminal();
    ASSERT_EQ(skvs_set("FC_TESTMODE", "1"), 0);
    EXPECT_EQ(run(60), eOUTER_TEST_MODE);
    skvs_set("FC_TESTMODE", "0");
    EXPECT_TRUE(commands().empty());
    EXPECT_EQ(logCount("DEBUG: Entering maybeStopGps()"), 0u);
    EXPECT_EQ(shell.calls(), (std::vector<std::string>{DOWN, DOWN}));
    // The final status was written, and its files are gone again.
    EXPECT_EQ(stored("CELLMODEM1_SLED_SLOT"), "1");
    EXPECT_EQ(stored("CELLMODEM1_QMI_STATE"), "Unknown");
    EXPECT_FALSE(fileExists(STATUS_FILE));
    EXPECT_EQ(port().nowMs(), 0u);
}

TEST_F(StateMachine, PortMissingForTwoMinutes_ResetsTheModem) {
    writeFile(CONFIG_FILE, CONFIG + "DEBUG_MODE=480000\n");
    startOnTerminal();
    g_S_options.s_device = "/dev/there-is-no-such-port";
    uint64_t endedMs = 0;
    at(119, [&] { EXPECT_FALSE(logContains("Device missing after")); });
    EXPECT_EQ(run(600), eOUTER_EXIT_RESET);
    endedMs = port().nowMs();
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

TEST_F(StateMachine, ClockSignalWhileSyncIsOff_WaitsUntilItIsSwitchedOn) {
    startOnTerminal();
    at(5, [] { b_got_sigusr1 = true; });
    at(10, [] {
        EXPECT_TRUE(b_got_sigusr1);
        EXPECT_FALSE(logContains("Received SIGUSR1"));
        writeFile(CONFIG_FILE,
                  "CM_ENABLE_INTERFACE=yes\nCM_APN=internet\nCM_GPS_ENABLE=no\nCM_SYNC_TIME=yes\n");
        b_got_sigusr2 = true;
    });
    EXPECT_EQ(run(20), eOUTER_EXIT);
    EXPECT_FALSE(b_got_sigusr1);
    EXPECT_EQ(logCount("Received SIGUSR1 : stop sync timer"), 1u);
    EXPECT_EQ(callsStartingWith("systime.sh --set").size(), 1u);
}

TEST_F(StateMachine, ReloadWithChange_SetsTheModemUpAgainAndReconnects) {
    startOnTerminal();
    at(6, [] {
        writeFile(CONFIG_FILE, CONFIG + "CM_MTU=1400\n");
        b_got_sigusr2 = true;
    });
    EXPECT_EQ(run(15), eOUTER_EXIT);
    EXPECT_EQ(logCount("Received USR2 and config changed"), 1u);
    EXPECT_EQ(countOf(commands(), "AT+GMM"), 2u);
    const auto up = callsStartingWith("setup_cellint.sh -i wwan0 --up");
    ASSERT_EQ(up.size(), 2u);
    EXPECT_NE(up[0].find(" -m 1500 "), std::string::npos);
    EXPECT_NE(up[1].find(" -m 1400 "), std::string::npos);
    // Down after each set-up and twice at the exit.
    const auto calls = callsStartingWith("setup_cellint.sh");
    EXPECT_EQ(calls, (std::vector<std::string>{DOWN, up[0], DOWN, up[1], DOWN, DOWN}));
}

TEST_F(StateMachine, EveryLookAtTheConfiguration_IsPublished) {
    startOnTerminal();
    std::vector<std::string> results;
    const auto look = [&results] {
        const sConfigLook seen = readConfigLook(configLookPath("1"));
        EXPECT_EQ(seen.pid, getpid());
        results.push_back(std::to_string(seen.count) + " " + std::to_string(seen.result) + " " +
                          seen.file);
    };
    at(3, look);
    at(4, [this] { reconfigure(""); });
    at(6, look);
    at(7, [this] { reconfigure("CM_MTU=1400\n"); });
    at(9, look);
    at(10, [] {
        unlink(CONFIG_FILE);
        b_got_sigusr2 = true;
    });
    at(14, look);
    EXPECT_EQ(run(20), eOUTER_EXIT);
    const std::string file = std::string(" ") + CONFIG_FILE;
    EXPECT_EQ(results,
              (std::vector<std::string>{"1 2" + file, "2 1" + file, "3 2" + file, "4 0" + file}));
}

TEST_F(StateMachine, ReloadWithoutAPort_WaitsForThePort) {
    startOnTerminal();
    const std::string path = g_S_options.s_device;
    g_S_options.s_device = "/dev/there-is-no-such-port";
    at(3, [this] { reconfigure("CM_MTU=1400\n"); });
    at(10, [&] {
        EXPECT_FALSE(logContains("Received SIGUSR2"));
        g_S_options.s_device = path;
    });
    EXPECT_EQ(run(20), eOUTER_EXIT);
    EXPECT_EQ(logCount("Received SIGUSR2"), 1u);
    const auto up = callsStartingWith("setup_cellint.sh -i wwan0 --up");
    ASSERT_EQ(up.size(), 1u);
    EXPECT_NE(up[0].find(" -m 1400 "), std::string::npos);
}

TEST_F(StateMachine, SlotOneWithoutItsFile_StaysOnTheOldOne) {
    unlink(CONFIG_FILE);
    std::filesystem::create_directories("/etc/zoq/wireless");
    writeFile("/etc/zoq/wireless/cellmodem_ppp.conf", CONFIG + "CM_MTU=1300\n");
    startOnTerminal();
    at(6, [this] { reconfigure("CM_MTU=1400\n"); });
    EXPECT_EQ(run(20), eOUTER_EXIT);
    EXPECT_EQ(logCount("Received SIGUSR2"), 1u);
    EXPECT_FALSE(logContains("Received USR2 and config changed"));
    const auto up = callsStartingWith("setup_cellint.sh -i wwan0 --up");
    ASSERT_EQ(up.size(), 1u);
    EXPECT_NE(up[0].find(" -m 1300 "), std::string::npos);
}

TEST_F(StateMachine, OtherSlotWithoutItsFile_RunsOnDefaults) {
    std::filesystem::create_directories("/etc/zoq/wireless");
    writeFile("/etc/zoq/wireless/cellmodem_ppp.conf", CONFIG);
    startOnTerminal();
    g_S_options.s_port = "2";
    EXPECT_EQ(run(5), eOUTER_EXIT);
    EXPECT_EQ(logCount("Config file /etc/vuk/cellular2.conf is missing or not accessible, using "
                       "defaults"),
              1u);
    // No SIM slot is configured, so none is asked for.
    EXPECT_EQ(countOf(commands(), "AT#GPIO=2,2"), 0u);
}

TEST_F(StateMachine, ReloadWithoutChange_LeavesTheSessionAlone) {
    startOnTerminal();
    // Written again with what it holds.
    at(6, [this] { reconfigure(""); });
    EXPECT_EQ(run(12), eOUTER_EXIT);
    EXPECT_EQ(logCount("Received SIGUSR2"), 1u);
    EXPECT_TRUE(logContains("Config file updated, but MD5 did not change: '"));
    EXPECT_FALSE(logContains("Received USR2 and config changed"));
    EXPECT_EQ(countOf(commands(), "AT+GMM"), 1u);
}

TEST_F(StateMachine, ReloadOfADeletedFile_AppliesDefaultsWithoutSetUp) {
    startOnTerminal();
    at(6, [] {
        unlink(CONFIG_FILE);
        b_got_sigusr2 = true;
    });
    std::string after;
    recordStatus(11, "_QMI_STATE", after);
    EXPECT_EQ(run(12), eOUTER_EXIT);
    EXPECT_TRUE(logContains("is missing or not accessible, using defaults"));
    EXPECT_FALSE(logContains("Received USR2 and config changed"));
    // The interface switch defaults to off, so the session ends by itself.
    EXPECT_EQ(after, "DISCONNECTED");
}

TEST_F(StateMachine, ReloadOfADeletedFile_WithDataForcedOn_KeepsTheSession) {
    startOnTerminal();
    writeFile("/tmp/force_cell_con.1", "");
    at(6, [] {
        unlink(CONFIG_FILE);
        b_got_sigusr2 = true;
    });
    EXPECT_EQ(run(20), eOUTER_EXIT);
    EXPECT_TRUE(logContains("is missing or not accessible, using defaults"));
    EXPECT_EQ(countOf(commands(), "AT+GMM"), 1u);
    EXPECT_EQ(callsStartingWith("setup_cellint.sh -i wwan0 --up").size(), 1u);
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

TEST_F(StateMachine, ModemThatOnlyReportsErrors_IsResetAfterTenErrorsAndFourRestarts) {
    startOnTerminal();
    order({{"op", "fault"}, {"match", "AT+CSQ"}, {"kind", "error"}});
    EXPECT_EQ(run(600), eOUTER_EXIT_RESET);
    // Errors 10 to 13 close the port and count a restart each.
    EXPECT_EQ(logCount("Device responded with errors 10 times, closing port and restarting"), 1u);
    EXPECT_EQ(logCount("Device responded with errors 13 times, closing port and restarting"), 1u);
    EXPECT_EQ(logCount("Device responded with errors after 13 attempts, requires reset"), 1u);
    expectPowerCycle();
    EXPECT_EQ(countOf(commands(), "AT+CSQ"), 13u);
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
    // The new start detaches, so that the network assigns once more.
    EXPECT_NE(up[0].find("--address 10.64.1.8 "), std::string::npos);
    EXPECT_NE(up[1].find("--address 10.64.1.9 "), std::string::npos);
}

TEST_F(StateMachine, NoServiceForFiveMinutes_ResetsTheModem) {
    startOnTerminal({{"registration", {{"state", "searching"}}}});
    EXPECT_EQ(run(1000), eOUTER_EXIT_RESET);
    EXPECT_GE(port().nowMs(), 300000u);
    EXPECT_LE(port().nowMs(), 310000u);
    EXPECT_EQ(logCount("Device has No Service after 5 minutes, requires reset"), 1u);
    EXPECT_EQ(commands().back(), "AT#REBOOT");
}

TEST_F(StateMachine, ConnectionOffOverride_EndsTheSessionUntilItIsRemoved) {
    startOnTerminal();
    at(6, [] { writeFile("/tmp/force_cell_nocon.1", ""); });
    at(15, [] { unlink("/tmp/force_cell_nocon.1"); });
    std::string during, after;
    recordStatus(14, "_QMI_STATE", during);
    recordStatus(30, "_QMI_STATE", after);
    EXPECT_EQ(run(31), eOUTER_EXIT);
    EXPECT_EQ(during, "DISCONNECTED");
    EXPECT_EQ(after, "CONNECTED");
    // At once, and not only when the new set-up is done.
    const std::vector<std::string>& log = capturedLog();
    const auto appeared = std::find(log.begin(), log.end(),
                                    "Connection OFF Override file appeared "
                                    "(/tmp/force_cell_nocon.1), stopping data connection");
    EXPECT_LT(std::find(appeared, log.end(), "Disconnecting from network"),
              std::find(appeared, log.end(), "Setup device CMEE reporting"));
}

TEST_F(StateMachine, PowerOffOverride_EndsWithStatusFiveAndSwitchesTheSlotOff) {
    startOnTerminal();
    at(6, [] { writeFile("/tmp/force_cell_tempoff.1", ""); });
    EXPECT_EQ(run(60), eOUTER_EXIT_POWER_OFF);
    // After set-up, when the file appeared, and at the exit.
    EXPECT_EQ(logCount("Disconnecting from network"), 3u);
    expectLastCall("sledctl 1 off");
    EXPECT_EQ(countOf(commands(), "AT#REBOOT"), 0u);
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

TEST_F(StateMachine, FirmwareImageSwitched_LeavesGpsAlone) {
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
    EXPECT_LE(port().nowMs(), 6000u);
    EXPECT_TRUE(fileExists("/storage/cellmodem.firmware.upd.status.1"));
    expectPowerCycle();
}

TEST_F(StateMachine, SetupThatAsksForAReset_EndsWithStatusThreeAndResetsTheModem) {
    startOnTerminal({{"sim", {{"present", false}}}});
    // Set-up fails from shortly before the ten minutes without a SIM until shortly after, so that
    // it is set-up that finds them over.
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

TEST_F(StateMachine, ClockSignal_SetsTheClockAgainAtTheNextPoll) {
    writeFile(CONFIG_FILE,
              "CM_ENABLE_INTERFACE=yes\nCM_APN=internet\nCM_GPS_ENABLE=no\nCM_SYNC_TIME=yes\n");
    startOnTerminal();
    size_t before = 0;
    at(60, [&] {
        before = callsStartingWith("systime.sh --set").size();
        b_got_sigusr1 = true;
    });
    EXPECT_EQ(run(70), eOUTER_EXIT);
    EXPECT_EQ(before, 1u);
    EXPECT_EQ(callsStartingWith("systime.sh --set").size(), 2u);
    EXPECT_EQ(countOf(commands(), "AT+GMM"), 1u);
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

TEST_F(StateMachine, PortThatIsLost_IsPublishedAtOnce) {
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

// The next command cannot be written, which is an error and no silence: the port is closed only
// after ten of them.
TEST_F(StateMachine, PortThatVanishesBeforeASetUp_IsPublishedWithinTwoSeconds) {
    startOnTerminal();
    at(6, [this] {
        reconfigure("CM_MTU=1400\n");
        port().unplug();
    });
    std::string sim, state;
    recordStatus(8, "_SIM_STATUS", sim);
    recordStatus(8, "_QMI_STATE", state);
    run(20);
    EXPECT_EQ(sim, "Unknown");
    EXPECT_EQ(state, "Unknown");
    EXPECT_EQ(logCount("Device responded with errors 10 times, closing port and restarting"), 1u);
}

// The command under way is waited for as if the modem were silent.
TEST_F(StateMachine, PortThatVanishesInASetUp_IsPublishedWithTheEndOfItsCommand) {
    startOnTerminal();
    at(6, [this] {
        reconfigure("CM_MTU=1400\n");
        silenceOnce("AT+GMM");
    });
    at(6.8, [this] { port().unplug(); });
    std::string atEnd;
    for (int hundredths = 680; hundredths < 1000; ++hundredths)
        at(hundredths / 100.0, [&] {
            if (atEnd.empty() && logContains("Device not responding, closing port"))
                atEnd = statusOf("_SIM_STATUS") + " after " +
                        std::to_string((port().nowMs() - 6800) / 1000) + " s";
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

TEST_F(StateMachine, ModemThatFailsAndThenIsSilent_IsResetWithoutAWordToItsGps) {
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
    // The tenth error and the three passes after it, which are good.
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

TEST_F(StateMachine, ModemSwitchedOffByConfiguration_EndsWithStatusFiveBeforeASession) {
    writeFile(CONFIG_FILE, "CM_ENABLE_INTERFACE=off\nCM_APN=internet\nCM_GPS_ENABLE=no\n");
    startOnTerminal();
    EXPECT_EQ(run(60), eOUTER_EXIT_POWER_OFF);
    EXPECT_TRUE(callsStartingWith("setup_cellint.sh -i wwan0 --up").empty());
    expectLastCall("sledctl 1 off");
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

TEST_F(StateMachine, ReloadWithChange_SetsTheClockAgain) {
    writeFile(CONFIG_FILE,
              "CM_ENABLE_INTERFACE=yes\nCM_APN=internet\nCM_GPS_ENABLE=no\nCM_SYNC_TIME=yes\n");
    startOnTerminal();
    at(10, [] {
        writeFile(CONFIG_FILE,
                  "CM_ENABLE_INTERFACE=yes\nCM_APN=other\nCM_GPS_ENABLE=no\nCM_SYNC_TIME=yes\n");
        b_got_sigusr2 = true;
    });
    EXPECT_EQ(run(20), eOUTER_EXIT);
    EXPECT_EQ(callsStartingWith("systime.sh --set").size(), 2u);
}

TEST_F(StateMachine, ReloadOfADeletedFile_SwitchesDebugOutputOff) {
    writeFile(CONFIG_FILE, CONFIG + "DEBUG_MODE=80000\n");
    startOnTerminal();
    at(6, [] {
        unlink(CONFIG_FILE);
        b_got_sigusr2 = true;
    });
    EXPECT_EQ(run(12), eOUTER_EXIT);
    EXPECT_EQ(g_i_debugMode, 0u);
}

TEST_F(StateMachine, ReloadWithChange_EndsTheDelayAfterAFailedStart) {
    startOnTerminal();
    fault("AT+CGACT=1,1", "error");
    at(8, [this] { reconfigure("CM_MTU=1400\n"); });
    std::string before, after;
    recordStatus(8, "_QMI_STATE", before);
    recordStatus(16, "_QMI_STATE", after);
    EXPECT_EQ(run(17), eOUTER_EXIT);
    EXPECT_NE(before, "CONNECTED");
    EXPECT_EQ(after, "CONNECTED");
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

TEST_F(StateMachine, PortThatCannotBeOpened_IsTracedWithItsAttempts) {
    writeFile(CONFIG_FILE, CONFIG + "DEBUG_MODE=C0000\n");
    startOnTerminal();
    const std::string path = g_S_options.s_device;
    g_S_options.s_device = CONFIG_FILE;  // there, but no port
    at(3, [&] { g_S_options.s_device = path; });
    at(20, [this] {
        g_S_options.s_device = CONFIG_FILE;
        silenceOnce("AT");
    });
    EXPECT_EQ(run(25), eOUTER_EXIT);
    const std::string attempt =
        "DEBUG: Error opening port '" + std::string(CONFIG_FILE) + "', attempt ";
    // Counted from one again after the port was good; a port test without answer counts too.
    EXPECT_EQ(logCount(attempt + "1"), 2u);
    EXPECT_EQ(logCount(attempt + "2"), 2u);
    EXPECT_TRUE(
        logContains("DEBUG: runStateMachine(): Port '" + path + "' is open and good with FH "));
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
