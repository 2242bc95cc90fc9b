#include "device/recorder.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "device/at_port.h"
#include "device/link_state.h"
#include "include/options.h"
#include "include/sleep.h"
#include "platform/include/timer_clock.h"
#include "tests/support/pseudo_terminal.h"
#include "tests/support/temp_folder.h"

namespace {

uint64_t g_nowMs = 5000;

class Recorder : public testing::Test {
  protected:
    void SetUp() override {
        resetRecorder();
        g_nowMs = 5000;
        setTimerClock([] { return g_nowMs; });
        g_S_options = {};
        g_S_options.s_gps_device = "/dev/the-gps";
    }
    void TearDown() override {
        resetRecorder();
        setTimerClock(nullptr);
        g_S_options = {};
    }

    bool start(size_t fileBytes = 100000) {
        sRecordSettings settings;
        settings.path = m_path;
        settings.olderPath = m_older;
        settings.fileBytes = fileBytes;
        settings.program = "cellslotd 1";
        settings.slot = 2;
        settings.markState = m_markState;
        return startRecording(settings);
    }
    // Without the first line.
    std::string lines() const {
        flushRecording();
        const std::string text = readFile(m_path);
        return text.substr(text.find('\n') + 1);
    }

    cTempFolder m_folder;
    std::string m_path = m_folder / "recording";
    std::string m_older = m_folder / "older";
    void (*m_markState)() = nullptr;
};

void markSomething() {
    const cRecordMark mark("whole");
}

}  // namespace

TEST_F(Recorder, Off_RecordsNothing) {
    EXPECT_FALSE(isRecording());
    noteOpenPort(3, "/dev/at");
    noteClosedPort(3);
    stopRecording("asked");
    EXPECT_FALSE(fileExists(m_path));
}

TEST_F(Recorder, Begun_WritesTheHeaderAndThePortsThatAreOpen) {
    noteOpenPort(3, "/dev/at");
    noteOpenPort(4, "/dev/the-gps");
    ASSERT_TRUE(start());
    EXPECT_EQ(readFile(m_path).find(
                  "{\"recording\":1,\"program\":\"cellslotd 1\",\"slot\":2,\"began\":\""),
              0U);
    EXPECT_EQ(lines(), "{\"ms\":0,\"at\":\"open\"}\n{\"ms\":0,\"gps\":\"open\"}\n");
}

TEST_F(Recorder, PortInUse_IsRecordedPieceByPiece) {
    const sPseudoTerminal terminal = openPseudoTerminal();
    int port = -1;
    ASSERT_TRUE(start());
    ASSERT_EQ(openDevice(terminal.path, port), 0);
    EXPECT_EQ(writeToPort(port, "AT+CSQ", false), ePORT_OK);
    g_nowMs += 1234;
    recordWrite(port, "\r", 1);
    recordRead(port, "\r\nOK\r\n", 6);
    closeDevice(port);
    close(terminal.modemEnd);
    stopRecording("asked");
    EXPECT_EQ(lines(),
              "{\"ms\":0,\"at\":\"open\"}\n"
              "{\"ms\":0,\"at\":\"write\",\"data\":\"AT+CSQ\"}\n"
              "{\"ms\":1234,\"at\":\"write\",\"data\":\"\\r\"}\n"
              "{\"ms\":1234,\"at\":\"read\",\"data\":\"\\r\\nOK\\r\\n\"}\n"
              "{\"ms\":1234,\"at\":\"close\"}\n"
              "{\"ms\":1234,\"mark\":\"stop\",\"reason\":\"asked\"}\n");
}

TEST_F(Recorder, CommandWithItsCarriageReturn_IsOneLineWithBothTimes) {
    const sPseudoTerminal terminal = openPseudoTerminal();
    int port = -1;
    ASSERT_TRUE(start());
    ASSERT_EQ(openDevice(terminal.path, port), 0);
    setSleepFunction([](unsigned microseconds) { g_nowMs += microseconds / 1000 + 3; });
    g_nowMs += 50;
    EXPECT_EQ(writeToPort(port, "AT+CSQ", true), ePORT_OK);
    setSleepFunction(nullptr);
    EXPECT_EQ(lines(),
              "{\"ms\":0,\"at\":\"open\"}\n"
              "{\"ms\":50,\"at\":\"write\",\"data\":\"AT+CSQ\\r\",\"cr\":13}\n");
    closeDevice(port);
    close(terminal.modemEnd);
}

