#include "statemachine/data_session.h"

#include "include/debug.h"
#include "include/device_records.h"
#include "statemachine/timers.h"
#include "tests/support/in_pass.h"
#include "tests/support/set_up_commands.h"
#include "tests/support/shown_case.h"

namespace {

class DataSession : public cFlowFixture {
  protected:
    void startRegistered(const nlohmann::json& scenario = nlohmann::json::object()) {
        start(scenario);
        device.network.b_registered = true;
        device.network.i_reg_state = eREG_HOME;
        // A healthy modem after set-up: its context defined, numeric errors.
        for (const char* command : {"AT+CMEE=1", "AT+CGDCONT=1,\"IP\",\"internet\""})
            sendEarlier(command);
    }

    eGeneralErrors startSession() { return startDataSession(port(), device, config); }
    eGeneralErrors maybeStart() {
        return maybeStartDataSession(port(), device, config, g_C_netConDelayTimer);
    }
    bool isGood() { return isDataConnectionGood(port(), device, config); }
};

const tCommands SESSION = sessionCommands();

struct sStepCase {
    const char* name;
    size_t step;  // index in SESSION of the command that fails, at its first occurrence
    const char* kind;
    int number;
    eGeneralErrors result;
};

SHOW_CASE(sStepCase, row.name)

}  // namespace

TEST_F(DataSession, HealthyModem_IsStartedWithTheWholeSequence) {
    startRegistered();
    EXPECT_EQ(startSession(), eSUCCESS);
    EXPECT_EQ(commands(), SESSION);
    EXPECT_EQ(device.s_ipv4_address, "10.64.1.8");
    EXPECT_EQ(shell.calls().size(), 1u);
}

TEST_F(DataSession, Start_LogsWhatItDoesWithEachContext) {
    startRegistered();
    g_i_debugMode = eLOG_POLICY;
    const auto activeContexts = [this](const nlohmann::json& lines) {
        order({{"op", "fault"},
               {"match", "AT+CGACT?"},
               {"kind", "answer"},
               {"count", 1},
               {"lines", lines}});
    };
    sendEarlier("AT+CGDCONT=2,\"IP\",\"other\"");
    activeContexts({"+CGACT: 2,1"});
    EXPECT_EQ(startSession(), eSUCCESS);
    EXPECT_EQ(logCount("startDataSession(): Deactivating PDP context 2"), 1u);
    EXPECT_EQ(logCount("startDataSession(): PDP context 1 not active, activating it now"), 1u);
    clearCapturedLog();
    activeContexts({"+CGACT: 1,1"});
    startSession();
    EXPECT_EQ(logCount("DEBUG: startDataSession(): Skipping PDP context 1 (in config)"), 1u);
    EXPECT_FALSE(logContains("activating it now"));
}

TEST_F(DataSession, ConnectWithoutOk_CountsAfterTheWait) {
    startRegistered({{"cgdata_ok", false}});
    const uint64_t before = simulatedPort().nowMs();
    EXPECT_EQ(startSession(), eSUCCESS);
    EXPECT_GE(simulatedPort().nowMs() - before, 1000u);
}

class DataSessionStep : public DataSession, public ::testing::WithParamInterface<sStepCase> {};

TEST_P(DataSessionStep, Failure_EndsTheStartThereWithItsCode) {
    const sStepCase& test = GetParam();
    startRegistered();
    const std::string& command = SESSION[test.step];
    fault(command, test.kind, test.number);
    EXPECT_EQ(startSession(), test.result);
    const size_t sent = test.result == eSUCCESS ? SESSION.size() : test.step + 1;
    EXPECT_EQ(commands(), firstOf(SESSION, sent));
    EXPECT_EQ(shell.calls().size(), test.result == eSUCCESS ? 1u : 0u);
}

