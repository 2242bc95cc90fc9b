#include "statemachine/network_interface.h"

#include <filesystem>

#include "include/debug.h"
#include "include/device_records.h"
#include "include/options.h"
#include "platform/include/tokenstr.h"
#include "statemachine/timers.h"
#include "tests/support/flow_fixture.h"
#include "tests/support/shown_case.h"

// The command lines for the interface in every combination of the configuration, and its counters.

namespace {

class InterfaceLines : public cFlowFixture {
  protected:
    // The command from the log, which is the one that was run.
    std::string upLine() {
        clearCapturedLog();
        shell.clear();
        upNetworkInterface(device.network, config);
        const std::string start = "Running command '";
        for (const std::string& line : capturedLog()) {
            if (line.compare(0, start.size(), start) != 0) continue;
            const std::string command = line.substr(start.size(), line.size() - start.size() - 1);
            EXPECT_EQ(shell.calls(), std::vector<std::string>{wordsOf(command)});
            return command;
        }
        return "";
    }

    // The words that the shell makes of it, without the redirection.
    static std::string wordsOf(const std::string& command) {
        std::string words;
        for (const std::string& word : tokenstr(command, ' ', eEmptyTokens::DROP))
            if (word != "&>/dev/null") words += (words.empty() ? "" : " ") + word;
        return words;
    }

    // Counter files of wwan0 in a folder of the test.
    void setCounters(const std::string& tx, const std::string& rx) {
        std::filesystem::create_directories(m_statistics);
        writeFile(m_statistics + "/tx_bytes", tx);
        writeFile(m_statistics + "/rx_bytes", rx);
    }
    bool traffic() { return checkNetworkTxRx("/tmp/class/net", false); }
    // The commands from the log: calls of background tools may not have been recorded yet.
    static size_t pings() {
        const std::string command = "ping -c 1 -I wwan0 1.2.3.4 &>/dev/null &";
        return logCount("DEBUG: networkKeepAlive(): running command '" + command + "'");
    }

    const std::string m_statistics = "/tmp/class/net/wwan0/statistics";
};

sPdpDynamicParams ipv4Entry(const std::string& address) {
    sPdpDynamicParams entry;
    entry.ePDP_ip_type = eIP_TYPE_IPV4;
    entry.s_ipaddr = address;
    entry.s_mask = "255.255.255.252";
    entry.s_gateway = "10.20.30.41";
    entry.s_dns_prim_addr = "10.0.0.1";
    entry.s_dns_sec_addr = "10.0.0.2";
    return entry;
}

struct sFlags {
    bool debug, pointToPoint, defaultRoute, dns;
    int family;
};

SHOW_CASE(sFlags, "debug " << row.debug << ", point to point " << row.pointToPoint
                           << ", default route " << row.defaultRoute << ", DNS " << row.dns
                           << ", family " << row.family)

class UpLine : public InterfaceLines, public ::testing::WithParamInterface<sFlags> {};

std::vector<sFlags> allFlags() {
    std::vector<sFlags> all;
    for (int bits = 0; bits < 16; ++bits)
        for (const int family : {1, 2, 3})
            all.push_back(
                {(bits & 1) != 0, (bits & 2) != 0, (bits & 4) != 0, (bits & 8) != 0, family});
    return all;
}

}  // namespace

