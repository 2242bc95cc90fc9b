#include "include/debug.h"
#include "statemachine/state_machine.h"
#include "tests/flow/state_machine_fixture.h"
#include "tests/support/daemon_reset.h"

// How the main loop reacts to a SIM that is locked, missing, busy or refused.

TEST_F(StateMachine, SimMissingForTenMinutes_ResetsTheModem) {
    startOnTerminal({{"sim", {{"present", false}}}});
    EXPECT_EQ(run(1000), eOUTER_EXIT_RESET);
    EXPECT_GE(simulatedPort().nowMs(), 600000u);
    EXPECT_LE(simulatedPort().nowMs(), 610000u);
    EXPECT_EQ(logCount("SIM not detected after 10 minutes, device requires reset"), 1u);
}

TEST_F(StateMachine, SimInsertedLater_IsSetUpWithItsApnAndConnected) {
    startOnTerminal({{"sim", {{"present", false}}}});
    at(20, [this] { order({{"op", "set"}, {"sim", {{"present", true}}}}); });
    std::string after;
    recordStatus(40, "_QMI_STATE", after);
    EXPECT_EQ(run(41), eOUTER_EXIT);
    EXPECT_EQ(after, "CONNECTED");
    EXPECT_EQ(countOf(commands(), "AT+CGDCONT=1,\"IPV4V6\",\"internet\""), 1u);
}

TEST_F(StateMachine, LockedSimWithItsPin_IsUnlockedOnceAndConnected) {
    writeFile("/etc/vuk/cellular_cpin.1", "1234\n");
    startOnTerminal({{"sim", {{"pin", "1234"}, {"lock", true}}}});
    std::string after;
    recordStatus(20, "_QMI_STATE", after);
    EXPECT_EQ(run(21), eOUTER_EXIT);
    EXPECT_EQ(after, "CONNECTED");
    EXPECT_EQ(countOf(commands(), "AT+CPIN=1234"), 1u);
    EXPECT_EQ(logCount("SIM PIN successfully unlocked"), 1u);
}

TEST_F(StateMachine, WrongPin_IsTriedOnceAndNeverAgain) {
    writeFile("/etc/vuk/cellular_cpin.1", "9999\n");
    startOnTerminal({{"sim", {{"pin", "1234"}, {"lock", true}}}});
    at(30, [this] {
        order({{"op", "fault"}, {"prefix", "AT"}, {"kind", "silence"}, {"count", 1}});
    });
    std::string attempts;
    recordStatus(60, "_SIM_REMAIN_CPIN", attempts);
    EXPECT_EQ(run(61), eOUTER_EXIT);
    EXPECT_EQ(countOf(commands(), "AT+CPIN=9999"), 1u);
    EXPECT_EQ(attempts, "2");
}

// The modem checks the PIN, but its answer is lost; then the daemon is restarted.
TEST_F(StateMachine, WrongPinWhoseAnswerWasLost_IsNotTriedByTheNextProcessEither) {
    startOnTerminal({{"sim", {{"pin", "4321"}, {"lock", true}}}});
    writeFile("/etc/vuk/cellular_cpin.1", "1234\n");
    order({{"op", "fault"},
           {"prefix", "AT+CPIN="},
           {"kind", "silence"},
           {"execute", true},
           {"count", 1}});
    EXPECT_EQ(run(20), 2);
    EXPECT_EQ(countOf(commands(), "AT+CPIN=1234"), 1u);
    EXPECT_EQ(readFile("/etc/vuk/cellular_cpin.1"), "1234\n");

    resetDaemon();
    EXPECT_EQ(run(40), 2);
    EXPECT_EQ(countOf(commands(), "AT+CPIN=1234"), 0u);
    EXPECT_EQ(readFile("/etc/vuk/cellular_cpin.1"), "1234\n");

    resetDaemon();
    at(50, [] { writeFile("/etc/vuk/cellular_cpin.1", "4321\n"); });
    std::string state;
    recordStatus(70, "_QMI_STATE", state);
    EXPECT_EQ(run(71), 2);
    EXPECT_EQ(state, "CONNECTED");
}

TEST_F(StateMachine, RightPinWhoseAttemptWasInterrupted_IsTriedAgain) {
    startOnTerminal({{"sim", {{"pin", "1234"}, {"lock", true}}}});
    writeFile("/etc/vuk/cellular_cpin.1", "1234\n");
    order({{"op", "fault"}, {"prefix", "AT+CPIN="}, {"kind", "silence"}, {"count", 1}});
    EXPECT_EQ(run(10), 2);
    resetDaemon();
    std::string state;
    recordStatus(30, "_QMI_STATE", state);
    EXPECT_EQ(run(31), 2);
    EXPECT_EQ(state, "CONNECTED");
}

