#include "tests/unit/gps/fixture.h"

namespace {

class GpsStart : public cGpsFixture {};

const tEntries FOUND_WRITES = {{"_GPS_CHIPSET", "GSW3.5.0"},
                               {"_GPS_ENABLE_COUNT", "0"},
                               {"_GPS_ENABLE", "1"},
                               {"_GPS_ENABLE_COUNT", "0"}};

tEntries joinedEntries(std::initializer_list<tEntries> lists) {
    tEntries all;
    for (const tEntries& list : lists)
        all.insert(all.end(), list.begin(), list.end());
    return all;
}

}  // namespace

TEST_F(GpsStart, ReceiverOn_StartsTheStreamAndHandsThePortToGpsd) {
    start(ENABLED_RECEIVER);
    EXPECT_EQ(gpsStart(), eERROR_DEVICE_GPS_START_STREAM_SUCCESS);
    EXPECT_EQ(sent(), joined(STOP_COMMANDS, QUERY_COMMANDS, START_COMMANDS));
    EXPECT_EQ(shellCommands(), (tTexts{gpsdctl("remove"), gpsdctl("add")}));
    EXPECT_EQ(writes(),
              joinedEntries({{{"_GPS_STREAM", "0"}}, FOUND_WRITES, {{"_GPS_STREAM", "1"}}}));
    // gpsd, guard time, guard time, gpsd
    EXPECT_EQ(terminal().takePausesUs(), (std::vector<unsigned>{500000, 1000000, 1100000, 500000}));
    EXPECT_EQ(chipset, "GSW3.5.0");
    EXPECT_TRUE(streamFlag);
    EXPECT_TRUE(gps.getStreamStatus());
    for (const char* text :
         {"Stopping GPS stream", "GPS chipset found (enabled)",
          "getGpsChipset(): GPS chipset found (GSW3.5.0) after 1 chipset queries",
          "Starting GPS stream", "GPS stream started",
          "updateGpsd(): command exited with return code 0"})
        EXPECT_EQ(logCount(text), 1U + (text[0] == 'u')) << text;
    EXPECT_EQ(logCount("updateGpsd(): running system command '" + gpsdctl("add") + "'"), 1U);
    // From now on gpsd reads the input.
    terminal().pass(1000000);
    EXPECT_NE(terminal().takeUnread().find("$GNRMC"), std::string::npos);
}

TEST_F(GpsStart, StartedAlready_SendsNothing) {
    start(ENABLED_RECEIVER);
    gpsStart();
    sent();
    writes();
    shellCommands();
    streamFlag = false;
    EXPECT_EQ(gpsStart(), eERROR_DEVICE_GPS_START_STREAM_SUCCESS);
    EXPECT_EQ(sent(), tTexts());
    EXPECT_EQ(writes(), tEntries());
    EXPECT_EQ(shellCommands(), tTexts());
    EXPECT_EQ(logCount("gpsStart(): Stream already started"), 1U);
    EXPECT_EQ(chipset, "GSW3.5.0");
    EXPECT_TRUE(streamFlag);
}

TEST_F(GpsStart, ForgottenStream_IsStartedAnewAndHandedToGpsd) {
    start(ENABLED_RECEIVER);
    gpsStart();
    sent();
    shellCommands();
    // The modem was away for a moment: its stream has ended.
    terminal().order({{"op", "restart"}, {"away_ms", 0}});
    terminal().pass(1000000);
    gps.forgetStream();
    EXPECT_FALSE(gps.getStreamStatus());
    EXPECT_EQ(gpsStart(), eERROR_DEVICE_GPS_START_STREAM_SUCCESS);
    EXPECT_EQ(sent(), joined(STOP_COMMANDS, QUERY_COMMANDS, START_COMMANDS));
    EXPECT_EQ(shellCommands(), (tTexts{gpsdctl("remove"), gpsdctl("add")}));
    terminal().pass(1000000);
    EXPECT_NE(terminal().takeUnread().find("$GNRMC"), std::string::npos);
}

TEST_F(GpsStart, StreamOfAnEarlierRun_IsStoppedFirst) {
    start(ENABLED_RECEIVER);
    startStreamAtModem(terminal());
    EXPECT_EQ(gpsStart(), eERROR_DEVICE_GPS_START_STREAM_SUCCESS);
    EXPECT_EQ(sent(), joined(STOP_COMMANDS, QUERY_COMMANDS, START_COMMANDS));
}

