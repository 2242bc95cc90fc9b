#include "atcmd/identity.h"

#include "atcmd/command.h"
#include "include/device_records.h"
#include "platform/include/text_helpers.h"

namespace {

struct sIdentityState {
    eTempLevel lastTempLevel = eTEMP_LEVEL_NORMAL;
};

sIdentityState g_identityState;

constexpr unsigned CFG_VERSION_TIMEOUT_S = 2;
constexpr size_t SHORTEST_MAKER_NAME = 4;

bool isLetter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

struct sModelRow {
    eTelitModel model;
    unsigned netBits;
    const char* technologies;
};

// The models that the response can name, in the order in which they are tried.
const sModelRow MODELS[] = {
    {eTELIT_MODEL_LE910_NA_V2, NET_BIT_3G | NET_BIT_4G, "3G/4G"},
    {eTELIT_MODEL_LE910_NA1, NET_BIT_3G | NET_BIT_4G, "3G/4G"},
    {eTELIT_MODEL_LE910_EU_V2, NET_BIT_2G | NET_BIT_3G | NET_BIT_4G, "2G/3G/4G"},
};

void setModel(sModemInfo& modem, eTelitModel model, unsigned netBits) {
    modem.e_model = model;
    modem.s_model = mapText(telitModelList_Map, model);
    modem.i_supported_net_bits = netBits;
}

bool takeModel(const std::string& line, sModemInfo& modem) {
    for (const sModelRow& row : MODELS) {
        if (line.find(mapText(telitModelList_Map, row.model)) == std::string::npos) continue;
        setModel(modem, row.model, row.netBits);
        debug(eLOG_AT_DETAIL, g_i_debugMode, "Device '%s' detected, supports %s",
              modem.s_model.c_str(), row.technologies);
        return true;
    }
    return false;
}

void setFirmwareCarrier(sModemInfo& modem, eFirmwareCarrier carrier, int slot) {
    modem.e_firmware_carrier = carrier;
    modem.s_firmware_carrier = mapText(telitCarrierFirmware_Map, carrier);
    modem.i_firmware_slot = slot;
    modem.b_verizon_firmware = carrier == eFIRMWARE_CARRIER_VERIZON;
}

// The image of a model that has only one.
eFirmwareCarrier carrierOfModel(eTelitModel model) {
    switch (model) {
        case eTELIT_MODEL_LE910_NA1:
        case eTELIT_MODEL_LE910_NA_V2:
            return eFIRMWARE_CARRIER_GENERIC_NA;
        case eTELIT_MODEL_LE910_SV_V2:
            return eFIRMWARE_CARRIER_VERIZON;
        case eTELIT_MODEL_LE910B4_NA:
            return eFIRMWARE_CARRIER_ATT;
        case eTELIT_MODEL_LE910_AU_V2:
            return eFIRMWARE_CARRIER_TELSTRA;
        case eTELIT_MODEL_LE910_EU_V2:
            return eFIRMWARE_CARRIER_GENERIC_EU;
        case eTELIT_MODEL_UNKNOWN:
        case eTELIT_MODEL_NOT_INITED:
        case eTELIT_MODEL_TELIT_UNKNOWN:
            return eFIRMWARE_CARRIER_UNKNOWN;
    }
    return eFIRMWARE_CARRIER_UNKNOWN;
}

void logTemperatureChange(const sModemInfo& modem) {
    if (modem.e_temp_level == g_identityState.lastTempLevel) return;
    debug(eLOG_NOTICE, g_i_debugMode, "Device temperature changed to '%d', warning level '%s'",
          modem.i_temperature_c, modem.s_temp_level.c_str());
    g_identityState.lastTempLevel = modem.e_temp_level;
}

}  // namespace

void resetIdentityState() {
    g_identityState = {};
}

ePortReturn getModemManu(int port, sModemInfo& modem) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    modem.s_manufacturer = NAME_UNKNOWN;
    modem.b_manufacturer_is_telit = false;
    return queryInto(port, commandText(eAT_CMD_ATI3), eParseCmx::NEVER, modem, parseModemManu);
}

// ATI3\r\r\nTelit\r\n\r\nOK\r\n
void parseModemManu(const std::string& response, sModemInfo& modem) {
    modem.s_manufacturer = NAME_UNKNOWN;
    modem.b_manufacturer_is_telit = false;
    for (const std::string& line : responseLines(response)) {
        if (!isLetter(line[0])) continue;
        if (line.find("Telit") != std::string::npos) {
            modem.b_manufacturer_is_telit = true;
            modem.s_manufacturer = "Telit";
            return;
        }
        const bool isEcho = line == commandText(eAT_CMD_ATI3);
        if (isEcho || line.size() < SHORTEST_MAKER_NAME) continue;
        modem.s_manufacturer = modemText(line);
        return;
    }
}

