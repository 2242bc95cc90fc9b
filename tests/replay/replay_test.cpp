#include <gtest/gtest.h>

#include <chrono>
#include <sstream>

#include "include/options.h"
#include "include/signal_flags.h"
#include "statemachine/state_machine.h"
#include "tests/matrix/faulty_modem.h"
#include "tests/replay/replayed_day.h"
#include "tests/support/daemon_reset.h"
#include "tests/support/flow_fixture.h"
#include "tests/support/published_state.h"
#include "tests/support/set_up_commands.h"
#include "tests/support/temp_folder.h"

// The daemon's real loop on recordings, on a fake clock.

namespace {

using le910sim::readRecording;
using le910sim::sRecording;

// A recording by hand: a modem that answers nothing but OK.
sRecording silentHour() {
    std::istringstream text(
        R"({"recording":1,"program":"by hand","slot":1,"began":"2026-11-22T09:00:00Z"})"
        "\n"
        R"({"ms":0,"mark":"config","values":{"CM_ENABLE_INTERFACE":"yes","CM_APN":"internet"}})"
        "\n"
        R"({"ms":0,"at":"open"})"
        "\n"
        R"({"ms":10,"at":"write","data":"AT\r"})"
        "\n"
        R"({"ms":30,"at":"read","data":"AT\r\r\nOK\r\n"})"
        "\n"
        R"({"ms":3600000,"mark":"stop","reason":"asked"})"
        "\n");
    return readRecording(text, "by hand");
}

sRecording recordingOf(const std::vector<sSent>& sent, uint64_t endMs) {
    std::string text =
        R"({"recording":1,"program":"t","slot":1,"began":"2026-11-22T09:00:00Z"})"
        "\n"
        R"({"ms":0,"mark":"config","values":{"CM_ENABLE_INTERFACE":"yes","CM_APN":"internet","CM_SYNC_TIME":"no","CM_GPS_ENABLE":"no"}})"
        "\n";
    for (const sSent& one : sent) {
        le910sim::sRecordedEvent event;
        event.kind = le910sim::eRECORDED_WRITE;
        event.port = one.port == eAT_PORT ? le910sim::ePORT_AT : le910sim::ePORT_GPS;
        event.ms = one.timeMs - 10;
        event.bytes = one.command + "\r";
        text += recordedLine(event);
        event.kind = le910sim::eRECORDED_READ;
        event.ms = one.timeMs;
        event.bytes = one.command + "\r" + one.body;
        text += recordedLine(event);
    }
    text += "{\"ms\":" + std::to_string(endMs) + ",\"mark\":\"stop\"}\n";
    std::istringstream input(text);
    return readRecording(input, "made");
}

class ReplayFlow : public cFlowFixture {};

}  // namespace

TEST_F(ReplayFlow, HourOfARecording_TakesLessThanASecond) {
    const auto start = std::chrono::steady_clock::now();
    const sReplayedOutcome outcome = runReplayedDay(silentHour());
    const auto passed = std::chrono::steady_clock::now() - start;
    printf("%zu commands, %zu differences, lasted %llu ms in %lld ms\n%s", outcome.commands.size(),
           outcome.differences, (unsigned long long)outcome.lastedMs,
           (long long)std::chrono::duration_cast<std::chrono::milliseconds>(passed).count(),
           outcome.published.c_str());
    EXPECT_GE(outcome.lastedMs, 3600000U);
}

TEST_F(ReplayFlow, Vertical) {
    std::vector<sSent> sent;
    std::string published;
    const uint64_t END = getenv("END_S") ? atoi(getenv("END_S")) * 1000ULL : 40000;
    {
        cFaultyModem modem(nlohmann::json::object(), "/tmp/modem-at", "/tmp/modem-gps");
        g_S_options = {"/tmp/modem-at", "/tmp/modem-gps", "wwan0", "1"};
        writeFile("/run/poststart", "");
        writeFile("/etc/vuk/cellular1.conf",
                  "CM_ENABLE_INTERFACE=yes\nCM_APN=internet\nCM_SYNC_TIME=no\nCM_GPS_ENABLE=no\n");
        modem.onTurn([&] {
            if (modem.nowMs() >= END && !b_got_sigterm) {
                published = publishedState();
                sent = modem.sent();
                b_got_sigterm = true;
            }
        });
        runStateMachine();
        b_got_sigterm = false;
    }
    for (const char* f : {"/var/log/wireless.cardstats.1", "/var/log/wireless.cardstats"})
        unlink(f);
    resetDaemon();
    const auto start = std::chrono::steady_clock::now();
    const sReplayedOutcome outcome = runReplayedDay(recordingOf(sent, END));
    const auto passed = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(published, outcome.published);
    EXPECT_EQ(outcome.differences, 0U) << outcome.firstDifference;
    EXPECT_TRUE(outcome.isOver);
    printf("%zu of %zu commands, %zu differences, lasted %llu ms in %lld ms\n",
           outcome.commands.size(), sent.size(), outcome.differences,
           (unsigned long long)outcome.lastedMs,
           (long long)std::chrono::duration_cast<std::chrono::milliseconds>(passed).count());
}
