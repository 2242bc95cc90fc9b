#include "statemachine/bring_up.h"

#include "atcmd/basic_commands.h"
#include "atcmd/catalogue.h"
#include "atcmd/identity.h"
#include "atcmd/operators.h"
#include "atcmd/packet_data.h"
#include "atcmd/radio_config.h"
#include "gps/gps.h"
#include "include/debug.h"
#include "include/device_records.h"
#include "sms/sms_mode.h"
#include "statemachine/bands.h"
#include "statemachine/carrier_list.h"
#include "statemachine/data_session.h"
#include "statemachine/modem_control.h"
#include "statemachine/polling.h"
#include "statemachine/radio_policy.h"
#include "statemachine/sim_query.h"
#include "statemachine/sim_status.h"
#include "statemachine/status_files.h"
#include "statemachine/status_led.h"

namespace {

struct sBringUpState {
    // getModemInfo failed: a Verizon image, which otherwise stays attached, must be detached once.
    bool setupModem_need_vzw_nw_detach = false;
};

sBringUpState g_bringUpState;

constexpr const char* VERIZON_CONTEXT = "3";

bool isVerizonImage(const sDeviceInfo& device) {
    return device.modem.e_firmware_carrier == eFIRMWARE_CARRIER_VERIZON;
}

eGeneralErrors identifyModel(int port, sModemInfo& modem) {
    const ePortReturn asked = getTelitModel(port, modem);
    // The answer of the test mode counts as an error too, so it is checked first.
    if (modem.e_model == eTELIT_MODEL_NOT_INITED) {
        notice("Error: Device is in TEST MODE, which must be turned off and the device reset");
        setTestMode(port, false);
        return eERROR_DEVICE_IN_TEST_MODE;
    }
    const eGeneralErrors result = mapPortResult(asked);
    if (result != eSUCCESS || modem.e_model != eTELIT_MODEL_UNKNOWN) return result;
    getTelitModel(port, modem);
    if (modem.e_model == eTELIT_MODEL_UNKNOWN)
        notice("Error: Cannot determine modem model number, iss device supported?");
    return eSUCCESS;
}

eGeneralErrors setupReportsAndLed(int port) {
    eGeneralErrors result = mapPortResult(setCmee(port));
    if (result != eSUCCESS) return result;
    notice("Setup device CMEE reporting");
    result = mapPortResult(setStatLedGpioEnable(port));
    if (result != eSUCCESS) return result;
    notice("Enabled STAT_LED GPIO");
    result = setStatusLed(port, eSTAT_LED_ACTION_NOT_REG, false);
    if (result == eERROR_DEVICE_RESPONSE_TIMEOUT || result == eERROR_DEVICE_RESPONSE_ERROR)
        return result;
    notice("Set STAT_LED NOT_REG");
    return eSUCCESS;
}

eGeneralErrors setupVerizon(int port, sDeviceInfo& device, sConfigFileOpts& config) {
    if (!isVerizonImage(device)) return eSUCCESS;
    if (config.profileContext != VERIZON_CONTEXT) {
        debug(eLOG_NOTICE, g_i_debugMode, "Forcing profile context to %s for Verizon",
              VERIZON_CONTEXT);
        config.profileContext = VERIZON_CONTEXT;
    }
    if (device.modem.e_model == eTELIT_MODEL_LE910_NA_V2) {
        debug(eLOG_NOTICE, g_i_debugMode, "Device %s/Verizon supports 4G only",
              device.modem.s_model.c_str());
        device.modem.i_supported_net_bits = NET_BIT_4G;
    }
    return setIMSPDPAPN(port) == ePORT_OK ? eSUCCESS : eERROR_DEVICE_NETWORK_NOT_IMS_REGISTERED;
}

eGeneralErrors setupSms(int port) {
    const ePortReturn result = setSmsMode(port, eSMS_MODE_PDU);
    const eGeneralErrors ended = mapPortResult(result, eSUCCESS);
    if (ended != eSUCCESS) return ended;
    notice(result == ePORT_OK
               ? "Setup device for SMS PDU mode"
               : "Error setting up device for SMS PDU mode, might not support this mode");
    return eSUCCESS;
}

eGeneralErrors detachOnce(int port, sDeviceInfo& device) {
    if (isVerizonImage(device) && !g_bringUpState.setupModem_need_vzw_nw_detach) return eSUCCESS;
    const eGeneralErrors result = packetDomainDetach(port, device);
    if (result != eSUCCESS) return result;
    notice("Detached from the network");
    g_bringUpState.setupModem_need_vzw_nw_detach = false;
    return eSUCCESS;
}

eGeneralErrors setupPsnt(int port) {
    const ePortReturn answer = setPsnt(port);
    const eGeneralErrors result = mapPortResult(answer);
    if (result == eSUCCESS)
        notice("Setup device PSNT reporting");
    else if (result == eERROR_DEVICE_RESPONSE_ERROR)
        debug(eLOG_NOTICE, g_i_debugMode, "Error setting device PSNT reporting (%d)", answer);
    return result;
}

eGeneralErrors setupAuthentication(int port, sConfigFileOpts& config) {
    const ePortReturn result = maybeSetUsernamePassword(port, config);
    const eGeneralErrors ended = mapPortResult(result, eSUCCESS);
    if (ended != eSUCCESS) return ended;
    if (result == ePORT_OK)
        notice("Set PDP username/password/auth");
    else
        debug(eLOG_NOTICE, g_i_debugMode,
              "Notice: Got an error setting PDP username/password/auth (%d)", result);
    return eSUCCESS;
}

eGeneralErrors setupNetworkSpeed(int port, sDeviceInfo& device, const sConfigFileOpts& config) {
    const ePortReturn result = maybeSetNetworkSpeed(port, config, device);
    const eGeneralErrors ended = mapPortResult(result, eSUCCESS);
    if (ended != eSUCCESS) return ended;
    if (result != ePORT_OK)
        debug(eLOG_NOTICE, g_i_debugMode,
              "Notice: Got an error setting network speed preference to %s (%d)",
              config.netPrefText.c_str(), result);
    else if (config.netPrefChanged)
        debug(eLOG_NOTICE, g_i_debugMode, "Set network speed preference to %s",
              config.netPrefText.c_str());
    return eSUCCESS;
}

// Only silence ends the sequence; a refusal is accepted.
eGeneralErrors onlyTimeout(eGeneralErrors result) {
    return result == eERROR_DEVICE_RESPONSE_TIMEOUT ? result : eSUCCESS;
}

eGeneralErrors setupContextAndRadio(int port, sDeviceInfo& device, sConfigFileOpts& config) {
    eGeneralErrors result = setAPN(port, config, device.sim);
    if (result == eSUCCESS) result = setupAuthentication(port, config);
    if (result == eSUCCESS) result = setupNetworkSpeed(port, device, config);
    if (result == eSUCCESS) result = onlyTimeout(maybeSetNetworkOperator(port, config));
    if (result == eSUCCESS) result = onlyTimeout(maybeSetBands(port, device.modem, config));
    return result;
}

eGeneralErrors readIdentity(int port, sModemInfo& modem) {
    eGeneralErrors result = mapPortResult(getModemManu(port, modem));
    if (result == eSUCCESS) result = mapPortResult(getDeviceFirmwareVersion(port, modem));
    if (result == eSUCCESS)
        result = mapPortResult(getDeviceFirmwareCfgVer(port, modem.s_firmware_cfg_version));
    if (result == eSUCCESS) result = mapPortResult(getDeviceDualFirmware(port, modem), eSUCCESS);
    if (result == eSUCCESS) result = mapPortResult(getDeviceFirmwareCarrier(port, modem));
    if (result == eSUCCESS) result = mapPortResult(getDeviceHardware(port, modem));
    return result;
}

eGeneralErrors switchSimSlot(int port, sSimInfo& sim, const sConfigFileOpts& config) {
    const eGeneralErrors result = maybeSwitchSimSlot(port, sim, config);
    if (result == eERROR_DEVICE_RESPONSE_TIMEOUT) {
        debug(eLOG_NOTICE, g_i_debugMode,
              "ERROR: Unable to switch SIM Slot to Slot #%d, command timeout", config.simSlot);
        return result;
    }
    if (result == eSUCCESS_DEVICE_UNLOCK) {
        debug(eLOG_NOTICE, g_i_debugMode, "Switched SIM Slot to Slot #%d", config.simSlot);
        waitModemReady(port);
        return result;
    }
    if (result == eERROR_DEVICE_RESPONSE_ERROR)
        debug(eLOG_NOTICE, g_i_debugMode,
              "ERROR: Unable to switch SIM Slot to Slot #%d, query error", config.simSlot);
    else
        debug(eLOG_STATE, g_i_debugMode, "%s() SIM Slot not changed", "getModemInfo");
    return eSUCCESS;
}

eGeneralErrors readOperators(int port) {
    const eGeneralErrors result = mapPortResult(getCarrierList(port));
    if (result == eSUCCESS) writeCarrierList(g_s_var_log_dir, false);
    return result;
}

eGeneralErrors chooseFirmware(int port, sDeviceInfo& device, const sConfigFileOpts& config) {
    isFirmwareSimMismatched(device);
    const eGeneralErrors result =
        maybeSwitchDeviceFirmware(port, device, static_cast<eFirmwareSlot>(config.firmwareSlot));
    if (result == eERROR_DEVICE_FIRMWARE_SWITCH_SUCCESS) return eERROR_DEVICE_SHOULD_RESET;
    return onlyTimeout(result);
}

eGeneralErrors enableGps(int port, sModemInfo& modem, const sConfigFileOpts& config) {
    const eGeneralErrors result = maybeEnableGps(port, config, modem);
    if (result == eERROR_DEVICE_RESPONSE_TIMEOUT || result == eERROR_DEVICE_REQUIRES_RESET)
        return result;
    debug(eLOG_NOTICE, g_i_debugMode, "%s(): maybeEnableGps() returned %s (%d)", "getModemInfo",
          mapText(GeneralError_Map, result).c_str(), result);
    return eSUCCESS;
}

// The steps that need a usable SIM.
eGeneralErrors readSimAndOperators(int port, sDeviceInfo& device, const sConfigFileOpts& config) {
    eGeneralErrors result = readOperators(port);
    if (result == eSUCCESS) result = mapPortResult(getDeviceSimInfo(port, device.sim));
    if (result == eSUCCESS) result = chooseFirmware(port, device, config);
    if (result == eSUCCESS) result = enableGps(port, device.modem, config);
    return result;
}

}  // namespace

