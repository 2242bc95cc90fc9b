#include "include/device_records.h"
#include "statemachine/data_session.h"
#include "statemachine/timers.h"
#include "tests/support/flow_fixture.h"

// Sequences at the start of a session that do not occur with a healthy modem, and the checks of a
// running session.

namespace {

class SessionWays : public cFlowFixture {
  protected:
    void startRegistered(const nlohmann::json& scenario = nlohmann::json::object()) {
        start(scenario);
        device.network.b_registered = true;
        device.network.i_reg_state = eREG_HOME;
        for (const char* command : {"AT+CMEE=1", "AT+CGDCONT=1,\"IPV4V6\",\"internet\""})
            sendEarlier(command);
    }

    void answer(const std::string& command, const std::vector<std::string>& lines,
                size_t skip = 0) {
        order({{"op", "fault"},
               {"match", command},
               {"kind", "answer"},
               {"lines", lines},
               {"skip", skip},
               {"count", 1}});
    }

    void faultLater(const std::string& command, const std::string& kind) {
        order({{"op", "fault"}, {"match", command}, {"kind", kind}, {"skip", 1}, {"count", 1}});
    }

    eGeneralErrors startSession() { return startDataSession(port(), device, config); }
    eGeneralErrors maybeStart() {
        return maybeStartDataSession(port(), device, config, g_C_netConDelayTimer);
    }
    bool isGood() { return isDataConnectionGood(port(), device, config); }
};

constexpr const char* ADDRESSES = "AT+CGCONTRDP=1";
constexpr const char* DATA_MODE = "AT+CGDATA=\"M-RAW_IP\",1";

}  // namespace

TEST_F(SessionWays, SecondAttachQueryThatFails_EndsTheStart) {
    startRegistered();
    faultLater("AT+CGATT?", "error");
    EXPECT_EQ(startSession(), eERROR_DEVICE_NETWORK_ATTACH_FAILURE);
    EXPECT_EQ(commands(), (tCommands{"AT+CGATT?", "AT+CGATT=1", "AT+CGATT?"}));
    faultLater("AT+CGATT?", "silence");
    EXPECT_EQ(startSession(), eERROR_DEVICE_RESPONSE_TIMEOUT);
}

TEST_F(SessionWays, FirstAttachQueryRefused_LeavesTheModemAttached) {
    startRegistered({{"attached", true}});
    fault("AT+CGATT?", "error");
    EXPECT_EQ(startSession(), eSUCCESS);
    const tCommands sent = commands();
    EXPECT_EQ(tCommands(sent.begin(), sent.begin() + 3),
              (tCommands{"AT+CGATT?", "AT+CGATT=1", "AT+CGATT?"}));
}

TEST_F(SessionWays, DetachThatIsNotAnswered_IsATimeOut) {
    startRegistered({{"attached", true}});
    fault("AT+CGATT=0", "silence");
    EXPECT_EQ(startSession(), eERROR_DEVICE_RESPONSE_TIMEOUT);
    EXPECT_EQ(commands(), (tCommands{"AT+CGATT?", "AT+CGATT=0"}));
}

TEST_F(SessionWays, ContextQueryAfterActivationThatFails_EndsTheStart) {
    startRegistered();
    faultLater("AT+CGACT?", "error");
    EXPECT_EQ(startSession(), eERROR_DEVICE_PDP_CONTEXT_ACTIVATE_FAILURE);
    EXPECT_EQ(commands().back(), "AT+CGACT?");
    faultLater("AT+CGACT?", "silence");
    EXPECT_EQ(startSession(), eERROR_DEVICE_RESPONSE_TIMEOUT);
}

TEST_F(SessionWays, DeactivationThatIsNotAnswered_IsATimeOut) {
    startRegistered();
    answer("AT+CGACT?", {"+CGACT: 2,1"});
    fault("AT+CGACT=0,2", "silence");
    EXPECT_EQ(startSession(), eERROR_DEVICE_RESPONSE_TIMEOUT);
    EXPECT_EQ(commands().back(), "AT+CGACT=0,2");
}

