#include <algorithm>

#include "include/device_records.h"
#include "include/signal_flags.h"
#include "statemachine/radio_policy.h"
#include "statemachine/state_machine.h"
#include "tests/flow/state_machine_fixture.h"
#include "tests/support/daemon_reset.h"

// In step with the modem: unsolicited lines cost nothing, and a late answer is not taken for the
// answer to another command.

namespace {

const char* const REGISTRATION_POLL = "AT+CEREG?";
const char* const DEACTIVATE = "AT+CGACT=0,1";
const char* const DEFINE_APN = "AT+CGDCONT=1,\"IPV4V6\",\"internet\"";
constexpr uint64_t BEGIN_MS = 5000;
constexpr uint64_t PERIOD_MS = 10000;

const char* const UNSOLICITED[] = {"RING", "+CREG: 1", "+CGEV: NW DETACH",
                                   "#NITZ: 20/06/15,20:32:05-24,1"};

}  // namespace

class Link : public StateMachine {
  protected:
    void babble(double seconds, const std::string& line, unsigned everyMs = 200) {
        at(seconds, [this, line, everyMs] {
            order({{"op", "urc"}, {"line", line}, {"every_ms", everyMs}});
        });
    }
    int countIn(const std::string& command, uint64_t fromMs, uint64_t toMs) {
        const auto& all = simulatedPort().modem().exchanges();
        return static_cast<int>(std::count_if(all.begin(), all.end(), [&](const auto& one) {
            return one.command == command && one.timeMs >= fromMs && one.timeMs < toMs;
        }));
    }
    uint64_t firstTimeOf(const std::string& command) {
        for (const auto& one : simulatedPort().modem().exchanges())
            if (one.command == command) return one.timeMs;
        ADD_FAILURE() << command << " was not sent";
        return 0;
    }
    int pollsInTenSeconds() { return countIn(REGISTRATION_POLL, BEGIN_MS, BEGIN_MS + PERIOD_MS); }
    void answerLate(const std::string& command, unsigned delayMs) {
        order({{"op", "fault"},
               {"match", command},
               {"kind", "delay"},
               {"delay_ms", delayMs},
               {"count", 1}});
    }
};

TEST_F(Link, UnsolicitedLinesFiveTimesASecond_DoNotReduceTheNumberOfPolls) {
    startOnTerminal();
    run(16);
    const int quiet = pollsInTenSeconds();
    const int quietAts = countIn("AT", BEGIN_MS, BEGIN_MS + PERIOD_MS);
    EXPECT_GE(quiet, 9);
    for (const char* line : UNSOLICITED) {
        resetDaemon();
        startOnTerminal();
        babble(4, line);
        run(16);
        EXPECT_EQ(pollsInTenSeconds(), quiet) << line;
        EXPECT_EQ(countIn("AT", BEGIN_MS, BEGIN_MS + PERIOD_MS), quietAts) << line;
    }
}

TEST_F(Link, UnsolicitedLinesFiveTimesASecond_DoNotDelaySigterm) {
    startOnTerminal();
    EXPECT_EQ(run(10.3), eOUTER_EXIT);
    const uint64_t quietMs = simulatedPort().nowMs();
    resetDaemon();
    startOnTerminal();
    babble(4, "RING");
    EXPECT_EQ(run(10.3), eOUTER_EXIT);
    EXPECT_LE(simulatedPort().nowMs(), quietMs + 20);
}

// A modem that sends unsolicited lines all the time and never answers a command whose time-out does
// not end the pass.
TEST_F(Link, UnsolicitedLinesWhileAnAnswerIsOwed_DelayThePassByASecondAtMost) {
    startOnTerminal();
    order({{"op", "fault"}, {"match", "AT+CCLK?"}, {"kind", "silence"}});
    babble(4, "RING");
    for (double seconds = 5; seconds < 20; seconds += 0.5)
        at(seconds, [] { writeFile("/tmp/at_cmd_in", "AT+CCLK?\n"); });
    EXPECT_EQ(run(20.3), eOUTER_EXIT);
    EXPECT_LE(simulatedPort().nowMs(), 20300u + 3500);
    // A pass with a quiet modem, the second that the command may take, and a second for its late
    // answer.
    EXPECT_GE(countIn(REGISTRATION_POLL, BEGIN_MS, BEGIN_MS + PERIOD_MS), 3);
}

