#include "atcmd/operators.h"

#include "atcmd/command.h"
#include "include/device_records.h"
#include "platform/include/text_helpers.h"

namespace {

constexpr unsigned OPERATOR_LIST_TIMEOUT_S = 10;
// Several times as long as the longest list of a modem.
constexpr size_t OPERATOR_LIST_MAX = 8192;

// A blank inside the quotes belongs to the name.
std::string trimmedThenUnquoted(const std::string& text) {
    return modemText(cleanCharsFromString(cleanBeginEndWhiteSpace(text), "\""));
}

}  // namespace

ePortReturn getCopsAct(int port, sNetworkInfo& network) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    network.i_cops_mode = -1;
    network.s_operator = NAME_UNKNOWN;
    network.e_cops_act = eCOPS_ACT_UNKNOWN;
    network.s_cops_act = mapText(telitCopsAct_Map, eCOPS_ACT_UNKNOWN);
    return queryInto(port, commandText(eAT_CMD_COPS_GET), eParseCmx::ON_FAILURE, network,
                     parseCopsAct);
}

// +COPS: 1,2,"310410",7
//        0 1 2        3   mode, format, operator, access technology
void parseCopsAct(const std::string& response, sNetworkInfo& network) {
    const tokenstr fields = splitFields(cleanBeginEndWhiteSpace(responseRest(response, "+COPS:")));
    if (beginsWithDigit(fields[0])) network.i_cops_mode = textToInt(fields[0]);
    if (fields.size() > 2) network.s_operator = unquotedText(fields[2]);
    if (fields.size() < 4) return;
    const auto technology = static_cast<eCOPS_ACCESS_TECH>(textToInt(cleanWhiteSpace(fields[3])));
    if (telitCopsAct_Map.count(technology) == 0) return;
    network.e_cops_act = technology;
    network.s_cops_act = mapText(telitCopsAct_Map, technology);
}

ePortReturn getCarrierList(int port) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    if (!telitCarrier_list_Map.empty()) return ePORT_OK;
    std::string response;
    const ePortReturn result = queryModem(port, commandText(eAT_CMD_COPN), eParseCmx::NEVER,
                                          OPERATOR_LIST_TIMEOUT_S, &response);
    if (result == ePORT_OK) parseCarrierList(response);
    return result;
}

// +COPN: "310410","AT&T"
void parseCarrierList(const std::string& response) {
    for (const std::string& rest : responseLinesAfter(response, "+COPN:")) {
        if (telitCarrier_list_Map.size() >= OPERATOR_LIST_MAX) return;
        const tokenstr fields = splitFields(cleanBeginEndWhiteSpace(rest));
        if (fields.size() != 2) continue;
        const std::string plmn = trimmedThenUnquoted(fields[0]);
        const std::string name = trimmedThenUnquoted(fields[1]);
        debug(eLOG_AT_DETAIL, g_i_debugMode, "%s() adding telitCarrier_list_Map[%s]='%s'",
              "getCarrierList", plmn.c_str(), name.c_str());
        telitCarrier_list_Map[plmn] = name;
    }
}

std::string getCarrierFromPLMN(const std::string& plmn) {
    if (plmn.empty()) {
        debug(eLOG_AT_DETAIL, g_i_debugMode, "%s(): Passed PLMN is empty", __func__);
        return NAME_UNKNOWN;
    }
    if (!isStringNumeric(plmn)) {
        debug(eLOG_AT_DETAIL, g_i_debugMode, "%s(): Passed PLMN '%s' is not a number string",
              __func__, plmn.c_str());
        return NAME_UNKNOWN;
    }
    const auto carrier = telitCarrier_list_Map.find(plmn);
    if (carrier == telitCarrier_list_Map.end()) return NAME_UNKNOWN;
    debug(eLOG_AT_DETAIL, g_i_debugMode, "%s(): Found match %s->%s", __func__, plmn.c_str(),
          carrier->second.c_str());
    return carrier->second;
}
