#include "statemachine/network_interface.h"

#include "include/address_text.h"
#include "include/debug.h"
#include "include/device_records.h"
#include "include/options.h"
#include "include/repeated_notices.h"
#include "include/shell.h"
#include "include/utilities.h"
#include "platform/include/text_helpers.h"
#include "statemachine/timers.h"

const std::string g_s_sys_class_net = "/sys/class/net";
const std::string g_s_file_tx_bytes_end = "/statistics/tx_bytes";
const std::string g_s_file_rx_bytes_end = "/statistics/rx_bytes";

namespace {

constexpr unsigned TRAFFIC_S = 2;
constexpr size_t COUNTER_FILE_MAX = 100;

struct sNetworkInterfaceState {
    cTimer trafficTimer{0, TRAFFIC_S};
    int lastTx = 0;
    int lastRx = 0;
};

sNetworkInterfaceState g_interfaceState;

// Addresses come from the network and go into a shell command. The utilities accept an address that
// is followed by a blank and other text, so it is checked again here.
bool isAddressText(const std::string& text) {
    return text.find_first_not_of("0123456789ABCDEFabcdef.:") == std::string::npos;
}

bool hasUsableAddresses(const sPdpDynamicParams& context) {
    if (context.ePDP_ip_type == eIP_TYPE_NONE) return true;
    for (const std::string* text : {&context.s_ipaddr, &context.s_mask, &context.s_gateway,
                                    &context.s_dns_prim_addr, &context.s_dns_sec_addr}) {
        if (isAddressText(*text)) continue;
        debug(eLOG_ERROR, g_i_debugMode,
              "Error: The network gave '%s' as an address, not setting up the interface",
              blankControlCharacters(*text).c_str());
        return false;
    }
    return true;
}

bool isInterfaceUsable() {
    if (isInterfaceName(g_S_options.s_interface)) return true;
    debug(eLOG_ERROR, g_i_debugMode, "Error: '%s' is not an interface name",
          g_S_options.s_interface.c_str());
    return false;
}

std::string dnsOptions(const sPdpDynamicParams& context, const char* unset) {
    std::string options;
    for (const std::string* server : {&context.s_dns_prim_addr, &context.s_dns_sec_addr})
        if (*server != unset) options += " --dns " + *server;
    return options;
}

std::string contextOptions(const sPdpDynamicParams& context, bool useDns) {
    if (context.ePDP_ip_type == eIP_TYPE_IPV4) {
        const std::string address = " --address " + context.s_ipaddr + " --netmask " +
                                    context.s_mask + " --gateway " + context.s_gateway;
        return useDns ? address + dnsOptions(context, "0.0.0.0") : address;
    }
    // The script obtains IPv6 addresses by itself.
    if (context.ePDP_ip_type == eIP_TYPE_IPV6 && useDns) return dnsOptions(context, "::");
    return "";
}

std::string upCommand(const sNetworkInfo& network, const sConfigFileOpts& config) {
    std::string command = "setup_cellint.sh -i " + g_S_options.s_interface + " --up ";
    if (g_i_debugMode != 0) command += " --debug ";
    if (config.ptpInterface) command += " --ptp ";
    if (config.defaultRoute) command += " --defaultroute ";
    command += " -m " + itos(config.mtu);
    for (size_t i = 0; i < PDP_DYNAMIC_USED; ++i)
        command += contextOptions(network.pdp_dynamic[i], config.useDns);
    if ((config.ipFamily & eIP_FAMILY_IPV6) != 0) command += " --ipv6auto ";
    if (config.ipFamily == eIP_FAMILY_IPV6) command += " --ipv6only ";
    return command + " &>/dev/null";
}

int readCounter(const std::string& path) {
    std::string text;
    if (!readFile2String(path, text, COUNTER_FILE_MAX) || text.empty()) return 0;
    debug(eLOG_NETWORK_TRAFFIC, g_i_debugMode, "checkNetworkTxRx(): read %s from %s", text.c_str(),
          path.c_str());
    const std::string number = cleanWhiteSpace(text);
    // Only the low 32 bits: the value then also changes beyond 2 GiB on every processor.
    return isStringNumeric(number) ? static_cast<int>(textToLong(number)) : 0;
}

// A session that keeps failing may have another address each time.
void logCommand(const std::string& command) {
    const cVaryingNumbers addresses;
    debug(eLOG_NOTICE, g_i_debugMode, "Running command '%s'", command.c_str());
}

}  // namespace

