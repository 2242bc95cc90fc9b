#include "atcmd/packet_data.h"

#include "atcmd/command.h"
#include "include/address_text.h"
#include "include/device_records.h"
#include "platform/include/text_helpers.h"

namespace {

constexpr unsigned ATTACH_TIMEOUT_S = 15;
constexpr unsigned ACTIVATE_TIMEOUT_S = 5;
constexpr const char* RAW_IP_LAYER = "\"M-RAW_IP\",";
constexpr const char* IMS_APN = "vzwims";

std::string onOff(bool on) {
    return on ? "1" : "0";
}

void logValue(const char* name, const std::string& value) {
    debug(eLOG_ADDRESS_DETAIL, g_i_debugMode, "parseCGCONTRDP() %s=%s", name, value.c_str());
}

void storeContextIds(const tokenstr& fields, sPdpDynamicParams& context) {
    context.i_p_cid = static_cast<uint8_t>(textToInt(unquotedText(fields[0])));
    logValue("i_p_cid", itos(context.i_p_cid));
    context.i_p_bearer_id = static_cast<uint8_t>(textToInt(unquotedText(fields[1])));
    logValue("i_p_bearer_id", itos(context.i_p_bearer_id));
    context.s_apn = unquotedText(fields[2]);
    logValue("s_apn", context.s_apn);
}

void storeAddress(const std::string& field, sPdpDynamicParams& context, std::string& ipv4Address) {
    context.ePDP_ip_type = parseIpMaskDotted(unquotedText(field), context.s_ipaddr, context.s_mask);
    if (context.ePDP_ip_type == eIP_TYPE_NONE) return;
    logValue("ePDP_ip_type", itos(context.ePDP_ip_type));
    logValue("s_ipaddr", context.s_ipaddr);
    logValue("s_mask", context.s_mask);
    // +CGPADDR too answers the first address of a context, so a second one must not replace it.
    if (context.ePDP_ip_type == eIP_TYPE_IPV4 && ipv4Address.empty())
        ipv4Address = context.s_ipaddr;
}

struct sServerField {
    size_t index;
    const char* name;
    std::string sPdpDynamicParams::*member;
    bool dotted;  // to be converted into an ordinary address
};

const sServerField SERVER_FIELDS[] = {
    {4, "s_gateway", &sPdpDynamicParams::s_gateway, true},
    {5, "s_dns_prim_addr", &sPdpDynamicParams::s_dns_prim_addr, true},
    {6, "s_dns_sec_addr", &sPdpDynamicParams::s_dns_sec_addr, true},
    {7, "s_pcscf_prim_addr", &sPdpDynamicParams::s_pcscf_prim_addr, false},
    {8, "s_pcscf_sec_addr", &sPdpDynamicParams::s_pcscf_sec_addr, false},
};

void storeServers(const tokenstr& fields, sPdpDynamicParams& context) {
    for (const sServerField& row : SERVER_FIELDS) {
        if (fields.size() <= row.index) return;
        const std::string text = unquotedText(fields[row.index]);
        if (row.dotted)
            decodeIpFormatFromDotted(text, context.*row.member);
        else
            context.*row.member = text;
        logValue(row.name, context.*row.member);
    }
}

const char* familyText(eIPvFamilyPref family) {
    if (family == eIP_FAMILY_IPV4) return "IPV4";
    if (family == eIP_FAMILY_IPV6) return "IPV6";
    return "IPV4V6";
}

}  // namespace

ePortReturn getCGATT(int port, sNetworkInfo& network) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    network.i_attached = -1;
    return queryInto(port, commandText(eAT_CMD_CGATT_GET), eParseCmx::ON_FAILURE, network,
                     parseCGATT);
}

// +CGATT: 1
void parseCGATT(const std::string& response, sNetworkInfo& network) {
    const std::string state = responseField(response, "+CGATT:");
    network.i_attached = state == "1" ? 1 : state == "0" ? 0 : -1;
}

ePortReturn setCGATT(const int& port, const bool& attach) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    return queryModem(port, commandText(eAT_CMD_CGATT_SET, onOff(attach)), eParseCmx::NEVER,
                      ATTACH_TIMEOUT_S);
}

