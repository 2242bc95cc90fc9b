#include "statemachine/data_session.h"

#include "atcmd/operators.h"
#include "atcmd/packet_data.h"
#include "atcmd/radio_config.h"
#include "include/address_text.h"
#include "include/debug.h"
#include "include/device_records.h"
#include "include/repeated_notices.h"
#include "platform/include/text_helpers.h"
#include "platform/include/tokenstr.h"
#include "published/status_values.h"
#include "statemachine/network_interface.h"
#include "statemachine/timers.h"

namespace {

struct sDataSessionState {
    std::string activeList;  // of startDataSession
    // The configured context was active once. Never cleared while the daemon runs: from then on a
    // start relies on the modem to keep the context, and only reads its addresses.
    bool pdpActive = false;
};

sDataSessionState g_sessionState;

constexpr unsigned NO_SERVICE_LOG_EVERY_S = 10;

eGeneralErrors attach(int port, sNetworkInfo& network) {
    eGeneralErrors result =
        mapPortResult(setCGATT(port, true), eERROR_DEVICE_NETWORK_ATTACH_FAILURE);
    if (result != eSUCCESS) return result;
    result = mapPortResult(getCGATT(port, network), eERROR_DEVICE_NETWORK_ATTACH_FAILURE);
    if (result != eSUCCESS) return result;
    return network.i_attached == 1 ? eSUCCESS : eERROR_DEVICE_NETWORK_NOT_ATTACHED;
}

eGeneralErrors readActiveContexts(int port, sNetworkInfo& network, const std::string& cid) {
    return mapPortResult(getCGACT(port, network.b_context_active, cid, g_sessionState.activeList),
                         eERROR_DEVICE_PDP_CONTEXT_ACTIVATE_FAILURE);
}

eGeneralErrors deactivateContext(int port, const std::string& cid) {
    debug(eLOG_NOTICE, g_i_debugMode, "%s(): Deactivating PDP context %s", "startDataSession",
          cid.c_str());
    const eGeneralErrors result =
        mapPortResult(setCGACT(port, cid, false), eERROR_DEVICE_PDP_CONTEXT_ACTIVATE_FAILURE);
    if (result == eERROR_DEVICE_PDP_CONTEXT_ACTIVATE_FAILURE)
        debug(eLOG_NOTICE, g_i_debugMode, "%s(): Deactivate PDP context %s failed with an ERROR",
              "startDataSession", cid.c_str());
    return result;
}

// Deactivates all contexts except the configured one. The Verizon image needs its own IMS context.
eGeneralErrors deactivateOtherContexts(int port, const sModemInfo& modem, const std::string& cid) {
    for (const std::string& token : tokenstr(g_sessionState.activeList, ',', eEmptyTokens::DROP)) {
        if (!isStringNumeric(token)) continue;
        if (token == cid) {
            debug(eLOG_POLICY, g_i_debugMode, "%s(): Skipping PDP context %s (in config)",
                  "startDataSession", token.c_str());
            g_sessionState.pdpActive = true;
            continue;
        }
        if (modem.e_firmware_carrier == eFIRMWARE_CARRIER_VERIZON) continue;
        const eGeneralErrors result = deactivateContext(port, token);
        if (result != eSUCCESS) return result;
    }
    return eSUCCESS;
}

eGeneralErrors activateContext(int port, sNetworkInfo& network, const std::string& cid) {
    if (g_sessionState.pdpActive) return eSUCCESS;
    debug(eLOG_NOTICE, g_i_debugMode, "%s(): PDP context %s not active, activating it now",
          "startDataSession", cid.c_str());
    eGeneralErrors result =
        mapPortResult(setCGACT(port, cid, true), eERROR_DEVICE_PDP_CONTEXT_ACTIVATE_FAILURE);
    if (result != eSUCCESS) return result;
    result = readActiveContexts(port, network, cid);
    if (result != eSUCCESS) return result;
    return network.b_context_active ? eSUCCESS : eERROR_DEVICE_PDP_CONTEXT_NOT_ACTIVE;
}

eGeneralErrors readAddresses(int port, sDeviceInfo& device, const std::string& cid) {
    resetPdpDynamicContent(device.network);
    const eGeneralErrors result =
        mapPortResult(getCGCONTRDP(port, device, cid), eERROR_DEVICE_GET_PDP_NETWORK_INFO_ERROR);
    if (result != eSUCCESS) return result;
    const bool none = device.network.pdp_dynamic[0].ePDP_ip_type == eIP_TYPE_NONE;
    return none ? eERROR_DEVICE_GET_PDP_NETWORK_INFO_NONE : eSUCCESS;
}

eGeneralErrors enterRawIp(int port, const std::string& cid) {
    const ePortReturn result = setCgdataMode(port, cid);
    if (result == ePORT_CONNECT) return eSUCCESS;
    const eGeneralErrors failure = mapPortResult(result, eERROR_DEVICE_RAW_DATA_SET_ERROR);
    return failure != eSUCCESS ? failure : eERROR_DEVICE_RAW_DATA_SET_NO_CONNECT;
}

bool dropConnection(sDeviceInfo& device) {
    device.s_connection_status = SESSION_DISCONNECTED;
    return false;
}

// A connected modem without registration: the session stays until the grace period is over.
bool isUnregisteredSessionGood(sDeviceInfo& device) {
    if (!g_C_checkRegTimer.IsTimerEnabled()) g_C_checkRegTimer.Start();
    if (!g_C_checkRegTimer.IsTimerDone()) {
        device.s_connection_status = SESSION_CONNECTED;
        return true;
    }
    g_C_checkRegTimer.Stop();
    debug(eLOG_NOTICE, g_i_debugMode, "Device no longer network registered");
    return dropConnection(device);
}

bool isAddressUnchanged(int port, const sDeviceInfo& device, const std::string& cid) {
    std::string address;
    getCGPADDR(port, cid, address);
    if (address == device.s_ipv4_address) return true;
    const cVaryingNumbers addresses;
    debug(eLOG_NOTICE, g_i_debugMode, "IPv4 address changed, restarting connection");
    debug(eLOG_NOTICE, g_i_debugMode, "%s():IPv4 address changed from '%s' to '%s'",
          "isDataConnectionGood", device.s_ipv4_address.c_str(), address.c_str());
    return false;
}

}  // namespace