// The device goes between the two writes.
TEST_F(Recorder, CarriageReturnThatCannotBeWritten_LeavesTheTextAndTheHangUp) {
    static int s_modemEnd = -1;
    const sPseudoTerminal terminal = openPseudoTerminal();
    s_modemEnd = terminal.modemEnd;
    int port = -1;
    ASSERT_TRUE(start());
    ASSERT_EQ(openDevice(terminal.path, port), 0);
    setSleepFunction([](unsigned) { close(s_modemEnd); });
    EXPECT_EQ(writeToPort(port, "AT+CSQ", true), ePORT_OK);
    setSleepFunction(nullptr);
    closeDevice(port);
    EXPECT_EQ(lines(),
              "{\"ms\":0,\"at\":\"open\"}\n"
              "{\"ms\":0,\"at\":\"write\",\"data\":\"AT+CSQ\"}\n"
              "{\"ms\":0,\"at\":\"hangup\",\"error\":5}\n"
              "{\"ms\":0,\"at\":\"close\"}\n");
}

TEST_F(Recorder, HangUp_IsRecordedOnceForEachOpening) {
    noteOpenPort(3, "/dev/at");
    ASSERT_TRUE(start());
    recordHangUp(3, EIO);
    recordHangUp(3, 0);
    noteClosedPort(3);
    noteOpenPort(3, "/dev/at");
    recordHangUp(3, 0);
    EXPECT_EQ(lines(),
              "{\"ms\":0,\"at\":\"open\"}\n{\"ms\":0,\"at\":\"hangup\",\"error\":5}\n"
              "{\"ms\":0,\"at\":\"close\"}\n{\"ms\":0,\"at\":\"open\"}\n"
              "{\"ms\":0,\"at\":\"hangup\"}\n");
}

TEST_F(Recorder, GpsPort_HasItsOwnKey) {
    ASSERT_TRUE(start());
    noteOpenPort(4, "/dev/the-gps");
    recordWrite(4, "AT$GPSSW\r", 9);
    EXPECT_EQ(lines(),
              "{\"ms\":0,\"gps\":\"open\"}\n"
              "{\"ms\":0,\"gps\":\"write\",\"data\":\"AT$GPSSW\\r\"}\n");
}

TEST_F(Recorder, Mark_HasItsValuesWithoutSecrets) {
    ASSERT_TRUE(start());
    hideFromRecording("pa55word");
    {
        cRecordMark mark("host");
        mark.text("command", "tool --key pa55word \"x\"");
        mark.number("result", -1);
        mark.beginList("list");
        mark.add("a");
        mark.add("b");
        mark.endList();
        mark.beginValues("values");
        mark.text("A", "1");
        mark.nothing("B");
        mark.endValues();
    }
    EXPECT_EQ(lines(),
              "{\"ms\":0,\"mark\":\"host\",\"command\":\"tool --key xx00xxxx \\\"x\\\"\","
              "\"result\":-1,\"list\":[\"a\",\"b\"],\"values\":{\"A\":\"1\",\"B\":null}}\n");
}

TEST_F(Recorder, Identity_IsTheSameInAMarkAsOnThePort) {
    ASSERT_TRUE(start());
    recordWrite(3, "AT+CIMI\r", 8);
    recordRead(3, "310410123456789\r\n", 17);
    {
        cRecordMark mark("published");
        mark.identity("SIM_IMSI", "310410123456789");
        mark.identity("SIM_ID", "00000000000000000000");
    }
    const std::string text = lines();
    const std::string standIn = text.substr(text.find("310410"), 15);
    EXPECT_NE(standIn, "310410123456789");
    EXPECT_NE(text.find("\"SIM_IMSI\":\"" + standIn + "\",\"SIM_ID\":\"00000000000000000000\""),
              std::string::npos)
        << text;
}

