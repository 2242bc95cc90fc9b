#include "statemachine/custom_at.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "device/at_transaction.h"
#include "device/link_state.h"
#include "include/debug.h"
#include "include/utilities.h"
#include "platform/include/file_vector.h"
#include "platform/include/text_helpers.h"
#include "platform/include/tokenstr.h"
#include "published/at_request.h"
#include "published/paths.h"
#include "sms/open_prompt.h"
#include "statemachine/custom_at_log.h"

const std::string g_s_at_cmd_custom_path = SHARED_FOLDER;

namespace {

constexpr size_t REQUEST_MIN = 3;

// The contents of the answer files.
struct sAnswer {
    std::string pretty;
    std::string raw;
};

// A line end after the last line does not begin another line.
tokenstr requestLines(const std::string& request) {
    const bool ended = !request.empty() && request.back() == '\n';
    return {request.substr(0, request.size() - (ended ? 1 : 0)), '\n', eEmptyTokens::KEEP};
}

void refuseCommand(const std::string& command, const sDeviceInfo& device, sAnswer& answer) {
    const std::string output = "\nINVALID AT COMMAND";
    answer.pretty += prettifyAtCommand(command, output);
    answer.raw += command + output;
    writeAtCmdLog(command, output + "\n", device, g_s_at_cmd_log_dir);
}

// A transaction that may open a prompt. The prompt is closed afterwards, because at a prompt the
// modem would take all further commands as its text. Only the modem knows which commands have a
// prompt, so each one is marked as if it had.
ePortReturn sendMarked(int port, const std::string& command, unsigned extraTimeoutS,
                       std::string& response) {
    markPrompt();
    const ePortReturn result = sendAtCommand(port, command, response, extraTimeoutS);
    if (result == ePORT_NO_FINAL_RESULT && holdsPrompt(response)) abortPrompt(port);
    unmarkPrompt();
    return result;
}

eGeneralErrors sendCustomCommand(int port, const std::string& command, int extraTimeoutS,
                                 const sDeviceInfo& device, sAnswer& answer) {
    debug(eLOG_NOTICE, g_i_debugMode, "- Sending AT command %s, extra timeout %d",
          blankControlCharacters(command).c_str(), extraTimeoutS);
    std::string response;
    const eGeneralErrors result = mapPortResult(
        sendMarked(port, command, static_cast<unsigned>(extraTimeoutS), response), eSUCCESS);
    if (result != eSUCCESS) {
        answer.pretty += prettifyAtCommand(command, "TIMEOUT");
        answer.raw += command + "\nTIMEOUT";
        writeAtCmdLog(command, "\nTIMEOUT\n", device, g_s_at_cmd_log_dir);
        return result;
    }
    answer.pretty += prettifyAtCommand(command, response);
    answer.raw += response;
    writeAtCmdLog(command, response, device, g_s_at_cmd_log_dir);
    return eSUCCESS;
}

eGeneralErrors processLine(int port, const std::string& text, const sDeviceInfo& device,
                           sAnswer& answer) {
    const std::string line = cleanBeginEndWhiteSpace(text);
    if (line.empty()) return eSUCCESS;
    std::string command;
    int extraTimeoutS = 0;
    parseAtCmdCustomLine(line, command, extraTimeoutS);
    if (validateAtCmdFormat(command))
        return sendCustomCommand(port, command, extraTimeoutS, device, answer);
    refuseCommand(command, device, answer);
    return eSUCCESS;
}

// Both files appear complete; programs wait for one or the other.
void writeAnswer(const sAnswer& answer, const std::string& directory, const std::string& suffix) {
    cFileVector pretty(atAnswerFile(directory, suffix));
    pretty.AppendLine(answer.pretty);
    pretty.Write();
    cFileVector raw(atRawAnswerFile(directory, suffix));
    raw.AppendLine(answer.raw);
    raw.Write();
}

}  // namespace

eGeneralErrors checkCustomAtFile(int port, sDeviceInfo& device, const std::string& directory,
                                 const std::string& suffix) {
    traceEntry(eLOG_STATE, __func__);
    if (!atCommandFilesExist(directory, suffix)) return eSUCCESS;
    std::string request;
    if (readAtCommandFile(request, directory, suffix) == 0) {
        notice("Error: Custom AT command file is empty, nothing to do");
        return eERROR_BUFFER_EMPTY;
    }
    notice("Processing custom AT command file");
    return sendAtCommandBuff(port, request, device, directory, suffix);
}

bool atCommandFilesExist(const std::string& directory, const std::string& suffix) {
    struct stat info;
    return lstat(atRequestFile(directory, suffix).c_str(), &info) == 0 && !S_ISDIR(info.st_mode);
}

size_t readAtCommandFile(std::string& text, const std::string& directory,
                         const std::string& suffix) {
    const std::string path = atRequestFile(directory, suffix);
    // Reads one byte more than it uses, to see whether there is more.
    readFile2StringNoFollow(path, text, AT_REQUEST_MAX + 1);
    if (unlink(path.c_str()) != 0) {
        debug(eLOG_NOTICE, g_i_debugMode, "Error: Cannot delete '%s', errno %d (%s)", path.c_str(),
              errno, strerror(errno));
        text.clear();
    }
    if (text.size() > AT_REQUEST_MAX) {
        text.resize(AT_REQUEST_MAX);
        debug(eLOG_NOTICE, g_i_debugMode,
              "Custom AT command file is longer than %zu bytes, the rest is lost", AT_REQUEST_MAX);
    }
    return text.size();
}

void parseAtCmdCustomLine(const std::string& line, std::string& command, int& extraTimeoutS) {
    const tokenstr tokens(cleanBeginEndWhiteSpace(line), AT_TIMEOUT_SEPARATOR, eEmptyTokens::DROP);
    command = tokens[0];
    extraTimeoutS = isStringNumeric(tokens[1]) ? textToInt(tokens[1]) : 0;
    if (extraTimeoutS <= AT_EXTRA_TIMEOUT_MAX_S) return;
    debug(eLOG_NOTICE, g_i_debugMode, "%s(): Line '%s' timeout > %d, setting it to %d", __func__,
          blankControlCharacters(line).c_str(), AT_EXTRA_TIMEOUT_MAX_S, AT_EXTRA_TIMEOUT_MAX_S);
    extraTimeoutS = AT_EXTRA_TIMEOUT_MAX_S;
}

bool validateAtCmdFormat(const std::string& command) {
    return isAtCommand(command);
}

eGeneralErrors sendAtCommandBuff(int port, const std::string& request, const sDeviceInfo& device,
                                 const std::string& directory, const std::string& suffix) {
    if (request.size() < REQUEST_MIN) {
        notice("Error: Custom AT command file does not contain enough characters");
        return eERROR_BUFFER_EMPTY;
    }
    // Nobody must take the answers of an earlier request for those of this one.
    unlink(atAnswerFile(directory, suffix).c_str());
    unlink(atRawAnswerFile(directory, suffix).c_str());

    eGeneralErrors result = eSUCCESS;
    sAnswer answer;
    int index = 0;
    for (const std::string& line : requestLines(request)) {
        if (index++ >= AT_REQUEST_LINES) {
            debug(eLOG_NOTICE, g_i_debugMode,
                  "Custom AT command count >%d, not processing remaining commands",
                  AT_REQUEST_LINES);
            break;
        }
        result = processLine(port, line, device, answer);
        if (result != eSUCCESS) break;
    }
    writeAnswer(answer, directory, suffix);
    return result;
}
