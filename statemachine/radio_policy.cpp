#include "statemachine/radio_policy.h"

#include "atcmd/command.h"
#include "atcmd/identity.h"
#include "atcmd/packet_data.h"
#include "atcmd/radio_config.h"
#include "atcmd/sim_commands.h"
#include "include/device_records.h"

namespace {

constexpr int WS46_3G_4G = 31;
constexpr int WS46_2G_3G_4G = 25;
constexpr unsigned ALL_NET_BITS = NET_BIT_2G | NET_BIT_3G | NET_BIT_4G;

struct sTechRow {
    int ws46;
    const char* name;
};

const sTechRow TECHNOLOGIES[] = {
    {12, "2G"},   {22, "3G"},   {WS46_2G_3G_4G, "2G3G4G"}, {28, "4G"},
    {29, "2G3G"}, {30, "2G4G"}, {WS46_3G_4G, "3G4G"},
};

struct sNetSpeedRow {
    eNetPref preference;
    unsigned needed;
    int ws46;
    const char* notSupported;
};

// clang-format off
const sNetSpeedRow NET_SPEEDS[] = {
    {eNET_PREF_2G,    NET_BIT_2G,              12,         "2G"},
    {eNET_PREF_3G,    NET_BIT_3G,              22,         "3G"},
    {eNET_PREF_2G_3G, NET_BIT_2G | NET_BIT_3G, 29,         "2G/3G combo"},
    {eNET_PREF_4G,    NET_BIT_4G,              28,         "4G"},
    {eNET_PREF_2G_4G, NET_BIT_2G | NET_BIT_4G, 30,         "2G/4G combo"},
    {eNET_PREF_3G_4G, NET_BIT_3G | NET_BIT_4G, WS46_3G_4G, "3G/4G mode"},
};
// clang-format on

bool hasBits(unsigned bits, unsigned needed) {
    return (bits & needed) == needed;
}

int automaticNetSpeed(unsigned bits) {
    if (hasBits(bits, ALL_NET_BITS)) {
        debug(eLOG_NOTICE, g_i_debugMode, "Setting Network preference to 2G/3G/4G (auto)");
        return WS46_2G_3G_4G;
    }
    if (hasBits(bits, NET_BIT_3G | NET_BIT_4G)) {
        debug(eLOG_NOTICE, g_i_debugMode, "Setting Network preference to 3G/4G (auto)");
        return WS46_3G_4G;
    }
    if (bits == NET_BIT_4G)
        debug(eLOG_NOTICE, g_i_debugMode, "Device supports 4G only");
    else
        debug(eLOG_NOTICE, g_i_debugMode,
              "%s(): Device does not support 3G/4G or 2G/3G/4G (Auto Mode), cannot set network "
              "preference",
              "determineSupportedNetSpeed");
    return 0;
}

int requestedNetSpeed(const sNetSpeedRow& row, unsigned bits) {
    if (!hasBits(bits, row.needed)) {
        debug(eLOG_NOTICE, g_i_debugMode,
              "%s(): Device does not support %s, cannot set network preference",
              "determineSupportedNetSpeed", row.notSupported);
        return 0;
    }
    if (row.preference == eNET_PREF_3G_4G)
        debug(eLOG_NOTICE, g_i_debugMode, "Setting Network preference to 3G/4G (auto)");
    return row.ws46;
}

bool isSimRead(const sSimInfo& sim) {
    return sim.i_present == 1 && sim.s_imsi != IMSI_UNKNOWN;
}

// The image that the SIM needs, or why it is not known.
eGeneralErrors chooseFirmwareSlot(const sSimInfo& sim, int& slot) {
    if (sim.e_slot == eSIM_SLOT_UNKNOWN) return eERROR_DEVICE_FIRMWARE_WONT_SWITCH_INVALID_SIM_SLOT;
    if (!isSimRead(sim) || sim.i_lock_class != eSIM_READY) {
        debug(eLOG_NOTICE, g_i_debugMode,
              "Firmware Slot is Auto, but SIM is not present or not ready, cannot determine needed "
              "Firmware slot");
        return eERROR_DEVICE_FIRMWARE_SWITCH_SIM_NOT_READY;
    }
    slot = sim.b_verizon ? eFIRMWARE_SLOT_1 : eFIRMWARE_SLOT_0;
    debug(eLOG_NOTICE, g_i_debugMode,
          "Firmware Slot is Auto, SIM carrier is %s, setting FW Slot %d", sim.s_carrier.c_str(),
          slot);
    return eSUCCESS;
}

const std::string* apnOfSlot(const sConfigFileOpts& config, eSimSlot slot) {
    if (slot == eSIM_SLOT_1) return &config.apn;
    if (slot == eSIM_SLOT_2) return &config.apn2;
    return nullptr;
}

void afterApnSet(sConfigFileOpts& config, const std::string& apn) {
    constexpr uint32_t WRITE_ONCE = 1;
    debug(eLOG_NOTICE, g_i_debugMode, "Success setting APN '%s'", apn.c_str());
    if (config.apnDirective != WRITE_ONCE) return;
    debug(eLOG_NOTICE, g_i_debugMode,
          "Config APN directive is write-once, clearing APN from config buffer");
    config.apn.clear();
    config.apn2.clear();
}

}  // namespace