TEST_F(GpsStart, ReceiverOff_IsEnabledAndAppearsAfterAModemRestart) {
    start();
    EXPECT_EQ(gpsStart(), eERROR_DEVICE_REQUIRES_RESET);
    EXPECT_EQ(sent(), joined(STOP_COMMANDS, QUERIES_COMMANDS, ENABLE_COMMANDS));
    const tEntry notFound = {"_GPS_ENABLE", "-1"};
    EXPECT_EQ(writes(), (tEntries{{"_GPS_STREAM", "0"},
                                  notFound,
                                  notFound,
                                  notFound,
                                  notFound,
                                  notFound,
                                  {"_GPS_ENABLE_COUNT", "1"},
                                  notFound}));
    EXPECT_EQ(terminal().takePausesUs(), (std::vector<unsigned>{500000, 1000000, 1100000, 300000,
                                                                300000, 300000, 300000, 300000}));
    EXPECT_EQ(shellCommands(), tTexts{gpsdctl("remove")});
    EXPECT_EQ(logCount("GPS chipset not found"), 6U);
    EXPECT_EQ(logCount("Enabling GPS chipset..."), 1U);
    EXPECT_EQ(logCount("gpsEnable(): Success enabling GPS chipset"), 1U);
    EXPECT_EQ(logCount("gpsStart(): GPS chipset enable setting saved, device requires a reset to "
                       "use GPS"),
              1U);
    EXPECT_EQ(chipset, "");
    EXPECT_FALSE(streamFlag);

    terminal().order({{"op", "restart"}, {"away_ms", 0}});
    terminal().pass(1000000);
    EXPECT_EQ(gpsStart(), eERROR_DEVICE_GPS_START_STREAM_SUCCESS);
    EXPECT_EQ(storedValue("_GPS_ENABLE_COUNT"), "0");
    EXPECT_EQ(storedValue("_GPS_ENABLE"), "1");
    EXPECT_EQ(storedValue("_GPS_CHIPSET"), "GSW3.5.0");
    EXPECT_EQ(storedValue("_GPS_STREAM"), "1");
}

TEST_F(GpsStart, NeverFound_IsEnabledThreeTimesOverAllRunsOfTheDaemon) {
    start();
    for (int run = 1; run <= 3; ++run) {
        EXPECT_EQ(gpsStart(), eERROR_DEVICE_REQUIRES_RESET) << run;
        EXPECT_EQ(storedValue("_GPS_ENABLE_COUNT"), std::to_string(run));
        restartDaemon();
    }
    sent();
    for (int run = 4; run <= 5; ++run) {
        EXPECT_EQ(gpsStart(), eERROR_DEVICE_GPS_ENABLE_MAX_COUNT) << run;
        // Queried again, because it may have appeared, but not enabled.
        EXPECT_EQ(sent(), joined(STOP_COMMANDS, QUERIES_COMMANDS));
        EXPECT_EQ(storedValue("_GPS_ENABLE_COUNT"), "3");
        restartDaemon();
    }
    EXPECT_EQ(logCount("GPS chipset Enable attempted 3 times, aborting"), 2U);

    // A restart of the modem for another reason finally makes the receiver appear.
    terminal().order({{"op", "restart"}, {"away_ms", 0}});
    terminal().pass(1000000);
    EXPECT_EQ(gpsStart(), eERROR_DEVICE_GPS_START_STREAM_SUCCESS);
    EXPECT_EQ(storedValue("_GPS_ENABLE_COUNT"), "0");
}

TEST_F(GpsStart, ChipsetOfBlanksOnly_CountsAsNotFound) {
    start(ENABLED_RECEIVER);
    terminal().fault("AT$GPSSW", {{"kind", "answer"}, {"lines", {"$GPSSW:   \t "}}}, 5);
    EXPECT_EQ(gpsStart(), eERROR_DEVICE_REQUIRES_RESET);
    EXPECT_EQ(sent(), joined(STOP_COMMANDS, QUERIES_COMMANDS, ENABLE_COMMANDS));
}

