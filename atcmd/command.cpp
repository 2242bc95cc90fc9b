#include "atcmd/command.h"

#include <algorithm>
#include <utility>

#include "device/at_transaction.h"
#include "include/device_records.h"
#include "platform/include/text_helpers.h"

std::string g_s_last_cmx_error;
ePortReturn g_e_last_cmx_error = ePORT_OK;

namespace {

// The number after prefix. A line without its line end may hold only the first digits of the
// number, so it is not read. False if there is no known number.
bool findKnownError(const std::string& response, const std::string& prefix, ePortReturn& error) {
    const size_t start = response.find(prefix);
    if (start == std::string::npos || response.find('\n', start) == std::string::npos) return false;
    const std::string number = responseField(response, prefix);
    if (!isStringNumeric(number)) return false;
    error = static_cast<ePortReturn>(textToInt(number));
    return CMEE_Map.count(error) != 0;
}

void takeError(ePortReturn& result, ePortReturn error, const char* errorClass) {
    result = error;
    g_e_last_cmx_error = error;
    g_s_last_cmx_error = mapText(CMEE_Map, error);
    debug(eLOG_NOTICE, g_i_debugMode, "Modem reported %s Error '%s' (%d)", errorClass,
          g_s_last_cmx_error.c_str(), error);
}

bool isParsed(eParseCmx parsing, ePortReturn result) {
    switch (parsing) {
        case eParseCmx::NEVER:
            return false;
        case eParseCmx::ON_CMX_ERROR:
            return result == ePORT_CMX_ERROR;
        case eParseCmx::ON_REFUSAL:
            return isPortError(result);
        case eParseCmx::ON_FAILURE:
            return result != ePORT_OK;
        case eParseCmx::ALWAYS:
            return true;
    }
    return false;
}

}  // namespace

void parseCMXerror(ePortReturn& result, const std::string& response) {
    traceEntry(eLOG_AT_FUNCTION, __func__);
    g_s_last_cmx_error.clear();
    g_e_last_cmx_error = result;
    if (result < ePORT_CMX_ERROR) return;

    ePortReturn error;
    if (findKnownError(response, "+CME ERROR:", error))
        takeError(result, error, "CME");
    else if (findKnownError(response, "+CMS ERROR:", error))
        takeError(result, error, "CMS");
}

std::string commandText(eAtCmd command, const std::string& arguments) {
    return atCmd_Map[command] + arguments;
}

ePortReturn queryModem(int port, const std::string& command, eParseCmx parsing, unsigned timeoutS,
                       std::string* response) {
    std::string ignored;
    std::string& text = response != nullptr ? *response : ignored;
    ePortReturn result = sendAtCommand(port, command, text, timeoutS);
    if (isParsed(parsing, result)) parseCMXerror(result, text);
    return result;
}

void logFailedCommand(const char* function, const std::string& command, ePortReturn result,
                      const char* cmeText) {
    if (result == ePORT_OK) return;
    if (result == ePORT_NO_FINAL_RESULT)
        debug(eLOG_NOTICE, g_i_debugMode, "%s(): Command '%s' TIMEOUT", function, command.c_str());
    else if (result == ePORT_ERROR)
        debug(eLOG_NOTICE, g_i_debugMode, "%s(): Command '%s' reported ERROR", function,
              command.c_str());
    else
        debug(eLOG_NOTICE, g_i_debugMode, "%s(): Command '%s' reported %s", function,
              command.c_str(), cmeText);
}

std::string responseRest(const std::string& response, const std::string& prefix, size_t from) {
    const size_t found = response.find(prefix, from);
    if (found == std::string::npos) return "";
    const size_t begin = found + prefix.size();
    const size_t end = std::min(response.find('\n', begin), response.size());
    return response.substr(begin, std::min(end - begin, RESPONSE_LINE_MAX));
}

std::string responseField(const std::string& response, const std::string& prefix) {
    return cleanWhiteSpace(responseRest(response, prefix));
}

tokenstr splitFields(const std::string& line) {
    return tokenstr(line, ',', eEmptyTokens::KEEP);
}

tokenstr responseFields(const std::string& response, const std::string& prefix) {
    return splitFields(responseField(response, prefix));
}

std::vector<std::string> responseLines(const std::string& response) {
    std::vector<std::string> lines;
    const auto lineEnds = static_cast<size_t>(std::count(response.begin(), response.end(), '\n'));
    lines.reserve(std::min(lineEnds + 1, RESPONSE_LINES_MAX));
    for (size_t begin = 0; begin < response.size() && lines.size() < RESPONSE_LINES_MAX;) {
        const size_t end = std::min(response.find('\n', begin), response.size());
        std::string text = cleanBeginEndWhiteSpace(
            response.substr(begin, std::min(end - begin, RESPONSE_LINE_MAX)));
        if (!text.empty()) lines.push_back(std::move(text));
        begin = end + 1;
    }
    return lines;
}

std::vector<std::string> responseLinesAfter(const std::string& response,
                                            const std::string& prefix) {
    std::vector<std::string> rests;
    for (const std::string& line : responseLines(response))
        if (startsWith(line, prefix)) rests.push_back(line.substr(prefix.size()));
    return rests;
}

std::string modemText(const std::string& text) {
    return text.substr(0, MODEM_TEXT_MAX);
}

std::string unquotedText(const std::string& text) {
    return modemText(cleanBeginEndWhiteSpace(cleanCharsFromString(text, "\"")));
}

std::string doubleQuoted(const std::string& text) {
    return '"' + text + '"';
}

bool beginsWithDigit(const std::string& text) {
    return isStringNumeric(text.substr(0, 1));
}