TEST_F(Recorder, FullFile_BeginsAnotherWithHeaderAndState) {
    m_markState = markSomething;
    ASSERT_TRUE(start(300));
    for (int i = 0; i < 5; ++i) {
        recordRead(3, "+CSQ: 1,2\r\n", 11);
        flushRecording();
    }
    const std::string header = readFile(m_older).substr(0, readFile(m_older).find('\n'));
    EXPECT_EQ(readFile(m_path).find(header), 0U);
    EXPECT_NE(lines().find("\"mark\":\"whole\""), std::string::npos);
}

TEST_F(Recorder, FileThatCannotBeMade_IsAFailure) {
    m_path = m_folder / "none/recording";
    EXPECT_FALSE(start());
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(isRecording());
}

TEST_F(Recorder, FileThatCannotBeWritten_EndsTheRecordingOnce) {
    m_path = "/dev/full";
    m_older = m_folder / "older";
    EXPECT_FALSE(start());
    EXPECT_FALSE(isRecording());
    EXPECT_EQ(takeRecordingFailure(), 0);
}

TEST_F(Recorder, SecondRecording_AppendsWithAHeaderOfItsOwn) {
    ASSERT_TRUE(start());
    stopRecording("minutes");
    ASSERT_TRUE(start());
    stopRecording("asked");
    const std::string text = readFile(m_path);
    EXPECT_NE(text.find("\"reason\":\"minutes\"}\n{\"recording\":1"), std::string::npos) << text;
}

TEST_F(Recorder, BegunWhileAnAnswerIsOwed_HidesWhatNobodyKnows) {
    noteOpenPort(3, "/dev/at");
    noteOwedAnswer(3);
    ASSERT_TRUE(start());
    recordRead(3, "hunter2\r\n", 9);
    forgetLink(3);
    EXPECT_NE(lines().find("xxxxxx0"), std::string::npos) << lines();
}

TEST_F(Recorder, Bytes_AreWrittenInTimeOrWhenTheyAreMany) {
    const auto fileLines = [this] {
        const std::string text = readFile(m_path);
        return std::count(text.begin(), text.end(), '\n') - 1;
    };
    ASSERT_TRUE(start());
    recordRead(3, "+CSQ: 1,2\r\n", 11);
    EXPECT_EQ(fileLines(), 0);
    g_nowMs += 1000;
    recordRead(3, "+CSQ: 1,2\r\n", 11);
    EXPECT_EQ(fileLines(), 2);
    for (int i = 0; i < 500; ++i)
        recordRead(3, "+CSQ: 1,2\r\n", 11);
    EXPECT_GT(fileLines(), 200);
    EXPECT_LT(fileLines(), 502);
}

TEST_F(Recorder, SilentPort_WritesWhatWasRecordedBefore) {
    ASSERT_TRUE(start());
    recordWrite(3, "AT+COPS=?\r", 10);
    for (int i = 0; i < 99; ++i)
        recordSilence();
    EXPECT_EQ(readFile(m_path).find("COPS"), std::string::npos);
    recordSilence();
    EXPECT_NE(readFile(m_path).find("COPS"), std::string::npos);
}

TEST_F(Recorder, FailedOpen_IsRecordedWhenItBeginsAndWhenTheReasonChanges) {
    int port = -1;
    ASSERT_TRUE(start());
    g_S_options.s_device = m_folder / "none";
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(openDevice(g_S_options.s_device, port), ENOENT);
    noteFailedOpen(g_S_options.s_device, EACCES);
    noteFailedOpen(g_S_options.s_gps_device, ENOENT);
    noteOpenPort(3, g_S_options.s_device);
    noteFailedOpen(g_S_options.s_device, EACCES);
    EXPECT_EQ(lines(),
              "{\"ms\":0,\"at\":\"open\",\"error\":2}\n"
              "{\"ms\":0,\"at\":\"open\",\"error\":13}\n"
              "{\"ms\":0,\"gps\":\"open\",\"error\":2}\n"
              "{\"ms\":0,\"at\":\"open\"}\n"
              "{\"ms\":0,\"at\":\"open\",\"error\":13}\n");
}
