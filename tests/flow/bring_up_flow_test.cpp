#include "statemachine/bring_up.h"

#include <algorithm>

#include "include/device_records.h"
#include "include/options.h"
#include "statemachine/modem_control.h"
#include "statemachine/polling.h"
#include "statemachine/timers.h"
#include "tests/support/set_up_commands.h"

namespace {

class BringUp : public cFlowFixture {
  protected:
    eGeneralErrors setup() { return setupModem(port(), device, config); }
    eGeneralErrors poll() { return pollDevice(port(), device, config); }
};

nlohmann::json withSim(const nlohmann::json& sim) {
    return {{"sim", sim}};
}

bool contains(const tCommands& list, const std::string& command) {
    return std::find(list.begin(), list.end(), command) != list.end();
}

}  // namespace

TEST_F(BringUp, HealthyModem_SendsTheWholeSequenceAndSucceeds) {
    start();
    EXPECT_EQ(setup(), eSUCCESS);
    EXPECT_EQ(commands(), setupCommands());
    EXPECT_EQ(device.modem.s_imei, "356938035643809");
    EXPECT_EQ(device.modem.s_serial_number, "356938035643809");
    EXPECT_EQ(device.modem.s_firmware_cfg_version, "1");
    EXPECT_EQ(device.sim.s_carrier, "AT&T");
    EXPECT_EQ(device.modem.s_supported_4g_bands, "B2,B4,B5,B12,B13,B17");
}

TEST_F(BringUp, ModemInTestMode_IsSwitchedBackAndReported) {
    start({{"test_mode", true}});
    EXPECT_EQ(setup(), eERROR_DEVICE_IN_TEST_MODE);
    EXPECT_EQ(commands(), (tCommands{"AT+GMM", "AT#TESTMODE=\"OM\""}));
}

TEST_F(BringUp, UnknownModel_IsQueriedTwiceAndSetUpContinues) {
    start();
    order({{"op", "fault"}, {"match", "AT+GMM"}, {"kind", "answer"}, {"lines", {"LE910B4-NA"}}});
    setup();
    const tCommands sent = commands();
    EXPECT_EQ(firstOf(sent, 3), (tCommands{"AT+GMM", "AT+GMM", "AT+CMEE=1"}));
    EXPECT_EQ(logCount("Error: Cannot determine modem model number, iss device supported?"), 1u);
}

TEST_F(BringUp, SimUnlockedDuringSetUp_EndsBeforeTheApn) {
    writeFile("/etc/vuk/cellular_cpin.1", "1234\n");
    start(withSim({{"pin", "1234"}, {"lock", true}}));
    EXPECT_EQ(setup(), eSUCCESS_DEVICE_UNLOCK);
    EXPECT_FALSE(contains(commands(), "AT+CGDCONT=1,\"IPV4V6\",\"internet\""));
    EXPECT_EQ(setup(), eSUCCESS);
    EXPECT_TRUE(contains(commands(), "AT+CGDCONT=1,\"IPV4V6\",\"internet\""));
}

TEST_F(BringUp, OwnNumberRefusedForTheSim_Is103AndNot7) {
    start();
    order({{"op", "fault"}, {"match", "AT+CNUM"}, {"kind", "cme"}, {"number", 11}});
    EXPECT_EQ(setup(), eERROR_DEVICE_SIM_LOCKED_CNUM);
}

TEST_F(BringUp, MissingSim_EndsAfterItsStatusWithSuccess) {
    start(withSim({{"present", false}}));
    EXPECT_EQ(setup(), eSUCCESS);
    const tCommands sent = commands();
    EXPECT_FALSE(contains(sent, "AT+COPN"));
    EXPECT_FALSE(contains(sent, "AT#PSNT=0"));
}

TEST_F(BringUp, WrongSimSlot_IsSwitchedAndSetUpStartsAgain) {
    config.simSlot = 2;
    start({{"sim2", {{"present", true}}}});
    EXPECT_EQ(setup(), eSUCCESS_DEVICE_UNLOCK);
    EXPECT_EQ(commands().back(), "AT#GPIO=2,0,1,1;#ATDELAY=5;#SIMDET=0;#ATDELAY=50;#SIMDET=1");
}