void resetBringUpState() {
    g_bringUpState = {};
}

eGeneralErrors setupModem(int port, sDeviceInfo& device, sConfigFileOpts& config) {
    traceEntry(eLOG_STATE, __func__);
    eGeneralErrors result = identifyModel(port, device.modem);
    if (result != eSUCCESS) return result;
    result = setupReportsAndLed(port);
    if (result != eSUCCESS) return result;
    result = getModemInfo(port, device, config);
    if (result != eSUCCESS) {
        g_bringUpState.setupModem_need_vzw_nw_detach = true;
        return result;
    }
    result = setupVerizon(port, device, config);
    if (result != eSUCCESS) return result;
    result = setupSms(port);
    if (result != eSUCCESS) return result;

    result = getSimStatus(port, device.sim);
    if (result == eERROR_DEVICE_RESPONSE_TIMEOUT) return result;
    if (device.sim.i_lock_class != eSIM_READY || result == eSUCCESS_DEVICE_UNLOCK) return result;

    result = detachOnce(port, device);
    if (result != eSUCCESS) return result;
    result = setupPsnt(port);
    if (result != eSUCCESS) return result;
    return setupContextAndRadio(port, device, config);
}

eGeneralErrors getModemInfo(int port, sDeviceInfo& device, sConfigFileOpts& config) {
    traceEntry(eLOG_STATE, __func__);
    eGeneralErrors result = readIdentity(port, device.modem);
    if (result != eSUCCESS) return result;
    // Publish now, so that the identity is visible even if the SIM is not usable.
    writeOutStatusFiles(device, config, true);
    result = switchSimSlot(port, device.sim, config);
    if (result != eSUCCESS) return result;

    result = getSimStatus(port, device.sim);
    if (result == eERROR_DEVICE_RESPONSE_TIMEOUT) return result;
    if (device.sim.i_lock_class == eSIM_READY) {
        if (result == eSUCCESS_DEVICE_UNLOCK) return result;
        result = readSimAndOperators(port, device, config);
        if (result != eSUCCESS) return result;
    }
    return getModemPollInfo(port, device, config);
}
