#include "statemachine/state_machine.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>

#include "config/config_look.h"
#include "include/debug.h"
#include "include/options.h"
#include "include/signal_flags.h"
#include "published/paths.h"
#include "tests/flow/state_machine_fixture.h"
#include "tests/support/set_up_commands.h"

// Configuration, override files and signals that change a running daemon.

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

TEST_F(StateMachine, EveryReadOfTheConfiguration_IsPublished) {
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

TEST_F(StateMachine, SlotOneWithoutItsFile_KeepsTheOlderFile) {
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

TEST_F(StateMachine, OtherSlotWithoutItsFile_UsesDefaults) {
    std::filesystem::create_directories("/etc/zoq/wireless");
    writeFile("/etc/zoq/wireless/cellmodem_ppp.conf", CONFIG);
    startOnTerminal();
    g_S_options.s_port = "2";
    EXPECT_EQ(run(5), eOUTER_EXIT);
    EXPECT_EQ(logCount("Config file /etc/vuk/cellular2.conf is missing or not accessible, using "
                       "defaults"),
              1u);
    // No SIM slot is configured, so the slot is not queried.
    EXPECT_EQ(countOf(commands(), "AT#GPIO=2,2"), 0u);
}

TEST_F(StateMachine, ReloadWithoutChange_KeepsTheSession) {
    startOnTerminal();
    // Written again with the same content.
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
    // At once, not only after the new set-up.
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

TEST_F(StateMachine, ModemSwitchedOffByConfiguration_EndsWithStatusFiveBeforeASession) {
    writeFile(CONFIG_FILE, "CM_ENABLE_INTERFACE=off\nCM_APN=internet\nCM_GPS_ENABLE=no\n");
    startOnTerminal();
    EXPECT_EQ(run(60), eOUTER_EXIT_POWER_OFF);
    EXPECT_TRUE(callsStartingWith("setup_cellint.sh -i wwan0 --up").empty());
    expectLastCall("sledctl 1 off");
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