ePortReturn getTelitModel(int port, sModemInfo& modem) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    setModel(modem, eTELIT_MODEL_UNKNOWN, 0);
    std::string response;
    const ePortReturn result =
        queryModem(port, commandText(eAT_CMD_GMM), eParseCmx::NEVER, 0, &response);
    if (result != ePORT_OK) return result;
    parseTelitModel(response, modem);
    const bool isTestMode = modem.e_model == eTELIT_MODEL_UNKNOWN &&
                            stringLower(response).find("not inited") != std::string::npos;
    if (!isTestMode) return result;
    modem.e_model = eTELIT_MODEL_NOT_INITED;
    return ePORT_ERROR;
}

// LE910-NA V2
void parseTelitModel(const std::string& response, sModemInfo& modem) {
    for (const std::string& line : responseLines(response))
        if (takeModel(line, modem)) return;
}

ePortReturn getDeviceFirmwareVersion(int port, sModemInfo& modem) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    modem.s_firmware_version = FIRMWARE_VERSION_UNKNOWN;
    return queryInto(port, commandText(eAT_CMD_CGMR), eParseCmx::NEVER, modem,
                     parseDeviceFirmwareVersion);
}

// 20.00.402
void parseDeviceFirmwareVersion(const std::string& response, sModemInfo& modem) {
    for (const std::string& line : responseLines(response)) {
        if (!beginsWithDigit(line)) continue;
        modem.s_firmware_version = modemText(cleanWhiteSpace(line));
        return;
    }
}

ePortReturn getDeviceHardware(int port, sModemInfo& modem) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    modem.s_hardware = NAME_UNKNOWN;
    return queryInto(port, commandText(eAT_CMD_ATI5), eParseCmx::NEVER, modem, parseDeviceHardware);
}

// DOB 1.10
void parseDeviceHardware(const std::string& response, sModemInfo& modem) {
    if (response.find("DOB") == std::string::npos) return;
    modem.s_hardware = modemText(cleanBeginEndWhiteSpace(responseRest(response, "DOB")));
}

ePortReturn getDeviceIMEI(int port, sModemInfo& modem) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    modem.s_imei = IMEI_UNKNOWN;
    modem.s_serial_number = IMEI_UNKNOWN;
    return queryInto(port, commandText(eAT_CMD_CGSN), eParseCmx::NEVER, modem, parseDeviceIMEI);
}

// 353238060000001
void parseDeviceIMEI(const std::string& response, sModemInfo& modem) {
    for (const std::string& line : responseLines(response)) {
        const std::string number = cleanWhiteSpace(line);
        if (!isStringNumeric(number)) continue;
        modem.s_imei = modemText(number);
        modem.s_serial_number = modem.s_imei;
        return;
    }
}

ePortReturn getDeviceCNUM(int port, sModemInfo& modem) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    modem.s_own_number = OWN_NUMBER_UNKNOWN;
    modem.i_own_number_type = 0;
    return queryInto(port, commandText(eAT_CMD_CNUM), eParseCmx::NEVER, modem, parseDeviceCNUM);
}

// +CNUM: "name","15551230000",129     3GPP TS 27.007 section 7.1
//        0      1             2 type of number, 145 international
void parseDeviceCNUM(const std::string& response, sModemInfo& modem) {
    const tokenstr fields = responseFields(response, "+CNUM:");
    if (fields.size() < 3) return;
    modem.s_own_number_name = modemText(cleanCharsFromString(fields[0], "\""));
    const std::string number = cleanNonNumeric(fields[1]);
    modem.s_own_number = number.empty() ? OWN_NUMBER_UNKNOWN : modemText(number);
    modem.i_own_number_type = static_cast<uint16_t>(textToInt(cleanNonNumeric(fields[2])));
}

ePortReturn getDeviceTemperature(int port, sModemInfo& modem) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    modem.i_temperature_c = TEMPERATURE_UNKNOWN_C;
    modem.e_temp_level = eTEMP_LEVEL_UNKNOWN;
    modem.s_temp_level = mapText(telitTempLevel_Map, eTEMP_LEVEL_UNKNOWN);
    return queryInto(port, commandText(eAT_CMD_TEMPMON), eParseCmx::NEVER, modem,
                     parseDeviceTemperature);
}

