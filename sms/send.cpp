#include "sms/send.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "atcmd/command.h"
#include "include/device_records.h"
#include "include/repeated_notices.h"
#include "include/shell.h"
#include "platform/include/sms_pdu.h"
#include "platform/include/text_helpers.h"
#include "published/outcome_texts.h"
#include "sms/message_file.h"
#include "sms/open_prompt.h"
#include "sms/sms_memory.h"
#include "sms/spool.h"
#include "sms/stuck_files.h"
#include "sms/wall_clock.h"

namespace {

constexpr unsigned PROMPT_TIMEOUT_S = 0;
constexpr unsigned SEND_TIMEOUT_S = 60;
constexpr unsigned TEXT_MODE_TIMEOUT_S = 2;

const char* const CTRL_Z = "\x1a";  // ends the text at the prompt and sends it

constexpr int ATTEMPTS_MAX = 3;
constexpr size_t LOGGED_MAX = 50;

// Characters that need no quoting in a shell command.
const char* const SAFE_CHARACTERS =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._+@%,:=/-";

struct sTextModeRow {
    eTextMode mode;
    const char* name;
};

const sTextModeRow TEXT_MODES[] = {
    {eSMS_TEXT_GSM, "GSM"},         {eSMS_TEXT_IRA, "IRA"},   {eSMS_TEXT_8859_1, "8859-1"},
    {eSMS_TEXT_PCCP437, "PCCP437"}, {eSMS_TEXT_UCS2, "UCS2"}, {eSMS_TEXT_HEX, "HEX"},
};

// A file of /send/ that is being sent.
struct sSendFile {
    std::string path;
    std::string newName;  // in /send_ok/ or /send_fail/
    sFileIdentity identity;
    std::string number;
    std::string message;
};

bool isToBeSent(const std::string& path, sFileIdentity& identity) {
    return identifyFile(path, identity) && isRegularFile(identity) && !isStuckFile(path, identity);
}

// The last regular file of a listing; anything else in the folder is ignored.
bool findLastFile(const std::vector<std::string>& names, std::string& name,
                  sFileIdentity& identity) {
    const auto last = std::find_if(names.rbegin(), names.rend(), [&](const std::string& entry) {
        return isToBeSent(g_smsMemory.sendDir + entry, identity);
    });
    if (last == names.rend()) return false;
    name = *last;
    return true;
}

bool isSafeForShell(const std::string& text) {
    return text.find_first_not_of(SAFE_CHARACTERS) == std::string::npos;
}

// Whether the file has not changed since the folder was listed. If it has, the text that was read
// may be half of the old and half of the new message.
bool isAsListed(const sSendFile& file) {
    sFileIdentity now;
    return identifyFile(file.path, now) && now == file.identity;
}

// Whether the file was not replaced meanwhile: a new file of the same name is a new message. A file
// that was only changed in place is not.
bool isStillThere(const sSendFile& file) {
    sFileIdentity now;
    return identifyFile(file.path, now) && isSameFile(now, file.identity);
}

void removeSendFile(const std::string& path) {
    if (deleteSmsFile(path)) return;
    sFileIdentity identity;
    if (identifyFile(path, identity)) noteStuckFile(path, identity);
}

// Whether the target is something that mv must not touch: it would move the file into a folder of
// that name, and follow a link.
bool isTaken(const std::string& target) {
    sFileIdentity identity;
    return identifyFile(target, identity) && !isRegularFile(identity);
}

// A name that a shell could misread is moved without a shell. If there is no folder to move it to,
// the file is only deleted.
void moveSendFile(const sSendFile& file, const std::string& root, const char* dir) {
    if (!isStillThere(file)) return;
    const std::string target = root + dir + file.newName;
    const bool isForShell = isSafeForShell(file.path) && isSafeForShell(target);
    if (isForShell && isSpoolDir(root + dir) && !isTaken(target))
        runShellCommand("mv -f " + file.path + " " + target);
    else if (isSpoolDir(root + dir))
        moveOrCopyFile(file.path, target);
    removeSendFile(file.path);
}

void finishSent(const sSendFile& file, sModemInfo& modem, const std::string& root) {
    debug(eLOG_NOTICE, g_i_debugMode, "Send Success: TO=%s, MSG=%s", file.number.c_str(),
          oneLineText(file.message).c_str());
    moveSendFile(file, root, SMS_DIR_SEND_OK);
    g_Cp_DelaySendSMS->Stop();
    ++modem.i_sms_sent;
    g_smsMemory.sendFailures = 0;
    g_smsMemory.sendPath.clear();
}

void giveUp(const sSendFile& file, sModemInfo& modem, const std::string& root) {
    debug(eLOG_NOTICE, g_i_debugMode, "Max send attempt, moving file to %s/%s", SMS_DIR_SEND_FAIL,
          oneLineText(file.newName).c_str());
    moveSendFile(file, root, SMS_DIR_SEND_FAIL);
    g_smsMemory.sendFailures = 0;
    ++modem.i_sms_sent_fail;
}

void finishFailed(const sSendFile& file, sModemInfo& modem, const std::string& root) {
    const bool isLast = ++g_smsMemory.sendFailures >= ATTEMPTS_MAX;
    debug(eLOG_NOTICE, g_i_debugMode,
          isLast ? "Send #%d Failed : TO=%s, MSG=%s (truncated)"
                 : "Send #%d Failed: TO=%s, MSG=%s (truncated)",
          g_smsMemory.sendFailures, file.number.c_str(),
          oneLineText(file.message.substr(0, LOGGED_MAX)).c_str());
    if (isLast) giveUp(file, modem, root);
    g_Cp_DelaySendSMS->Start();
}

eGeneralErrors sendFile(int port, sModemInfo& modem, const std::string& root, sSendFile& file) {
    debug(eLOG_NOTICE, g_i_debugMode, "Reading SMS File %s", oneLineText(file.path).c_str());
    if (file.path != g_smsMemory.sendPath) g_smsMemory.sendFailures = 0;
    g_smsMemory.sendPath = file.path;

    const bool isValid = parseSmsFile(file.path, file.number, file.message);
    if (!isAsListed(file)) return eSUCCESS;
    if (!isValid) {
        debug(eLOG_NOTICE, g_i_debugMode, "SMS send file %s is invalid, deleting",
              oneLineText(file.path).c_str());
        removeSendFile(file.path);
        g_smsMemory.sendFailures = 0;
        return eERROR_DEVICE_SMS_OUT_FILE_PARSE_FAILURE;
    }
    const eGeneralErrors result =
        sendSmSMessage(port, file.number, modem.s_own_number, file.message, smsTypeOf(modem));
    if (result == eSUCCESS)
        finishSent(file, modem, root);
    else
        finishFailed(file, modem, root);
    return result;
}

// Daemons of several slots share the spool. The one that has the lock sends the file, and it keeps
// the lock until the file is moved away.
bool isSentByAnother(int fd) {
    return fd != -1 && flock(fd, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

// An open file keeps its inode number, so no new message can get the same one meanwhile.
eGeneralErrors sendFileKeptOpen(int port, sModemInfo& modem, const std::string& root,
                                sSendFile& file) {
    constexpr int FLAGS = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    const int fd = open(file.path.c_str(), FLAGS);
    const eGeneralErrors result =
        isSentByAnother(fd) ? eSUCCESS : sendFile(port, modem, root, file);
    if (fd != -1) close(fd);
    return result;
}

void truncateMessage(std::string& message) {
    if (message.size() <= SMS_MESSAGE_MAX) return;
    debug(eLOG_NOTICE, g_i_debugMode, "SMS Message too long (%d chars), truncating to %d chars",
          static_cast<int>(message.size()), static_cast<int>(SMS_MESSAGE_MAX));
    message.resize(SMS_MESSAGE_MAX);
}

eGeneralErrors mapSendResult(ePortReturn result) {
    const eGeneralErrors mapped = mapPortResult(result, eERROR_DEVICE_SMS_PDU_SEND_ERROR);
    if (mapped == eSUCCESS)
        debug(eLOG_NOTICE, g_i_debugMode, "Success sending PDU SMS message");
    else if (mapped == eERROR_DEVICE_RESPONSE_TIMEOUT)
        debug(eLOG_NOTICE, g_i_debugMode, "Error: %s encoded SMS message timed out",
              SMS_LOG_PDU_NOT_SENT);
    else
        debug(eLOG_NOTICE, g_i_debugMode, "Error: %s encoded SMS message returned an error",
              SMS_LOG_PDU_NOT_SENT);
    return mapped;
}

eGeneralErrors sendAsPdus(int port, const std::string& number, const std::string& address,
                          const std::string& message) {
    const sms_encode_request_t request = {number, isInternationalNumber(number), address, message};
    setSmsMode(port, eSMS_MODE_PDU);
    sms_encode_result_t encoded;
    if (sms_encode_pdus(request, 0, (g_i_debugMode & eLOG_SMS_PDU) != 0, encoded) != 0) {
        debug(eLOG_NOTICE, g_i_debugMode, "Error: %s Encode SMS message, cannot send",
              SMS_LOG_PDU_NOT_ENCODED);
        return eERROR_DEVICE_SMS_PDU_ENCODE_FAILURE;
    }
    for (const std::string& pdu : encoded.pdus) {
        debug(eLOG_SMS, g_i_debugMode, "sendSmSMessage(): Decoded SMS: Length: %d PDU: %s",
              static_cast<int>(pdu.size()), pdu.c_str());
        const eGeneralErrors result = mapSendResult(sendSmsPdu(port, pdu.size(), pdu));
        if (result != eSUCCESS) return result;
    }
    return eSUCCESS;
}

// Ctrl-Z or ESC in a message would end the prompt, and the modem would take the rest as commands.
bool breaksPrompt(char c) {
    return static_cast<unsigned char>(c) < 0x20 && c != '\r' && c != '\n' && c != '\t';
}

eGeneralErrors sendAsText(int port, const std::string& number, std::string message) {
    eGeneralErrors result = mapPortResult(setSmsMode(port, eSMS_MODE_TEXT), eSUCCESS);
    if (result != eSUCCESS) {
        debug(eLOG_NOTICE, g_i_debugMode, "Error: %s 'send mode' timed out", SMS_LOG_MODE_NOT_SET);
        return result;
    }
    result = mapPortResult(setSmsTextMode(port, eSMS_TEXT_IRA), eSUCCESS);
    if (result != eSUCCESS) {
        debug(eLOG_NOTICE, g_i_debugMode, "Error: %s 'send mode type' timed out",
              SMS_LOG_MODE_NOT_SET);
        return result;
    }
    truncateMessage(message);
    std::replace(message.begin(), message.end(), '\r', '\n');
    return mapSendResult(sendSmsText(port, number, message));
}

// Sends AT+CMGS, then the text at its prompt. The prompt "> " is not a final result, so the wait
// for it always ends without one.
ePortReturn talkAtPrompt(int port, const char* function, const std::string& arguments,
                         const std::string& text) {
    const std::string command = commandText(eAT_CMD_CMGS_SET, arguments);
    ePortReturn result = queryModem(port, command, eParseCmx::ON_CMX_ERROR, PROMPT_TIMEOUT_S);
    if (result == ePORT_ERROR) return result;
    if (result >= ePORT_CMX_ERROR) {
        debug(eLOG_NOTICE, g_i_debugMode, "%s(): AT command %s %s %d (%s)", function,
              command.c_str(), SMS_LOG_CME_ERROR, result, mapText(CMEE_Map, result).c_str());
        return result;
    }
    result = queryModem(port, text + CTRL_Z, eParseCmx::ON_CMX_ERROR, SEND_TIMEOUT_S);
    if (result == ePORT_NO_FINAL_RESULT) {
        abortPrompt(port);
    } else if (result >= ePORT_CMX_ERROR) {
        debug(eLOG_NOTICE, g_i_debugMode, "%s(): AT command '%s%s' %s %d (%s)", function,
              command.c_str(), oneLineText(text).c_str(), SMS_LOG_CME_ERROR, result,
              mapText(CMEE_Map, result).c_str());
    }
    return result;
}

ePortReturn sendAtPrompt(int port, const char* function, const std::string& arguments,
                         const std::string& text) {
    markPrompt();
    const ePortReturn result = talkAtPrompt(port, function, arguments, text);
    unmarkPrompt();
    return result;
}

}  // namespace

eGeneralErrors checkSendSmS(int port, sModemInfo& modem, const std::string& root) {
    traceEntry(eLOG_SMS, __func__);
    if (g_Cp_DelaySendSMS->IsTimerRunning()) return eERROR_DEVICE_SMS_DELAY_TIMER_RUNNING;
    if (g_smsMemory.sendDir.empty()) g_smsMemory.sendDir = root + SMS_DIR_SEND;

    std::vector<std::string> names;
    const int error = listSpoolFiles(g_smsMemory.sendDir, names);
    if (error != 0) {
        debug(eLOG_NOTICE, g_i_debugMode, "%s(): Unable to read SMS DIR %s, errno %d (%s)",
              __func__, g_smsMemory.sendDir.c_str(), error, strerror(error));
        return eERROR_DEVICE_SMS_READ_SEND_DIR_FAILURE;
    }
    std::string name;
    sSendFile file;
    if (!findLastFile(names, name, file.identity)) {
        g_smsMemory.sendPath.clear();
        return eSUCCESS;
    }
    file.path = g_smsMemory.sendDir + name;
    file.newName = filedSmsName(name, fileTimeText());
    const cSingleEvent attempt;
    return sendFileKeptOpen(port, modem, root, file);
}

eGeneralErrors sendSmSMessage(int port, const std::string& number, const std::string& address,
                              const std::string& message, e3gppType type) {
    traceEntry(eLOG_SMS, __func__);
    std::string text = cleanEndWhiteSpace(message);
    truncateMessage(text);
    return type == eSMS_3GPP2 ? sendAsText(port, number, text)
                              : sendAsPdus(port, number, address, text);
}

ePortReturn sendSmsPdu(int port, size_t length, const std::string& pdu) {
    traceEntry(eLOG_SMS, __func__);
    return sendAtPrompt(port, __func__, itos(static_cast<int>(length / 2) - 1), pdu);
}

ePortReturn sendSmsText(int port, const std::string& number, const std::string& message) {
    traceEntry(eLOG_SMS, __func__);
    std::string text = message;
    std::replace_if(text.begin(), text.end(), breaksPrompt, '?');
    return sendAtPrompt(port, __func__, doubleQuoted(number), text);
}

ePortReturn setSmsTextMode(int port, eTextMode mode) {
    traceEntry(eLOG_SMS, __func__);
    for (const sTextModeRow& row : TEXT_MODES)
        if (row.mode == mode)
            return queryModem(port, commandText(eAT_CMD_CSCS_SET, doubleQuoted(row.name)),
                              eParseCmx::ALWAYS, TEXT_MODE_TIMEOUT_S);
    debug(eLOG_NOTICE, g_i_debugMode, "%s(): Error: Unknown SMS Text command Command %d", __func__,
          mode);
    return SMS_UNKNOWN_TYPE;
}