TEST_F(GpsStart, ChipsetThatAppearsLate_IsFoundByALaterQuery) {
    start(ENABLED_RECEIVER);
    // An OK alone, and one without the line.
    terminal().fault("AT$GPSSW", {{"kind", "answer"}, {"lines", nlohmann::json::array()}}, 3);
    EXPECT_EQ(gpsStart(), eERROR_DEVICE_GPS_START_STREAM_SUCCESS);
    EXPECT_EQ(logCount("getGpsChipset(): GPS chipset found (GSW3.5.0) after 4 chipset queries"),
              1U);
    EXPECT_EQ(logCount("GPS chipset not found"), 3U);
}

TEST_F(GpsStart, ChipsetText_LosesBlanksAndControlCharacters) {
    start(ENABLED_RECEIVER);
    const nlohmann::json answer = {{"kind", "answer"},
                                   {"lines", {"$GPSSW: SiRF  V 4\x01.1\x1b[2J"}}};
    terminal().fault("AT$GPSSW", answer);
    EXPECT_EQ(gpsStart(), eERROR_DEVICE_GPS_START_STREAM_SUCCESS);
    EXPECT_EQ(chipset, "SiRFV4 .1 [2J");
    EXPECT_EQ(storedValue("_GPS_CHIPSET"), chipset);
}

TEST_F(GpsStart, ChipsetText_IsBounded) {
    start(ENABLED_RECEIVER);
    terminal().fault("AT$GPSSW",
                     {{"kind", "answer"}, {"lines", {"$GPSSW: " + std::string(3000, 'x')}}});
    EXPECT_EQ(gpsStart(), eERROR_DEVICE_GPS_START_STREAM_SUCCESS);
    EXPECT_EQ(chipset, std::string(256, 'x'));
}

// A failed query is not repeated, and the receiver is enabled although it may be on.
TEST_F(GpsStart, QueryAnsweredBadly_ContinuesWithEnabling) {
    start(ENABLED_RECEIVER);
    for (const sBadAnswer& bad : badAnswers()) {
        SCOPED_TRACE(bad.name);
        storeValue("_GPS_ENABLE_COUNT", "0");
        terminal().fault("AT$GPSSW", bad.fault);
        EXPECT_EQ(gpsStart(), eERROR_DEVICE_REQUIRES_RESET);
        EXPECT_EQ(sent(), joined(STOP_COMMANDS, QUERY_COMMANDS, ENABLE_COMMANDS));
        EXPECT_EQ(storedValue("_GPS_ENABLE_COUNT"), "1");
        EXPECT_EQ(chipset, "");
    }
}

TEST_F(GpsStart, ProbeAnsweredBadly_CountsAsNoStream) {
    start(ENABLED_RECEIVER);
    for (const sBadAnswer& bad : badAnswers()) {
        SCOPED_TRACE(bad.name);
        terminal().fault("AT", bad.fault);
        EXPECT_EQ(gpsStart(), eERROR_DEVICE_GPS_START_STREAM_SUCCESS);
        EXPECT_EQ(sent(), joined(STOP_COMMANDS, QUERY_COMMANDS, START_COMMANDS));
        EXPECT_EQ(gpsStop(), eERROR_DEVICE_GPS_STOP_STREAM_SUCCESS);
        EXPECT_EQ(sent(), STOP_COMMANDS);
    }
}

