#include <fcntl.h>
#include <unistd.h>

#include "device/link_state.h"
#include "tests/unit/gps/fixture.h"

namespace {

class GpsStream : public cGpsFixture {
  protected:
    // The stream after a start, with nothing recorded yet.
    void startStream() {
        start(ENABLED_RECEIVER);
        ASSERT_EQ(gpsStart(), eERROR_DEVICE_GPS_START_STREAM_SUCCESS);
        sent();
        writes();
        shellCommands();
        terminal().takePausesUs();
        clearCapturedLog();
    }

    // The modem ignores this number of "+++" and keeps streaming.
    void ignoreEscapes(int count) { terminal().fault("+++", {{"kind", "silence"}}, count); }
};

tTexts stopCommands(int attempts) {
    tTexts all;
    for (int i = 0; i < attempts; ++i)
        all = joined(all, STOP_COMMANDS);
    return all;
}

}  // namespace

TEST_F(GpsStream, Stop_TakesThePortBackAndItAnswersAgain) {
    startStream();
    terminal().pass(3000000);
    EXPECT_EQ(gpsStop(), eERROR_DEVICE_GPS_STOP_STREAM_SUCCESS);
    EXPECT_EQ(sent(), STOP_COMMANDS);
    EXPECT_EQ(shellCommands(), tTexts{gpsdctl("remove")});
    EXPECT_EQ(writes(), (tEntries{{"_GPS_STREAM", "-1"}, {"_GPS_STREAM", "0"}}));
    EXPECT_EQ(terminal().takePausesUs(), (std::vector<unsigned>{500000, 1000000, 1100000}));
    EXPECT_FALSE(streamFlag);
    EXPECT_FALSE(gps.getStreamStatus());
    EXPECT_EQ(logCount("Stopping GPS stream"), 1U);

    terminal().takeUnread();
    terminal().modem().receiveGps("AT\r", terminal().nowMs());
    terminal().pass(100000);
    EXPECT_EQ(terminal().takeUnread(), "AT\r\r\nOK\r\n");
}

TEST_F(GpsStream, StopTwice_SecondDoesNothing) {
    startStream();
    gpsStop();
    sent();
    writes();
    shellCommands();
    streamFlag = true;
    EXPECT_EQ(gpsStop(), eERROR_DEVICE_GPS_STOP_STREAM_SUCCESS);
    EXPECT_EQ(sent(), tTexts());
    EXPECT_EQ(writes(), tEntries());
    EXPECT_EQ(shellCommands(), tTexts());
    EXPECT_EQ(logCount("gpsStop(): Stream already stopped"), 1U);
    EXPECT_FALSE(streamFlag);
}

TEST_F(GpsStream, StartAfterAStop_Streams) {
    startStream();
    gpsStop();
    EXPECT_EQ(gpsStart(), eERROR_DEVICE_GPS_START_STREAM_SUCCESS);
    EXPECT_EQ(storedValue("_GPS_STREAM"), "1");
}

TEST_F(GpsStream, ModemIgnoresEscapes_IsTriedFourTimesInAll) {
    for (int ignored = 1; ignored <= 3; ++ignored) {
        SCOPED_TRACE(ignored);
        startStream();
        ignoreEscapes(ignored);
        EXPECT_EQ(gpsStop(), eERROR_DEVICE_GPS_STOP_STREAM_SUCCESS);
        EXPECT_EQ(sent(), stopCommands(ignored + 1));
        // The answer to the probe begins with the first complete sentence of an epoch.
        EXPECT_EQ(logCount("GPS stream still running ($GPGGA)"), static_cast<size_t>(ignored));
        EXPECT_FALSE(streamFlag);
    }
}

TEST_F(GpsStream, ModemIgnoresAllEscapes_StopFails) {
    startStream();
    ignoreEscapes(4);
    EXPECT_EQ(gpsStop(), eERROR_DEVICE_GPS_STOP_STREAM_FAILURE);
    EXPECT_EQ(sent(), stopCommands(4));
    EXPECT_EQ(logCount("GPS stream still running ($GPGGA)"), 4U);
    EXPECT_EQ(writes(), (tEntries{{"_GPS_STREAM", "-1"}, {"_GPS_STREAM", "0"}}));
    EXPECT_TRUE(streamFlag);
    // The next stop tries again.
    EXPECT_EQ(gpsStop(), eERROR_DEVICE_GPS_STOP_STREAM_SUCCESS);
    EXPECT_FALSE(streamFlag);
}

