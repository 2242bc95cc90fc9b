#include "atcmd/sim_commands.h"

#include "atcmd/command.h"
#include "atcmd/operators.h"
#include "include/device_records.h"
#include "platform/include/text_helpers.h"
#include "published/status_values.h"

namespace {

constexpr int LOCK_CODE_UNKNOWN = 255;
constexpr uint8_t PIN_ATTEMPTS_FULL = 3;
constexpr uint8_t PUK_ATTEMPTS_FULL = 10;
constexpr unsigned SLOT_QUERY_TIMEOUT_S = 2;
constexpr unsigned SLOT_SWITCH_TIMEOUT_S = 10;
constexpr const char* SIM_LOCK_FACILITY = "\"SC\",";

struct sCpinRow {
    const char* text;
    int lockClass;
    int lockCode;
    const char* status;
};

// clang-format off
const sCpinRow CPIN_TEXTS[] = {
    {"READY",         eSIM_READY,        0,  SIM_STATUS_AVAILABLE},
    {"SIM PIN",       eSIM_PIN_REQUIRED, 3,  SIM_STATUS_PIN_LOCKED},
    {"SIM PUK",       eSIM_PUK_REQUIRED, 5,  SIM_STATUS_PUK_LOCKED},
    {"PH-SIM PIN",    eSIM_PIN_REQUIRED, 8,  "Phone-to-SIM First SIM PIN"},
    {"PH-FSIM PIN",   eSIM_PIN_REQUIRED, 10, "Phone-to-very First SIM PIN"},
    {"PH-FSIM PUK",   eSIM_PUK_REQUIRED, 11, "Phone-to-very First SIM PUK"},
    {"SIM PIN2",      eSIM_PIN_REQUIRED, 4,  "PIN2 Locked"},
    {"SIM PUK2",      eSIM_PUK_REQUIRED, 6,  "PUK2 Locked"},
    {"PH-NET PIN",    eSIM_PIN_REQUIRED, 12, "Network Personalization PIN"},
    {"PH-NET PUK",    eSIM_PUK_REQUIRED, 13, "Network Personalization PUK"},
    {"PH-NETSUB PIN", eSIM_PIN_REQUIRED, 14, "Network Subnet Personalization PIN"},
    {"PH-NETSUB PUK", eSIM_PUK_REQUIRED, 15, "Network Subnet Personalization PUK"},
    {"PH-SP PIN",     eSIM_PIN_REQUIRED, 16, "Service Provider PIN"},
    {"PH-SP PUK",     eSIM_PUK_REQUIRED, 17, "Service Provider PUK"},
    {"PH-CORP PIN",   eSIM_PIN_REQUIRED, 18, "Corp Personalization PIN"},
    {"PH-CORP PUK",   eSIM_PUK_REQUIRED, 19, "Corp Personalization PUK"},
};
// clang-format on

void setLock(sSimInfo& sim, int lockClass, int lockCode, const std::string& status) {
    sim.i_lock_class = lockClass;
    sim.i_lock_code = lockCode;
    sim.s_status = status;
}

// remaining: attempts for the PIN or the PUK, whichever the SIM waits for.
void setAttempts(sSimInfo& sim, uint8_t remaining) {
    switch (sim.i_lock_class) {
        case eSIM_READY:
        case eSIM_PIN_REQUIRED:
            sim.i_pin_attempts = remaining;
            sim.i_puk_attempts = PUK_ATTEMPTS_FULL;
            break;
        case eSIM_PUK_REQUIRED:
            sim.i_pin_attempts = 0;
            sim.i_puk_attempts = remaining;
            break;
        default:
            sim.i_pin_attempts = ATTEMPTS_UNKNOWN;
            sim.i_puk_attempts = ATTEMPTS_UNKNOWN;
    }
}

}  // namespace

ePortReturn getDeviceSimPresent(int port, sSimInfo& sim) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    sim.i_present = 0;
    sim.i_qss_mode = -1;
    const ePortReturn result = queryInto(port, commandText(eAT_CMD_QSS_GET), eParseCmx::ON_FAILURE,
                                         sim, parseDeviceSimPresent);
    if (result == ePORT_OK && sim.i_present != 1)
        setLock(sim, eSIM_MISSING, 2, SIM_STATUS_NOT_PRESENT);
    return result;
}