TEST_F(GpsStart, EnableStepAnsweredBadly_EndsThereWithItsName) {
    struct sCase {
        const char* name;
        eGeneralErrors result;
        const char* log;
    };
    const std::vector<sCase> results = {
        {"silence", eERROR_DEVICE_RESPONSE_TIMEOUT, "Error: Enable GPS timeout"},
        {"error", eERROR_DEVICE_RESPONSE_ERROR, "Error: Enable GPS chipset reported an error"},
        {"cme", eERROR_DEVICE_RESPONSE_ERROR, "Error: Enable GPS chipset reported an error"},
        {"garbage", eERROR_DEVICE_RESPONSE_TIMEOUT, "Error: Enable GPS timeout"},
    };
    const tTexts names = {"portcfg", "type", "GPIO", "port speed", "on", "save settings'"};
    start();
    for (size_t step = 0; step < ENABLE_COMMANDS.size(); ++step) {
        for (size_t i = 0; i < badAnswers().size(); ++i) {
            const sBadAnswer& bad = badAnswers()[i];
            SCOPED_TRACE(ENABLE_COMMANDS[step] + " " + bad.name);
            ASSERT_STREQ(bad.name, results[i].name);
            storeValue("_GPS_ENABLE_COUNT", "0");
            clearCapturedLog();
            terminal().fault(ENABLE_COMMANDS[step], bad.fault);
            EXPECT_EQ(gpsStart(), results[i].result);
            const tTexts steps(ENABLE_COMMANDS.begin(),
                               ENABLE_COMMANDS.begin() + static_cast<long>(step) + 1);
            EXPECT_EQ(sent(), joined(STOP_COMMANDS, QUERIES_COMMANDS, steps));
            EXPECT_EQ(logCount("gpsEnable(): Enable GPS '" + names[step] + "' failed"), 1U);
            EXPECT_EQ(logCount(results[i].log), 1U);
            EXPECT_EQ(logCount("gpsEnable(): Success enabling GPS chipset"), 0U);
            // Only a result that does not end set-up shows how the start ended.
            EXPECT_EQ(logContains("CM_GPS_ENABLE=no"),
                      results[i].result == eERROR_DEVICE_RESPONSE_TIMEOUT);
            EXPECT_EQ(storedValue("_GPS_ENABLE_COUNT"), "1");
        }
    }
}

TEST_F(GpsStart, StreamCommandAnsweredBadly_IsNotStarted) {
    struct sCase {
        const char* name;
        nlohmann::json fault;
        eGeneralErrors result;
        const char* log;
    };
    const char* const failed = "startGpsStream(): Start GPS stream failed";
    const char* const noConnect = "startGpsStream(): Start GPS stream timeout (no connect message)";
    const nlohmann::json answer = {{"kind", "answer"}};
    const auto lines = [](const char* line, const char* finalLine) -> nlohmann::json {
        return {{"kind", "answer"}, {"lines", {line}}, {"final", finalLine}};
    };
    const std::vector<sCase> cases = {
        {"silence", badAnswers()[0].fault, eERROR_DEVICE_RESPONSE_TIMEOUT, noConnect},
        {"error", badAnswers()[1].fault, eERROR_DEVICE_GPS_START_STREAM_FAILURE, failed},
        {"cme", badAnswers()[2].fault, eERROR_DEVICE_GPS_START_STREAM_FAILURE, failed},
        {"garbage", badAnswers()[3].fault, eERROR_DEVICE_RESPONSE_TIMEOUT, noConnect},
        {"ok without connect", lines("", "OK"), eERROR_DEVICE_RESPONSE_TIMEOUT, noConnect},
        {"connect with a speed", lines("CONNECT 9600", ""), eERROR_DEVICE_RESPONSE_TIMEOUT,
         noConnect},
        {"connect and error", lines("CONNECT", "ERROR"), eERROR_DEVICE_GPS_START_STREAM_FAILURE,
         failed},
    };
    start(ENABLED_RECEIVER);
    for (const sCase& test : cases) {
        SCOPED_TRACE(test.name);
        clearCapturedLog();
        writes();
        shellCommands();
        terminal().fault(START_COMMANDS[0], test.fault);
        EXPECT_EQ(gpsStart(), test.result);
        EXPECT_EQ(sent(), joined(STOP_COMMANDS, QUERY_COMMANDS, START_COMMANDS));
        EXPECT_EQ(logCount(test.log), 1U);
        EXPECT_EQ(writes(), joinedEntries({{{"_GPS_STREAM", "0"}},
                                           FOUND_WRITES,
                                           {{"_GPS_STREAM", "-1"}, {"_GPS_STREAM", "-1"}}}));
        EXPECT_EQ(shellCommands(), tTexts{gpsdctl("remove")});
        EXPECT_FALSE(streamFlag);
        EXPECT_EQ(chipset, "GSW3.5.0");
    }
}

