#include "sms/joined_journal.h"

#include <unistd.h>

#include <algorithm>
#include <tuple>

#include "include/debug.h"
#include "platform/include/file_vector.h"
#include "platform/include/text_helpers.h"
#include "sms/spool.h"

namespace {

constexpr mode_t JOURNAL_MODE = 0600;

// Room for the names of all parts and for the text.
constexpr size_t JOURNAL_MAX = 4 * 1024 * 1024;

std::string journalPrefix(const std::string& root) {
    return ownSpoolFile(root, "joined") + ".";
}

std::string freeJournalPath(const std::string& root) {
    sFileIdentity identity;
    int number = 1;
    while (identifyFile(journalPrefix(root) + itos(number), identity))
        ++number;
    return journalPrefix(root) + itos(number);
}

std::string baseName(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

// "name/name//FROM=...": no name has a slash, and none is empty.
std::string journalContent(const S_smsRecordRx& record, const std::vector<std::string>& paths) {
    std::string content;
    for (const std::string& path : paths)
        content += baseName(path) + "/";
    return content + "/" + messageFileContent(record);
}

// Cuts the first line off rest and returns its value. False when it does not begin with key.
bool takeLine(std::string& rest, const std::string& key, std::string& value) {
    const size_t end = rest.find('\n');
    if (!startsWith(rest, key) || end == std::string::npos) return false;
    value = rest.substr(key.size(), end - key.size());
    rest.erase(0, end + 1);
    return true;
}

bool parseJournal(const std::string& content, std::vector<std::string>& names,
                  S_smsRecordRx& record) {
    std::string rest = content;
    for (size_t slash; (slash = rest.find('/')) != 0; rest.erase(0, slash + 1)) {
        if (slash == std::string::npos) return false;
        names.push_back(rest.substr(0, slash));
    }
    rest.erase(0, 1);
    const std::string textKey = smsFieldStart(SMS_FIELD_TEXT);
    if (!takeLine(rest, smsFieldStart(SMS_FIELD_FROM), record.from) ||
        !takeLine(rest, smsFieldStart(SMS_FIELD_TIME), record.time) || !startsWith(rest, textKey))
        return false;
    record.message = rest.substr(textKey.size());
    return true;
}

void takeJournal(const std::string& path, tSmsQueue& queue, const std::string& root) {
    std::string content;
    std::vector<std::string> names;
    S_smsRecordRx record;
    const bool usable =
        readFile2StringNoFollow(path, content, JOURNAL_MAX) && parseJournal(content, names, record);
    if (!usable) {
        debug(eLOG_NOTICE, g_i_debugMode, "Error: SMS journal %s is not usable, deleting",
              path.c_str());
        unlink(path.c_str());
        return;
    }
    for (const std::string& name : names)
        unlink((root + SMS_DIR_RECV_PARTS + name).c_str());
    if (isInRecv(record, root)) {
        unlink(path.c_str());
        return;
    }
    record.journal = path;
    queue.push(std::move(record));
}

}  // namespace

bool writeJournal(S_smsRecordRx& record, const std::vector<std::string>& paths,
                  const std::string& root) {
    const std::string path = freeJournalPath(root);
    cFileVector file(path, JOURNAL_MODE);
    file.AppendLine(journalContent(record, paths), false);
    if (!file.Write()) return false;
    record.journal = path;
    return true;
}

void takeJournals(tSmsQueue& queue, const std::string& root) {
    std::vector<std::string> names;
    if (listSpoolRoot(root, names) != 0) return;
    // In the order of their numbers.
    std::sort(names.begin(), names.end(), [](const std::string& a, const std::string& b) {
        return std::tuple(a.size(), a) < std::tuple(b.size(), b);
    });
    const std::string prefix = baseName(journalPrefix(root));
    for (const std::string& name : names)
        if (startsWith(name, prefix)) takeJournal(root + "/" + name, queue, root);
}