INSTANTIATE_TEST_SUITE_P(
    Each, DataSessionStep,
    ::testing::Values(
        sStepCase{"AttachQuerySilent", 0, "silence", 0, eERROR_DEVICE_RESPONSE_TIMEOUT},
        sStepCase{"AttachError", 1, "error", 0, eERROR_DEVICE_NETWORK_ATTACH_FAILURE},
        sStepCase{"AttachCme", 1, "cme", 30, eERROR_DEVICE_NETWORK_ATTACH_FAILURE},
        sStepCase{"AttachSilent", 1, "silence", 0, eERROR_DEVICE_RESPONSE_TIMEOUT},
        sStepCase{"OperatorError", 3, "error", 0, eERROR_DEVICE_NETWORK_ATTACH_FAILURE},
        sStepCase{"OperatorSilent", 3, "silence", 0, eERROR_DEVICE_RESPONSE_TIMEOUT},
        sStepCase{"NcmError", 4, "error", 0, eERROR_DEVICE_NMC_DATA_SET_ERROR},
        sStepCase{"NcmSilent", 4, "silence", 0, eERROR_DEVICE_RESPONSE_TIMEOUT},
        sStepCase{"ContextListError", 5, "error", 0, eERROR_DEVICE_PDP_CONTEXT_ACTIVATE_FAILURE},
        sStepCase{"ContextListSilent", 5, "silence", 0, eERROR_DEVICE_RESPONSE_TIMEOUT},
        sStepCase{"ActivateCme", 6, "cme", 148, eERROR_DEVICE_PDP_CONTEXT_ACTIVATE_FAILURE},
        sStepCase{"ActivateSilent", 6, "silence", 0, eERROR_DEVICE_RESPONSE_TIMEOUT},
        sStepCase{"AddressesError", 8, "error", 0, eERROR_DEVICE_GET_PDP_NETWORK_INFO_ERROR},
        sStepCase{"AddressesSilent", 8, "silence", 0, eERROR_DEVICE_RESPONSE_TIMEOUT},
        sStepCase{"DataModeError", 9, "error", 0, eERROR_DEVICE_RAW_DATA_SET_ERROR},
        sStepCase{"DataModeCme", 9, "cme", 3, eERROR_DEVICE_RAW_DATA_SET_ERROR},
        sStepCase{"DataModeSilent", 9, "silence", 0, eERROR_DEVICE_RESPONSE_TIMEOUT}),
    [](const auto& test) { return test.param.name; });

TEST_F(DataSession, ModemThatStaysDetached_Gives203) {
    startRegistered();
    order({{"op", "fault"},
           {"match", "AT+CGATT=1"},
           {"kind", "answer"},
           {"lines", nlohmann::json::array()}});
    EXPECT_EQ(startSession(), eERROR_DEVICE_NETWORK_NOT_ATTACHED);
}

TEST_F(DataSession, ContextThatStaysInactive_Gives205) {
    startRegistered();
    order({{"op", "fault"},
           {"match", "AT+CGACT=1,1"},
           {"kind", "answer"},
           {"lines", nlohmann::json::array()}});
    EXPECT_EQ(startSession(), eERROR_DEVICE_PDP_CONTEXT_NOT_ACTIVE);
}

TEST_F(DataSession, NoUsableAddress_Gives207) {
    startRegistered();
    order({{"op", "fault"},
           {"match", "AT+CGCONTRDP=1"},
           {"kind", "answer"},
           {"lines", {"+CGCONTRDP: 1,5,\"internet\",\"nonsense\""}}});
    EXPECT_EQ(startSession(), eERROR_DEVICE_GET_PDP_NETWORK_INFO_NONE);
}

TEST_F(DataSession, DataModeWithOkAlone_Gives210) {
    startRegistered();
    order({{"op", "fault"},
           {"match", "AT+CGDATA=\"M-RAW_IP\",1"},
           {"kind", "answer"},
           {"lines", nlohmann::json::array()}});
    EXPECT_EQ(startSession(), eERROR_DEVICE_RAW_DATA_SET_NO_CONNECT);
}

