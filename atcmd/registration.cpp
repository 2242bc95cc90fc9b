#include "atcmd/registration.h"

#include "atcmd/command.h"
#include "include/device_records.h"
#include "platform/include/text_helpers.h"
#include "published/status_values.h"

namespace {

struct sRegistrationState {
    bool wasSearching = false;
};

sRegistrationState g_registrationState;

constexpr const char* REPORT_WITH_LOCATION = "2";

struct sRegistrationRow {
    int state;
    const char* text;
    const char* shortText;
    bool registered;
    bool searching;
};

const sRegistrationRow STATES[] = {
    {eREG_NOT_SEARCHING, "Not Registered, Not Searching", REGISTRATION_NONE, false, true},
    {eREG_HOME, "Registered, Home Network", REGISTRATION_HOME, true, false},
    {eREG_SEARCHING, "Not registered, Searching", REGISTRATION_SEARCHING, false, true},
    {eREG_DENIED, "Registration Denied", REGISTRATION_DENIED, false, false},
    {eREG_ROAMING, "Registered, Roaming", REGISTRATION_ROAMING, true, false},
};

const sRegistrationRow UNKNOWN_STATE = {eREG_UNKNOWN, NAME_UNKNOWN, NAME_UNKNOWN, false, false};

const sRegistrationRow& rowOfState(int state) {
    for (const sRegistrationRow& row : STATES)
        if (row.state == state) return row;
    return UNKNOWN_STATE;
}

// The fields of the answer. An unsolicited report with the same prefix can come before it, such as
// +CREG: 1 or +CREG: 1,"CE00","00005449"; it has no state in its second field.
tokenstr answerFields(const std::string& response, const std::string& prefix) {
    for (size_t at = response.find(prefix); at != std::string::npos;
         at = response.find(prefix, response.find('\n', at))) {
        tokenstr fields = splitFields(cleanWhiteSpace(responseRest(response, prefix, at)));
        if (isNumericValue(fields[1])) return fields;
    }
    return {};
}

// +CEREG: 2,1,"00AF","ABCDEF01",7
//         0 1 2      3          4   mode, state, area, cell, access technology
void parseRegistration(const std::string& response, const std::string& prefix,
                       sNetworkInfo& network) {
    const tokenstr fields = answerFields(response, prefix);
    if (fields.empty()) return;
    network.i_reg_mode = textToInt(fields[0]);
    network.i_reg_state = textToInt(fields[1]);
    if (fields.size() < 5) return;
    network.s_reg_area = unquotedText(fields[2]);
    network.s_reg_cell = unquotedText(fields[3]);
    network.s_reg_access_tech = modemText(fields[4]);
}

}  // namespace

void resetRegistrationState() {
    g_registrationState = {};
}

ePortReturn setCREG(int port) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    return queryModem(port, commandText(eAT_CMD_CREG_SET, REPORT_WITH_LOCATION), eParseCmx::NEVER);
}

ePortReturn setCEREG(int port) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    return queryModem(port, commandText(eAT_CMD_CEREG_SET, REPORT_WITH_LOCATION), eParseCmx::NEVER);
}

ePortReturn getCREG(int port, sNetworkInfo& network) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    return queryInto(port, commandText(eAT_CMD_CREG_GET), eParseCmx::NEVER, network, parseCREG);
}

void parseCREG(const std::string& response, sNetworkInfo& network) {
    parseRegistration(response, "+CREG:", network);
}

ePortReturn getCEREG(int port, sNetworkInfo& network) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    return queryInto(port, commandText(eAT_CMD_CEREG_GET), eParseCmx::NEVER, network, parseCEREG);
}

void parseCEREG(const std::string& response, sNetworkInfo& network) {
    parseRegistration(response, "+CEREG:", network);
}

ePortReturn getCIREG(int port, sNetworkInfo& network) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    network.b_ims_registered = false;
    return queryInto(port, commandText(eAT_CMD_CIREG_GET), eParseCmx::NEVER, network, parseCIREG);
}

// +CIREG: 0,1
void parseCIREG(const std::string& response, sNetworkInfo& network) {
    const tokenstr fields = answerFields(response, "+CIREG:");
    if (fields.size() == 2) network.b_ims_registered = textToInt(fields[1]) != 0;
}

bool isRegisteredState(int state) {
    return rowOfState(state).registered;
}

void updateNetworkRegistrationInfo(sNetworkInfo& network) {
    const sRegistrationRow& row = rowOfState(network.i_reg_state);
    network.b_registered = row.registered;
    network.s_registration = row.text;
    network.s_registration_short = row.shortText;

    if (network.i_reg_state != network.i_reg_previous_state) {
        // A modem that alternates between searching and not searching must not flood the log.
        const bool quiet = row.searching && g_registrationState.wasSearching;
        debug(quiet ? eLOG_AT_DETAIL : eLOG_NOTICE, g_i_debugMode,
              "Registration switched from '%s' to '%s'", network.s_previous_registration.c_str(),
              network.s_registration.c_str());
    }
    g_registrationState.wasSearching = row.searching;
    network.i_reg_previous_state = network.i_reg_state;
    network.s_previous_registration = network.s_registration;
}