TEST_P(UpLine, HoldsExactlyTheConfiguredOptions) {
    const sFlags& flags = GetParam();
    g_i_debugMode = flags.debug ? 0x800000000000 : 0;
    config.ptpInterface = flags.pointToPoint;
    config.defaultRoute = flags.defaultRoute;
    config.useDns = flags.dns;
    config.ipFamily = flags.family;
    config.mtu = 60;
    sPdpDynamicParams& first = device.network.pdp_dynamic[0];
    first.ePDP_ip_type = eIP_TYPE_IPV4;
    first.s_ipaddr = "10.1.1.2";
    first.s_mask = "255.0.0.0";
    first.s_gateway = "10.1.1.1";
    first.s_dns_prim_addr = "10.0.0.1";
    first.s_dns_sec_addr = "10.0.0.2";
    sPdpDynamicParams& last = device.network.pdp_dynamic[4];
    last.ePDP_ip_type = eIP_TYPE_IPV6;
    last.s_ipaddr = "2001:db8::2";
    last.s_dns_prim_addr = "2001:db8::53";
    last.s_dns_sec_addr = "::";

    std::string expected = "setup_cellint.sh -i wwan0 --up ";
    if (flags.debug) expected += " --debug ";
    if (flags.pointToPoint) expected += " --ptp ";
    if (flags.defaultRoute) expected += " --defaultroute ";
    expected += " -m 60 --address 10.1.1.2 --netmask 255.0.0.0 --gateway 10.1.1.1";
    if (flags.dns) expected += " --dns 10.0.0.1 --dns 10.0.0.2 --dns 2001:db8::53";
    if (flags.family != 1) expected += " --ipv6auto ";
    if (flags.family == 2) expected += " --ipv6only ";
    EXPECT_EQ(upLine(), expected + " &>/dev/null");
    EXPECT_EQ(shell.calls().size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(All, UpLine, ::testing::ValuesIn(allFlags()));

TEST_F(InterfaceLines, OneIpv4Entry_GivesTheWholeLine) {
    config.mtu = 1430;
    device.network.pdp_dynamic[0] = ipv4Entry("10.20.30.40");
    EXPECT_EQ(upLine(),
              "setup_cellint.sh -i wwan0 --up  --defaultroute  -m 1430 --address 10.20.30.40 "
              "--netmask 255.255.255.252 --gateway 10.20.30.41 --dns 10.0.0.1 --dns 10.0.0.2 "
              "--ipv6auto  &>/dev/null");
    EXPECT_EQ(shell.calls().size(), 1u);
}

TEST_F(InterfaceLines, AllFlags_AreInTheirOrder) {
    config.ptpInterface = true;
    config.ipFamily = eIP_FAMILY_IPV6;
    g_i_debugMode = 1;
    EXPECT_EQ(upLine(),
              "setup_cellint.sh -i wwan0 --up  --debug  --ptp  --defaultroute  "
              "-m 1500 --ipv6auto  --ipv6only  &>/dev/null");
    g_i_debugMode = 0;
    config = sConfigFileOpts();
    config.defaultRoute = false;
    config.ipFamily = eIP_FAMILY_IPV4;
    EXPECT_EQ(upLine(), "setup_cellint.sh -i wwan0 --up  -m 1500 &>/dev/null");
}

TEST_F(InterfaceLines, Ipv6EntriesWithoutDns_GiveNoAddressOptions) {
    config.useDns = false;
    device.network.pdp_dynamic[0].ePDP_ip_type = eIP_TYPE_IPV6;
    device.network.pdp_dynamic[0].s_ipaddr = "2001:db8::1";
    device.network.pdp_dynamic[0].s_dns_prim_addr = "2001:db8::53";
    EXPECT_EQ(upLine(),
              "setup_cellint.sh -i wwan0 --up  --defaultroute  -m 1500 "
              "--ipv6auto  &>/dev/null");
}

TEST_F(InterfaceLines, UnsetNameServers_AreLeftOutAndEmptyOnesAreNot) {
    config.ipFamily = eIP_FAMILY_IPV4;
    device.network.pdp_dynamic[0] = ipv4Entry("10.20.30.40");
    device.network.pdp_dynamic[0].s_dns_prim_addr = "0.0.0.0";
    device.network.pdp_dynamic[0].s_dns_sec_addr = "";
    device.network.pdp_dynamic[1].ePDP_ip_type = eIP_TYPE_IPV6;
    device.network.pdp_dynamic[1].s_dns_prim_addr = "::";
    device.network.pdp_dynamic[1].s_dns_sec_addr = "2001:db8::53";
    EXPECT_EQ(upLine(),
              "setup_cellint.sh -i wwan0 --up  --defaultroute  -m 1500 --address 10.20.30.40 "
              "--netmask 255.255.255.252 --gateway 10.20.30.41 --dns  --dns 2001:db8::53 "
              "&>/dev/null");
}

TEST_F(InterfaceLines, FiveIpv4Entries_GiveFiveGroupsAndTheSixthIsNotUsed) {
    for (size_t i = 0; i < PDP_DYNAMIC_MAX; ++i)
        device.network.pdp_dynamic[i] = ipv4Entry("10.20.30." + std::to_string(40 + i));
    const std::string line = upLine();
    size_t groups = 0;
    for (size_t at = line.find(" --address "); at != std::string::npos;
         at = line.find(" --address ", at + 1))
        ++groups;
    EXPECT_EQ(groups, 5u);
    EXPECT_EQ(line.find("10.20.30.45"), std::string::npos);
}

class HostileAddress : public InterfaceLines, public ::testing::WithParamInterface<const char*> {};

TEST_P(HostileAddress, InAnyField_RunsNothing) {
    for (std::string sPdpDynamicParams::*field :
         {&sPdpDynamicParams::s_ipaddr, &sPdpDynamicParams::s_mask, &sPdpDynamicParams::s_gateway,
          &sPdpDynamicParams::s_dns_prim_addr, &sPdpDynamicParams::s_dns_sec_addr}) {
        device.network.pdp_dynamic[0] = ipv4Entry("10.20.30.40");
        device.network.pdp_dynamic[0].*field = GetParam();
        EXPECT_EQ(upNetworkInterface(device.network, config), eERROR_DEVICE_NETWORK_SETUP_FAILURE);
    }
    EXPECT_TRUE(shell.calls().empty());
    EXPECT_FALSE(fileExists("/tmp/pwned"));
}

INSTANTIATE_TEST_SUITE_P(Each, HostileAddress,
                         ::testing::Values("1.2.3.4 $(touch /tmp/pwned)",
                                           "1.2.3.4;touch /tmp/pwned", "1.2.3.`touch /tmp/pwned`",
                                           "1.2.3.4\ttouch", "--down", "1.2.3.4\n", "1.2.3.4|sh",
                                           "1.2.3.4 &"));

TEST_F(InterfaceLines, HostileInterfaceName_RunsNothing) {
    for (const char* name :
         {"wwan0;touch /tmp/pwned", "$(x)", "", ".", "..", "a/b", "wwan0 -x", "0123456789abcdef"}) {
        g_S_options.s_interface = name;
        EXPECT_EQ(upNetworkInterface(device.network, config), eERROR_DEVICE_NETWORK_SETUP_FAILURE);
        EXPECT_EQ(downNetworkInterface(), eERROR_DEVICE_NETWORK_TEARDOWN_FAILURE);
        EXPECT_FALSE(checkNetworkTxRx("/sys/class/net", false));
    }
    EXPECT_TRUE(shell.calls().empty());
}

TEST_F(InterfaceLines, EmptyFields_AreGivenEmpty) {
    config.useDns = false;
    config.ipFamily = eIP_FAMILY_IPV4;
    device.network.pdp_dynamic[2].ePDP_ip_type = eIP_TYPE_IPV4;
    device.network.pdp_dynamic[2].s_ipaddr = "10.1.1.2";
    EXPECT_EQ(upLine(),
              "setup_cellint.sh -i wwan0 --up  --defaultroute  -m 1500 --address 10.1.1.2 "
              "--netmask  --gateway  &>/dev/null");
}

TEST_F(InterfaceLines, HostileTextInAnUnusedEntry_IsIgnored) {
    device.network.pdp_dynamic[0].s_ipaddr = "$(touch /tmp/pwned)";  // no type
    device.network.pdp_dynamic[5].ePDP_ip_type = eIP_TYPE_IPV4;      // the sixth is never used
    device.network.pdp_dynamic[5].s_ipaddr = "$(touch /tmp/pwned)";
    EXPECT_EQ(upNetworkInterface(device.network, config), eSUCCESS);
    EXPECT_FALSE(fileExists("/tmp/pwned"));
}

TEST_F(InterfaceLines, Result_IsThatOfTheScript) {
    for (const int status : {1, 2, 126, 127, 255}) {
        shell.setStatus("setup_cellint.sh", status);
        EXPECT_EQ(upNetworkInterface(device.network, config), eERROR_DEVICE_NETWORK_SETUP_FAILURE);
        EXPECT_EQ(downNetworkInterface(), eERROR_DEVICE_NETWORK_TEARDOWN_FAILURE);
    }
    EXPECT_EQ(logCount("FAILED Setting up interface IP info"), 5u);
    shell.setStatus("setup_cellint.sh", 0);
    EXPECT_EQ(upNetworkInterface(device.network, config), eSUCCESS);
    EXPECT_EQ(logCount("SUCCESS Setting up interface IP info"), 1u);
}

TEST_F(InterfaceLines, MissingScript_IsAFailure) {
    setenv("PATH", "/nowhere", 1);
    EXPECT_EQ(upNetworkInterface(device.network, config), eERROR_DEVICE_NETWORK_SETUP_FAILURE);
    EXPECT_EQ(downNetworkInterface(), eERROR_DEVICE_NETWORK_TEARDOWN_FAILURE);
}

TEST_F(InterfaceLines, UsualInterfaceNames_AreAccepted) {
    for (const char* name : {"wwan0", "usb0", "wwp0s20u6i12", "eth0.100", "br-lan", "veth@if3",
                             "eth0:1", "a_b", "0123456789abcde"}) {
        g_S_options.s_interface = name;
        EXPECT_EQ(downNetworkInterface(), eSUCCESS) << name;
    }
    EXPECT_EQ(shell.calls().size(), 9u);
    EXPECT_EQ(shell.calls()[0], "setup_cellint.sh -i wwan0 --down");
}

// ---- keep-alive -------------------------------------------------------------------------------

TEST_F(InterfaceLines, KeepAlive_PingsOnceEveryFiveMinutes) {
    start();
    g_i_debugMode = eLOG_NETWORK_TRAFFIC;
    networkKeepAlive();
    passSeconds(299);
    networkKeepAlive();
    EXPECT_EQ(pings(), 0u);
    passSeconds(1);
    networkKeepAlive();
    EXPECT_EQ(pings(), 1u);
    EXPECT_EQ(shell.waitForCalls(1), (std::vector<std::string>{"ping -c 1 -I wwan0 1.2.3.4"}));
    passSeconds(299);
    networkKeepAlive();
    EXPECT_EQ(pings(), 1u);
}

TEST_F(InterfaceLines, KeepAliveTimeThatExpiredMeanwhile_PingsAtOnce) {
    start();
    g_i_debugMode = eLOG_NETWORK_TRAFFIC;
    networkKeepAlive();
    passSeconds(1000);
    networkKeepAlive();
    const std::vector<std::string> expectedLog = {
        "DEBUG: networkKeepAlive(): Timer count 0", "DEBUG: networkKeepAlive(): Timer count 1000",
        "DEBUG: networkKeepAlive(): running command 'ping -c 1 -I wwan0 1.2.3.4 &>/dev/null &'"};
    EXPECT_EQ(capturedLog(), expectedLog);
    EXPECT_EQ(shell.waitForCalls(1).size(), 1u);
    g_C_networkKeepAliveTimer.Stop();
    networkKeepAlive();
    passSeconds(299);
    networkKeepAlive();
    EXPECT_EQ(pings(), 1u);
}

TEST_F(InterfaceLines, FailingPing_HasNoEffect) {
    start();
    shell.setStatus("ping", 1);
    networkKeepAlive();
    passSeconds(300);
    networkKeepAlive();
    EXPECT_EQ(shell.waitForCalls(1).size(), 1u);
    passSeconds(300);
    networkKeepAlive();
    EXPECT_EQ(shell.waitForCalls(2).size(), 2u);
}

// ---- counters ---------------------------------------------------------------------------------

TEST_F(InterfaceLines, ByteCounters_ShowTrafficForTwoSeconds) {
    start();
    setCounters("0", "0");
    EXPECT_FALSE(traffic());
    setCounters("100", "0");
    EXPECT_TRUE(traffic());
    passSeconds(1);
    EXPECT_TRUE(traffic());
    passSeconds(1);
    EXPECT_FALSE(traffic());
    // A counter beyond 32 bits still shows changes.
    setCounters("5000000000", "0");
    EXPECT_TRUE(traffic());
    passSeconds(3);
    setCounters("5000000100", "0");
    EXPECT_TRUE(traffic());
    EXPECT_TRUE(traffic());
    EXPECT_FALSE(checkNetworkTxRx("/tmp/class/net", true));
}

TEST_F(InterfaceLines, UnchangedCounters_AreNoTrafficAfterTwoSeconds) {
    start();
    setCounters("100\n", "200\n");
    EXPECT_TRUE(traffic());
    simulatedPort().pass(1900000);
    EXPECT_TRUE(traffic());
    simulatedPort().pass(200000);
    EXPECT_FALSE(traffic());
    passSeconds(60);
    EXPECT_FALSE(traffic());
}

TEST_F(InterfaceLines, Counters_AreTraced) {
    start();
    g_i_debugMode = eLOG_NETWORK_TRAFFIC;
    setCounters("100", "0");
    traffic();
    setCounters("150", "20");
    clearCapturedLog();
    traffic();
    // Each new value comes before its old one.
    const std::string start = "DEBUG: checkNetworkTxRx(): ";
    const std::vector<std::string> expectedLog = {
        start + "read 150 from " + m_statistics + "/tx_bytes",
        start + "read 20 from " + m_statistics + "/rx_bytes", start + "Both TX/RX are >0",
        start + "TX and/or RX have new values (OLD/NEW TX: 150/100, RX: 20/0), starting timer",
        start + "Timer is running"};
    EXPECT_EQ(capturedLog(), expectedLog);
    EXPECT_FALSE(checkNetworkTxRx("/tmp/class/net", true));
    EXPECT_EQ(logCount(start + "Stopping timer for testing"), 1u);
}

TEST_F(InterfaceLines, EitherCounter_ShowsTraffic) {
    start();
    setCounters("100", "200");
    traffic();
    passSeconds(3);
    setCounters("101", "200");
    EXPECT_TRUE(traffic());
    passSeconds(3);
    EXPECT_FALSE(traffic());
    setCounters("101", "201");
    EXPECT_TRUE(traffic());
}

TEST_F(InterfaceLines, CountersOfZero_AreNoTrafficAndAreRemembered) {
    start();
    setCounters("100", "200");
    traffic();
    passSeconds(3);
    // The interface went away and came back.
    std::filesystem::remove_all(m_statistics);
    EXPECT_FALSE(traffic());
    setCounters("0", "0");
    EXPECT_FALSE(traffic());
    setCounters("100", "200");
    EXPECT_TRUE(traffic());
}

TEST_F(InterfaceLines, CountersBeyondThirtyTwoBits_StillShowTraffic) {
    start();
    for (const char* value :
         {"2147483647", "2147483648", "4294967295", "4294967297", "9223372036854775807"}) {
        setCounters(value, "0");
        EXPECT_TRUE(traffic()) << value;
        passSeconds(3);
        EXPECT_FALSE(traffic()) << value;
    }
}

TEST_F(InterfaceLines, TextThatIsNoCounter_CountsAsZero) {
    start();
    for (const char* text : {"", "\n", "-5", "12x", "0x10", "1.5"}) {
        setCounters(text, text);
        EXPECT_FALSE(traffic()) << text;
    }
    setCounters(" 12 34 \n", "");
    EXPECT_TRUE(traffic());
}

TEST_F(InterfaceLines, EmptyInterfaceName_IsNoTrafficAndReadsNoCounter) {
    start();
    std::filesystem::create_directories("/tmp/class/net/statistics");
    writeFile("/tmp/class/net/statistics/tx_bytes", "100");
    g_S_options.s_interface = "";
    EXPECT_FALSE(traffic());
    g_S_options.s_interface = "wwan0";
    setCounters("100", "0");
    EXPECT_TRUE(traffic());
}