// #QSS: 0,1
//       0 report mode, 1 SIM inserted
// Modems that report more states answer 2 or 3 for an inserted SIM; only 1 counts here.
void parseDeviceSimPresent(const std::string& response, sSimInfo& sim) {
    const tokenstr fields = responseFields(response, "#QSS:");
    if (fields.size() != 2) return;
    sim.i_qss_mode = static_cast<int8_t>(textToInt(fields[0]));
    sim.i_present = fields[1] == "1" ? 1 : 0;
}

ePortReturn getDeviceSimStatus(int port, sSimInfo& sim) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    if (sim.i_present != 1) return ePORT_OK;
    setLock(sim, eSIM_LOCK_UNKNOWN, LOCK_CODE_UNKNOWN, NAME_UNKNOWN);
    sim.i_pin_attempts = ATTEMPTS_UNKNOWN;
    sim.i_puk_attempts = ATTEMPTS_UNKNOWN;
    sim.b_attempts_read = false;
    return queryInto(port, commandText(eAT_CMD_CPIN_PCT_GET), eParseCmx::ON_FAILURE, sim,
                     parseDeviceSimStatus);
}

// +CPIN: SIM PIN
// #PCT: 3
void parseDeviceSimStatus(const std::string& response, sSimInfo& sim) {
    const std::string text = cleanBeginEndWhiteSpace(responseRest(response, "+CPIN:"));
    if (!text.empty()) decodeSimCpinText(stringUpper(text), sim);
    sim.i_pin_attempts = PIN_ATTEMPTS_FULL;
    sim.i_puk_attempts = PUK_ATTEMPTS_FULL;
    const std::string remaining = responseField(response, "#PCT:");
    sim.b_attempts_read = isStringNumeric(remaining);
    if (sim.b_attempts_read) setAttempts(sim, static_cast<uint8_t>(textToInt(remaining)));
}

void decodeSimCpinText(const std::string& text, sSimInfo& sim) {
    for (const sCpinRow& row : CPIN_TEXTS)
        if (text == row.text) return setLock(sim, row.lockClass, row.lockCode, row.status);
    int lock = eSIM_LOCK_UNKNOWN;
    if (text.find("PIN") != std::string::npos)
        lock = eSIM_PIN_REQUIRED;
    else if (text.find("PUK") != std::string::npos)
        lock = eSIM_PUK_REQUIRED;
    setLock(sim, lock, lock, modemText(text));
}

ePortReturn getDeviceSimIMSI(int port, sSimInfo& sim) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    sim.s_imsi = IMSI_UNKNOWN;
    sim.s_home_plmn = PLMN_UNKNOWN;
    sim.s_carrier = NAME_UNKNOWN;
    std::string response;
    const ePortReturn result =
        queryModem(port, commandText(eAT_CMD_CIMI), eParseCmx::ON_FAILURE, 0, &response);
    if (result != ePORT_OK) return result;
    parseDeviceSimIMSI(response, sim);
    getCarrierFromImsi(sim);
    return result;
}

// 310410000000002
void parseDeviceSimIMSI(const std::string& response, sSimInfo& sim) {
    for (const std::string& line : responseLines(response)) {
        if (!beginsWithDigit(line)) continue;
        sim.s_imsi = modemText(cleanWhiteSpace(line));
        return;
    }
}

void getCarrierFromImsi(sSimInfo& sim) {
    // Six digits first, so that a network code of three digits wins over one of two.
    for (const size_t digits : {6, 5}) {
        sim.s_home_plmn = sim.s_imsi.substr(0, digits);
        sim.s_carrier = getCarrierFromPLMN(sim.s_home_plmn);
        if (sim.s_carrier != NAME_UNKNOWN) return;
    }
    sim.s_home_plmn = PLMN_UNKNOWN;
}

ePortReturn getDeviceSimId(int port, sSimInfo& sim) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    sim.s_iccid = ICCID_UNKNOWN;
    return queryInto(port, commandText(eAT_CMD_CCID_GET), eParseCmx::ON_FAILURE, sim,
                     parseDeviceSimId);
}

