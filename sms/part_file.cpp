#include "sms/part_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

#include "include/debug.h"
#include "platform/include/text_helpers.h"
#include "platform/include/text_lookup_table.h"
#include "sms/sms_memory.h"
#include "sms/stuck_files.h"

namespace {

// The most digits of a number in a part file; that many always fit.
constexpr size_t NUMBER_DIGITS_MAX = 9;

// The value of a key. A missing field is logged.
std::string field(const cTextLookupTable& table, const std::string& path, const char* key) {
    if (!table.DoesEntryExist(key)) {
        debug(eLOG_NOTICE, g_i_debugMode, "Error: File %s missing field '%s', deleting",
              oneLineText(path).c_str(), key);
        return "";
    }
    return table.GetEntryByLabel(key)[1];
}

int32_t numberField(const cTextLookupTable& table, const std::string& path, const char* key) {
    return textToInt(cleanNonNumeric(field(table, path, key)).substr(0, NUMBER_DIGITS_MAX));
}

uint32_t timeField(const cTextLookupTable& table) {
    constexpr long long TIME_MAX = std::numeric_limits<uint32_t>::max();
    const long long time = textToLong(table.GetEntryByLabel(SMS_FIELD_TIME_UNFORMATTED)[1]);
    return static_cast<uint32_t>(std::clamp(time, 0LL, TIME_MAX));
}

// False, with errno set, when the file or its table could not be read.
bool readContent(const std::string& path, std::string& content, cTextLookupTable& table) {
    if (!readFile2StringNoFollow(path, content, SMS_FILE_MAX)) return false;
    table = cTextLookupTable(path, '=', 1);
    return !table.entries().empty() || content.find('=') == std::string::npos;
}

void logUnreadable(const std::string& path) {
    debug(eLOG_NOTICE, g_i_debugMode, "Error: Cannot read SMS file %s, errno %d (%s)",
          oneLineText(path).c_str(), errno, strerror(errno));
}

void readPartFile(const std::string& path, sPartFile& file) {
    S_partsFileAttributes& part = file.attributes;
    cTextLookupTable table("", '=', 1);
    std::string content;
    part.fileName = path;
    // Anything but a regular file has no fields.
    file.isRead = !isRegularFile(file.identity) || readContent(path, content, table);
    if (!file.isRead) return;
    part.msgId = numberField(table, path, SMS_FIELD_ID);
    part.partNumber = numberField(table, path, SMS_FIELD_PART_NUMBER);
    part.partTotal = numberField(table, path, SMS_FIELD_PART_TOTAL);
    part.message = findNeedleString(content, smsFieldStart(SMS_FIELD_TEXT), "");
    file.fromAsWritten = field(table, path, SMS_FIELD_FROM);
    part.from = cleanNonNumeric(file.fromAsWritten);
    part.time = table.GetEntryByLabel(SMS_FIELD_TIME)[1];
    part.timeUnformatted = timeField(table);
}

}  // namespace

const sPartFile* lookAtPartFile(const std::string& path) {
    sFileIdentity identity;
    if (!identifyFile(path, identity)) {
        g_smsMemory.partFiles.erase(path);
        return nullptr;
    }
    if (isStuckFile(path, identity)) return nullptr;
    const auto found = g_smsMemory.partFiles.try_emplace(path);
    sPartFile& file = found.first->second;
    const bool isNew = found.second || !(file.identity == identity);
    if (isNew) {
        file = {};
        file.identity = identity;
    }
    if (isNew || (!file.isRead && file.lastLookedAt != g_smsMemory.partCheck)) {
        readPartFile(path, file);
        if (isNew && !file.isRead) logUnreadable(path);
    }
    file.lastLookedAt = g_smsMemory.partCheck;
    return &file;
}

void removePartFile(const std::string& path) {
    const bool isDeleted = deleteSmsFile(path);
    const auto file = g_smsMemory.partFiles.find(path);
    if (file == g_smsMemory.partFiles.end()) return;
    if (!isDeleted) noteStuckFile(path, file->second.identity);
    g_smsMemory.partFiles.erase(file);
}

void beginPartCheck() {
    ++g_smsMemory.partCheck;
}

void endPartCheck() {
    auto& files = g_smsMemory.partFiles;
    for (auto file = files.begin(); file != files.end();)
        file = file->second.lastLookedAt == g_smsMemory.partCheck ? std::next(file)
                                                                  : files.erase(file);
}