TEST_F(StateMachine, UnansweredPinCommand_IsSentOnceAndOnceMoreAfterARestart) {
    writeFile("/etc/vuk/cellular_cpin.1", "1234\n");
    startOnTerminal({{"sim", {{"pin", "1234"}, {"lock", true}}}});
    order({{"op", "fault"}, {"prefix", "AT+CPIN="}, {"kind", "silence"}});
    EXPECT_EQ(run(16), eOUTER_EXIT);
    EXPECT_EQ(countOf(commands(), "AT+CPIN=1234"), 1u);
    for (const size_t sent : {1U, 0U, 0U}) {
        resetDaemon();
        EXPECT_EQ(run(simulatedPort().nowMs() / 1000.0 + 60), eOUTER_EXIT);
        EXPECT_EQ(countOf(commands(), "AT+CPIN=1234"), sent);
    }
    EXPECT_EQ(readFile("/etc/vuk/cellular_cpin.1"), "1234\n");
}

// Modems that do not report the attempts, and modems that count down from ten.
class UnusualAttempts : public StateMachine, public ::testing::WithParamInterface<const char*> {};

TEST_P(UnusualAttempts, RightPin_IsSentAgainByEachLaterRun) {
    writeFile("/etc/vuk/cellular_cpin.1", "1234\n");
    startOnTerminal({{"sim", {{"pin", "1234"}, {"lock", true}, {"pct_text", GetParam()}}}});
    EXPECT_EQ(run(20), eOUTER_EXIT);
    for (int i = 0; i < 3; ++i) {
        resetDaemon();
        commands();
        order({{"op", "set"}, {"sim", {{"verified", false}}}});
        std::string after;
        const double now = simulatedPort().nowMs() / 1000.0;
        recordStatus(now + 20, "_QMI_STATE", after);
        EXPECT_EQ(run(now + 21), eOUTER_EXIT);
        EXPECT_EQ(after, "CONNECTED");
        EXPECT_EQ(countOf(commands(), "AT+CPIN=1234"), 1u);
    }
}

INSTANTIATE_TEST_SUITE_P(Each, UnusualAttempts, ::testing::Values("none", "10"));

TEST_F(StateMachine, RightPinOnASimWithTwoAttempts_IsKeptAndUsedAfterAnUnansweredCommand) {
    writeFile("/etc/vuk/cellular_cpin.1", "1234\n");
    startOnTerminal({{"sim", {{"pin", "1234"}, {"lock", true}, {"pin_attempts", 2}}}});
    order({{"op", "fault"}, {"prefix", "AT+CPIN="}, {"kind", "silence"}, {"count", 1}});
    EXPECT_EQ(run(16), eOUTER_EXIT);
    resetDaemon();
    std::string after;
    recordStatus(40, "_QMI_STATE", after);
    EXPECT_EQ(run(41), eOUTER_EXIT);
    EXPECT_EQ(after, "CONNECTED");
    EXPECT_EQ(readFile("/etc/vuk/cellular_cpin.1"), "1234\n");
    EXPECT_EQ(countOf(commands(), "AT+CPIN=1234"), 2u);
}

TEST_F(StateMachine, SimMissingInOnePoll_KeepsTheSessionAndIsSetUpAfterIt) {
    startOnTerminal();
    at(6, [this] {
        order({{"op", "fault"},
               {"match", "AT#QSS?"},
               {"kind", "answer"},
               {"lines", {"#QSS: 0,0"}},
               {"count", 2}});
    });
    size_t setupsBefore = 0, startsBefore = 0;
    at(20, [&] {
        const tCommands sent = simulatedPort().modem().commands();
        setupsBefore = countOf(sent, "AT+GMM");
        startsBefore = countOf(sent, "AT+CGDATA=\"M-RAW_IP\",1");
        order({{"op", "deactivate"}, {"cid", 1}});
    });
    EXPECT_EQ(run(60), eOUTER_EXIT);
    EXPECT_EQ(logCount("SIM is Ready, stopping SIM missing timer"), 1u);
    EXPECT_EQ(setupsBefore, 1u);
    EXPECT_EQ(startsBefore, 1u);
    const tCommands sent = commands();
    EXPECT_EQ(countOf(sent, "AT+GMM"), 2u);
    const tCommands setUpAtOnce = {"AT+CGACT?", "AT", "AT+GMM"};
    EXPECT_NE(std::search(sent.begin(), sent.end(), setUpAtOnce.begin(), setUpAtOnce.end()),
              sent.end());
}

