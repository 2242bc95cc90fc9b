#include <gtest/gtest.h>

#include <chrono>
#include <sstream>

#include "platform/include/text_helpers.h"
#include "platform/include/tokenstr.h"
#include "tests/replay/replayed_day.h"
#include "tests/replay/sessions.h"
#include "tests/support/daemon_reset.h"
#include "tests/support/flow_fixture.h"
#include "tests/support/temp_folder.h"

// The daemon's real loop on recordings, on a fake clock.

namespace {

using le910sim::readRecording;
using le910sim::sRecording;

sRecording recordingOf(const std::string& text) {
    std::istringstream input(text);
    return readRecording(input, "made");
}

// A row "AT+CSQ   | +CSQ: 17,99" of the document as the two lines of a recording.
std::string exchangeOf(const std::string& row, uint64_t ms) {
    const tokenstr fields(row, '|', eEmptyTokens::KEEP);
    const std::string command = cleanWhiteSpace(fields[0]);
    std::string answer = command + "\r";
    std::string last;
    for (size_t i = 1; i < fields.size(); ++i) {
        last = cleanWhiteSpace(fields[i]);
        answer += "\r\n" + last;
    }
    if (last != "ERROR" && last != "CONNECT")
        answer += std::string(last.empty() ? "" : "\r\n") + "\r\nOK";
    le910sim::sRecordedEvent event;
    event.ms = ms;
    event.kind = le910sim::eRECORDED_WRITE;
    event.bytes = command + "\r";
    std::string lines = recordedLine(event);
    event.kind = le910sim::eRECORDED_READ;
    event.bytes = answer + "\r\n";
    event.ms += 10;
    return lines + recordedLine(event);
}

// The recording that docs/recordings.md says how to write: its example, with the commands of its
// list instead of the one of the example.
std::string recordingOfTheDocument() {
    std::string example;
    std::string exchanges;
    uint64_t ms = 10;
    bool isHere = false;
    for (const std::string& line :
         tokenstr(readFile(DOCS "/recordings.md"), '\n', eEmptyTokens::KEEP)) {
        if (startsWith(line, "### ")) isHere = line == "### Writing one by hand";
        if (!isHere || !startsWith(line, "    ")) continue;
        const std::string text = line.substr(4);
        const bool isExchange = text.find("\"at\":\"write\"") != std::string::npos ||
                                text.find("\"at\":\"read\"") != std::string::npos;
        if (startsWith(text, "AT"))
            exchanges += exchangeOf(text, std::exchange(ms, ms + 20));
        else if (!isExchange)
            example += text + "\n";
    }
    const size_t stop = example.rfind("{\"ms\"");
    return example.substr(0, stop) + exchanges + example.substr(stop);
}

// The same recording with its last passes again and again, until it is so long. A pass begins with
// AT.
sRecording lengthened(const sRecording& recording, uint64_t fromMs, uint64_t untilMs) {
    std::vector<size_t> passes;
    for (size_t i = 0; i < recording.events.size(); ++i) {
        const le910sim::sRecordedEvent& event = recording.events[i];
        const bool isPass = event.kind == le910sim::eRECORDED_WRITE && event.bytes == "AT";
        if (isPass && event.ms >= fromMs) passes.push_back(i);
    }
    const size_t first = passes.at(0);
    const size_t last = passes.back();
    const uint64_t lastsMs = recording.events[last].ms - recording.events[first].ms;
    sRecording result = recording;
    result.events.resize(last);
    for (uint64_t addedMs = lastsMs; result.endMs() < untilMs; addedMs += lastsMs)
        for (size_t i = first; i < last; ++i) {
            result.events.push_back(recording.events[i]);
            result.events.back().ms += addedMs;
        }
    return result;
}

uint64_t processorMs() {
    timespec used{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    return static_cast<uint64_t>(used.tv_sec) * 1000 +
           static_cast<uint64_t>(used.tv_nsec) / 1000000;
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

TEST_F(ReplayFlow, RecordingThatTheDocumentDescribes_IsConnectedAtItsEnd) {
    const sReplayedOutcome outcome = runReplayedDay(recordingOf(recordingOfTheDocument()));
    EXPECT_TRUE(outcome.isOver);
    EXPECT_EQ(outcome.unknown, std::vector<std::string>());
    EXPECT_NE(outcome.published.find("_QMI_STATE=CONNECTED\n"), std::string::npos)
        << outcome.published;
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

// A minute repeated: what the daemon asks more seldom comes at other times than in it. bench.sh
// --replay shows how long it takes.
TEST_F(ReplayFlow, HourOfAConnectedModem_IsReplayedToItsEnd) {
    constexpr uint64_t HOUR_MS = 3600 * 1000;
    sSession session;
    session.name = "connected";
    session.seconds = 70;
    session.scenario = {{"timings", {{"reply_ms", 60}}}};
    const sRecording hour = lengthened(recordingOf(recordSession(session)), 20000, HOUR_MS);
    cleanUp();
    std::string text = hour.header.dump() + "\n";
    for (const le910sim::sRecordedEvent& event : hour.events)
        text += recordedLine(event);
    const uint64_t startMs = processorMs();
    const sReplayedOutcome outcome = runReplayedDay(recordingOf(text));
    const uint64_t tookMs = processorMs() - startMs;
    EXPECT_TRUE(outcome.isOver);
    EXPECT_GE(outcome.lastedMs, HOUR_MS);
    EXPECT_GT(outcome.commands.size(), 30000U);
    EXPECT_NE(outcome.published.find("_QMI_STATE=CONNECTED\n"), std::string::npos);
    printf("an hour, %zu commands: %llu ms of a processor\n", outcome.commands.size(),
           static_cast<unsigned long long>(tookMs));
}
