#include "atcmd/radio_status.h"

#include <cstdlib>

#include "atcmd/command.h"
#include "include/device_records.h"
#include "platform/include/text_helpers.h"
#include "platform/include/tokenstr.h"

namespace {

constexpr int LTE_FIELDS = 16;
constexpr int LTE_TX_POWER = 7;
constexpr int LTE_CELL = 11;
constexpr int LTE_IMSI = 12;
constexpr int LTE_FIELDS_WITH_TIMERS = 18;
constexpr int WCDMA_FIELDS = 19;
constexpr int WCDMA_FIELDS_PER_CELL = 3;
constexpr int GSM_FIELDS = 14;
constexpr int PSNT_FIELDS_WITH_HSPA = 6;

struct sTextField {
    size_t index;
    std::string sNetworkInfo::*member;
};

// Fields that are stored unchanged.
const sTextField LTE_TEXTS[] = {
    {1, &sNetworkInfo::s_channel},  // EARFCN
    {2, &sNetworkInfo::s_rsrp},
    {3, &sNetworkInfo::s_rssi},
    {3, &sNetworkInfo::s_lte_rssi},
    {4, &sNetworkInfo::s_rsrq},
    {5, &sNetworkInfo::s_tac},
    {5, &sNetworkInfo::s_lac},
    {5, &sNetworkInfo::s_lac_tac},
    {6, &sNetworkInfo::s_rac},
    {LTE_TX_POWER, &sNetworkInfo::s_tx_power},
    {8, &sNetworkInfo::s_drx},
    {14, &sNetworkInfo::s_service_domain},
    {15, &sNetworkInfo::s_band},
};

const sTextField WCDMA_TEXTS[] = {
    {1, &sNetworkInfo::s_channel},  // UARFCN
    {2, &sNetworkInfo::s_psc},
    {3, &sNetworkInfo::s_ecio},
    {4, &sNetworkInfo::s_rscp},
    {5, &sNetworkInfo::s_rssi},
    {8, &sNetworkInfo::s_tx_power},
    {9, &sNetworkInfo::s_drx},
    {12, &sNetworkInfo::s_nom},
    {13, &sNetworkInfo::s_bler},
    {17, &sNetworkInfo::s_service_domain},
};

// Stored only if the modem knows them.
const sTextField WCDMA_OPTIONAL_TEXTS[] = {
    {6, &sNetworkInfo::s_lac},
    {6, &sNetworkInfo::s_lac_tac},
    {7, &sNetworkInfo::s_rac},
};

template <size_t count>
void storeTexts(const tokenstr& fields, const sTextField (&table)[count], sNetworkInfo& network) {
    for (const sTextField& row : table)
        network.*row.member = modemText(fields[row.index]);
}

// The fields that LTE and WCDMA lines have in common, from the mobility management state on.
void storeStatesAndCell(const tokenstr& fields, size_t mm, size_t cell, sNetworkInfo& network) {
    network.i_mm = textToInt(fields[mm]);
    network.s_mm = modemText(fields[mm]);
    network.i_rrc = textToInt(fields[mm + 1]);
    network.s_rrc = modemText(fields[mm + 1]);
    network.s_cell_id_hex = modemText(cleanCharsFromString(fields[cell], "\""));
    network.s_cell_id = stringHexToStringDecimal(network.s_cell_id_hex);
    network.s_imsi = modemText(cleanNonNumeric(fields[cell + 1]));
    network.s_network_name = modemText(cleanCharsFromString(fields[cell + 2], "\""));
}

bool isQuotedNumber(const std::string& field) {
    const std::string text = cleanBeginEndWhiteSpace(field);
    return text.size() > 2 && text.front() == '"' && text.back() == '"' &&
           isStringNumeric(text.substr(1, text.size() - 2));
}

// Newer modules of the family (LE910C1) write one field for RAC and transmit power, so all later
// fields are one place earlier, and they add SINR at the end:
// "286 01",1795,-101,-67,-15,2242,,128,3,1,0B5D121,"286010000000008","Turkcell",3,3,108
//  0       1    2    3   4   5    6 7  8 9 10       11                12        13 14 15
// Only the place of the IMSI distinguishes the two forms.
bool lacksTransmitPower(const tokenstr& fields) {
    return isQuotedNumber(fields[LTE_IMSI - 1]) && !isQuotedNumber(fields[LTE_IMSI]);
}

tokenstr withTransmitPower(const tokenstr& fields) {
    std::vector<std::string> moved(fields.begin(), fields.end());
    moved.insert(moved.begin() + LTE_TX_POWER, "");
    moved.resize(LTE_FIELDS);
    return tokenstr(std::move(moved));
}

void storeLteFields(const tokenstr& fields, sNetworkInfo& network) {
    parsePlmn(fields[0], network);
    storeTexts(fields, LTE_TEXTS, network);
    storeStatesAndCell(fields, 9, LTE_CELL, network);
    if (fields.size() < LTE_FIELDS_WITH_TIMERS) return;
    network.i_t3402 = textToInt(fields[16]);
    network.i_t3412 = textToInt(fields[17]);
}

void storeActiveSet(const tokenstr& fields, sNetworkInfo& network) {
    const int count = network.i_active_set_reported;
    if (count < 1 || count > static_cast<int>(ACTIVE_SET_MAX)) return;
    if (static_cast<int>(fields.size()) != WCDMA_FIELDS + WCDMA_FIELDS_PER_CELL * count) return;
    network.i_active_set_count = static_cast<size_t>(count);
    for (size_t i = 0; i < network.i_active_set_count; ++i) {
        const size_t first = WCDMA_FIELDS + WCDMA_FIELDS_PER_CELL * i;
        sActiveSetCell& cell = network.active_set[i];
        cell.i_uarfcn = textToInt(fields[first]);
        cell.i_psc = textToInt(fields[first + 1]);
        cell.f_ecio = strtod(fields[first + 2].c_str(), nullptr);
    }
}

void logShortLine(const char* function, int expected, const char* orHigher, const char* whence,
                  size_t found, const std::string& line) {
    debug(eLOG_NOTICE, g_i_debugMode,
          "%s(): Error: Did not find the expected number of tokens. Expected %d%s, found %d "
          "from %s'%s'",
          function, expected, orHigher, static_cast<int>(found), whence, line.c_str());
}

void storeHspa(const tokenstr& fields, const char* function, sNetworkInfo& network) {
    struct sHspaRow {
        const char* name;
        int sNetworkInfo::*member;
    };
    static const sHspaRow ROWS[] = {
        {"i_psnt_is_hsupa_available", &sNetworkInfo::i_psnt_is_hsupa_available},
        {"i_psnt_is_hsupa_used", &sNetworkInfo::i_psnt_is_hsupa_used},
        {"i_psnt_is_hsdpa_available", &sNetworkInfo::i_psnt_is_hsdpa_available},
        {"i_psnt_is_hsdpa_used", &sNetworkInfo::i_psnt_is_hsdpa_used},
    };
    size_t index = 2;
    for (const sHspaRow& row : ROWS) {
        network.*row.member = textToInt(fields[index++]);
        debug(eLOG_RADIO_DETAIL, g_i_debugMode, "%s(): %s set to '%d'", function, row.name,
              network.*row.member);
    }
}

}  // namespace