TEST_F(StateMachine, SimMissingDuringASession_EndsItWithTheResetOnly) {
    startOnTerminal();
    at(6, [this] {
        order(
            {{"op", "fault"}, {"match", "AT#QSS?"}, {"kind", "answer"}, {"lines", {"#QSS: 0,0"}}});
    });
    std::string before;
    recordStatus(600, "_QMI_STATE", before);
    EXPECT_EQ(run(700), eOUTER_EXIT_RESET);
    EXPECT_EQ(before, "CONNECTED");
    EXPECT_GE(simulatedPort().nowMs(), 606000u);
    EXPECT_LE(simulatedPort().nowMs(), 610000u);
    const tCommands sent = commands();
    EXPECT_EQ(sent.back(), "AT#REBOOT");
    EXPECT_GE(countOf(sent, "AT+CGPADDR=1"), 500u);  // the session is checked all the time
}

TEST_F(StateMachine, ModemThatComesBackLocked_IsUnlockedWithTheSamePin) {
    writeFile("/etc/vuk/cellular_cpin.1", "1234\n");
    startOnTerminal({{"sim", {{"pin", "1234"}, {"lock", true}}}});
    at(10, [this] { order({{"op", "restart"}, {"away_ms", 5000}}); });
    std::string after;
    recordStatus(60, "_QMI_STATE", after);
    EXPECT_EQ(run(61), eOUTER_EXIT);
    EXPECT_EQ(after, "CONNECTED");
    EXPECT_EQ(countOf(commands(), "AT+CPIN=1234"), 2u);
}

TEST_F(StateMachine, ModemThatComesBackWithOneAttemptLess_IsNotUnlockedAgain) {
    writeFile("/etc/vuk/cellular_cpin.1", "1234\n");
    startOnTerminal({{"sim", {{"pin", "1234"}, {"lock", true}}}});
    at(10, [this] {
        order({{"op", "set"}, {"sim", {{"pin_attempts", 2}}}});
        order({{"op", "restart"}, {"away_ms", 5000}});
    });
    EXPECT_EQ(run(60), eOUTER_EXIT);
    EXPECT_EQ(countOf(commands(), "AT+CPIN=1234"), 1u);
}

TEST_F(StateMachine, SimThatIsLockedAgainWithoutAnOutage_WaitsForTheFile) {
    writeFile("/etc/vuk/cellular_cpin.1", "1234\n");
    startOnTerminal({{"sim", {{"pin", "1234"}, {"lock", true}}}});
    at(10, [this] { order({{"op", "set"}, {"sim", {{"verified", false}}}}); });
    at(30, [] { writeFile("/etc/vuk/cellular_cpin.1", "1234\n"); });
    size_t before = 0;
    at(29, [&] { before = countOf(simulatedPort().modem().commands(), "AT+CPIN=1234"); });
    EXPECT_EQ(run(60), eOUTER_EXIT);
    EXPECT_EQ(before, 1u);
    EXPECT_EQ(countOf(commands(), "AT+CPIN=1234"), 2u);
}

TEST_F(StateMachine, SimThatIsBusyDuringSetUp_IsSetUpAgainWhenItIsReady) {
    startOnTerminal();
    order({{"op", "fault"},
           {"match", "AT+CPIN?;#PCT"},
           {"kind", "answer"},
           {"lines", {"+CPIN: BUSY", "#PCT: 3"}}});
    size_t setupsBefore = 0, startsBefore = 0;
    at(15, [&] {
        const tCommands sent = simulatedPort().modem().commands();
        setupsBefore = countOf(sent, "AT+GMM");
        startsBefore = countOf(sent, "AT+CGDATA=\"M-RAW_IP\",1");
        order({{"op", "clear-faults"}});
    });
    std::string after;
    recordStatus(30, "_QMI_STATE", after);
    EXPECT_EQ(run(31), eOUTER_EXIT);
    EXPECT_EQ(setupsBefore, 1u);
    EXPECT_EQ(startsBefore, 0u);  // although the modem is registered
    EXPECT_EQ(after, "CONNECTED");
    const tCommands sent = commands();
    EXPECT_EQ(countOf(sent, "AT+GMM"), 2u);
    EXPECT_EQ(countOf(sent, "AT+CGDCONT=1,\"IPV4V6\",\"internet\""), 1u);
}

TEST_F(StateMachine, OwnNumberThatIsRefused_RepeatsSetUpWithoutCountingErrors) {
    startOnTerminal();
    order({{"op", "fault"}, {"match", "AT+CNUM"}, {"kind", "cme"}, {"number", 11}});
    EXPECT_EQ(run(60), eOUTER_EXIT);
    EXPECT_GE(countOf(commands(), "AT+GMM"), 20u);
    EXPECT_FALSE(logContains("Device responded with errors"));
}