TEST_F(DataSession, FailingInterfaceScript_Gives300) {
    startRegistered();
    shell.setStatus("setup_cellint.sh", 1);
    EXPECT_EQ(startSession(), eERROR_DEVICE_NETWORK_SETUP_FAILURE);
}

TEST_F(DataSession, AttachedModem_IsDetachedFirst_AndARefusedDetachIsNoFailure) {
    startRegistered({{"attached", true}});
    fault("AT+CGATT=0", "error");
    EXPECT_EQ(startSession(), eSUCCESS);
    const tCommands sent = commands();
    EXPECT_EQ(sent[1], "AT+CGATT=0");
    EXPECT_EQ(sent[2], "AT+CGATT=1");
}

TEST_F(DataSession, ContextSeenActiveOnce_IsNeverActivatedAgain) {
    startRegistered();
    order({{"op", "fault"},
           {"match", "AT+CGACT?"},
           {"kind", "answer"},
           {"count", 1},
           {"lines", {"+CGACT: 1,1"}}});
    startSession();
    commands();
    sendEarlier("AT+CGATT=1");
    sendEarlier("AT+CGACT=0,1");
    const eGeneralErrors result = startSession();
    EXPECT_TRUE(result == eERROR_DEVICE_GET_PDP_NETWORK_INFO_ERROR ||
                result == eERROR_DEVICE_GET_PDP_NETWORK_INFO_NONE)
        << result;
    for (const std::string& command : commands())
        EXPECT_NE(command, "AT+CGACT=1,1");
}

TEST_F(DataSession, OtherActiveContexts_AreDeactivatedAndOddTokensIgnored) {
    startRegistered();
    order({{"op", "fault"},
           {"match", "AT+CGACT?"},
           {"kind", "answer"},
           {"count", 1},
           {"lines", {"+CGACT: 2,1", "+CGACT: ,1", "+CGACT: x,1", "+CGACT: 4,0"}}});
    order({{"op", "fault"},
           {"match", "AT+CGACT=0,2"},
           {"kind", "answer"},
           {"lines", nlohmann::json::array()}});
    EXPECT_EQ(startSession(), eSUCCESS);
    tCommands deactivated;
    for (const std::string& command : commands())
        if (command.compare(0, 11, "AT+CGACT=0,") == 0) deactivated.push_back(command);
    EXPECT_EQ(deactivated, (tCommands{"AT+CGACT=0,2"}));
}

TEST_F(DataSession, RefusedDeactivation_AbortsWith204) {
    startRegistered();
    order({{"op", "fault"},
           {"match", "AT+CGACT?"},
           {"kind", "answer"},
           {"count", 1},
           {"lines", {"+CGACT: 2,1", "+CGACT: 1,1"}}});
    fault("AT+CGACT=0,2", "error");
    EXPECT_EQ(startSession(), eERROR_DEVICE_PDP_CONTEXT_ACTIVATE_FAILURE);
    EXPECT_EQ(commands().back(), "AT+CGACT=0,2");
    EXPECT_EQ(logCount("startDataSession(): Deactivate PDP context 2 failed with an ERROR"), 1u);
}

TEST_F(DataSession, VerizonImage_KeepsForeignContexts) {
    startRegistered();
    device.modem.e_firmware_carrier = eFIRMWARE_CARRIER_VERIZON;
    order({{"op", "fault"},
           {"match", "AT+CGACT?"},
           {"kind", "answer"},
           {"count", 1},
           {"lines", {"+CGACT: 2,1"}}});
    EXPECT_EQ(startSession(), eSUCCESS);
    for (const std::string& command : commands())
        EXPECT_NE(command, "AT+CGACT=0,2");
}