TEST_F(Link, LateAnswerToTheDeactivation_DoesNotHideThatTheApnIsRefused) {
    for (const unsigned delayMs : {6050, 6500, 6990}) {
        clearCapturedLog();
        start();
        device.sim.e_slot = eSIM_SLOT_1;
        answerLate(DEACTIVATE, delayMs);
        fault(DEFINE_APN, "cme", 567);
        EXPECT_EQ(setAPN(port(), config, device.sim), eERROR_DEVICE_RESPONSE_ERROR) << delayMs;
        EXPECT_EQ(logCount("Error setting APN 'internet', error 567 (WRONG APN)"), 1u) << delayMs;
        EXPECT_EQ(logCount("Success setting APN 'internet'"), 0u) << delayMs;
    }
}

// The answer comes after the wait for it. The modem echoes commands, so text before the echo
// belongs to an earlier command.
TEST_F(Link, AnswerLaterThanItsTimeout_DoesNotHideThatTheApnIsRefused) {
    start();
    sendEarlier("AT");
    device.sim.e_slot = eSIM_SLOT_1;
    answerLate(DEACTIVATE, 7500);
    fault(DEFINE_APN, "cme", 567);
    EXPECT_EQ(setAPN(port(), config, device.sim), eERROR_DEVICE_RESPONSE_ERROR);
    EXPECT_EQ(logCount("Success setting APN 'internet'"), 0u);
}

TEST_F(Link, LateAnswerToTheDeactivation_LeavesTheWholeSetUpInStep) {
    startOnTerminal();
    answerLate(DEACTIVATE, 6500);
    std::string state;
    recordStatus(15, "_QMI_STATE", state);
    run(15.5);
    EXPECT_EQ(state, "CONNECTED");
    EXPECT_EQ(logCount("Success setting APN 'internet'"), 1u);
    EXPECT_EQ(countIn(DEFINE_APN, 0, firstTimeOf(DEACTIVATE) + 6600), 1);
}

// No answer comes after CONNECT, so the daemon does not wait for one.
TEST_F(Link, ConnectWithoutOk_OwesNothing) {
    uint64_t endMs[2] = {};
    for (const bool withOk : {true, false}) {
        resetDaemon();
        startOnTerminal({{"cgdata_ok", withOk}});
        run(9);
        const uint64_t dataMs = firstTimeOf("AT+CGDATA=\"M-RAW_IP\",1");
        const auto& all = simulatedPort().modem().exchanges();
        const auto next = std::find_if(all.begin(), all.end(), [&](const le910sim::sExchange& one) {
            return one.timeMs > dataMs;
        });
        ASSERT_NE(next, all.end());
        endMs[withOk ? 0 : 1] = next->timeMs - dataMs;
    }
    EXPECT_LE(endMs[1], endMs[0] + 1000);
}

TEST_F(Link, CustomCommandAnsweredInALaterPass_LeavesThePassesInStep) {
    startOnTerminal();
    order({{"op", "fault"}, {"match", "AT+CSQ"}, {"kind", "urc"}, {"line", "RING"}});
    at(6, [this] {
        answerLate("AT+CCLK?", 1700);
        writeFile("/tmp/at_cmd_in", "AT+CCLK?\n");
    });
    std::string state, rssi;
    recordStatus(15, "_QMI_STATE", state);
    recordStatus(15, "_CURRENT_RSSI", rssi);
    run(15.5);
    EXPECT_EQ(state, "CONNECTED");
    EXPECT_EQ(rssi, "-68");
    EXPECT_EQ(logCount("Device not responding, closing port"), 0u);
    EXPECT_GE(countIn(REGISTRATION_POLL, 8000, 15000), 6);
}