std::string decodeNetBits(unsigned bits) {
    if (bits == 0) return "Ignore";
    if (bits == NET_BITS_AUTO) return "AUTO";
    std::string text;
    if ((bits & NET_BIT_2G) != 0) text += "2G";
    if ((bits & NET_BIT_3G) != 0) text += "3G";
    if ((bits & NET_BIT_4G) != 0) text += "4G";
    return text;
}

std::string decodeCurrentTech(int ws46) {
    for (const sTechRow& row : TECHNOLOGIES)
        if (row.ws46 == ws46) return row.name;
    return NAME_UNKNOWN;
}

int determineSupportedNetSpeed(const sConfigFileOpts& config, const sDeviceInfo& device) {
    traceEntry(eLOG_POLICY, __func__);
    const unsigned bits = device.modem.i_supported_net_bits;
    for (const sNetSpeedRow& row : NET_SPEEDS)
        if (row.preference == config.netPref) return requestedNetSpeed(row, bits);
    if (config.netPref != eNET_PREF_IGNORE) return automaticNetSpeed(bits);
    debug(eLOG_NOTICE, g_i_debugMode, "%s(): Network speed config is set to ignore, nothing to do",
          __func__);
    return 0;
}

ePortReturn maybeSetNetworkSpeed(int port, const sConfigFileOpts& config, sDeviceInfo& device) {
    traceEntry(eLOG_POLICY, __func__);
    int current = 0;
    const ePortReturn result = getWS46(port, current);
    if (result == ePORT_NO_FINAL_RESULT) return result;
    if (current != 0) {
        device.modem.i_net_pref = current;
        device.modem.s_net_pref = decodeCurrentTech(current);
    }
    const int wanted = determineSupportedNetSpeed(config, device);
    if (wanted == 0) {
        debug(eLOG_NOTICE, g_i_debugMode, "%s(): No new network pref setting to change", __func__);
        return ePORT_OK;
    }
    debug(eLOG_NOTICE, g_i_debugMode, "%s(): Current setting: %d, new setting %d", __func__,
          current, wanted);
    if (wanted != current) return setWS46(port, wanted);
    debug(eLOG_NOTICE, g_i_debugMode, "Network preference already set to WS46=%d", current);
    return ePORT_OK;
}

void isFirmwareSimMismatched(sDeviceInfo& device) {
    const bool verizonFirmware = device.modem.e_firmware_carrier == eFIRMWARE_CARRIER_VERIZON;
    device.modem.b_firmware_sim_mismatch = device.sim.b_verizon != verizonFirmware;
}

eGeneralErrors maybeSwitchDeviceFirmware(int port, sDeviceInfo& device, eFirmwareSlot slot) {
    traceEntry(eLOG_POLICY, __func__);
    if (!device.modem.b_dual_firmware) {
        debug(eLOG_NOTICE, g_i_debugMode, "%s(): Dual firmware is not supported on this device",
              __func__);
        return eERROR_DEVICE_FIRMWARE_SWITCH_NOT_SUPPORTED;
    }
    if (slot == eFIRMWARE_SLOT_PREVIOUS_ERROR) {
        debug(eLOG_NOTICE, g_i_debugMode, "%s(): firmware_slot previous error switching", __func__);
        return eERROR_DEVICE_FIRMWARE_SWITCH_PREV_ERROR;
    }
    int wanted = slot;
    if (slot == eFIRMWARE_SLOT_AUTO) {
        const eGeneralErrors reason = chooseFirmwareSlot(device.sim, wanted);
        if (reason != eSUCCESS) return reason;
    }
    if (wanted == device.modem.i_firmware_slot) {
        debug(eLOG_NOTICE, g_i_debugMode, "Firmware slot is already set to %d", wanted);
        return eERROR_DEVICE_FIRMWARE_ALREADY_SET;
    }
    const eGeneralErrors result = mapPortResult(
        switchDeviceDualFirmware(port, device.modem, static_cast<signed char>(wanted)));
    if (result == eERROR_DEVICE_RESPONSE_ERROR)
        debug(eLOG_NOTICE, g_i_debugMode,
              "Error: Device Firmware switch to FW slot %d had an error", wanted);
    if (result != eSUCCESS) return result;
    debug(eLOG_NOTICE, g_i_debugMode, "Notice: Device Firmware switched, device should reset");
    return eERROR_DEVICE_FIRMWARE_SWITCH_SUCCESS;
}

