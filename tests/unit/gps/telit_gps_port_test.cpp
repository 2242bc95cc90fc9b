#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "device/at_transaction.h"
#include "include/debug.h"
#include "include/device_records.h"
#include "include/options.h"
#include "tests/support/log_mode.h"
#include "tests/unit/gps/fixture.h"

// The kinds of path, the hand-over to gpsd, and the two functions for the state machine.

namespace {

class GpsPort : public cGpsFixture {};

// A FIFO in place of the port. The response to a command is the earlier content of the FIFO: the
// daemon reads back its own command, after the text that was put there since the previous command.
class GpsFifo : public cGpsFixture {
  protected:
    void SetUp() override {
        cGpsFixture::SetUp();
        setenv("OVERRIDE_TEST_POLL_DELAY", "1", 1);
        g_i_debugMode = eLOG_GPS;
        gps.setDebug(eLOG_GPS);
        ASSERT_EQ(mkfifo((m_folder / "gps").c_str(), 0600), 0);
        initOn(m_folder / "gps");
        m_reader = open((m_folder / "gps").c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    }
    void TearDown() override {
        unsetenv("OVERRIDE_TEST_POLL_DELAY");
        g_i_debugMode = 0;
        g_que_testAtResponses = {};
        close(m_reader);
        cGpsFixture::TearDown();
    }

    void put(const std::string& text) {
        ASSERT_EQ(write(m_reader, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    std::string rest() {
        char text[4096];
        const ssize_t count = read(m_reader, text, sizeof text);
        return {text, count > 0 ? static_cast<size_t>(count) : 0};
    }
    // What the modem sends after each command, in order.
    static void answers(std::initializer_list<const char*> texts) {
        for (const char* text : texts)
            g_que_testAtResponses.push(text);
    }

    static void expectNoPauses(cGpsTerminal& clock) {
        for (const unsigned pause : clock.takePausesUs())
            EXPECT_EQ(pause, 10U) << "more than the time between two looks for an answer";
    }

  private:
    cTempFolder m_folder;
    int m_reader = -1;
};

}  // namespace

TEST_F(GpsPort, CheckFileHandle_KindsOfPath) {
    const cLogMode mode(eLOG_GPS);
    gps.setDebug(eLOG_GPS);
    const cTempFolder folder;
    writeFile(folder / "file", "");
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    ASSERT_EQ(symlink("/dev/null", (folder / "link").c_str()), 0);
    ASSERT_EQ(symlink("nowhere", (folder / "dangling").c_str()), 0);
    EXPECT_EQ(gps.checkFileHandle("/dev/null"), 0);
    EXPECT_EQ(gps.checkFileHandle(folder / "link"), 0);
    EXPECT_EQ(gps.checkFileHandle(folder / "fifo"), 0);
    EXPECT_EQ(gps.checkFileHandle(folder / "file"), -1);
    EXPECT_EQ(gps.checkFileHandle(folder.path()), -1);
    EXPECT_EQ(gps.checkFileHandle(folder / "none"), ENOENT);
    EXPECT_EQ(gps.checkFileHandle(folder / "dangling"), ENOENT);
    EXPECT_EQ(gps.checkFileHandle(folder / "file/x"), ENOTDIR);
    EXPECT_EQ(gps.checkFileHandle(""), ENOENT);
    EXPECT_EQ(
        logCount("DEBUG: checkFileHandle(): GPS device handle /dev/null is a character device"),
        1U);
    EXPECT_EQ(logCount("DEBUG: checkFileHandle(): GPS device handle " + (folder / "fifo") +
                       " is a FIFO handle"),
              1U);
    EXPECT_EQ(logCount("Error: GPS device handle " + folder.path() + " is not a usable device"),
              1U);
}

TEST_F(GpsPort, UpdateGpsd_LogsTheExitStatusOnly) {
    start();
    struct sCase {
        int status;
        const char* log;
    };
    for (const sCase& test : {sCase{0, "updateGpsd(): command exited with return code 0"},
                              sCase{124 << 8, "updateGpsd(): command exited with return code 124"},
                              sCase{127 << 8, "updateGpsd(): command exited with return code 127"},
                              sCase{-1, "updateGpsd(): command exited with return code -1"}}) {
        s_shellStatus = test.status;
        clearCapturedLog();
        gps.updateGpsd(true);
        EXPECT_EQ(logCount(test.log), 1U) << test.log;
    }
    EXPECT_EQ(shellCommands(), tTexts(4, gpsdctl("add")));
    EXPECT_EQ(terminal().takePausesUs(), std::vector<unsigned>(4, 500000));
}

TEST_F(GpsPort, GpsdFails_StartSucceeds) {
    start(ENABLED_RECEIVER);
    s_shellStatus = 125 << 8;
    EXPECT_EQ(gpsStart(), eERROR_DEVICE_GPS_START_STREAM_SUCCESS);
    EXPECT_EQ(gpsStop(), eERROR_DEVICE_GPS_STOP_STREAM_SUCCESS);
}

TEST_F(GpsPort, PathWithShellSyntax_GetsNoCommand) {
    start(ENABLED_RECEIVER);
    const cTempFolder folder;
    const std::string port = terminal().path();
    for (const char* name : {"a b", "$(x)", "`x`", "a;b", "a&b", "a|b", "a>b", "a'b", "a\\b",
                             "a\nb", "a*b", "a~b", "a\xc3\xa4"}) {
        SCOPED_TRACE(name);
        ASSERT_EQ(symlink(port.c_str(), (folder / name).c_str()), 0);
        initOn(folder / name);
        EXPECT_EQ(gpsStart(), eERROR_DEVICE_GPS_START_STREAM_SUCCESS);
        EXPECT_EQ(gpsStop(), eERROR_DEVICE_GPS_STOP_STREAM_SUCCESS);
        EXPECT_EQ(shellCommands(), tTexts());
    }
    EXPECT_TRUE(logContains("cannot be given to gpsd"));
    ASSERT_EQ(symlink(port.c_str(), (folder / "ttyGPS0_.:@+,-9Z").c_str()), 0);
    initOn(folder / "ttyGPS0_.:@+,-9Z");
    gps.updateGpsd(true);
    EXPECT_EQ(shellCommands(), tTexts{gpsdctl("add")});
}

TEST_F(GpsPort, PathThatLooksLikeAnOption_GetsNoCommand) {
    start(ENABLED_RECEIVER);
    initOn("-h");
    gps.updateGpsd(true);
    EXPECT_EQ(shellCommands(), tTexts());
}

TEST_F(GpsFifo, StartAndStop_WithoutPausesAndGpsd) {
    cGpsTerminal clock;  // records the pauses
    answers({"\r\n$GPSSW: BENCH\r\n\r\nOK\r", "\r\nCONNECT\r\n"});
    EXPECT_EQ(gpsStart(), eERROR_DEVICE_GPS_START_STREAM_SUCCESS);
    EXPECT_EQ(chipset, "BENCH");
    EXPECT_TRUE(streamFlag);
    EXPECT_EQ(gpsStop(), eERROR_DEVICE_GPS_STOP_STREAM_SUCCESS);
    EXPECT_EQ(shellCommands(), tTexts());
    EXPECT_EQ(logCount("NOTICE: updateGpsd(): Device is a FIFO (test mode), not updating gpsd"),
              3U);
    EXPECT_EQ(rest(), "");
    expectNoPauses(clock);
}

TEST_F(GpsFifo, NotFound_NoPausesBetweenTheQueries) {
    cGpsTerminal clock;
    const char* const none = "\r\n$GPSSW: \r\n\r\nOK\r";
    answers({none, none, none, none, none});
    EXPECT_EQ(gpsStart(), eERROR_DEVICE_RESPONSE_TIMEOUT);  // the first step of enabling
    EXPECT_EQ(logCount("GPS chipset not found"), 6U);
    expectNoPauses(clock);
}

TEST_F(GpsFifo, StreamDetection_UsesTheContentOfTheFifo) {
    const cGpsTerminal clock;
    ASSERT_EQ(gps.openGpsDevice(), eSUCCESS);
    put("$GPGGA,142917.000,5049.5326,N,00555.9750,E,1,04,3.25,192.0,M,,M,,0000*74\r\n");
    EXPECT_TRUE(gps.isGpsStreamOn());
    EXPECT_EQ(logCount("GPS stream still running ($GPGGA)"), 1U);
    EXPECT_FALSE(gps.isGpsStreamOn());
    put("$GPGGA,1*00\r\n");
    answers({"$GNRMC,2*00\r", "\r\nOK\r"});
    EXPECT_EQ(gps.stopGpsStream(), eERROR_DEVICE_GPS_STOP_STREAM_SUCCESS);
    EXPECT_EQ(logCount("GPS stream still running ($GNRMC)"), 1U);
    gps.reset();
}

TEST_F(GpsPort, FifoReplacedByATerminal_EndsFifoMode) {
    const cTempFolder folder;
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    EXPECT_EQ(gps.checkFileHandle(folder / "fifo"), 0);
    start();
    gps.updateGpsd(true);
    EXPECT_EQ(shellCommands(), tTexts{gpsdctl("add")});
}

TEST_F(GpsPort, MaybeEnable_FollowsTheConfigurationAndFillsTheRecord) {
    start(ENABLED_RECEIVER);
    g_S_options.s_gps_device = terminal().path();
    g_S_options.s_port = "2";
    sConfigFileOpts config;
    sModemInfo modem;
    modem.s_gps_chipset = "before";

    config.gpsEnable = true;
    EXPECT_EQ(maybeEnableGps(-1, config, modem), eERROR_DEVICE_GPS_START_STREAM_SUCCESS);
    EXPECT_EQ(modem.e_gps_status, eERROR_DEVICE_GPS_START_STREAM_SUCCESS);
    EXPECT_EQ(modem.s_gps_chipset, "GSW3.5.0");
    EXPECT_TRUE(modem.b_gps_stream_on);
    // Set-up runs again.
    EXPECT_EQ(maybeEnableGps(-1, config, modem), eERROR_DEVICE_GPS_START_STREAM_SUCCESS);
    EXPECT_EQ(logCount("gpsStart(): Stream already started"), 1U);

    config.gpsEnable = false;
    EXPECT_EQ(maybeEnableGps(-1, config, modem), eERROR_DEVICE_GPS_STOP_STREAM_SUCCESS);
    EXPECT_EQ(modem.e_gps_status, eERROR_DEVICE_GPS_STOP_STREAM_SUCCESS);
    EXPECT_EQ(modem.s_gps_chipset, "GSW3.5.0");
    EXPECT_FALSE(modem.b_gps_stream_on);
    EXPECT_EQ(storedValue("_GPS_STREAM"), "0");

    EXPECT_EQ(maybeStopGps(modem), eERROR_DEVICE_GPS_STOP_STREAM_SUCCESS);
    EXPECT_EQ(logCount("gpsStop(): Stream already stopped"), 1U);
}

TEST_F(GpsPort, MaybeEnable_FailureIsInTheRecord) {
    g_S_options.s_gps_device = "/none";
    g_S_options.s_port = "2";
    sModemInfo modem;
    modem.s_gps_chipset = "before";
    EXPECT_EQ(maybeEnableGps(-1, sConfigFileOpts(), modem),
              eERROR_DEVICE_GPS_DEVICE_HANDLE_INVALID);
    EXPECT_EQ(modem.e_gps_status, eERROR_DEVICE_GPS_DEVICE_HANDLE_INVALID);
    EXPECT_EQ(modem.s_gps_chipset, "");
    EXPECT_FALSE(modem.b_gps_stream_on);
}

TEST_F(GpsPort, DebugMask_ShowsTheOperations) {
    start();
    g_i_debugMode = eLOG_GPS;
    gps.setDebug(eLOG_GPS);
    gps.checkSkvsEnableCount();
    EXPECT_EQ(logCount("DEBUG: Entering checkSkvsEnableCount()"), 1U);
    gps.setDebug(0);
    gps.checkSkvsEnableCount();
    EXPECT_EQ(logCount("DEBUG: Entering checkSkvsEnableCount()"), 1U);
    // The functions for the state machine use the daemon's own port.
    sModemInfo modem;
    maybeStopGps(modem);
    EXPECT_EQ(logCount("DEBUG: Entering gpsStop()"), 1U);
    g_i_debugMode = 0;
}