TEST_F(DataSession, FailedStart_IsNotRepeatedForThirtySeconds) {
    startRegistered();
    fault("AT#NCM=1,1", "error");
    EXPECT_EQ(maybeStart(), eERROR_DEVICE_NMC_DATA_SET_ERROR);
    EXPECT_EQ(
        logCount("Failed to start network connection, starting 30 second Network Delay Timer"), 1u);
    commands();
    passSeconds(29);
    g_i_debugMode = eLOG_POLICY;
    EXPECT_EQ(maybeStart(), eERROR_DEVICE_NETWORK_DELAY_TIMER_RUNNING);
    EXPECT_EQ(logCount("DEBUG: maybeStartDataSession(): Network Delay Timer running 29/30"), 1u);
    EXPECT_TRUE(commands().empty());
    // The wait must not hide why the attempt failed.
    EXPECT_EQ(device.e_last_connect_error, eERROR_DEVICE_NMC_DATA_SET_ERROR);
    passSeconds(1);
    EXPECT_EQ(maybeStart(), eSUCCESS);
    EXPECT_EQ(device.e_last_connect_error, eSUCCESS);
    EXPECT_EQ(logCount("Network Delay Timer finished"), 1u);
}

TEST_F(DataSession, RegistrationLost_KeepsTheSessionForFifteenSeconds) {
    startRegistered();
    g_C_checkRegTimer.Stop();
    device.network.b_registered = false;
    EXPECT_TRUE(isGood());
    passSeconds(14);
    EXPECT_TRUE(isGood());
    EXPECT_EQ(device.s_connection_status, "CONNECTED");
    passSeconds(1);
    EXPECT_FALSE(isGood());
    EXPECT_EQ(device.s_connection_status, "DISCONNECTED");
    EXPECT_TRUE(commands().empty());
}

TEST_F(DataSession, InactiveContext_EndsTheSession) {
    startRegistered();
    EXPECT_FALSE(isGood());
    EXPECT_EQ(commands(), (tCommands{"AT+CGACT?"}));
    EXPECT_EQ(logCount("Profile 1 no longer connected"), 1u);
}

TEST_F(DataSession, SilentContextQuery_EndsTheSession) {
    startRegistered();
    ASSERT_EQ(startSession(), eSUCCESS);
    fault("AT+CGACT?", "silence");
    EXPECT_FALSE(isGood());
}

TEST_F(DataSession, AddressThatChanged_EndsTheSession) {
    startRegistered();
    ASSERT_EQ(startSession(), eSUCCESS);
    EXPECT_TRUE(isGood());
    order({{"op", "address"}, {"cid", 1}, {"ipv4", "10.99.1.7"}});
    EXPECT_FALSE(isGood());
    EXPECT_EQ(logCount("isDataConnectionGood():IPv4 address changed from '10.64.1.8' to "
                       "'10.99.1.7'"),
              1u);
}

TEST_F(DataSession, Ipv6Only_ComparesNoIpv4Address) {
    startRegistered();
    ASSERT_EQ(startSession(), eSUCCESS);
    config.ipFamily = eIP_FAMILY_IPV6;
    device.s_ipv4_address = "192.0.2.1";
    commands();
    EXPECT_TRUE(isGood());
    EXPECT_EQ(commands(), (tCommands{"AT+CGACT?"}));
}

TEST_F(DataSession, NoServiceTimer_RequestsAResetAfterFiveMinutes) {
    start();
    g_i_debugMode = eLOG_POLICY;
    device.sim.i_lock_class = eSIM_READY;
    device.network.i_reg_state = eREG_SEARCHING;
    EXPECT_EQ(checkNoServiceTimer(device, g_C_noServiceTimer), eSUCCESS);
    EXPECT_EQ(logCount("checkNoServiceTimer(): Device has No Service, starting timer"), 1u);
    passSeconds(290);
    EXPECT_EQ(checkNoServiceTimer(device, g_C_noServiceTimer), eSUCCESS);
    passSeconds(9);
    EXPECT_EQ(checkNoServiceTimer(device, g_C_noServiceTimer), eSUCCESS);
    // Logged every ten seconds.
    const std::string running = "DEBUG: checkNoServiceTimer(): No Service Timer running ";
    EXPECT_EQ(logCount(running + "290/300 seconds"), 1u);
    EXPECT_EQ(logCount(running + "299/300 seconds"), 0u);
    EXPECT_EQ(logCount("DEBUG: checkNoServiceTimer(): Device not network registered"), 3u);
    passSeconds(1);
    EXPECT_EQ(checkNoServiceTimer(device, g_C_noServiceTimer), eERROR_DEVICE_REQUIRES_RESET);
    EXPECT_EQ(logCount("Device has No Service after 5 minutes, requires reset"), 1u);
    EXPECT_FALSE(g_C_noServiceTimer.IsTimerEnabled());
}

