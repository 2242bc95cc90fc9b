#include "tests/support/reply_parsers.h"

#include "atcmd/catalogue.h"
#include "atcmd/command.h"
#include "atcmd/identity.h"
#include "atcmd/operators.h"
#include "atcmd/packet_data.h"
#include "atcmd/radio_config.h"
#include "atcmd/radio_status.h"
#include "atcmd/registration.h"
#include "atcmd/sim_commands.h"
#include "include/device_records.h"
#include "platform/include/text_helpers.h"
#include "tests/support/record_bounds.h"

namespace {

constexpr const char* CONTEXT_ID = "1";
// Limit of the process's operator table, which parseCarrierList enforces.
constexpr size_t CARRIERS_MAX = 8192;

template <typename tRecord, void (*function)(const std::string&, tRecord&)>
const char* into(const std::string& response) {
    tRecord record;
    function(response, record);
    return wrongInRecord(record);
}

template <ePS_NET_TYPE type>
const char* networkStatus(const std::string& response) {
    sNetworkInfo network;
    network.e_psnt_service_type = type;
    parseModemNetworkStatus(response, network);
    return wrongInRecord(network);
}

// The network type comes from the preceding reply.
const char* networkTypeAndStatus(const std::string& response) {
    sNetworkInfo network;
    parseModemPsNetType(response, network);
    parseModemNetworkStatus(response, network);
    return wrongInRecord(network);
}

const char* registration(const std::string& response) {
    sNetworkInfo network;
    parseCREG(response, network);
    parseCEREG(response, network);
    updateNetworkRegistrationInfo(network);
    const bool registered = network.i_reg_state == eREG_HOME || network.i_reg_state == eREG_ROAMING;
    if (network.b_registered != registered) return "registered in a state that is not";
    return wrongInRecord(network);
}

const char* simImsi(const std::string& response) {
    sSimInfo sim;
    parseDeviceSimIMSI(response, sim);
    getCarrierFromImsi(sim);
    return wrongInRecord(sim);
}

const char* simPresent(const std::string& response) {
    sSimInfo sim;
    parseDeviceSimPresent(response, sim);
    return sim.i_present != 0 && sim.i_present != 1 ? "neither present nor missing" : nullptr;
}

const char* cpinState(const std::string& response) {
    const int state = parseCpinState(response);
    return state < -1 || state > 1 ? "PIN lock out of range" : nullptr;
}

const char* simSlot(const std::string& response) {
    switch (parseSimSlot(response)) {
        case eSIM_SLOT_UNKNOWN:
        case eSIM_SLOT_1:
        case eSIM_SLOT_2:
            return nullptr;
    }
    return "SIM slot out of range";
}

const char* activeContexts(const std::string& response) {
    bool active = false;
    std::string list;
    parseCGACT(response, active, CONTEXT_ID, list);
    const bool listed = ("," + list).find("," + std::string(CONTEXT_ID) + ",") != std::string::npos;
    if (active && !listed && list.size() + 1 < MODEM_TEXT_MAX) return "active, but not listed";
    return wrongInText(list);
}

const char* attached(const std::string& response) {
    sNetworkInfo network;
    parseCGATT(response, network);
    return network.i_attached < -1 || network.i_attached > 1 ? "attached out of range" : nullptr;
}

const char* contextAddress(const std::string& response) {
    return wrongInText(parseCGPADDR(CONTEXT_ID, response));
}

const char* contextList(const std::string& response) {
    sDeviceInfo device;
    parseCGDCONT(response, device, {});
    return wrongInRecord(device);
}

const char* dataMode(const std::string& response) {
    const bool connected = parseCgdataMode(response);
    return connected && cleanWhiteSpace(response).find("CONNECT") == std::string::npos
               ? "connected by nothing"
               : nullptr;
}

const char* carrierList(const std::string& response) {
    telitCarrier_list_Map.clear();
    parseCarrierList(response);
    if (telitCarrier_list_Map.size() > CARRIERS_MAX) return "too many operators";
    for (const auto& [plmn, name] : telitCarrier_list_Map) {
        if (const char* wrong = wrongInText(plmn)) return wrong;
        if (const char* wrong = wrongInText(name)) return wrong;
    }
    return nullptr;
}

const char* configVersion(const std::string& response) {
    std::string version;
    parseFirmwareCfgVer(response, version);
    return isNumericValue(version) || version.size() == MODEM_TEXT_MAX ? wrongInText(version)
                                                                       : "version not a number";
}

const char* netPreference(const std::string& response) {
    int value = 0;
    parseWS46(response, value);
    return nullptr;
}

// The text is used in a shell command.
const char* networkTime(const std::string& response) {
    const std::string text = parseCCLK(response);
    if (text.find_first_not_of("0123456789-/: ") != std::string::npos) return "not digits alone";
    constexpr size_t SIX_NUMBERS = 6 * 12;
    return text.size() > SIX_NUMBERS ? "time too long" : nullptr;
}

// A number is accepted only if the catalogue contains it.
const char* cmxError(const std::string& response) {
    ePortReturn result = ePORT_CMX_ERROR;
    parseCMXerror(result, response);
    if (result == ePORT_CMX_ERROR) return g_s_last_cmx_error.empty() ? nullptr : "text of no error";
    return CMEE_Map.count(result) == 0 ? "unknown number" : nullptr;
}

}  // namespace