ePortReturn getCSQ(int port, sNetworkInfo& network) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    network.i_rssi = SIGNAL_UNKNOWN;
    network.i_ber = SIGNAL_UNKNOWN;
    return queryInto(port, commandText(eAT_CMD_CSQ), eParseCmx::NEVER, network, parseCSQ);
}

// +CSQ: 17,0
void parseCSQ(const std::string& response, sNetworkInfo& network) {
    const tokenstr fields = responseFields(response, "+CSQ:");
    if (fields.size() != 2) return;
    network.i_rssi = static_cast<int8_t>(textToInt(fields[0]));
    network.i_ber = static_cast<int8_t>(textToInt(fields[1]));
}

ePortReturn getModemNetworkInfo(int port, sNetworkInfo& network) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    resetNetworkInfo(network);
    if (!network.b_registered && network.i_reg_state != eREG_DENIED) return ePORT_OK;
    std::string response;
    const ePortReturn result =
        queryModem(port, commandText(eAT_CMD_PSNT_RFSTS_GET), eParseCmx::NEVER, 0, &response);
    if (result != ePORT_OK) return result;
    parseModemPsNetType(response, network);
    parseModemNetworkStatus(response, network);
    return result;
}

// #PSNT: 0,4
// #PSNT: 0,2,1,0,1,1
//        0 1 2 3 4 5   mode, type, HSUPA available and used, HSDPA available and used
void parseModemPsNetType(const std::string& response, sNetworkInfo& network) {
    resetPsntInfo(network);
    const std::string text = responseRest(response, "#PSNT:");
    if (text.empty()) return;
    debug(eLOG_RADIO_DETAIL, g_i_debugMode, "%s(): Match '%s' from '%s'", __func__, text.c_str(),
          response.c_str());
    const std::string line = cleanWhiteSpace(text);
    const tokenstr fields = splitFields(line);
    if (fields.size() == 1) logShortLine(__func__, 2, "+", "text ", fields.size(), line);
    if (fields.size() < 2) return;
    network.e_psnt_service_type = static_cast<ePS_NET_TYPE>(textToInt(fields[1]));
    network.s_psnt_service_type = mapText(telitNetType_Map, network.e_psnt_service_type);
    debug(eLOG_RADIO_DETAIL, g_i_debugMode, "%s(): e_psnt_service_type set to '%d'", __func__,
          network.e_psnt_service_type);
    debug(eLOG_RADIO_DETAIL, g_i_debugMode, "%s(): s_psnt_service_type set to '%s'", __func__,
          network.s_psnt_service_type.c_str());
    if (fields.size() >= PSNT_FIELDS_WITH_HSPA) storeHspa(fields, __func__, network);
}

