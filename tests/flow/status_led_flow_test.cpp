#include "statemachine/status_led.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>

#include "atcmd/catalogue.h"
#include "include/debug.h"
#include "include/options.h"
#include "platform/include/key_value_store.h"
#include "statemachine/carrier_list.h"
#include "statemachine/data_connection.h"
#include "tests/support/flow_fixture.h"

namespace {

class StatusLed : public cFlowFixture {
  protected:
    void startRegisteredOn(const std::string& interface) {
        start();
        g_S_options.s_interface = interface;
        device.network.b_registered = true;
        device.network.i_reg_state = eREG_HOME;
    }
    eGeneralErrors update() { return updateRegStatLed(handle(), device.network); }

    // A packet over the loopback interface, so that its counters move.
    static void sendPacket() {
        const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(9);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(sendto(fd, "x", 1, 0, reinterpret_cast<sockaddr*>(&address), sizeof address), 1);
        close(fd);
    }

    // The loopback interface of this test's own network.
    static void setLoopback(bool up) {
        const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        ifreq request{};
        strcpy(request.ifr_name, "lo");
        request.ifr_flags = up ? IFF_UP : 0;
        EXPECT_EQ(ioctl(fd, SIOCSIFFLAGS, &request), 0);
        close(fd);
    }
};

class WantedData : public cFlowFixture {};

}  // namespace

TEST_F(StatusLed, TrafficOnTheInterface_BlinksFastForTwoSeconds) {
    startRegisteredOn("lo");
    sendPacket();
    EXPECT_EQ(update(), eSUCCESS);
    passSeconds(1);
    EXPECT_EQ(update(), eSUCCESS);
    EXPECT_EQ(commands(), (tCommands{"AT#SLED=3,1,1"}));
    passSeconds(1);
    EXPECT_EQ(update(), eSUCCESS);
    EXPECT_EQ(commands(), (tCommands{"AT#SLED=1"}));
    sendPacket();
    EXPECT_EQ(update(), eSUCCESS);
    EXPECT_EQ(commands(), (tCommands{"AT#SLED=3,1,1"}));
}

TEST_F(StatusLed, TrafficOnAnInterfaceThatIsDown_BlinksFastToo) {
    startRegisteredOn("lo");
    sendPacket();
    setLoopback(false);
    EXPECT_EQ(update(), eSUCCESS);
    passSeconds(2);
    EXPECT_EQ(update(), eSUCCESS);
    setLoopback(true);
    EXPECT_EQ(commands(), (tCommands{"AT#SLED=3,1,1", "AT#SLED=3,10,30"}));
}

TEST_F(StatusLed, DeniedModem_ShowsThatAlsoWithTraffic) {
    startRegisteredOn("lo");
    device.network.b_registered = false;
    device.network.i_reg_state = eREG_DENIED;
    sendPacket();
    EXPECT_EQ(update(), eSUCCESS);
    EXPECT_EQ(commands(), (tCommands{"AT#SLED=3,1,30"}));
}

TEST_F(StatusLed, Choice_IsTraced) {
    startRegisteredOn("lo");
    g_i_debugMode = eLOG_STATUS;
    sendPacket();
    update();
    EXPECT_EQ(logCount("DEBUG: updateRegStatLed(): Set STAT_LED NET TX/RX"), 1u);
    passSeconds(2);
    update();
    EXPECT_EQ(logCount("DEBUG: updateRegStatLed(): Set STAT_LED REG"), 1u);
    device.network.b_registered = false;
    update();
    EXPECT_EQ(logCount("DEBUG: updateRegStatLed(): Set STAT_LED NOT_REG"), 1u);
    device.network.i_reg_state = eREG_DENIED;
    fault("AT#SLED=3,1,30", "error");
    EXPECT_EQ(update(), eERROR_DEVICE_RESPONSE_ERROR);
    EXPECT_FALSE(logContains("REG_DENIED"));
    EXPECT_EQ(update(), eSUCCESS);
    EXPECT_EQ(logCount("DEBUG: updateRegStatLed(): Set STAT_LED REG_DENIED"), 1u);
}

TEST_F(StatusLed, InterfaceNameBeyondAllBounds_IsNoInterface) {
    startRegisteredOn(std::string(5000, 'x'));
    EXPECT_EQ(update(), eSUCCESS);
    EXPECT_EQ(commands(), (tCommands{"AT#SLED=3,10,30"}));
}

TEST_F(StatusLed, Saving_HasAResultOfItsOwn) {
    start();
    fault("AT#SLEDSAV", "silence");
    EXPECT_EQ(setStatusLed(handle(), eSTAT_LED_ACTION_ON, true), eERROR_DEVICE_RESPONSE_TIMEOUT);
    fault("AT#SLEDSAV", "error");
    EXPECT_EQ(setStatusLed(handle(), eSTAT_LED_ACTION_OFF, true), eERROR_DEVICE_RESPONSE_ERROR);
    commands();
    fault("AT#SLED=1", "error");
    EXPECT_EQ(setStatusLed(handle(), eSTAT_LED_ACTION_ON, true), eERROR_DEVICE_RESPONSE_ERROR);
    EXPECT_EQ(commands(), (tCommands{"AT#SLED=1"}));
}

TEST_F(StatusLed, ActionWithoutAPattern_IsRememberedLikeAnyOther) {
    start();
    EXPECT_EQ(setStatusLed(handle(), eSTAT_LED_ACTION_ON, false), eSUCCESS);
    EXPECT_EQ(setStatusLed(handle(), eSTAT_LED_ACTION_NONE, false), eFAILURE);
    EXPECT_EQ(setStatusLed(handle(), eSTAT_LED_ACTION_NONE, false), eSUCCESS);
    EXPECT_EQ(setStatusLed(handle(), eSTAT_LED_ACTION_ON, false), eSUCCESS);
    EXPECT_EQ(commands(), (tCommands{"AT#SLED=1", "AT#SLED=1"}));
}

TEST_F(StatusLed, FactoryTestMode_NeedsDigitsAlone) {
    // The store outlives a test.
    for (const char* value : {"0", " 1", "1 ", "0x1", "1\n", "+1", "00"}) {
        skvs_set("FC_TESTMODE", value);
        EXPECT_FALSE(getDeviceTestMode()) << value;
    }
    skvs_set("FC_TESTMODE", "007");
    EXPECT_TRUE(getDeviceTestMode());
    EXPECT_EQ(logCount("Device FC_TESTMODE is enabled"), 1u);
    skvs_set("FC_TESTMODE", "0");
}

// ---- operator names ---------------------------------------------------------------------------

TEST_F(StatusLed, OperatorListThatCannotBeWritten_IsNotTriedAgainForFiveMinutes) {
    start();
    EXPECT_EQ(writeCarrierList("/no/such/folder", false), 1);
    EXPECT_EQ(writeCarrierList("/var/log", false), 0);
    passSeconds(300);
    EXPECT_EQ(writeCarrierList("/var/log", false), 1);
    EXPECT_EQ(readFile("/var/log/carrier_list.json"), "{\n}\n");
}

// ---- is data wanted ---------------------------------------------------------------------------

struct sWantedCase {
    const char* file;  // the override file, empty for none
    int enableInterface;
    int answer;
    eCfgDataStatus stored;
    const char* text;
};

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

TEST_F(WantedData, EveryOverride_IsToldWhenItAppears) {
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
