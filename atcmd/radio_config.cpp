#include "atcmd/radio_config.h"

#include <algorithm>
#include <cctype>

#include "atcmd/command.h"
#include "platform/include/text_helpers.h"

namespace {

constexpr unsigned SETTING_TIMEOUT_S = 2;

// Reads one number as "%d" does: blanks, a sign, digits. A number out of range becomes the nearest
// limit, so that no text of the modem overflows.
bool readNumber(const std::string& text, size_t& at, int& value) {
    while (at < text.size() && isspace(static_cast<unsigned char>(text[at])))
        ++at;
    size_t end = at;
    if (end < text.size() && (text[end] == '-' || text[end] == '+')) ++end;
    const size_t digits = end;
    while (end < text.size() && isdigit(static_cast<unsigned char>(text[end])))
        ++end;
    if (end == digits) return false;
    value = textToInt(text.substr(at, end - at));
    at = end;
    return true;
}

struct sClockFields {
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
};

// "%d/%d/%d,%d:%d:%d": how many of the six numbers were read, -1 for an empty text, as sscanf
// returns.
int readClock(const std::string& text, sClockFields& clock) {
    if (cleanWhiteSpace(text).empty()) return -1;
    int* const numbers[] = {&clock.year, &clock.month,  &clock.day,
                            &clock.hour, &clock.minute, &clock.second};
    const std::string separators = "//,::";
    size_t at = 0;
    int count = 0;
    for (int* number : numbers) {
        if (!readNumber(text, at, *number)) break;
        const auto position = static_cast<size_t>(count++);
        if (position >= separators.size()) break;
        if (at >= text.size() || text[at] != separators[position]) break;
        ++at;
    }
    return count;
}

// The modem keeps the network's time only after these.
void prepareClock(int port) {
    const std::string commands[] = {commandText(eAT_CMD_CSDF_SET, "1"),
                                    commandText(eAT_CMD_CCLKMODE_SET, "0"),
                                    commandText(eAT_CMD_NITZ_SET, "3,0")};
    for (const std::string& command : commands) {
        if (queryModem(port, command, eParseCmx::NEVER) != ePORT_OK)
            debug(eLOG_AT_DETAIL, g_i_debugMode, "%s(): Command '%s' ERROR/TIMEOUT", "getCCLK",
                  command.c_str());
    }
}

std::string operatorArguments(const sConfigFileOpts& config) {
    const char* format = isStringNumeric(config.operatorName) ? ",2," : ",0,";
    return config.operatorMode + format + doubleQuoted(config.operatorName);
}

unsigned char boundedDuration(unsigned char duration) {
    return std::clamp(duration, g_ui_stat_led_duration_min, g_ui_stat_led_duration_max);
}

}  // namespace

ePortReturn setReboot(int port) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    return queryModem(port, commandText(eAT_CMD_REBOOT), eParseCmx::ON_FAILURE, SETTING_TIMEOUT_S);
}

ePortReturn getWS46(const int& port, int& value) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    value = 0;
    const std::string command = commandText(eAT_CMD_WS46_GET);
    const ePortReturn result = queryInto(port, command, eParseCmx::ON_FAILURE, value, parseWS46);
    logFailedCommand(__func__, command, result, "CME ERROR");
    return result;
}

// +WS46: 31
void parseWS46(const std::string& response, int& value) {
    const std::string text = responseField(response, "+WS46:");
    if (!isStringNumeric(text)) return;
    value = textToInt(text);
    debug(eLOG_AT_DETAIL, g_i_debugMode, "%s(): Found value %s", __func__, text.c_str());
}

ePortReturn setWS46(const int& port, const int& value) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    return queryModem(port, commandText(eAT_CMD_WS46_SET, itos(value)), eParseCmx::ON_FAILURE);
}

ePortReturn setCOPS(const int& port, const sConfigFileOpts& config, eNetOperatorMode mode) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    std::string arguments;
    if (mode == eNET_OPERATOR_FROM_CONFIG) {
        if (config.operatorMode == "0")
            arguments = "0";
        else if (config.operatorMode == "1" || config.operatorMode == "4")
            arguments = operatorArguments(config);
    } else if (mode == eNET_OPERATOR_AUTO || mode == eNET_OPERATOR_DEREGISTER) {
        arguments = itos(mode);
    }
    if (arguments.empty()) return static_cast<ePortReturn>(CME_WRONG_MODE);
    return queryModem(port, commandText(eAT_CMD_COPS_SET, arguments), eParseCmx::ON_FAILURE,
                      SETTING_TIMEOUT_S);
}