void resetDataSessionState() {
    g_sessionState = {};
}

eGeneralErrors maybeStartDataSession(const int& port, sDeviceInfo& device,
                                     const sConfigFileOpts& config, cTimer& delayTimer) {
    traceEntry(eLOG_POLICY, __func__);
    if (delayTimer.IsTimerRunning()) {
        debug(eLOG_POLICY, g_i_debugMode, "%s(): Network Delay Timer running %u/%u", __func__,
              delayTimer.GetElapsedTime(), delayTimer.GetTimeout());
        return eERROR_DEVICE_NETWORK_DELAY_TIMER_RUNNING;
    }
    if (delayTimer.IsTimerEnabled()) {
        debug(eLOG_NOTICE, g_i_debugMode, "Network Delay Timer finished");
        delayTimer.Stop();
    }
    const eGeneralErrors result = startDataSession(port, device, config);
    device.e_last_connect_error = result;
    if (result == eSUCCESS) {
        delayTimer.Stop();
        return result;
    }
    debug(eLOG_NOTICE, g_i_debugMode,
          "Failed to start network connection, starting %u second Network Delay Timer",
          delayTimer.GetTimeout());
    delayTimer.Start();
    return result;
}

eGeneralErrors startDataSession(const int& port, sDeviceInfo& device,
                                const sConfigFileOpts& config) {
    traceEntry(eLOG_POLICY, __func__);
    const std::string& cid = config.profileContext;
    sNetworkInfo& network = device.network;
    eGeneralErrors result = packetDomainDetach(port, device);
    if (result == eSUCCESS) result = attach(port, network);
    if (result == eSUCCESS)
        result = mapPortResult(getCopsAct(port, network), eERROR_DEVICE_NETWORK_ATTACH_FAILURE);
    if (result == eSUCCESS)
        result = mapPortResult(setNcmMode(port, cid, true), eERROR_DEVICE_NMC_DATA_SET_ERROR);
    if (result == eSUCCESS) result = readActiveContexts(port, network, cid);
    if (result == eSUCCESS) result = deactivateOtherContexts(port, device.modem, cid);
    if (result == eSUCCESS) result = activateContext(port, network, cid);
    if (result == eSUCCESS) result = readAddresses(port, device, cid);
    if (result == eSUCCESS) result = enterRawIp(port, cid);
    if (result == eSUCCESS) result = setupNetwork(network, config);
    return result;
}

eGeneralErrors stopDataSession(int, sDeviceInfo&, const sConfigFileOpts&) {
    traceEntry(eLOG_POLICY, __func__);
    return eSUCCESS;
}

