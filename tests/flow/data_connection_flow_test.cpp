#include "statemachine/data_connection.h"

#include <unistd.h>

#include <ctime>
#include <filesystem>

#include "include/options.h"
#include "tests/support/flow_fixture.h"
#include "tests/support/shown_case.h"

// Whether data is wanted: configuration, override files, and a host that is still booting.

namespace {

unsigned g_uptimeS = 0;  // reported uptime of the host, unless 0

}  // namespace

// The linker replaces the C library's function by this one.
extern "C" int __real_clock_gettime(clockid_t clock, timespec* now);
extern "C" int __wrap_clock_gettime(clockid_t clock, timespec* now);
extern "C" int __wrap_clock_gettime(clockid_t clock, timespec* now) {
    if (g_uptimeS == 0 || clock != CLOCK_MONOTONIC) return __real_clock_gettime(clock, now);
    *now = {static_cast<time_t>(g_uptimeS), 0};
    return 0;
}

namespace {

class WantedData : public cFlowFixture {
  protected:
    ~WantedData() override { g_uptimeS = 0; }
    void useSlot(const std::string& slot) { g_S_options.s_port = slot; }
};

}  // namespace

TEST_F(WantedData, OverrideFiles_ApplyInTheirOrder) {
    writeFile("/run/poststart", "");
    useSlot("2");
    writeFile("/tmp/force_cell_tempoff.2", "");
    EXPECT_EQ(isDataConnectionAllowed(config, "/tmp"), DATA_CONNECTION_POWER_OFF);
    writeFile("/tmp/force_cell_nocon.2", "");
    EXPECT_EQ(isDataConnectionAllowed(config, "/tmp"), DATA_CONNECTION_NOT_NOW);
    EXPECT_EQ(config.dataDirective.value, eCONF_DATA_CONNECT_TEMP_DISABLED);
    writeFile("/tmp/force_cell_con.2", "");
    config.enableInterface = 0;
    EXPECT_EQ(isDataConnectionAllowed(config, "/tmp"), DATA_CONNECTION_ALLOWED);
    EXPECT_EQ(config.dataDirective.text, "eCONF_DATA_CONNECT_TEMP_ENABLED");
    useSlot("1");
    EXPECT_EQ(isDataConnectionAllowed(config, "/tmp"), DATA_CONNECTION_NOT_NOW);
    EXPECT_EQ(config.dataDirective.text, "eCONF_DATA_CONNECT_DISABLED");
    config.enableInterface = -1;
    EXPECT_EQ(isDataConnectionAllowed(config, "/tmp"), DATA_CONNECTION_POWER_OFF);
    EXPECT_EQ(config.dataDirective.value, eCONF_DATA_CONNECT_MODEM_OFF);
    EXPECT_EQ(config.dataDirective.text, "eCONF_DATA_CONNECT_TEMP_MODEM_OFF");
}

TEST_F(WantedData, OverrideFile_IsLoggedOnceUntilTheResultChanges) {
    const std::string message =
        "Connection OFF Override file appeared (/tmp/force_cell_nocon.1), stopping data connection";
    writeFile("/tmp/force_cell_nocon.1", "");
    getTempDataDirective("/tmp");
    getTempDataDirective("/tmp");
    unlink("/tmp/force_cell_nocon.1");
    writeFile("/tmp/force_cell_nocon.1", "");
    getTempDataDirective("/tmp");
    EXPECT_EQ(logCount(message), 1u);
    unlink("/tmp/force_cell_nocon.1");
    EXPECT_EQ(getTempDataDirective("/tmp"), eCONF_DATA_CONNECT_TEMP_DISABLED);
    writeFile("/tmp/force_cell_nocon.1", "");
    getTempDataDirective("/tmp");
    EXPECT_EQ(logCount(message), 2u);
}

TEST_F(WantedData, DataWaitsForTheHostToBoot) {
    g_uptimeS = 100;
    for (int call = 1; call <= 11; ++call)
        EXPECT_EQ(isDataConnectionAllowed(config, "/tmp"), DATA_CONNECTION_NOT_NOW);
    EXPECT_EQ(config.dataDirective.value, eCONF_DATA_CONNECT_TEMP_WAIT_SUBSYSTEM);
    EXPECT_EQ(logCount("Waiting for system to finish booting up (100/180)"), 2u);
    writeFile("/tmp/force_cell_con.1", "");
    EXPECT_EQ(isDataConnectionAllowed(config, "/tmp"), DATA_CONNECTION_NOT_NOW);
    unlink("/tmp/force_cell_con.1");
    g_uptimeS = 180;
    EXPECT_EQ(isDataConnectionAllowed(config, "/tmp"), DATA_CONNECTION_NOT_NOW);
    // If no data is wanted, nothing waits for the host.
    config.enableInterface = 0;
    EXPECT_EQ(isDataConnectionAllowed(config, "/tmp"), DATA_CONNECTION_NOT_NOW);
    EXPECT_EQ(config.dataDirective.value, eCONF_DATA_CONNECT_DISABLED);
    config.enableInterface = -1;
    EXPECT_EQ(isDataConnectionAllowed(config, "/tmp"), DATA_CONNECTION_POWER_OFF);
    config.enableInterface = 1;
    g_uptimeS = 181;
    EXPECT_EQ(isDataConnectionAllowed(config, "/tmp"), DATA_CONNECTION_ALLOWED);
    EXPECT_EQ(logCount("System uptime longer than 180 seconds, system is up"), 1u);
    EXPECT_EQ(config.dataDirective.value, eCONF_DATA_CONNECT_ENABLED);
    // A booted host stays booted.
    g_uptimeS = 10;
    EXPECT_EQ(isDataConnectionAllowed(config, "/tmp"), DATA_CONNECTION_ALLOWED);
}

