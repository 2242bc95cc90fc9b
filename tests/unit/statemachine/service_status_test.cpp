#include "statemachine/service_status.h"

#include <gtest/gtest.h>

#include "include/device_records.h"
#include "include/options.h"

namespace {

sDeviceInfo registeredDevice() {
    sDeviceInfo device;
    device.sim.i_lock_class = eSIM_READY;
    device.network.i_reg_state = eREG_HOME;
    device.network.b_registered = true;
    device.network.s_registration = "Registered, Home Network";
    device.network.e_psnt_service_type = ePS_NET_LTE;
    device.network.s_psnt_service_type = "LTE";
    device.network.s_band = "4";
    return device;
}

std::string connectedFor(unsigned seconds) {
    return describeService(registeredDevice(), true, true, seconds);
}

}  // namespace

TEST(ServiceStatus, Connected_TechnologyBandAndRoughTime) {
    EXPECT_EQ(connectedFor(0), "registered, LTE B4, connected less than 1 min");
    EXPECT_EQ(connectedFor(59), "registered, LTE B4, connected less than 1 min");
    EXPECT_EQ(connectedFor(60), "registered, LTE B4, connected 1 min");
    EXPECT_EQ(connectedFor(3599), "registered, LTE B4, connected 59 min");
    EXPECT_EQ(connectedFor(7200), "registered, LTE B4, connected 2 h");
    EXPECT_EQ(connectedFor(86399), "registered, LTE B4, connected 23 h");
    EXPECT_EQ(connectedFor(3 * 86400), "registered, LTE B4, connected 3 d");
}

TEST(ServiceStatus, RegisteredWithoutSession_SaysSo) {
    EXPECT_EQ(describeService(registeredDevice(), true, false, 99),
              "registered, LTE B4, no data session");
}

TEST(ServiceStatus, Roaming_SaysSo) {
    sDeviceInfo device = registeredDevice();
    device.network.i_reg_state = eREG_ROAMING;
    EXPECT_EQ(describeService(device, true, true, 60),
              "registered, roaming, LTE B4, connected 1 min");
}

TEST(ServiceStatus, BandOrTechnologyNotKnown_LeftOut) {
    sDeviceInfo device = registeredDevice();
    device.network.s_band = "";
    EXPECT_EQ(describeService(device, true, false, 0), "registered, LTE, no data session");
    device.network.s_band = "4";
    device.network.e_psnt_service_type = ePS_NET_UNKNOWN;
    EXPECT_EQ(describeService(device, true, false, 0), "registered, no data session");
}

TEST(ServiceStatus, NotRegistered_TheRegistrationAndAnOutlivingSession) {
    sDeviceInfo device = registeredDevice();
    device.network.i_reg_state = eREG_SEARCHING;
    device.network.b_registered = false;
    device.network.s_registration = "Not registered, Searching";
    EXPECT_EQ(describeService(device, true, false, 0), "not registered, searching");
    EXPECT_EQ(describeService(device, true, true, 120),
              "not registered, searching, connected 2 min");
    device.network.i_reg_state = eREG_UNKNOWN;
    EXPECT_EQ(describeService(device, true, false, 0), "setting up the modem");
}

TEST(ServiceStatus, SimNotReady_SaysWhatItWaitsFor) {
    const struct {
        int lockClass;
        const char* text;
    } cases[] = {{eSIM_MISSING, "no SIM"},
                 {eSIM_PIN_REQUIRED, "SIM waits for its PIN"},
                 {eSIM_PUK_REQUIRED, "SIM waits for its PUK"},
                 {eSIM_LOCK_UNKNOWN, "setting up the modem"},
                 {17, "SIM not ready"}};
    for (const auto& one : cases) {
        sDeviceInfo device = registeredDevice();
        device.sim.i_lock_class = one.lockClass;
        EXPECT_EQ(describeService(device, true, false, 0), one.text);
    }
}

TEST(ServiceStatus, NoPortOrEnding_NothingElseCounts) {
    g_S_options.s_device = "/dev/ttyUSB2";
    sDeviceInfo device = registeredDevice();
    EXPECT_EQ(describeService(device, false, true, 60), "no modem at /dev/ttyUSB2");
    device.b_shutting_down = true;
    EXPECT_EQ(describeService(device, true, true, 60), "ending");
}