// #TEMPMEAS: -1,-32
//            0  1 degrees Celsius
void parseDeviceTemperature(const std::string& response, sModemInfo& modem) {
    const tokenstr fields = responseFields(response, "#TEMPMEAS:");
    if (fields.size() < 2) return;
    if (isNumericValue(fields[0])) {
        modem.e_temp_level = static_cast<eTempLevel>(textToInt(fields[0]));
        modem.s_temp_level = mapText(telitTempLevel_Map, modem.e_temp_level);
    } else {
        debug(eLOG_AT_DETAIL, g_i_debugMode,
              "%s(): Error: Element '%%' for e_temp_level is not numeric", __func__);
    }
    if (isNumericValue(fields[1])) {
        modem.i_temperature_c = textToInt(fields[1]);
    } else {
        debug(eLOG_AT_DETAIL, g_i_debugMode,
              "%s(): Error: Element '%%' for i_temp_c is not numeric", __func__);
    }
    logTemperatureChange(modem);
}

ePortReturn getDeviceDualFirmware(int port, sModemInfo& modem) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    setFirmwareCarrier(modem, eFIRMWARE_CARRIER_UNKNOWN, eFIRMWARE_SLOT_AUTO);
    const ePortReturn result =
        queryModem(port, commandText(eAT_CMD_FWSWITCH_TEST), eParseCmx::NEVER);
    modem.b_dual_firmware = result == ePORT_OK;
    return isPortError(result) ? ePORT_OK : result;
}

ePortReturn getDeviceFirmwareCarrier(int port, sModemInfo& modem) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    setFirmwareCarrier(modem, eFIRMWARE_CARRIER_UNKNOWN, eFIRMWARE_SLOT_AUTO);
    if (!modem.b_dual_firmware) {
        setFirmwareCarrier(modem, carrierOfModel(modem.e_model), eFIRMWARE_SLOT_AUTO);
        return ePORT_OK;
    }
    std::string response;
    if (queryModem(port, commandText(eAT_CMD_FWSWITCH_GET), eParseCmx::NEVER, 0, &response) !=
        ePORT_OK)
        return ePORT_ERROR;
    parseDeviceFirmwareCarrier(response, modem);
    return ePORT_OK;
}

// #FWSWITCH: 1
void parseDeviceFirmwareCarrier(const std::string& response, sModemInfo& modem) {
    const std::string image = responseField(response, "#FWSWITCH:");
    if (image == "0")
        setFirmwareCarrier(modem, eFIRMWARE_CARRIER_GENERIC_NA, eFIRMWARE_SLOT_0);
    else if (image == "1")
        setFirmwareCarrier(modem, eFIRMWARE_CARRIER_VERIZON, eFIRMWARE_SLOT_1);
    else
        setFirmwareCarrier(modem, eFIRMWARE_CARRIER_UNKNOWN, eFIRMWARE_SLOT_AUTO);
}

ePortReturn switchDeviceDualFirmware(int port, sModemInfo& modem, signed char slot) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    if (!modem.b_dual_firmware) {
        debug(eLOG_NOTICE, g_i_debugMode,
              "%s(): Device does not support dual firmware, nothing to do", __func__);
        return ePORT_ERROR;
    }
    if (slot != eFIRMWARE_SLOT_0 && slot != eFIRMWARE_SLOT_1) {
        debug(eLOG_NOTICE, g_i_debugMode,
              "%s(): Device ony supports FW switching slot 0 and 1, given %d", __func__, slot);
        return ePORT_ERROR;
    }
    const ePortReturn result =
        queryModem(port, commandText(eAT_CMD_FWSWITCH_SET, itos(slot) + ",1"), eParseCmx::NEVER);
    if (result != ePORT_OK)
        debug(eLOG_NOTICE, g_i_debugMode, "%s(): Error: Failed to switch Firmware to slot %d",
              __func__, slot);
    return result;
}

ePortReturn getDeviceFirmwareCfgVer(const int& port, std::string& version) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    version = CFG_VERSION_UNKNOWN;
    const std::string command = commandText(eAT_CMD_CFVR);
    const ePortReturn result = queryInto(port, command, eParseCmx::ON_CMX_ERROR, version,
                                         parseFirmwareCfgVer, CFG_VERSION_TIMEOUT_S);
    logFailedCommand(__func__, command, result);
    return result;
}

// #CFVR: 1
void parseFirmwareCfgVer(const std::string& response, std::string& version) {
    version = CFG_VERSION_UNKNOWN;
    const std::string value = responseField(response, "#CFVR:");
    if (isNumericValue(value)) version = modemText(value);
}