TEST_F(SessionWays, ForeignContexts_AreDeactivatedInTheirOrderAndTheOwnOneIsKept) {
    startRegistered();
    answer("AT+CGACT?", {"+CGACT: 3,1", "+CGACT: 1,1", "+CGACT: 2,0", "+CGACT: 5,1"});
    for (const char* command : {"AT+CGACT=0,3", "AT+CGACT=0,5"})
        answer(command, {});
    sendEarlier("AT+CGATT=1");
    sendEarlier("AT+CGACT=1,1");
    answer("AT+CGATT?", {"+CGATT: 0"});
    EXPECT_EQ(startSession(), eSUCCESS);
    EXPECT_EQ(commands(),
              (tCommands{"AT+CGATT?", "AT+CGATT=1", "AT+CGATT?", "AT+COPS?", "AT#NCM=1,1",
                         "AT+CGACT?", "AT+CGACT=0,3", "AT+CGACT=0,5", ADDRESSES, DATA_MODE}));
}

TEST_F(SessionWays, ContextWithALeadingZero_IsAForeignOne) {
    startRegistered();
    allowProblems();
    answer("AT+CGACT?", {"+CGACT: 01,1"});
    answer("AT+CGACT=0,01", {});
    EXPECT_EQ(startSession(), eSUCCESS);
    const tCommands sent = commands();
    EXPECT_EQ(sent[6], "AT+CGACT=0,01");
    EXPECT_EQ(sent[7], "AT+CGACT=1,1");
}

TEST_F(SessionWays, VerizonContext_IsUsedInEveryCommand) {
    startRegistered();
    sendEarlier("AT+CGDCONT=3,\"IP\",\"vzwinternet\"");
    config.profileContext = "3";
    device.modem.e_firmware_carrier = eFIRMWARE_CARRIER_VERIZON;
    EXPECT_EQ(startSession(), eSUCCESS);
    EXPECT_EQ(commands(), (tCommands{"AT+CGATT?", "AT+CGATT=1", "AT+CGATT?", "AT+COPS?",
                                     "AT#NCM=1,3", "AT+CGACT?", "AT+CGACT=1,3", "AT+CGACT?",
                                     "AT+CGCONTRDP=3", "AT+CGDATA=\"M-RAW_IP\",3"}));
    commands();
    EXPECT_TRUE(isGood());
    EXPECT_EQ(commands(), (tCommands{"AT+CGACT?", "AT+CGPADDR=3"}));
}

TEST_F(SessionWays, FirstEntryWithoutAddress_IsNotReplacedByTheSecond) {
    startRegistered();
    answer(ADDRESSES, {"+CGCONTRDP: 1,5,\"internet\",\"\"",
                       "+CGCONTRDP: 1,5,\"internet\",\"10.1.2.3.255.255.255.0\",\"10.1.2.1\""});
    EXPECT_EQ(startSession(), eERROR_DEVICE_GET_PDP_NETWORK_INFO_NONE);
    EXPECT_EQ(commands().back(), ADDRESSES);
    EXPECT_TRUE(shell.calls().empty());
}

TEST_F(SessionWays, NoAddressLine_Gives207AndForgetsOldAddresses) {
    startRegistered();
    device.network.pdp_dynamic[0].ePDP_ip_type = eIP_TYPE_IPV4;
    device.network.pdp_dynamic[3].s_ipaddr = "192.0.2.1";
    answer(ADDRESSES, {});
    EXPECT_EQ(startSession(), eERROR_DEVICE_GET_PDP_NETWORK_INFO_NONE);
    EXPECT_EQ(device.network.pdp_dynamic[3].s_ipaddr, "");
}

TEST_F(SessionWays, BothFamilies_ReachTheInterface) {
    startRegistered({{"addresses",
                      {{"families", "both"},
                       {"ipv4", "10.20.30.40"},
                       {"ipv4_mask", "255.255.255.252"},
                       {"ipv4_gateway", "10.20.30.41"},
                       {"ipv4_dns", {"10.0.0.1", "0.0.0.0"}},
                       {"ipv6", "2001:db8::1"},
                       {"ipv6_dns", {"2001:db8::53"}}}}});
    EXPECT_EQ(startSession(), eSUCCESS);
    // How a shell splits the line: a missing name server leaves an option without value.
    EXPECT_EQ(shell.calls(),
              (std::vector<std::string>{
                  "setup_cellint.sh -i wwan0 --up --defaultroute -m 1500 --address 10.20.30.40 "
                  "--netmask 255.255.255.252 --gateway 10.20.30.41 --dns 10.0.0.1 "
                  "--dns 2001:db8::53 --dns --ipv6auto"}));
    EXPECT_EQ(device.s_ipv4_address, "10.20.30.40");
}