ePortReturn getCGACT(int port, bool& active, const std::string& cid, std::string& activeList) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    active = false;
    activeList.clear();
    std::string response;
    const ePortReturn result =
        queryModem(port, commandText(eAT_CMD_CGACT_GET), eParseCmx::ON_FAILURE, 0, &response);
    if (result == ePORT_OK) parseCGACT(response, active, cid, activeList);
    return result;
}

// +CGACT: 1,1
// +CGACT: 3,0
void parseCGACT(const std::string& response, bool& active, const std::string& cid,
                std::string& activeList) {
    active = false;
    activeList.clear();
    for (const std::string& rest : responseLinesAfter(response, "+CGACT:")) {
        const tokenstr fields = splitFields(cleanWhiteSpace(rest));
        if (fields.size() != 2) continue;
        const bool isActive = fields[1] == "1";
        const char* state = isActive ? "active" : "not active";
        if (isActive && activeList.size() + fields[0].size() < MODEM_TEXT_MAX)
            activeList += fields[0] + ",";
        if (fields[0] == cid) {
            active = isActive;
            debug(eLOG_RADIO_DETAIL, g_i_debugMode,
                  "%s(): Found CGACT: Configured Context Profile '%s' is '%s' (%d),  ", __func__,
                  cid.c_str(), state, active);
        } else {
            debug(eLOG_RADIO_DETAIL, g_i_debugMode,
                  "%s(): Found CGACT: Other (not configured) Context Profile '%s' is '%s',  ",
                  __func__, fields[0].c_str(), state);
        }
    }
}

ePortReturn setCGACT(int port, const std::string& cid, bool activate) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    return queryModem(port, commandText(eAT_CMD_CGACT_SET, onOff(activate) + "," + cid),
                      eParseCmx::ALWAYS, ACTIVATE_TIMEOUT_S);
}

ePortReturn getCGPADDR(int port, const std::string& cid, std::string& address) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    std::string response;
    const ePortReturn result = queryModem(port, commandText(eAT_CMD_CGPADDR_SET, cid),
                                          eParseCmx::ON_FAILURE, 0, &response);
    if (result == ePORT_OK) address = parseCGPADDR(cid, response);
    return result;
}

// +CGPADDR: 1,"10.20.30.40"
std::string parseCGPADDR(const std::string& cid, const std::string& response) {
    for (const std::string& rest : responseLinesAfter(response, "+CGPADDR:")) {
        debug(eLOG_ADDRESS_DETAIL, g_i_debugMode, "%s(): Found needle '%s'", __func__, "+CGPADDR:");
        const tokenstr fields = splitFields(cleanCharsFromString(cleanWhiteSpace(rest), "\""));
        if (fields.size() < 2 || fields[0] != cid) continue;
        std::string address = modemText(fields[1]);
        debug(eLOG_ADDRESS_DETAIL, g_i_debugMode, "%s(): PDP number match '%s', Current IP '%s'",
              __func__, cid.c_str(), address.c_str());
        return address;
    }
    return "";
}

ePortReturn getCGCONTRDP(int port, sDeviceInfo& device, const std::string& cid) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    resetPdpDynamicContent(device.network);
    device.s_ipv4_address.clear();
    std::string response;
    const ePortReturn result = queryModem(port, commandText(eAT_CMD_CGCONTRDP_SET, cid),
                                          eParseCmx::ON_FAILURE, 0, &response);
    if (result == ePORT_OK) parseCGCONTRDP(response, device);
    return result;
}

// +CGCONTRDP: 1,5,"broadband","10.20.30.40.255.255.255.252","10.20.30.41","10.0.0.1","10.0.0.2"
//             0 1 2           3 address and mask            4 gateway     5, 6 DNS, 7, 8 P-CSCF
// 0 context, 1 bearer. Some modems write the values without quotes; any may be empty.
void parseCGCONTRDP(const std::string& response, sDeviceInfo& device) {
    size_t index = 0;
    for (const std::string& rest : responseLinesAfter(response, "+CGCONTRDP:")) {
        if (index >= PDP_DYNAMIC_MAX) return;
        const tokenstr fields = splitFields(rest);
        sPdpDynamicParams& context = device.network.pdp_dynamic[index++];
        if (fields.size() > 2) storeContextIds(fields, context);
        if (fields.size() > 3) storeAddress(fields[3], context, device.s_ipv4_address);
        storeServers(fields, context);
    }
}