TEST_F(WantedData, BootedFile_EndsTheWait) {
    g_uptimeS = 10;
    EXPECT_FALSE(checkSystemBooted());
    writeFile("/run/poststart", "");
    EXPECT_TRUE(checkSystemBooted());
    EXPECT_EQ(logCount("File /var/run/poststart is present, system is up"), 1u);
}

struct sWantedCase {
    const char* file;  // the override file, empty for none
    int enableInterface;
    int answer;
    eCfgDataStatus stored;
    const char* text;
};

SHOW_CASE(sWantedCase, "file '" << row.file << "', CM_ENABLE_INTERFACE " << row.enableInterface)

class WantedTable : public cFlowFixture, public ::testing::WithParamInterface<sWantedCase> {};

TEST_P(WantedTable, GivesAnswerAndDirective) {
    const sWantedCase& test = GetParam();
    writeFile("/run/poststart", "");
    if (test.file[0] != '\0') writeFile(std::string("/tmp/") + test.file + ".1", "");
    config.enableInterface = test.enableInterface;
    EXPECT_EQ(isDataConnectionAllowed(config, CELL_OVERRIDE_PATH), test.answer);
    EXPECT_EQ(config.dataDirective.value, test.stored);
    EXPECT_EQ(config.dataDirective.text, test.text);
}

INSTANTIATE_TEST_SUITE_P(
    Each, WantedTable,
    ::testing::Values(
        sWantedCase{"", 1, 1, eCONF_DATA_CONNECT_ENABLED, "eCONF_DATA_CONNECT_ENABLED"},
        sWantedCase{"", 0, 2, eCONF_DATA_CONNECT_DISABLED, "eCONF_DATA_CONNECT_DISABLED"},
        sWantedCase{"", -1, 8, eCONF_DATA_CONNECT_MODEM_OFF, "eCONF_DATA_CONNECT_TEMP_MODEM_OFF"},
        sWantedCase{"", 5, 1, eCONF_DATA_CONNECT_ENABLED, "eCONF_DATA_CONNECT_ENABLED"},
        sWantedCase{"force_cell_con", 1, 1, eCONF_DATA_CONNECT_TEMP_ENABLED,
                    "eCONF_DATA_CONNECT_TEMP_ENABLED"},
        sWantedCase{"force_cell_con", 0, 1, eCONF_DATA_CONNECT_TEMP_ENABLED,
                    "eCONF_DATA_CONNECT_TEMP_ENABLED"},
        sWantedCase{"force_cell_con", -1, 1, eCONF_DATA_CONNECT_TEMP_ENABLED,
                    "eCONF_DATA_CONNECT_TEMP_ENABLED"},
        sWantedCase{"force_cell_nocon", 1, 2, eCONF_DATA_CONNECT_TEMP_DISABLED,
                    "eCONF_DATA_CONNECT_TEMP_DISABLED"},
        sWantedCase{"force_cell_nocon", -1, 2, eCONF_DATA_CONNECT_TEMP_DISABLED,
                    "eCONF_DATA_CONNECT_TEMP_DISABLED"},
        sWantedCase{"force_cell_tempoff", 1, 8, eCONF_DATA_CONNECT_TEMP_MODEM_OFF,
                    "eCONF_DATA_CONNECT_TEMP_MODEM_OFF"},
        sWantedCase{"force_cell_tempoff", 0, 8, eCONF_DATA_CONNECT_TEMP_MODEM_OFF,
                    "eCONF_DATA_CONNECT_TEMP_MODEM_OFF"}));

TEST_F(WantedData, OverrideFile_CountsByItsExistenceAlone) {
    std::filesystem::create_directory("/tmp/force_cell_nocon.1");
    EXPECT_EQ(getTempDataDirective("/tmp"), eCONF_DATA_CONNECT_TEMP_WAIT_SUBSYSTEM);
    std::filesystem::remove("/tmp/force_cell_nocon.1");
    std::filesystem::create_symlink("/tmp/nowhere", "/tmp/force_cell_nocon.1");
    EXPECT_EQ(getTempDataDirective("/tmp"), eCONF_DATA_CONNECT_TEMP_DISABLED);
    writeFile("/tmp/force_cell_nocon.11", "");
    writeFile("/tmp/force_cell_nocon", "");
    EXPECT_EQ(getTempDataDirective("/tmp"), eCONF_DATA_CONNECT_TEMP_DISABLED);
}

TEST_F(WantedData, EveryOverride_IsLoggedWhenItAppears) {
    writeFile("/tmp/force_cell_tempoff.1", "");
    getTempDataDirective("/tmp");
    writeFile("/tmp/force_cell_nocon.1", "");
    getTempDataDirective("/tmp");
    writeFile("/tmp/force_cell_con.1", "");
    getTempDataDirective("/tmp");
    EXPECT_EQ(capturedLog(),
              (std::vector<std::string>{
                  "Power OFF Override file appeared (/tmp/force_cell_tempoff.1), powering device "
                  "off",
                  "Connection OFF Override file appeared (/tmp/force_cell_nocon.1), stopping data "
                  "connection",
                  "Connection ON Override file appeared (/tmp/force_cell_con.1), starting data "
                  "connection"}));
    EXPECT_EQ(connectionStarted(0), 1);
}