// +CCID: 89010100000000000002
void parseDeviceSimId(const std::string& response, sSimInfo& sim) {
    const std::string iccid = responseField(response, "+CCID:");
    if (isStringNumeric(iccid)) sim.s_iccid = modemText(iccid);
}

ePortReturn getCpinState(int port, sSimInfo& sim) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    sim.i_pin_lock_enabled = -1;
    const std::string command = commandText(eAT_CMD_CLCK_SET, SIM_LOCK_FACILITY + std::string("2"));
    std::string response;
    const ePortReturn result = queryModem(port, command, eParseCmx::ON_CMX_ERROR, 0, &response);
    if (result == ePORT_OK) sim.i_pin_lock_enabled = parseCpinState(response);
    logFailedCommand(__func__, command, result);
    return result;
}

// +CLCK: 1
int parseCpinState(const std::string& response) {
    const std::string state = cleanBeginEndWhiteSpace(responseRest(response, "+CLCK:"));
    if (state == "0") return 0;
    if (state == "1") return 1;
    return -1;
}

ePortReturn setCpinState(int port, const std::string& pin, bool enable) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    return queryModem(
        port,
        commandText(eAT_CMD_CLCK_SET,
                    SIM_LOCK_FACILITY + std::string(enable ? "1," : "0,") + doubleQuoted(pin)),
        eParseCmx::ON_FAILURE);
}

// PIN and PUK are not quoted here, unlike in +CLCK: the modem expects them so.
ePortReturn changeCpin(int port, const std::string& oldPin, const std::string& newPin) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    return queryModem(port,
                      commandText(eAT_CMD_CPWD_SET, SIM_LOCK_FACILITY + oldPin + "," + newPin),
                      eParseCmx::ON_FAILURE);
}

ePortReturn unlockCpin(int port, const std::string& pin) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    return queryModem(port, commandText(eAT_CMD_CPIN_SET, pin), eParseCmx::ON_FAILURE);
}

ePortReturn unlockPuk(int port, const std::string& puk, const std::string& newPin) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    return queryModem(port, commandText(eAT_CMD_CPIN_SET, puk + "," + newPin),
                      eParseCmx::ON_FAILURE);
}

ePortReturn getSimSlot(const int& port, eSimSlot& slot) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    slot = eSIM_SLOT_UNKNOWN;
    const std::string command = commandText(eAT_CMD_GPIO_SET, "2,2");
    std::string response;
    const ePortReturn result =
        queryModem(port, command, eParseCmx::ON_CMX_ERROR, SLOT_QUERY_TIMEOUT_S, &response);
    if (result == ePORT_OK) slot = parseSimSlot(response);
    logFailedCommand(__func__, command, result);
    return result;
}

// #GPIO: 1,1
//        0 1   direction, level of the pin
eSimSlot parseSimSlot(const std::string& response) {
    const tokenstr fields = responseFields(response, "#GPIO:");
    if (fields.size() != 2) return eSIM_SLOT_UNKNOWN;
    if (fields[1] == "1") return eSIM_SLOT_1;
    if (fields[1] == "0") return eSIM_SLOT_2;
    return eSIM_SLOT_UNKNOWN;
}

ePortReturn setSimSlot(const int& port, const eSimSlot& slot) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    // Sets the pin, then forces SIM detection off and on so that the modem reads the other card.
    static const std::string PIN = "2,";
    static const std::string REDETECT = ",1,1;#ATDELAY=5;#SIMDET=0;#ATDELAY=50;#SIMDET=1";
    if (slot != eSIM_SLOT_1 && slot != eSIM_SLOT_2) {
        debug(eLOG_NOTICE, g_i_debugMode, "%s(): Invalid SIM slot", __func__);
        return static_cast<ePortReturn>(CME_INVALID_INDEX);
    }
    const std::string command =
        commandText(eAT_CMD_GPIO_SET, PIN + (slot == eSIM_SLOT_1 ? "1" : "0") + REDETECT);
    const ePortReturn result =
        queryModem(port, command, eParseCmx::ON_CMX_ERROR, SLOT_SWITCH_TIMEOUT_S);
    if (result == ePORT_OK)
        debug(eLOG_NOTICE, g_i_debugMode, "%s(): Command '%s' SUCCESS", __func__, command.c_str());
    logFailedCommand(__func__, command, result);
    return result;
}
