#include "sms/message_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "include/debug.h"
#include "include/repeated_notices.h"
#include "platform/include/file_vector.h"
#include "platform/include/text_helpers.h"
#include "platform/include/text_lookup_table.h"
#include "published/outcome_texts.h"
#include "sms/sms_memory.h"
#include "sms/spool.h"
#include "sms/wall_clock.h"

namespace {

constexpr mode_t MESSAGE_FILE_MODE = 0600;

bool isPart(const S_smsRecordRx& record) {
    return record.partTotal >= 2;
}

std::string singleName(const S_smsRecordRx& record, const std::string& time, int counter) {
    const std::string begin = "sms_msg_";
    const std::string end = "_" + time + "." + itos(counter);
    return begin + fileNameText(record.from).substr(0, SMS_NAME_MAX - begin.size() - end.size()) +
           end;
}

std::string partName(const S_smsRecordRx& record, const std::string& time, int counter) {
    return "sms_msg." + itos(record.msgId) + "." + itos(record.partNumber) + "." +
           itos(record.partTotal) + "." + time + "." + itos(counter);
}

std::string dirOf(const S_smsRecordRx& record, const std::string& root) {
    return root + (isPart(record) ? SMS_DIR_RECV_PARTS : SMS_DIR_RECV);
}

std::string pathOf(const S_smsRecordRx& record, const std::string& root, const std::string& time,
                   int counter) {
    return dirOf(record, root) +
           (isPart(record) ? partName(record, time, counter) : singleName(record, time, counter));
}

std::string fieldLine(const char* field, const std::string& value) {
    return smsFieldStart(field) + value;
}

// All lines but the last one, which holds the text.
std::vector<std::string> headerLines(const S_smsRecordRx& record) {
    std::vector<std::string> lines = {fieldLine(SMS_FIELD_FROM, oneLineText(record.from)),
                                      fieldLine(SMS_FIELD_TIME, oneLineText(record.time))};
    if (isPart(record)) {
        lines.push_back(fieldLine(SMS_FIELD_TIME_UNFORMATTED, oneLineText(record.timeUnformatted)));
        lines.push_back(fieldLine(SMS_FIELD_ID, itos(record.msgId)));
        lines.push_back(fieldLine(SMS_FIELD_PART_NUMBER, itos(record.partNumber)));
        lines.push_back(fieldLine(SMS_FIELD_PART_TOTAL, itos(record.partTotal)));
    }
    return lines;
}

// The temporary file is in the root, because other programs act on every file of the folders.
bool writeMessageFile(const S_smsRecordRx& record, const std::string& path,
                      const std::string& root) {
    if (!isSpoolDir(dirOf(record, root))) return false;
    cFileVector file(path, MESSAGE_FILE_MODE);
    file.SetTemporaryDirectory(root);
    file.AppendLine(messageFileContent(record), false);
    return file.Write();
}

void logReceived(const S_smsRecordRx& record) {
    const std::string from = oneLineText(record.from);
    const std::string time = oneLineText(record.time);
    const std::string message = oneLineText(record.message);
    if (isPart(record))
        debug(eLOG_NOTICE, g_i_debugMode,
              "Received SMS Part %d/%d (ID: %d) from %s at %s, Message: %s", record.partNumber,
              record.partTotal, record.msgId, from.c_str(), time.c_str(), message.c_str());
    else
        debug(eLOG_NOTICE, g_i_debugMode, "Received SMS from %s at %s, Message: %s", from.c_str(),
              time.c_str(), message.c_str());
}

void logWriting(const std::string& path) {
    debug(eLOG_NOTICE, g_i_debugMode,
          "writeSmsMessages: Writing out incoming SMS message to file %s", path.c_str());
}

// A message that cannot be written stays in the modem. Each check tries again, with another time in
// the name.
bool tryWriting(const sSmsOutcome& outcome, const std::string& root) {
    const cVaryingNumbers times;
    if (writeMessageFile(outcome.record, outcome.path, root)) return true;
    logWriting(outcome.path);
    debug(eLOG_NOTICE, g_i_debugMode, "Error: SMS file %s could not be written",
          outcome.path.c_str());
    return false;
}

void writeRecord(sSmsOutcome& outcome, const std::string& root) {
    outcome.written = tryWriting(outcome, root);
    if (!outcome.written) return;
    const cSingleEvent event;
    logWriting(outcome.path);
    if (!outcome.record.journal.empty()) unlink(outcome.record.journal.c_str());
    logReceived(outcome.record);
}

bool isAnyNameTaken(tSmsQueue queue, const std::string& root) {
    const std::string time = fileTimeText();
    sFileIdentity identity;
    for (int counter = 1; !queue.empty(); ++counter, queue.pop())
        if (identifyFile(pathOf(queue.front(), root, time, counter), identity)) return true;
    return false;
}

bool parseNumber(const std::string& path, const std::string& value, std::string& number) {
    const std::string written = cleanWhiteSpace(value);
    number = cleanNonNumeric(written);
    g_smsMemory.internationalNumber = startsWith(written, "+") ? number : "";
    if (number.size() < SMS_NUMBER_DIGITS_MIN) {
        debug(eLOG_NOTICE, g_i_debugMode, "SMS send file %s is invalid, %s%s' is too short",
              oneLineText(path).c_str(), SMS_LOG_NUMBER, number.c_str());
        return false;
    }
    if (number.size() > SMS_NUMBER_DIGITS_MAX) {
        debug(eLOG_NOTICE, g_i_debugMode, "SMS send file %s is invalid, %s%s' is too long",
              oneLineText(path).c_str(), SMS_LOG_NUMBER, number.c_str());
        return false;
    }
    return true;
}

bool parseText(const std::string& path, const std::string& content, std::string& message) {
    const std::string key = smsFieldStart(SMS_FIELD_TEXT);
    const size_t found = content.find(key);
    if (found == std::string::npos) return false;
    message = cleanEndWhiteSpace(content.substr(found + key.size()));
    stripNonLatinBasic(message);
    if (!message.empty()) return true;
    debug(eLOG_NOTICE, g_i_debugMode, "SMS send file %s is invalid, %s empty '%s' field",
          oneLineText(path).c_str(), SMS_LOG_EMPTY_FIELD, key.c_str());
    return false;
}

}  // namespace