TEST_F(GpsStart, ConnectAmongBlanksOrWithOk_IsAStart) {
    start(ENABLED_RECEIVER);
    for (const nlohmann::json& lines :
         {nlohmann::json{" CON NECT "}, nlohmann::json{"x", "CONNECT"}}) {
        terminal().fault(START_COMMANDS[0], {{"kind", "answer"}, {"lines", lines}});
        EXPECT_EQ(gpsStart(), eERROR_DEVICE_GPS_START_STREAM_SUCCESS) << lines;
        restartDaemon();
    }
}

TEST_F(GpsStart, ReceiverNoLongerFound_HasNoNameAnyMore) {
    start(ENABLED_RECEIVER);
    gpsStart();
    gpsStop();
    terminal().fault("AT$GPSSW", {{"kind", "error"}});
    EXPECT_EQ(gpsStart(), eERROR_DEVICE_REQUIRES_RESET);
    EXPECT_EQ(chipset, "");
}

TEST_F(GpsStart, CountCannotBeStored_IsNotEnabled) {
    start();
    s_failingKeys = {"_GPS_ENABLE_COUNT"};
    EXPECT_EQ(gpsStart(), eERROR_DEVICE_GPS_ENABLE_MAX_COUNT);
    EXPECT_EQ(sent(), joined(STOP_COMMANDS, QUERIES_COMMANDS));
    EXPECT_EQ(logCount("GPS chipset Enable attempted 0 times, aborting"), 1U);
}

TEST_F(GpsStart, StateCannotBeStored_IsNotEnabled) {
    start();
    s_failingKeys = {"_GPS_ENABLE"};
    EXPECT_EQ(gpsStart(), eERROR_DEVICE_GPS_SET_SKVS_FAILURE);
    EXPECT_EQ(sent(), joined(STOP_COMMANDS, QUERIES_COMMANDS));
    EXPECT_EQ(storedValue("_GPS_ENABLE_COUNT"), "1");
    EXPECT_EQ(logCount("Enabling GPS chipset..."), 0U);
}

TEST_F(GpsStart, StoreFails_StartSucceeds) {
    start(ENABLED_RECEIVER);
    s_failingKeys = {"_GPS_ENABLE", "_GPS_ENABLE_COUNT", "_GPS_CHIPSET", "_GPS_STREAM"};
    EXPECT_EQ(gpsStart(), eERROR_DEVICE_GPS_START_STREAM_SUCCESS);
    EXPECT_EQ(writes(), tEntries());
}

TEST_F(GpsStart, UnusablePath_NothingIsTried) {
    const cTempFolder folder;
    writeFile(folder / "file", "");
    for (const std::string& path :
         {folder / "none", folder / "file", folder.path(), std::string()}) {
        SCOPED_TRACE(path);
        initOn(path);
        chipset = "before";
        streamFlag = true;
        EXPECT_EQ(gpsStart(), eERROR_DEVICE_GPS_DEVICE_HANDLE_INVALID);
        EXPECT_EQ(shellCommands(), tTexts());
        EXPECT_EQ(writes(), tEntries());
        EXPECT_EQ(chipset, "");
        EXPECT_FALSE(streamFlag);
    }
    EXPECT_EQ(logCount("Error: GPS device handle " + (folder / "none") + " is not accessable"), 1U);
    EXPECT_EQ(logCount("Error: GPS device handle " + (folder / "file") + " is not a usable device"),
              1U);
}

TEST_F(GpsStart, DeviceThatIsNoTerminal_CannotBeOpened) {
    const cGpsTerminal clock;  // the pauses pass on it
    initOn("/dev/null");
    EXPECT_EQ(gpsStart(), eERROR_DEVICE_GPS_DEV_OPEN_FAILURE);
    EXPECT_EQ(shellCommands(), tTexts{gpsdctl("remove")});
    EXPECT_EQ(gps.openGpsDevice(), eERROR_DEVICE_GPS_DEV_OPEN_FAILURE);
    initOn("/none");
    EXPECT_EQ(gps.openGpsDevice(), eERROR_DEVICE_GPS_DEVICE_HANDLE_INVALID);
}

TEST_F(GpsStart, OpenedAgain_KeepsOneDescriptor) {
    start();
    EXPECT_EQ(gps.openGpsDevice(), eSUCCESS);
    EXPECT_EQ(gps.openGpsDevice(), eSUCCESS);
    gps.reset();
}
