#include <gtest/gtest.h>

#include <chrono>
#include <sstream>

#include "tests/replay/replayed_day.h"
#include "tests/replay/sessions.h"
#include "tests/support/daemon_reset.h"
#include "tests/support/flow_fixture.h"

// The daemon's real loop on recordings, on a fake clock.

namespace {

using le910sim::readRecording;
using le910sim::sRecording;

sRecording recordingOf(const std::string& text) {
    std::istringstream input(text);
    return readRecording(input, "made");
}

class ReplayFlow : public cFlowFixture {
  protected:
    // What a recording was made in does not matter for its replay.
    void cleanUp() {
        resetDaemon();
        for (const char* path : {"/var/log/wireless.cardstats", "/var/log/wireless.cardstats.1"})
            remove(path);
    }
};

}  // namespace

// Written by hand: a modem that knows two commands.
TEST_F(ReplayFlow, RecordingByHand_IsReplayedAndWhatItLacksIsRefused) {
    const sReplayedOutcome outcome = runReplayedDay(recordingOf(
        R"({"recording":1,"program":"by hand","slot":1,"began":"2026-11-22T09:00:00Z"})"
        "\n"
        R"({"ms":0,"mark":"config","values":{"CM_ENABLE_INTERFACE":"yes","CM_APN":"internet"}})"
        "\n"
        R"({"ms":0,"at":"open"})"
        "\n"
        R"({"ms":10,"at":"write","data":"AT+GMM\r"})"
        "\n"
        R"({"ms":30,"at":"read","data":"AT+GMM\r\r\nLE910-NA1\r\n\r\nOK\r\n"})"
        "\n"
        R"({"ms":2000,"at":"write","data":"ATI3\r"})"
        "\n"
        R"({"ms":2030,"at":"read","data":"ATI3\r\r\nTelit\r\n\r\nOK\r\n"})"
        "\n"));
    EXPECT_EQ(outcome.unknown, (std::vector<std::string>{"AT+CMEE=1", "AT"}));
    ASSERT_GE(outcome.commands.size(), 2U);
    EXPECT_EQ(outcome.commands[0], "AT+GMM");
    EXPECT_EQ(outcome.commands[1], "AT+CMEE=1");
    // The modem is of no use, so the daemon resets it again and again.
    EXPECT_EQ(outcome.statuses[0], 3);
}

TEST_F(ReplayFlow, HangUpInARecording_LeavesTheDaemonWithoutAModemForTheSameTime) {
    sSession session;
    session.name = "unplugged";
    session.seconds = 60;
    session.scenario = {{"timeline", {{{"at", 15}, {"op", "hangup"}, {"away_ms", 20000}}}}};
    const sRecording recording = recordingOf(recordSession(session));
    cleanUp();
    const sReplayedOutcome outcome = runReplayedDay(recording);
    EXPECT_EQ(outcome.differences, 0U) << outcome.firstDifference;
    EXPECT_TRUE(outcome.isOver);
    EXPECT_NE(outcome.published.find("_QMI_STATE=CONNECTED\n"), std::string::npos);
    EXPECT_EQ(outcome.lastedMs / 1000, 60U);
}