ePortReturn setAUTOBND(const int& port, const eBandMode& mode) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    const char* argument = mode != eBAND_MODE_AUTO ? "2" : "0";
    return queryModem(port, commandText(eAT_CMD_AUTOBND_SET, argument), eParseCmx::ON_FAILURE,
                      SETTING_TIMEOUT_S);
}

// AT#BND=<GSM band>,<UMTS band>,<LTE bands as decimal mask>
ePortReturn setBND(const int& port, const sConfigFileOpts& config) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    const std::string arguments = itos(static_cast<int>(config.bandGsm)) + "," + config.band3gText +
                                  "," + ltos(static_cast<long long>(config.band4gBits));
    return queryModem(port, commandText(eAT_CMD_BND_SET, arguments), eParseCmx::ON_FAILURE,
                      SETTING_TIMEOUT_S);
}

ePortReturn setTestMode(const int& port, const bool& on) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    return queryModem(port, commandText(eAT_CMD_TESTMODE_SET, doubleQuoted(on ? "TM" : "OM")),
                      eParseCmx::ON_FAILURE, SETTING_TIMEOUT_S);
}

ePortReturn setStatLedGpioEnable(const int& port) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    return queryModem(port, commandText(eAT_CMD_GPIO_STAT_LED), eParseCmx::ON_FAILURE,
                      SETTING_TIMEOUT_S);
}

ePortReturn setATSTAT(const int& port, const eStatLedMode& mode, unsigned char on,
                      unsigned char off) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    if (mode == eSTAT_LED_NO_ACTION) {
        debug(eLOG_AT_DETAIL, g_i_debugMode, "%s() eSTAT_LED_NO_ACTION", __func__);
        return ePORT_OK;
    }
    std::string arguments = itos(mode);
    if (mode == eSTAT_LED_BLINK)
        arguments += "," + itos(boundedDuration(on)) + "," + itos(boundedDuration(off));
    return queryModem(port, commandText(eAT_CMD_SLED_SET, arguments), eParseCmx::ON_FAILURE,
                      SETTING_TIMEOUT_S);
}

ePortReturn setATSTATSAV(const int& port) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    return queryModem(port, commandText(eAT_CMD_SLEDSAV), eParseCmx::ON_FAILURE, SETTING_TIMEOUT_S);
}

std::string getCCLK(int port) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    prepareClock(port);
    const std::string command = commandText(eAT_CMD_CCLK_GET);
    std::string response;
    const ePortReturn result = queryModem(port, command, eParseCmx::NEVER, 0, &response);
    if (result == ePORT_OK) return parseCCLK(response);
    debug(eLOG_NOTICE, g_i_debugMode,
          result == ePORT_NO_FINAL_RESULT ? "%s(): Command '%s' TIMEOUT"
                                          : "%s(): Command '%s' reported ERROR",
          __func__, command.c_str());
    return "";
}

// #CCLK: "20/06/15,20:32:05-24,1"   year/month/day,hour:minute:second, zone in quarters of an hour
std::string parseCCLK(const std::string& response) {
    const std::string text = cleanCharsFromString(responseRest(response, "#CCLK:"), "\"");
    sClockFields clock;
    const int count = readClock(text, clock);
    if (count < 6 || clock.year == 0) {
        debug(eLOG_NOTICE, g_i_debugMode,
              "%s(): Error, did not get match count %d or valid time from CCLK output '%s'",
              __func__, count, cleanEndWhiteSpace(text).c_str());
        return "";
    }
    std::string date = itos(clock.month) + "/" + itos(clock.day) + "/" + itos(clock.year) + " " +
                       itos(clock.hour) + ":" + itos(clock.minute) + ":" + itos(clock.second);
    debug(eLOG_AT_DETAIL, g_i_debugMode, "%s(): Returning date string '%s'", __func__,
          date.c_str());
    return date;
}