class HostileNetwork : public SessionWays, public ::testing::WithParamInterface<const char*> {};

TEST_P(HostileNetwork, CannotReachTheShell) {
    startRegistered();
    answer(ADDRESSES, {GetParam()});
    const eGeneralErrors result = startSession();
    EXPECT_TRUE(result == eERROR_DEVICE_NETWORK_SETUP_FAILURE ||
                result == eERROR_DEVICE_GET_PDP_NETWORK_INFO_NONE)
        << result;
    EXPECT_TRUE(shell.calls().empty());
    EXPECT_FALSE(fileExists("/tmp/pwned"));
}

INSTANTIATE_TEST_SUITE_P(
    Each, HostileNetwork,
    ::testing::Values(
        "+CGCONTRDP: 1,5,\"a\",\"1.2.3.4.255.255.255.0 $(touch /tmp/pwned)\",\"1.2.3.1\"",
        "+CGCONTRDP: 1,5,\"a\",\"1.2.3.4 $(touch /tmp/pwned).255.255.255.0\",\"1.2.3.1\"",
        "+CGCONTRDP: 1,5,\"a\",\"1.2.3.4\t`touch /tmp/pwned`.255.255.255.0\",\"1.2.3.1\"",
        "+CGCONTRDP: 1,5,\"a\",\"1.2.3.4.255.255.255.0\",\"1.2.3.`touch /tmp/pwned`\"",
        "+CGCONTRDP: 1,5,\"a\",\"1.2.3.4.255.255.255.0\",\"1.2.3.1\",\"1.2.3.4;touch /tmp/pwned\"",
        "+CGCONTRDP: 1,5,\"a\",\"1.2.3.4.255.255.255.0\",\"1.2.3.1\",\"1.2.3.4\",\"1.2.3.$(touch "
        "/tmp/pwned)\"",
        "+CGCONTRDP: 1,5,\"a\",\"1.2.3.4.255.255.255.0\",\"1.2.3.1 & touch /tmp/pwned\"",
        "+CGCONTRDP: 1,5,\"a\",\"1.2.3.4.255.255.255.0\",\"1.2.3.1>/tmp/pwned\"",
        "+CGCONTRDP: 1,5,\"a\",\"1.2.3.4.255.255.255.0\",\"1.2.-3.1\""));

TEST_F(SessionWays, RefusedAndUnansweredStarts_DelayTheNextOne) {
    startRegistered();
    for (const char* kind : {"error", "silence"}) {
        fault("AT+CGATT=1", kind);
        EXPECT_NE(maybeStart(), eSUCCESS);
        EXPECT_EQ(maybeStart(), eERROR_DEVICE_NETWORK_DELAY_TIMER_RUNNING);
        passSeconds(30);
    }
    EXPECT_EQ(maybeStart(), eSUCCESS);
    EXPECT_FALSE(g_C_netConDelayTimer.IsTimerEnabled());
}

// ---- a running session ------------------------------------------------------------------------

TEST_F(SessionWays, GoodSession_IsConnectedAndCostsTwoQueries) {
    startRegistered();
    ASSERT_EQ(startSession(), eSUCCESS);
    commands();
    g_C_checkRegTimer.Start();
    EXPECT_TRUE(isGood());
    EXPECT_EQ(commands(), (tCommands{"AT+CGACT?", "AT+CGPADDR=1"}));
    EXPECT_EQ(device.s_connection_status, "CONNECTED");
    EXPECT_FALSE(g_C_checkRegTimer.IsTimerEnabled());
}

class SessionQuery : public SessionWays,
                     public ::testing::WithParamInterface<std::tuple<const char*, const char*>> {};