TEST_F(GpsStream, EarlierStreamThatIgnoresTheEscape_EndsInATimeOutOfTheChipset) {
    start(ENABLED_RECEIVER);
    startStreamAtModem(terminal());
    ignoreEscapes(4);
    EXPECT_EQ(gpsStart(), eERROR_DEVICE_RESPONSE_TIMEOUT);
    // The modem ignores one query and one step of enabling.
    EXPECT_EQ(sent(), joined(stopCommands(4), QUERY_COMMANDS, tTexts{ENABLE_COMMANDS[0]}));
    EXPECT_EQ(storedValue("_GPS_ENABLE_COUNT"), "1");
    // The stream counts as running, so the next set-up of the modem stops it.
    shellCommands();
    EXPECT_EQ(gpsStart(), eERROR_DEVICE_GPS_START_STREAM_SUCCESS);
    EXPECT_EQ(sent(), tTexts());
    EXPECT_EQ(shellCommands(), tTexts{gpsdctl("add")}) << "gpsd had to release the port";
    EXPECT_EQ(gpsStart(), eERROR_DEVICE_GPS_START_STREAM_SUCCESS);
    EXPECT_EQ(shellCommands(), tTexts()) << "gpsd has the port";
}

TEST_F(GpsStream, StopThatFailed_NextStartGivesThePortBackToGpsd) {
    startStream();
    ignoreEscapes(4);
    EXPECT_EQ(gpsStop(), eERROR_DEVICE_GPS_STOP_STREAM_FAILURE);
    EXPECT_EQ(shellCommands(), tTexts{gpsdctl("remove")});
    EXPECT_EQ(gpsStart(), eERROR_DEVICE_GPS_START_STREAM_SUCCESS);
    EXPECT_EQ(logCount("gpsStart(): Stream already started"), 1U);
    EXPECT_EQ(shellCommands(), tTexts{gpsdctl("add")});
}

TEST_F(GpsStream, SentencesInTheAnswer_ShowARunningStream) {
    startStream();
    // A line with both counts as the one that is searched first.
    struct sCase {
        const char* text;
        const char* log;  // nullptr: no stream
    };
    const std::vector<sCase> cases = {
        {"\r\n$GNRMC,1,A*00\r\n$GPGGA,1*00\r\n", "GPS stream still running ($GNRMC)"},
        {"\r\n$GPGGA,1*00\r\n$GNRMC,1,A*00\r\n", "GPS stream still running ($GPGGA)"},
        {"xx$GPGGA,1$GNRMC,1\r\n", "GPS stream still running ($GNRMC)"},
        {"\r\n \r\n\r\n$ GP GGA,1\r\n", "GPS stream still running ($GPGGA)"},
        // documented: a sentence without a fix
        {"$GPGGA,,,,,,0,,,,M,,M,,*66\r\n", "GPS stream still running ($GPGGA)"},
        {"$GPRMC,1,A*00\r\n$GNGGA,1*00\r\n", nullptr},
        {"\r\nNO CARRIER\r\n", nullptr},
        {"", nullptr},
    };
    gpsStop();
    ASSERT_EQ(gps.openGpsDevice(), eSUCCESS);
    for (const sCase& test : cases) {
        SCOPED_TRACE(test.text);
        clearCapturedLog();
        terminal().fault("AT", {{"kind", "raw"}, {"raw", test.text}});
        EXPECT_EQ(gps.isGpsStreamOn(), test.log != nullptr);
        EXPECT_EQ(gps.getStreamStatus(), test.log != nullptr);
        EXPECT_EQ(logContains("GPS stream still running"), test.log != nullptr);
        EXPECT_EQ(logCount(test.log != nullptr ? test.log : "none"), test.log != nullptr ? 1U : 0U);
    }
    // So do sentences before an error.
    terminal().fault("AT", {{"kind", "answer"}, {"lines", {"$GPGGA,1*00"}}, {"final", "ERROR"}});
    EXPECT_TRUE(gps.isGpsStreamOn());
    // If the start is refused, an earlier stream no longer counts.
    terminal().fault(START_COMMANDS[0], {{"kind", "error"}});
    EXPECT_EQ(gps.startGpsStream(), eERROR_DEVICE_GPS_START_STREAM_FAILURE);
    EXPECT_FALSE(gps.getStreamStatus());
    // Sentences that were still under way do not matter once the modem answers.
    terminal().fault("AT", {{"kind", "answer"}, {"lines", {"$GPGGA,1*00"}}});
    EXPECT_FALSE(gps.isGpsStreamOn());
    gps.reset();
}