void resetSmsRecord(S_smsRecordRx& record) {
    const std::string timeUnformatted = record.timeUnformatted;
    record = {};
    record.timeUnformatted = timeUnformatted;
}

std::string messageFileContent(const S_smsRecordRx& record) {
    std::string content;
    for (const std::string& line : headerLines(record))
        content += line + "\n";
    return content + fieldLine(SMS_FIELD_TEXT, record.message);
}

std::vector<sSmsOutcome> writeSmsBatch(tSmsQueue& queue, const std::string& root) {
    debug(eLOG_SMS, g_i_debugMode, "writeSmsMessages(): SMS Queue Size = %d",
          static_cast<int>(queue.size()));
    std::vector<sSmsOutcome> outcomes;
    if (queue.empty()) return outcomes;
    makeSmsDirs(g_s_root_sms_path);
    const std::string time = fileTimeText();
    for (int counter = 1; !queue.empty(); ++counter) {
        sSmsOutcome outcome;
        outcome.record = std::move(queue.front());
        queue.pop();
        outcome.path = pathOf(outcome.record, root, time, counter);
        writeRecord(outcome, root);
        outcomes.push_back(std::move(outcome));
    }
    return outcomes;
}

unsigned writeSmsMessages(tSmsQueue& queue, const std::string& root) {
    const std::vector<sSmsOutcome> outcomes = writeSmsBatch(queue, root);
    return static_cast<unsigned>(
        std::count_if(outcomes.begin(), outcomes.end(),
                      [](const sSmsOutcome& outcome) { return outcome.written; }));
}

void waitForFreeNames(const tSmsQueue& queue, const std::string& root) {
    if (isAnyNameTaken(queue, root)) sleepToNextSecond();
}

bool isInRecv(const S_smsRecordRx& record, const std::string& root) {
    const std::string content = messageFileContent(record);
    const std::string dir = root + SMS_DIR_RECV;
    std::vector<std::string> names;
    if (listSpoolFiles(dir, names) != 0) return false;
    return std::any_of(names.begin(), names.end(), [&](const std::string& name) {
        sFileIdentity identity;
        std::string other;
        return identifyFile(dir + name, identity) &&
               identity.size == static_cast<off_t>(content.size()) &&
               readFile2StringNoFollow(dir + name, other, SMS_FILE_MAX) && other == content;
    });
}

bool parseSmsFile(const std::string& path, std::string& number, std::string& message) {
    traceEntry(eLOG_SMS, __func__);
    std::string content;
    if (!readFile2StringNoFollow(path, content, SMS_FILE_MAX)) return false;
    const cTextLookupTable table(path, '=', 1);
    if (!table.DoesEntryExist(SMS_FIELD_TO)) {
        debug(eLOG_NOTICE, g_i_debugMode, "SMS send file %s is invalid, %s a '%s' field.",
              oneLineText(path).c_str(), SMS_LOG_NO_FIELD, SMS_FIELD_TO);
        return false;
    }
    return parseNumber(path, table.GetEntryByLabel(SMS_FIELD_TO)[1], number) &&
           parseText(path, content, message);
}

bool isInternationalNumber(const std::string& number) {
    return !number.empty() && g_smsMemory.internationalNumber == number;
}

bool stripNonLatinBasic(std::string& text) {
    bool found = false;
    for (char& c : text) {
        if (static_cast<unsigned char>(c) < 0x80) continue;
        c = '?';
        found = true;
    }
    if (found)
        debug(eLOG_NOTICE, g_i_debugMode,
              "Notice: Some incompatible SMS characters replaced with '?'");
    return found;
}