void parseModemNetworkStatus(const std::string& response, sNetworkInfo& network) {
    if (network.e_psnt_service_type == ePS_NET_UNKNOWN) return;
    const std::string text = responseRest(response, "#RFSTS:");
    debug(eLOG_RADIO_DETAIL, g_i_debugMode, "%s(): Match '%s' from '%s'", __func__, text.c_str(),
          response.c_str());
    // The PLMN contains a blank, so only the ends are trimmed.
    const std::string line = cleanBeginEndWhiteSpace(text);
    switch (static_cast<int>(network.e_psnt_service_type)) {
        case ePS_NET_GPRS:
        case ePS_NET_EGPRS:
            return parseGsmNetworkStatus(line, network);
        case ePS_NET_WCDMA:
        case ePS_NET_HSDPA:
            return parseWcdmaNetworkStatus(line, network);
        case ePS_NET_LTE:
            return parseLteNetworkStatus(line, network);
        default:  // a number that the modem sent
            debug(eLOG_NOTICE, g_i_debugMode, "%s(): Error: Unknown Network Technology type '%d'",
                  __func__, network.e_psnt_service_type);
    }
}

// "310 410",2225,-116,-86,-8,700D,1,,128,19,0,00001D7,"310410000000002","AT&T",3,4
//  0 PLMN   1    2    3   4  5    6 7 8  9  10 11     12 IMSI          13     14 15
// 1 EARFCN, 2 RSRP dBm, 3 RSSI dBm, 4 RSRQ dB, 5 TAC, 6 RAC, 7 TX power, 8 DRX, 9 MM, 10 RRC,
// 11 cell, 13 network, 14 service domain, 15 band, 16 T3402, 17 T3412
void parseLteNetworkStatus(const std::string& line, sNetworkInfo& network) {
    const tokenstr fields = splitFields(line);
    if (fields.size() < LTE_FIELDS)
        return logShortLine(__func__, LTE_FIELDS, " or higher", "", fields.size(), line);
    if (lacksTransmitPower(fields))
        storeLteFields(withTransmitPower(fields), network);
    else
        storeLteFields(fields, network);
}

// "204 04",10564,176,-1.5,-64,-62,00AF,FF,-19,64,19, 4, 2,000,2DDBDAB,"204040000000000","x", 3, 1
//  0       1     2   3    4   5   6    7  8   9  10 11 12 13  14       15                16 17 18
// 0 PLMN, 1 UARFCN, 2 PSC, 3 Ec/Io, 4 RSCP, 5 RSSI, 6 LAC, 7 RAC, 8 TX power, 9 DRX, 10 MM, 11 RRC,
// 12 NOM, 13 BLER, 14 cell, 15 IMSI, 16 network, 17 service domain, 18 number of active-set cells,
// then channel, scrambling code and Ec/Io of each
void parseWcdmaNetworkStatus(const std::string& line, sNetworkInfo& network) {
    const tokenstr fields = splitFields(line);
    if (fields.size() < WCDMA_FIELDS)
        return logShortLine(__func__, WCDMA_FIELDS, " or higher", "", fields.size(), line);
    parsePlmn(fields[0], network);
    storeTexts(fields, WCDMA_TEXTS, network);
    for (const sTextField& row : WCDMA_OPTIONAL_TEXTS)
        if (!fields[row.index].empty()) network.*row.member = modemText(fields[row.index]);
    storeStatesAndCell(fields, 10, 14, network);
    network.i_active_set_reported = textToInt(fields[18]);
    storeActiveSet(fields, network);
}

void parseGsmNetworkStatus(const std::string& line, sNetworkInfo&) {
    const tokenstr fields = splitFields(line);
    if (fields.size() < GSM_FIELDS)
        logShortLine(__func__, GSM_FIELDS, "+", "", fields.size(), line);
}

void parsePlmn(const std::string& text, sNetworkInfo& network) {
    const tokenstr codes(text, ' ', eEmptyTokens::DROP);
    if (codes.size() != 2) return;
    network.s_mcc = modemText(cleanNonNumeric(codes[0]));
    network.s_mnc = modemText(cleanNonNumeric(codes[1]));
    network.s_plmn = modemText(network.s_mcc + network.s_mnc);
}