// A stream ignores AT, so no answer is owed: an escape that was missed costs only another round of
// guard times and query.
TEST_F(GpsStream, EscapeThatWasMissed_DelaysNoLaterCommand) {
    const auto restartTakes = [this](int unheard) {
        startStream();
        terminal().pass(3000000);
        restartDaemon();
        if (unheard != 0) ignoreEscapes(unheard);
        const uint64_t before = terminal().nowMs();
        EXPECT_EQ(gpsStart(), eERROR_DEVICE_GPS_START_STREAM_SUCCESS);
        const uint64_t took = terminal().nowMs() - before;
        gps.reset();
        return took;
    };
    const uint64_t heard = restartTakes(0);
    EXPECT_LE(restartTakes(1), heard + 2100 + 2010 + 20);
}

TEST_F(GpsStream, EachCommand_HasItsTimeout) {
    startStream();
    gpsStop();
    ASSERT_EQ(gps.openGpsDevice(), eSUCCESS);
    const auto lasts = [this](auto&& operation) {
        resetLinkState();  // forgets the previous modem
        const uint64_t before = terminal().nowMs();
        operation();
        return terminal().nowMs() - before;
    };
    // Each begins with the 10 ms between command and carriage return.
    terminal().fault("AT", {{"kind", "silence"}});
    EXPECT_EQ(lasts([this] { gps.isGpsStreamOn(); }), 2010U);
    terminal().fault(START_COMMANDS[0], {{"kind", "silence"}});
    EXPECT_EQ(lasts([this] { gps.startGpsStream(); }), 3010U);
    EXPECT_EQ(lasts([this] { EXPECT_EQ(gps.sendEscapeSequence(), ePORT_OK); }), 2100U);
    const int port = open(terminal().path().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    terminal().fault(QUERY_COMMANDS[0], {{"kind", "silence"}});
    EXPECT_EQ(lasts([&] { gps.getGpsChipset(port); }), 1010U);
    terminal().fault(ENABLE_COMMANDS[0], {{"kind", "silence"}});
    EXPECT_EQ(lasts([&] { EXPECT_EQ(gps.gpsEnable(port), ePORT_NO_FINAL_RESULT); }), 3010U);
    close(port);
    gps.reset();
}

TEST_F(GpsStream, ClosedPort_EscapeFailsWithoutTheSecondGuardTime) {
    start(ENABLED_RECEIVER);
    EXPECT_EQ(gps.sendEscapeSequence(), ePORT_ERROR);
    EXPECT_EQ(terminal().takePausesUs(), std::vector<unsigned>{1000000});
    EXPECT_EQ(gps.stopGpsStream(), eERROR_DEVICE_GPS_STOP_STREAM_FAILURE);
    EXPECT_EQ(terminal().takePausesUs(), std::vector<unsigned>{1000000});
    EXPECT_EQ(writes(), (tEntries{{"_GPS_STREAM", "0"}}));
    EXPECT_EQ(sent(), tTexts());
}

TEST_F(GpsStream, StopWithoutSlot_IsRefused) {
    startStream();
    gps.init(terminal().path(), "");
    EXPECT_EQ(gpsStop(), eERROR_DEVICE_GPS_DEVICE_HANDLE_INVALID);
    EXPECT_EQ(logCount("Error: GPSSlot empty, cannot stop()"), 1U);
    EXPECT_EQ(sent(), tTexts());
    EXPECT_EQ(shellCommands(), tTexts());
    EXPECT_EQ(writes(), (tEntries{{"(no slot)_GPS_STREAM", "-1"}}));
    EXPECT_TRUE(streamFlag);
}

TEST_F(GpsStream, StopOnAMissingPath_IsRefusedAndTheStreamStillCounts) {
    startStream();
    initOn("/none");
    EXPECT_EQ(gpsStop(), eERROR_DEVICE_GPS_DEVICE_HANDLE_INVALID);
    EXPECT_EQ(shellCommands(), tTexts());
    EXPECT_EQ(writes(), (tEntries{{"_GPS_STREAM", "-1"}}));
    EXPECT_TRUE(streamFlag);
    // The port exists again.
    initOn(terminal().path());
    EXPECT_EQ(gpsStop(), eERROR_DEVICE_GPS_STOP_STREAM_SUCCESS);
}

TEST_F(GpsStream, StopOnAPortThatCannotBeOpened_Fails) {
    startStream();
    initOn("/dev/null");
    EXPECT_EQ(gpsStop(), eERROR_DEVICE_GPS_DEV_OPEN_FAILURE);
    EXPECT_EQ(shellCommands(), tTexts{gpsdctl("remove")});
    EXPECT_EQ(writes(), (tEntries{{"_GPS_STREAM", "-1"}}));
    EXPECT_FALSE(streamFlag);
}