eGeneralErrors disconnectNetwork(int port, sDeviceInfo& device, sConfigFileOpts& config) {
    traceEntry(eLOG_POLICY, __func__);
    debug(eLOG_NOTICE, g_i_debugMode, "Disconnecting from network");
    const eGeneralErrors stopped = stopDataSession(port, device, config);
    if (stopped != eSUCCESS)
        debug(eLOG_NOTICE, g_i_debugMode, "%s(): Error: stopDataSession() returned '%d'", __func__,
              stopped);
    resetPdpDynamicContent(device.network);
    // Nobody must read that the link is up while it is being taken down.
    if (device.s_connection_status == SESSION_CONNECTED)
        device.s_connection_status = SESSION_DISCONNECTED;
    debug(eLOG_NOTICE, g_i_debugMode, "Clearing network interface IP info");
    return downNetworkInterface();
}

bool isDataConnectionGood(int port, sDeviceInfo& device, const sConfigFileOpts& config) {
    traceEntry(eLOG_POLICY, __func__);
    device.s_connection_status = NAME_UNKNOWN;
    if (!device.network.b_registered) return isUnregisteredSessionGood(device);
    g_C_checkRegTimer.Stop();

    // Only the flag counts; without an answer it stays false.
    std::string activeList;
    getCGACT(port, device.network.b_context_active, config.profileContext, activeList);
    if (!device.network.b_context_active) {
        debug(eLOG_NOTICE, g_i_debugMode, "Profile %s no longer connected",
              config.profileContext.c_str());
        return dropConnection(device);
    }
    const bool wantsIPv4 = (config.ipFamily & eIP_FAMILY_IPV4) != 0;
    if (wantsIPv4 && !isAddressUnchanged(port, device, config.profileContext))
        return dropConnection(device);
    device.s_connection_status = SESSION_CONNECTED;
    return true;
}

eGeneralErrors checkNoServiceTimer(const sDeviceInfo& device, cTimer& timer) {
    traceEntry(eLOG_POLICY, __func__);
    const sNetworkInfo& network = device.network;
    if (device.sim.i_lock_class != eSIM_READY || network.i_reg_state == eREG_DENIED) {
        timer.Stop();
        return eSUCCESS;
    }
    if (network.b_registered) {
        if (!timer.IsTimerEnabled()) return eSUCCESS;
        debug(eLOG_NOTICE, g_i_debugMode,
              "%s(): Device has Service, No Service timer is enabled, stopping timer", __func__);
        timer.Stop();
        return eSUCCESS;
    }
    debug(eLOG_POLICY, g_i_debugMode, "%s(): Device not network registered", __func__);
    if (!timer.IsTimerEnabled()) {
        debug(eLOG_NOTICE, g_i_debugMode, "%s(): Device has No Service, starting timer", __func__);
        timer.Start();
    } else if (timer.GetElapsedTime() % NO_SERVICE_LOG_EVERY_S == 0) {
        debug(eLOG_POLICY, g_i_debugMode, "%s(): No Service Timer running %u/%u seconds", __func__,
              timer.GetElapsedTime(), timer.GetTimeout());
    }
    if (!timer.IsTimerDone()) return eSUCCESS;
    debug(eLOG_NOTICE, g_i_debugMode, "Device has No Service after %u minutes, requires reset",
          timer.GetTimeout() / 60);
    timer.Stop();
    return eERROR_DEVICE_REQUIRES_RESET;
}

bool checkNetworkRegistration(const sDeviceInfo& device, const sConfigFileOpts& config) {
    traceEntry(eLOG_POLICY, __func__);
    if (!device.network.b_registered) {
        notice("Device not network registered");
        return false;
    }
    if (device.network.i_reg_state != eREG_ROAMING) {
        notice("Device is network registered");
        return true;
    }
    notice("Device is registered roaming");
    if (config.roamingAllowed) return true;
    notice("Device is registered roaming, but config roaming is disabled");
    return false;
}

eGeneralErrors networkDeregister(const int& port, const sConfigFileOpts& config) {
    traceEntry(eLOG_POLICY, __func__);
    return mapPortResult(setCOPS(port, config, eNET_OPERATOR_DEREGISTER), eSUCCESS);
}

eGeneralErrors packetDomainDetach(const int& port, sDeviceInfo& device) {
    traceEntry(eLOG_POLICY, __func__);
    const eGeneralErrors asked = mapPortResult(getCGATT(port, device.network), eSUCCESS);
    if (asked != eSUCCESS || device.network.i_attached != 1) return asked;
    return mapPortResult(setCGATT(port, false), eSUCCESS);
}