TEST_F(BringUp, OtherFirmwareImageConfigured_IsSwitched) {
    config.firmwareSlot = 1;
    start({{"firmware", {{"dual", true}, {"slot", 0}}}});
    EXPECT_EQ(setup(), eERROR_DEVICE_SHOULD_RESET);
    EXPECT_EQ(commands().back(), "AT#FWSWITCH=1,1");
}

TEST_F(BringUp, VerizonImage_ForcesContextThreeAndDetachesOnlyAfterAFailure) {
    config.firmwareSlot = 1;
    const nlohmann::json scenario = {{"firmware", {{"dual", true}, {"slot", 1}}},
                                     {"attached", true}};
    start(scenario);
    EXPECT_EQ(setup(), eSUCCESS);
    tCommands sent = commands();
    EXPECT_TRUE(contains(sent, "AT#IMSPDPSET=vzwims"));
    EXPECT_TRUE(contains(sent, "AT+CGDCONT=3,\"IPV4V6\",\"internet\""));
    EXPECT_FALSE(contains(sent, "AT+CGATT?"));
    EXPECT_EQ(device.modem.i_supported_net_bits, NET_BIT_4G);
    EXPECT_EQ(logCount("Forcing profile context to 3 for Verizon"), 1u);

    fault("ATI5", "error");
    EXPECT_EQ(setup(), eERROR_DEVICE_RESPONSE_ERROR);
    commands();
    EXPECT_EQ(setup(), eSUCCESS);
    EXPECT_TRUE(contains(commands(), "AT+CGATT=0"));
    EXPECT_EQ(setup(), eSUCCESS);
    EXPECT_FALSE(contains(commands(), "AT+CGATT?"));
}

TEST_F(BringUp, ImsContextRefused_Is202) {
    config.firmwareSlot = 1;
    start({{"firmware", {{"dual", true}, {"slot", 1}}}});
    fault("AT#IMSPDPSET=vzwims", "error");
    EXPECT_EQ(setup(), eERROR_DEVICE_NETWORK_NOT_IMS_REGISTERED);
}

// ---- polling ----------------------------------------------------------------------------------

TEST_F(BringUp, Poll_ReadsEverythingInItsOrder) {
    start();
    device.network.b_registered = true;
    EXPECT_EQ(poll(), eSUCCESS);
    EXPECT_EQ(commands(), pollCommands());
    EXPECT_EQ(device.network.s_registration, "Registered, Home Network");
    EXPECT_EQ(device.network.s_plmn, "310410");
}

TEST_F(BringUp, Poll_ChecksMessagesEveryFiveSeconds) {
    start();
    ASSERT_EQ(poll(), eSUCCESS);
    EXPECT_FALSE(contains(commands(), "AT+CMGL=0"));
    passSeconds(5);
    ASSERT_EQ(poll(), eSUCCESS);
    const tCommands sent = commands();
    EXPECT_EQ(tCommands(sent.end() - 4, sent.end()),
              (tCommands{"AT+CMGF=0", "AT+CMGL=0", "AT+CMGD=1,1", "AT+CMGD=1,2"}));
}

TEST_F(BringUp, Poll_OfAModemWithoutEpsRegistration_AsksTheOtherDomain) {
    start({{"registration", {{"state", "searching"}}}});
    EXPECT_EQ(poll(), eSUCCESS);
    EXPECT_EQ(commands(), sequence(pollInfoCommands(), "AT+CEREG?", "AT+CREG?", "AT+CIREG?",
                                   "AT#SLED=3,5,30", "AT+CSQ"));
}

TEST_F(BringUp, Poll_WithAFailedRegistrationQuery_ForgetsTheRegistration) {
    start();
    ASSERT_EQ(poll(), eSUCCESS);
    ASSERT_TRUE(device.network.b_registered);
    fault("AT+CEREG?", "error");
    EXPECT_EQ(poll(), eERROR_DEVICE_RESPONSE_ERROR);
    EXPECT_FALSE(device.network.b_registered);
    EXPECT_EQ(commands().back(), "AT+CEREG?");
}