TEST_F(DataSession, DeniedRegistration_NeverLeadsToANoServiceReset) {
    start();
    device.sim.i_lock_class = eSIM_READY;
    device.network.i_reg_state = eREG_SEARCHING;
    checkNoServiceTimer(device, g_C_noServiceTimer);
    device.network.i_reg_state = eREG_DENIED;
    for (int i = 0; i < 10; ++i) {
        passSeconds(100);
        EXPECT_EQ(checkNoServiceTimer(device, g_C_noServiceTimer), eSUCCESS);
    }
    EXPECT_FALSE(g_C_noServiceTimer.IsTimerEnabled());
}

TEST_F(DataSession, Registration_PermitsDataAtHomeAndRoamingOnlyIfAllowed) {
    start();
    const auto permits = [this](bool expected) {
        for (int i = 0; i < 2; ++i)
            inPass(eWORK_SESSION,
                   [&] { EXPECT_EQ(checkNetworkRegistration(device, config), expected); });
    };
    permits(false);
    device.network.b_registered = true;
    device.network.i_reg_state = eREG_HOME;
    permits(true);
    device.network.i_reg_state = eREG_ROAMING;
    permits(true);
    config.roamingAllowed = false;
    permits(false);
    const tCommands expectedLog = {"Device not network registered", "Device is network registered",
                                   "Device is registered roaming",
                                   "Device is registered roaming, but config roaming is disabled"};
    EXPECT_EQ(capturedLog(), expectedLog);
}

TEST_F(DataSession, Disconnecting_SendsNothingAndTakesTheInterfaceDown) {
    startRegistered();
    ASSERT_EQ(startSession(), eSUCCESS);
    device.s_connection_status = "CONNECTED";
    commands();
    shell.clear();
    EXPECT_EQ(disconnectNetwork(port(), device, config), eSUCCESS);
    EXPECT_TRUE(commands().empty());
    EXPECT_EQ(shell.calls(), (std::vector<std::string>{"setup_cellint.sh -i wwan0 --down"}));
    EXPECT_EQ(device.network.pdp_dynamic[0].ePDP_ip_type, eIP_TYPE_NONE);
    EXPECT_EQ(device.s_connection_status, "DISCONNECTED");
    EXPECT_EQ(logCount("Disconnecting from network"), 1u);
    EXPECT_EQ(logCount("Clearing network interface IP info"), 1u);
    shell.setStatus("setup_cellint.sh", 3);
    EXPECT_EQ(disconnectNetwork(port(), device, config), eERROR_DEVICE_NETWORK_TEARDOWN_FAILURE);
}

TEST_F(DataSession, Deregistering_OnlyReportsATimeOut) {
    start();
    EXPECT_EQ(networkDeregister(port(), config), eSUCCESS);
    EXPECT_EQ(commands(), (tCommands{"AT+COPS=2"}));
    fault("AT+COPS=2", "error");
    EXPECT_EQ(networkDeregister(port(), config), eSUCCESS);
    fault("AT+COPS=2", "silence");
    EXPECT_EQ(networkDeregister(port(), config), eERROR_DEVICE_RESPONSE_TIMEOUT);
}