ePortReturn setNcmMode(int port, const std::string& cid, bool enable) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    return queryModem(port, commandText(eAT_CMD_NCM_SET, onOff(enable) + "," + cid),
                      eParseCmx::ALWAYS);
}

ePortReturn setCgdataMode(int port, const std::string& cid) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    std::string response;
    const ePortReturn result = queryModem(port, commandText(eAT_CMD_CGDATA_SET, RAW_IP_LAYER + cid),
                                          eParseCmx::ALWAYS, 0, &response);
    // Modems of the family send nothing after CONNECT, so the wait for a final code times out.
    const bool mayHoldConnect = result == ePORT_OK || result == ePORT_NO_FINAL_RESULT;
    return mayHoldConnect && parseCgdataMode(response) ? ePORT_CONNECT : result;
}

bool parseCgdataMode(const std::string& response) {
    for (const std::string& line : responseLines(response))
        if (cleanWhiteSpace(line) == "CONNECT") return true;
    return false;
}

ePortReturn getCGDCONT(int port, sDeviceInfo& device, const sConfigFileOpts& config) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    resetModemApnList(device.modem);
    std::string response;
    const ePortReturn result =
        queryModem(port, commandText(eAT_CMD_CGDCONT_GET), eParseCmx::NEVER, 0, &response);
    if (result == ePORT_OK) parseCGDCONT(response, device, config);
    return result;
}

// +CGDCONT: 1,"IP","broadband","",0,0
void parseCGDCONT(const std::string& response, sDeviceInfo& device, const sConfigFileOpts& config) {
    for (const std::string& rest : responseLinesAfter(response, "+CGDCONT:")) {
        const tokenstr fields = splitFields(rest);
        if (fields.size() < 6) continue;
        if (device.modem.i_context_count >= CONTEXT_LIST_MAX) return;
        sContextList& entry = device.modem.context_list[device.modem.i_context_count++];
        entry = {unquotedText(fields[0]), unquotedText(fields[1]), unquotedText(fields[2]),
                 unquotedText(fields[3]), unquotedText(fields[4]), unquotedText(fields[5])};
        debug(eLOG_RADIO_DETAIL, g_i_debugMode, "%s() adding CID %s, APN %s to list", __func__,
              entry.s_cid.c_str(), entry.s_apn.c_str());
        if (entry.s_cid == config.profileContext) device.modem.s_apn = entry.s_apn;
    }
}

ePortReturn setCGDCONT(int port, const std::string& cid, const std::string& apn,
                       eIPvFamilyPref family) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    const std::string command =
        commandText(eAT_CMD_CGDCONT_SET,
                    cid + "," + doubleQuoted(familyText(family)) + "," + doubleQuoted(apn));
    const ePortReturn result = queryModem(port, command, eParseCmx::ON_REFUSAL);
    if (result == ePORT_OK)
        debug(eLOG_AT_DETAIL, g_i_debugMode, "Success setting APN with cmd '%s'", command.c_str());
    else if (result == ePORT_NO_FINAL_RESULT)
        debug(eLOG_NOTICE, g_i_debugMode, "Timeout while setting APN with cmd '%s'",
              command.c_str());
    else
        debug(eLOG_NOTICE, g_i_debugMode, "%s(): Command '%s' reported CME_ERROR", __func__,
              command.c_str());
    return result;
}

ePortReturn setPDPAUTH(int port, const sConfigFileOpts& config) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    return queryModem(
        port,
        commandText(eAT_CMD_PDPAUTH_SET, config.profileContext + "," + itos(config.authType) + "," +
                                             config.username + "," + config.password),
        eParseCmx::ALWAYS);
}

ePortReturn setIMSPDPAPN(int port) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    return queryModem(port, commandText(eAT_CMD_IMSPDPSET_SET, IMS_APN), eParseCmx::ALWAYS);
}