const std::vector<sReplyParser>& replyParsers() {
    // clang-format off
    static const std::vector<sReplyParser> TABLE = {
        {"manufacturer", "ATI3\r\r\nTelit\r\n", into<sModemInfo, parseModemManu>},
        {"model", "\r\nLE910-NA V2\r\n", into<sModemInfo, parseTelitModel>},
        {"firmware version", "\r\n20.00.402\r\n", into<sModemInfo, parseDeviceFirmwareVersion>},
        {"hardware", "\r\nDOB 1.10\r\n", into<sModemInfo, parseDeviceHardware>},
        {"IMEI", "\r\n353238060000001\r\n", into<sModemInfo, parseDeviceIMEI>},
        {"own number", "\r\n+CNUM: \"name\",\"15551230000\",129\r\n", into<sModemInfo, parseDeviceCNUM>},
        {"temperature", "\r\n#TEMPMEAS: -1,-32\r\n", into<sModemInfo, parseDeviceTemperature>},
        {"firmware image", "\r\n#FWSWITCH: 1\r\n", into<sModemInfo, parseDeviceFirmwareCarrier>},
        {"configuration version", "\r\n#CFVR: 1\r\n", configVersion},
        {"registration", "\r\n+CEREG: 2,1,\"00AF\",\"ABCDEF01\",7\r\n", registration},
        {"IMS registration", "\r\n+CIREG: 0,1\r\n", into<sNetworkInfo, parseCIREG>},
        {"signal", "\r\n+CSQ: 18,99\r\n", into<sNetworkInfo, parseCSQ>},
        {"network type", "\r\n#PSNT: 0,2,1,0,1,1\r\n", into<sNetworkInfo, parseModemPsNetType>},
        {"type and status", "\r\n#PSNT: 0,4\r\n\r\n#RFSTS: \"310 410\",2225,-116,-86,-8,700D,1,,128,19,0,00001D7,\"310410000000002\",\"AT&T\",3,4\r\n", networkTypeAndStatus},
        {"LTE status", "\r\n#RFSTS: \"310 410\",2225,-116,-86,-8,700D,1,,128,19,0,00001D7,\"310410000000002\",\"AT&T\",3,4,720,54\r\n", networkStatus<ePS_NET_LTE>},
        {"WCDMA status", "\r\n#RFSTS: \"204 04\",,,,,,,,24,64,19,4,2,000,2DDBDAB,\"204040000000000\",\"vodafone NL\",1,1,10564,176,-1.5\r\n", networkStatus<ePS_NET_WCDMA>},
        {"GSM status", "\r\n#RFSTS:\"204 04\",1020,-63,00DE,FF,0,19,29,,C1AD,\"204040000000009\",\"vodafone NL(\",1,2\r\n", networkStatus<ePS_NET_GPRS>},
        {"operator", "\r\n+COPS: 1,2,\"310410\",7\r\n", into<sNetworkInfo, parseCopsAct>},
        {"operator list", "\r\n+COPN: \"310410\",\"AT&T\"\r\n+COPN: \"20404\",\"vodafone NL\"\r\n", carrierList},
        {"SIM present", "\r\n#QSS: 0,1\r\n", simPresent},
        {"SIM status", "\r\n+CPIN: SIM PIN\r\n\r\n#PCT: 3\r\n", into<sSimInfo, parseDeviceSimStatus>},
        {"IMSI", "\r\n310410000000002\r\n", simImsi},
        {"ICCID", "\r\n+CCID: 89010100000000000002\r\n", into<sSimInfo, parseDeviceSimId>},
        {"PIN lock", "\r\n+CLCK: 1\r\n", cpinState},
        {"SIM slot", "\r\n#GPIO: 1,1\r\n", simSlot},
        {"attached", "\r\n+CGATT: 1\r\n", attached},
        {"active contexts", "\r\n+CGACT: 1,1\r\n+CGACT: 2,1\r\n+CGACT: 3,0\r\n", activeContexts},
        {"address", "\r\n+CGPADDR: 1,\"10.20.30.40\"\r\n", contextAddress},
        {"assigned addresses", "\r\n+CGCONTRDP: 1,5,\"broadband\",\"10.20.30.40.255.255.255.252\",\"10.20.30.41\",\"10.0.0.1\",\"10.0.0.2\"\r\n", into<sDeviceInfo, parseCGCONTRDP>},
        {"data mode", "\r\nCONNECT\r\n", dataMode},
        {"context list", "\r\n+CGDCONT: 1,\"IP\",\"broadband\",\"\",0,0\r\n+CGDCONT: 3,\"IPV4V6\",\"vzwinternet\",\"0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0\",0,0,0,0\r\n", contextList},
        {"network preference", "\r\n+WS46: 28\r\n", netPreference},
        {"network time", "\r\n#CCLK: \"20/06/15,20:32:05-24,1\"\r\n", networkTime},
        {"modem error", "\r\n+CME ERROR: 10\r\n", cmxError},
    };
    // clang-format on
    return TABLE;
}