TEST_P(SessionQuery, ThatFails_DropsTheSession) {
    startRegistered();
    ASSERT_EQ(startSession(), eSUCCESS);
    const auto& [command, kind] = GetParam();
    fault(command, kind);
    commands();
    EXPECT_FALSE(isGood());
    EXPECT_EQ(commands().back(), command);
    EXPECT_EQ(device.s_connection_status, "DISCONNECTED");
}

INSTANTIATE_TEST_SUITE_P(Each, SessionQuery,
                         ::testing::Combine(::testing::Values("AT+CGACT?", "AT+CGPADDR=1"),
                                            ::testing::Values("silence", "error")));

TEST_F(SessionWays, RegistrationThatComesBack_RestartsTheGracePeriod) {
    startRegistered();
    ASSERT_EQ(startSession(), eSUCCESS);
    g_C_checkRegTimer.Stop();
    device.network.b_registered = false;
    EXPECT_TRUE(isGood());
    passSeconds(14);
    device.network.b_registered = true;
    EXPECT_TRUE(isGood());
    device.network.b_registered = false;
    EXPECT_TRUE(isGood());
    passSeconds(14);
    EXPECT_TRUE(isGood());
    passSeconds(1);
    commands();
    EXPECT_FALSE(isGood());
    EXPECT_TRUE(commands().empty());
    EXPECT_EQ(logCount("Device no longer network registered"), 1u);
    EXPECT_FALSE(g_C_checkRegTimer.IsTimerEnabled());
}

TEST_F(SessionWays, Ipv6Bearer_WithBothFamiliesWanted_IsDroppedForItsAddress) {
    startRegistered({{"addresses", {{"families", "ipv6"}, {"ipv6", "2001:db8::1"}}}});
    ASSERT_EQ(startSession(), eSUCCESS);
    EXPECT_EQ(device.s_ipv4_address, "");
    EXPECT_FALSE(isGood());
    config.ipFamily = eIP_FAMILY_IPV6;
    EXPECT_TRUE(isGood());
}

TEST_F(SessionWays, Disconnecting_KeepsOtherStatesOfTheSession) {
    start();
    for (const char* status : {"Unknown", "DISCONNECTED"}) {
        device.s_connection_status = status;
        EXPECT_EQ(disconnectNetwork(port(), device, config), eSUCCESS);
        EXPECT_EQ(device.s_connection_status, status);
    }
}

// ---- no service -------------------------------------------------------------------------------

TEST_F(SessionWays, NoServiceTimer_StopsWithoutSimAndWithService) {
    start();
    device.sim.i_lock_class = eSIM_READY;
    device.network.i_reg_state = eREG_SEARCHING;
    const auto check = [this] { return checkNoServiceTimer(device, g_C_noServiceTimer); };
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_TRUE(g_C_noServiceTimer.IsTimerRunning());
    for (const int state : {static_cast<int>(eSIM_MISSING), static_cast<int>(eSIM_PIN_REQUIRED),
                            static_cast<int>(eSIM_LOCK_UNKNOWN)}) {
        device.sim.i_lock_class = state;
        passSeconds(400);
        EXPECT_EQ(check(), eSUCCESS);
        EXPECT_FALSE(g_C_noServiceTimer.IsTimerEnabled());
    }
    device.sim.i_lock_class = eSIM_READY;
    EXPECT_EQ(check(), eSUCCESS);
    passSeconds(200);
    device.network.b_registered = true;
    device.network.i_reg_state = eREG_HOME;
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_FALSE(g_C_noServiceTimer.IsTimerEnabled());
    EXPECT_EQ(logCount("checkNoServiceTimer(): Device has Service, No Service timer is enabled, "
                       "stopping timer"),
              1u);
    device.network.b_registered = false;
    passSeconds(200);
    EXPECT_EQ(check(), eSUCCESS);  // a period of its own
    passSeconds(299);
    EXPECT_EQ(check(), eSUCCESS);
    passSeconds(1);
    EXPECT_EQ(check(), eERROR_DEVICE_REQUIRES_RESET);
    EXPECT_EQ(check(), eSUCCESS);  // the next period
}
