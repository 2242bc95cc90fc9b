#include "statemachine/status_led.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

#include "include/debug.h"
#include "include/device_records.h"
#include "include/options.h"
#include "platform/include/key_value_store.h"
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
    eGeneralErrors update() { return updateRegStatLed(port(), device.network); }

    // A packet over the loopback interface, so that its counters change.
    static void sendPacket() {
        const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(9);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(sendto(fd, "x", 1, 0, reinterpret_cast<sockaddr*>(&address), sizeof address), 1);
        close(fd);
    }

    // The loopback interface of this test's private network.
    static void setLoopback(bool up) {
        const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        ifreq request{};
        strcpy(request.ifr_name, "lo");
        request.ifr_flags = up ? IFF_UP : 0;
        EXPECT_EQ(ioctl(fd, SIOCSIFFLAGS, &request), 0);
        close(fd);
    }
};

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

TEST_F(StatusLed, DeniedModem_ShowsItsLedAlsoWithTraffic) {
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

TEST_F(StatusLed, OverlongInterfaceName_IsNoInterface) {
    startRegisteredOn(std::string(5000, 'x'));
    EXPECT_EQ(update(), eSUCCESS);
    EXPECT_EQ(commands(), (tCommands{"AT#SLED=3,10,30"}));
}

TEST_F(StatusLed, Saving_HasItsOwnResult) {
    start();
    fault("AT#SLEDSAV", "silence");
    EXPECT_EQ(setStatusLed(port(), eSTAT_LED_ACTION_ON, true), eERROR_DEVICE_RESPONSE_TIMEOUT);
    fault("AT#SLEDSAV", "error");
    EXPECT_EQ(setStatusLed(port(), eSTAT_LED_ACTION_OFF, true), eERROR_DEVICE_RESPONSE_ERROR);
    commands();
    fault("AT#SLED=1", "error");
    EXPECT_EQ(setStatusLed(port(), eSTAT_LED_ACTION_ON, true), eERROR_DEVICE_RESPONSE_ERROR);
    EXPECT_EQ(commands(), (tCommands{"AT#SLED=1"}));
}

TEST_F(StatusLed, ActionWithoutAPattern_IsRememberedLikeAnyOther) {
    start();
    EXPECT_EQ(setStatusLed(port(), eSTAT_LED_ACTION_ON, false), eSUCCESS);
    EXPECT_EQ(setStatusLed(port(), eSTAT_LED_ACTION_NONE, false), eFAILURE);
    EXPECT_EQ(setStatusLed(port(), eSTAT_LED_ACTION_NONE, false), eSUCCESS);
    EXPECT_EQ(setStatusLed(port(), eSTAT_LED_ACTION_ON, false), eSUCCESS);
    EXPECT_EQ(commands(), (tCommands{"AT#SLED=1", "AT#SLED=1"}));
}

TEST_F(StatusLed, LedActions_SendTheirPatterns) {
    start();
    const std::pair<int, const char*> expected[] = {
        {1, "AT#SLED=0"},        {2, "AT#SLED=1"},        {3, "AT#SLED=3,1,30"},
        {4, "AT#SLED=3,5,30"},   {5, "AT#SLED=3,10,30"},  {6, "AT#SLED=1"},
        {7, "AT#SLED=3,1,1"},    {8, "AT#SLED=3,1,1"},    {9, "AT#SLED=3,5,5"},
        {10, "AT#SLED=3,10,10"}, {11, "AT#SLED=3,15,15"}, {12, "AT#SLED=3,20,20"}};
    for (const auto& [action, command] : expected) {
        EXPECT_EQ(setStatusLed(port(), static_cast<eStatLedAction>(action), false), eSUCCESS);
        EXPECT_EQ(commands(), (tCommands{command}));
    }
    EXPECT_EQ(setStatusLed(port(), static_cast<eStatLedAction>(13), false), eFAILURE);
    EXPECT_EQ(setStatusLed(port(), eSTAT_LED_ACTION_ON, true), eSUCCESS);
    EXPECT_EQ(commands(), (tCommands{"AT#SLED=1", "AT#SLEDSAV"}));
}

TEST_F(StatusLed, FirstLedActionOfNone_IsIgnored) {
    start();
    EXPECT_EQ(setStatusLed(port(), eSTAT_LED_ACTION_NONE, false), eSUCCESS);
    EXPECT_TRUE(commands().empty());
}

TEST_F(StatusLed, SameLedActionTwice_IsSentOnceAlsoWhenItFailed) {
    start();
    fault("AT#SLED=0", "silence");
    EXPECT_EQ(setStatusLed(port(), eSTAT_LED_ACTION_OFF, false), eERROR_DEVICE_RESPONSE_TIMEOUT);
    EXPECT_EQ(setStatusLed(port(), eSTAT_LED_ACTION_OFF, false), eSUCCESS);
    EXPECT_EQ(commands(), (tCommands{"AT#SLED=0"}));
    fault("AT#SLED=1", "error");
    EXPECT_EQ(setStatusLed(port(), eSTAT_LED_ACTION_ON, false), eERROR_DEVICE_RESPONSE_ERROR);
}

TEST_F(StatusLed, RegistrationLed_ShowsDeniedUnregisteredAndRegistered) {
    start();
    device.network.i_reg_state = eREG_DENIED;
    EXPECT_EQ(update(), eSUCCESS);
    device.network.i_reg_state = eREG_SEARCHING;
    EXPECT_EQ(update(), eSUCCESS);
    device.network.b_registered = true;
    device.network.i_reg_state = eREG_HOME;
    EXPECT_EQ(update(), eSUCCESS);
    g_S_options.s_interface = "lo";  // an interface that is up, with traffic
    sendPacket();
    EXPECT_EQ(update(), eSUCCESS);
    passSeconds(2);
    EXPECT_EQ(update(), eSUCCESS);
    EXPECT_EQ(commands(), (tCommands{"AT#SLED=3,1,30", "AT#SLED=3,5,30", "AT#SLED=3,10,30",
                                     "AT#SLED=3,1,1", "AT#SLED=1"}));
}

// ---- the host in its factory test mode --------------------------------------------------------

TEST_F(StatusLed, FactoryTestMode_NeedsANumberAboveZero) {
    EXPECT_FALSE(getDeviceTestMode());
    for (const auto& [value, on] : {std::pair<const char*, bool>{"1", true},
                                    {"0", false},
                                    {"yes", false},
                                    {"-1", false},
                                    {"", false},
                                    {"12", true}}) {
        ASSERT_EQ(skvs_set("FC_TESTMODE", value), 0);
        EXPECT_EQ(getDeviceTestMode(), on) << value;
    }
    skvs_set("FC_TESTMODE", "0");
}

TEST_F(StatusLed, FactoryTestMode_NeedsDigitsAlone) {
    // The store survives a test.
    for (const char* value : {"0", " 1", "1 ", "0x1", "1\n", "+1", "00"}) {
        skvs_set("FC_TESTMODE", value);
        EXPECT_FALSE(getDeviceTestMode()) << value;
    }
    skvs_set("FC_TESTMODE", "007");
    EXPECT_TRUE(getDeviceTestMode());
    EXPECT_EQ(logCount("Device FC_TESTMODE is enabled"), 1u);
    skvs_set("FC_TESTMODE", "0");
}