TEST_F(BringUp, Poll_WithSilentImsQuery_IsATimeOut) {
    start();
    fault("AT+CIREG?", "silence");
    EXPECT_EQ(poll(), eERROR_DEVICE_RESPONSE_TIMEOUT);
    fault("AT+CIREG?", "error");
    EXPECT_EQ(poll(), eSUCCESS);
}

TEST_F(BringUp, Clock_IsSetOnceInFourHoursAndTriedAgainAfterFiveMinutes) {
    config.syncTime = true;
    start({{"network_time", "24/03/05,07:08:09-24"}});
    device.network.b_registered = true;
    ASSERT_EQ(poll(), eSUCCESS);
    EXPECT_EQ(shell.calls(), (std::vector<std::string>{"systime.sh --set 3/5/24 7:8:9"}));
    EXPECT_EQ(g_Cp_dateTimeSyncTimer->GetTimeout(), 14400u);
    passSeconds(14390);
    poll();
    EXPECT_EQ(shell.calls().size(), 1u);
    passSeconds(20);
    shell.setStatus("systime.sh", 1);
    poll();
    EXPECT_EQ(shell.calls().size(), 2u);
    EXPECT_EQ(g_Cp_dateTimeSyncTimer->GetTimeout(), 300u);
}

TEST_F(BringUp, EmptyNetworkTime_IsTriedAgainAfterFiveMinutes) {
    config.syncTime = true;
    start();
    device.network.b_registered = true;
    order({{"op", "fault"}, {"match", "AT#CCLK?"}, {"kind", "answer"}, {"lines", {"#CCLK: \"\""}}});
    ASSERT_EQ(poll(), eSUCCESS);
    EXPECT_TRUE(shell.calls().empty());
    EXPECT_EQ(g_Cp_dateTimeSyncTimer->GetTimeout(), 300u);
    EXPECT_TRUE(g_Cp_dateTimeSyncTimer->IsTimerRunning());
}

TEST_F(BringUp, HostileNetworkTime_ReachesTheShellAsNumbersOnly) {
    config.syncTime = true;
    start();
    device.network.b_registered = true;
    order({{"op", "fault"},
           {"match", "AT#CCLK?"},
           {"kind", "answer"},
           {"lines", {"#CCLK: \"24/03/05,07:08:09`touch /tmp/pwned`;$(touch /tmp/pwned)\""}}});
    ASSERT_EQ(poll(), eSUCCESS);
    EXPECT_EQ(shell.calls(), (std::vector<std::string>{"systime.sh --set 3/5/24 7:8:9"}));
    EXPECT_FALSE(fileExists("/tmp/pwned"));
}

// ---- the modem as a whole ---------------------------------------------------------------------

TEST_F(BringUp, WaitForTheModem_FindsItsAnnouncementInTwoPieces) {
    start();
    order({{"op", "urc"}, {"raw", "\r\n+PAC"}});
    simulatedPort().pass(10000);
    const uint64_t before = simulatedPort().nowMs();
    bool sent = false;
    simulatedPort().onTurn([&] {
        if (sent || simulatedPort().nowMs() < before + 1200) return;
        sent = true;
        order({{"op", "urc"}, {"raw", "SP0\r\n"}});
    });
    waitModemReady(port());
    EXPECT_LT(simulatedPort().nowMs() - before, 3000u);
    EXPECT_TRUE(logContains("Modem Ready after "));
}

TEST_F(BringUp, WaitForTheModem_GivesUpAfterTenSecondsEachTime) {
    start();
    for (int i = 0; i < 2; ++i) {
        const uint64_t before = simulatedPort().nowMs();
        waitModemReady(port());
        EXPECT_GE(simulatedPort().nowMs() - before, 10000u);
        EXPECT_LE(simulatedPort().nowMs() - before, 11200u);
    }
}

TEST_F(BringUp, Reset_FallsBackToTheHostOnlyWhenTheModemRefuses) {
    start();
    fault("AT#REBOOT", "error");
    resetDevice(port());
    EXPECT_EQ(shell.waitForCalls(1), (std::vector<std::string>{"ResetCellular now force -s 1"}));
    shell.clear();
    resetDevice(port());
    EXPECT_TRUE(shell.calls().empty());
}