void resetNetworkInterfaceState() {
    g_interfaceState = {};
}

eGeneralErrors setupNetwork(const sNetworkInfo& network, const sConfigFileOpts& config) {
    traceEntry(eLOG_POLICY, __func__);
    return upNetworkInterface(network, config);
}

eGeneralErrors upNetworkInterface(const sNetworkInfo& network, const sConfigFileOpts& config) {
    traceEntry(eLOG_POLICY, __func__);
    if (!isInterfaceUsable()) return eERROR_DEVICE_NETWORK_SETUP_FAILURE;
    for (size_t i = 0; i < PDP_DYNAMIC_USED; ++i)
        if (!hasUsableAddresses(network.pdp_dynamic[i])) return eERROR_DEVICE_NETWORK_SETUP_FAILURE;

    const std::string command = upCommand(network, config);
    logCommand(command);
    if (runShellCommand(command) != 0) {
        debug(eLOG_NOTICE, g_i_debugMode, "FAILED Setting up interface IP info");
        return eERROR_DEVICE_NETWORK_SETUP_FAILURE;
    }
    debug(eLOG_NOTICE, g_i_debugMode, "SUCCESS Setting up interface IP info");
    return eSUCCESS;
}

eGeneralErrors downNetworkInterface() {
    traceEntry(eLOG_POLICY, __func__);
    if (!isInterfaceUsable()) return eERROR_DEVICE_NETWORK_TEARDOWN_FAILURE;
    const std::string command =
        "setup_cellint.sh -i " + g_S_options.s_interface + " --down " + " &>/dev/null";
    return runShellCommand(command) == 0 ? eSUCCESS : eERROR_DEVICE_NETWORK_TEARDOWN_FAILURE;
}

void networkKeepAlive() {
    if (!g_C_networkKeepAliveTimer.IsTimerEnabled()) g_C_networkKeepAliveTimer.Start();
    debug(eLOG_NETWORK_TRAFFIC, g_i_debugMode, "%s(): Timer count %u", __func__,
          g_C_networkKeepAliveTimer.GetElapsedTime());
    if (!g_C_networkKeepAliveTimer.IsTimerDone() || !isInterfaceUsable()) return;
    // Any address works: a packet must leave through the modem.
    const std::string command =
        "ping -c 1 -I " + g_S_options.s_interface + " " + "1.2.3.4" + " &>/dev/null &";
    debug(eLOG_NETWORK_TRAFFIC, g_i_debugMode, "%s(): running command '%s'", __func__,
          command.c_str());
    runShellCommand(command);
    g_C_networkKeepAliveTimer.Start();
}

bool checkNetworkTxRx(const std::string& directory, bool testing) {
    if (!isInterfaceName(g_S_options.s_interface)) return false;
    sNetworkInterfaceState& state = g_interfaceState;
    if (testing) {
        debug(eLOG_NETWORK_TRAFFIC, g_i_debugMode, "%s(): Stopping timer for testing", __func__);
        state.trafficTimer.Stop();
    }
    const std::string folder = directory + "/" + g_S_options.s_interface;
    const int tx = readCounter(folder + g_s_file_tx_bytes_end);
    const int rx = readCounter(folder + g_s_file_rx_bytes_end);
    if (tx != 0 || rx != 0) {
        debug(eLOG_NETWORK_TRAFFIC, g_i_debugMode, "%s(): Both TX/RX are >0", __func__);
        if (tx != state.lastTx || rx != state.lastRx) {
            debug(eLOG_NETWORK_TRAFFIC, g_i_debugMode,
                  "%s(): TX and/or RX have new values (OLD/NEW TX: %d/%d, RX: %d/%d), starting "
                  "timer",
                  __func__, tx, state.lastTx, rx, state.lastRx);
            state.trafficTimer.Start();
        }
    }
    const bool traffic = state.trafficTimer.IsTimerRunning();
    if (traffic) debug(eLOG_NETWORK_TRAFFIC, g_i_debugMode, "%s(): Timer is running", __func__);
    state.lastTx = tx;
    state.lastRx = rx;
    return traffic;
}