eGeneralErrors setAPN(int port, sConfigFileOpts& config, const sSimInfo& sim) {
    traceEntry(eLOG_POLICY, __func__);
    const std::string* configured = apnOfSlot(config, sim.e_slot);
    if (configured == nullptr) {
        debug(eLOG_NOTICE, g_i_debugMode, "Notice: Current SIM slot unknown, not setting APN");
        return eERROR_DEVICE_RESPONSE_ERROR;
    }
    const std::string apn = *configured;
    if (apn.empty()) {
        debug(eLOG_NOTICE, g_i_debugMode, "Notice: APN is empty, nothing to set");
        return eSUCCESS;
    }
    // A context can be defined only while it is not active. If it is not active, the modem refuses
    // this.
    setCGACT(port, config.profileContext, false);
    const eGeneralErrors result = mapPortResult(
        setCGDCONT(port, config.profileContext, apn, static_cast<eIPvFamilyPref>(config.ipFamily)));
    if (result == eSUCCESS)
        afterApnSet(config, apn);
    else if (result == eERROR_DEVICE_RESPONSE_TIMEOUT)
        debug(eLOG_NOTICE, g_i_debugMode, "Timeout while setting APN '%s'", apn.c_str());
    else
        debug(eLOG_NOTICE, g_i_debugMode, "Error setting APN '%s', error %d (%s)", apn.c_str(),
              g_e_last_cmx_error, g_s_last_cmx_error.c_str());
    return result;
}

ePortReturn maybeSetUsernamePassword(int port, sConfigFileOpts& config) {
    traceEntry(eLOG_POLICY, __func__);
    if (config.authType == ePDP_AUTH_NOT_USED) {
        debug(eLOG_NOTICE, g_i_debugMode, "Not setting PDP auth type, not configured");
        return ePORT_OK;
    }
    if (config.authType == ePDP_AUTH_OFF) {
        config.username.clear();
        config.password.clear();
        debug(eLOG_NOTICE, g_i_debugMode,
              "PDP Auth settings are Off, clearing them for profile context %s",
              config.profileContext.c_str());
    } else {
        debug(eLOG_NOTICE, g_i_debugMode,
              "Setting PDP username '%s', password '%s', auth type '%d' for profile context %s",
              config.username.c_str(), config.password.c_str(), config.authType,
              config.profileContext.c_str());
    }
    return setPDPAUTH(port, config);
}

eGeneralErrors maybeSetNetworkOperator(int port, const sConfigFileOpts& config) {
    traceEntry(eLOG_POLICY, __func__);
    const ePortReturn result = setCOPS(port, config, eNET_OPERATOR_FROM_CONFIG);
    if (result == ePORT_NO_FINAL_RESULT)
        debug(eLOG_NOTICE, g_i_debugMode, "%s(): setCOPS() call timeout", __func__);
    else if (result == ePORT_ERROR)
        debug(eLOG_NOTICE, g_i_debugMode, "Error setting Network Operator Mode");
    else if (result == CME_WRONG_MODE)
        debug(eLOG_NOTICE, g_i_debugMode, "Unsupported Network Operator Mode given");
    else if (isPortError(result))
        debug(eLOG_NOTICE, g_i_debugMode, "CME Error setting Network Operator Mode");
    return mapPortResult(result);
}

eGeneralErrors maybeSwitchSimSlot(int port, sSimInfo& sim, const sConfigFileOpts& config) {
    traceEntry(eLOG_POLICY, __func__);
    if (config.simSlot == 0) {
        debug(eLOG_NOTICE, g_i_debugMode, "%s(): SIM Slot not set in config, ignoring", __func__);
        return eSUCCESS;
    }
    const eGeneralErrors queried = mapPortResult(getSimSlot(port, sim.e_slot));
    if (queried != eSUCCESS) return queried;
    if (sim.e_slot == config.simSlot) {
        debug(eLOG_POLICY, g_i_debugMode, "%s(): Current SIM Slot matches config (%d)", __func__,
              config.simSlot);
        return eSUCCESS;
    }
    if (sim.e_slot == eSIM_SLOT_UNKNOWN)
        debug(eLOG_NOTICE, g_i_debugMode,
              " Error: Could not determine current SIM slot, trying to switch to SIM Slot #%d",
              config.simSlot);
    const eGeneralErrors switched =
        mapPortResult(setSimSlot(port, static_cast<eSimSlot>(config.simSlot)));
    return switched == eSUCCESS ? eSUCCESS_DEVICE_UNLOCK : switched;
}
