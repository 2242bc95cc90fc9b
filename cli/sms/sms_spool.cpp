#include "cli/sms/sms_spool.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>

#include "cli/base/draft_file.h"
#include "cli/base/failure.h"
#include "cli/base/system_failure.h"
#include "include/utilities.h"
#include "platform/include/file_vector.h"
#include "platform/include/text_helpers.h"
#include "published/sms_spool.h"

namespace {

constexpr size_t DIGITS_MAX = 20;  // of an address on its way through the network
constexpr size_t TEXT_MAX = 918;   // six messages that the telephone joins
constexpr mode_t MESSAGE_FILE_MODE = 0600;
constexpr long long NS_PER_S = 1000000000;

std::string folderOf(const sPlaces& places, const char* dir) {
    return smsFolder(places.at(SMS_SPOOL_ROOT), dir);
}

[[noreturn]] void refuse(const std::string& line) {
    throw cFailure(eExitStatus::USAGE, line);
}

// The owner of a link in place of a spool folder would decide what is read and written there.
void requireFolder(const std::string& path) {
    struct stat info {};
    if (lstat(path.c_str(), &info) != 0) {
        if (errno != ENOENT) throw systemFailure("access " + path, errno);
        throw cFailure(eExitStatus::NO_DAEMON,
                       path + " does not exist; the daemon creates it at its start");
    }
    if (S_ISDIR(info.st_mode)) return;
    throw cFailure(eExitStatus::FAILED,
                   path +
                       " is not a folder, so it is not the daemon's; remove it, "
                       "then restart the daemon");
}

bool exists(const std::string& path) {
    struct stat info {};
    if (lstat(path.c_str(), &info) == 0) return true;
    if (errno == ENOENT || errno == ENOTDIR) return false;
    throw systemFailure("access " + path, errno);
}

std::vector<std::string> namesIn(const std::string& folder) {
    std::vector<std::string> names;
    const int error = readFilesInDir(folder, names);
    if (error != 0) throw systemFailure("read " + folder, error);
    return names;
}

// The daemon moves a finished message to another folder and appends the time to its name.
bool isFiledIn(const std::string& folder, const std::string& name) {
    const std::vector<std::string> names = namesIn(folder);
    return std::any_of(names.begin(), names.end(),
                       [&](const std::string& filed) { return isFiledSmsName(filed, name); });
}

// Unique for each call; needs no quoting in a shell.
std::string newName() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto us = std::chrono::duration_cast<std::chrono::microseconds>(now).count();
    return "cellslot-" + std::to_string(us) + "-" + std::to_string(getpid());
}

bool isSendable(char c) {
    // A backquote is in ASCII, but not in the GSM alphabet.
    return c == '\n' || (c >= 0x20 && c < 0x7F && c != '`');
}

bool readMessage(const std::string& folder, const std::string& name, sReceivedMessage& message) {
    const std::string path = folder + "/" + name;
    struct stat info {};
    std::string content;
    if (lstat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return false;
    if (!readFile2StringNoFollow(path, content, SMS_FILE_MAX)) return false;
    const sReceivedText received = parseReceivedText(content);
    message.from = received.from;
    message.time = received.time;
    message.text = received.text;
    message.file = name;
    message.receivedNs = info.st_mtim.tv_sec * NS_PER_S + info.st_mtim.tv_nsec;
    return true;
}

}  // namespace

std::string smsNumber(const std::string& written) {
    std::string number;
    for (const char c : written) {
        if ((c >= '0' && c <= '9') || (c == '+' && number.empty()))
            number += c;
        else if (std::string(" -().").find(c) == std::string::npos)
            refuse(
                "the number may contain only digits, a leading +, blanks, dots, dashes and "
                "brackets");
    }
    const size_t digits = cleanNonNumeric(number).size();
    if (digits < SMS_NUMBER_DIGITS_MIN || digits > DIGITS_MAX)
        refuse("the number has " + std::to_string(digits) + " digits; it needs 5 to 20");
    return number;
}

std::string smsText(const std::string& written) {
    std::string text = cleanEndWhiteSpace(written);
    if (text.empty()) refuse("the text is empty");
    if (text.size() > TEXT_MAX)
        refuse("the text has " + std::to_string(text.size()) +
               " characters; it may have at most 918");
    if (!std::all_of(text.begin(), text.end(), isSendable))
        refuse("the text contains characters that would arrive as ?; use plain ASCII, without `");
    return text;
}

std::string putMessage(const sPlaces& places, const std::string& number, const std::string& text) {
    requireFolder(places.at(SMS_SPOOL_ROOT));
    requireFolder(folderOf(places, SMS_DIR_SEND));
    std::string name = newName();
    // The folder may be a file system of its own. The daemon skips the names of drafts.
    cDraftFile draft(folderOf(places, SMS_DIR_SEND), MESSAGE_FILE_MODE);
    draft.write(sendFileText(number, text));
    draft.replace(folderOf(places, SMS_DIR_SEND) + "/" + name);
    return name;
}

eSendState sendState(const sPlaces& places, const std::string& name) {
    if (exists(folderOf(places, SMS_DIR_SEND) + "/" + name)) return eSendState::WAITING;
    if (isFiledIn(folderOf(places, SMS_DIR_SEND_OK), name)) return eSendState::SENT;
    if (isFiledIn(folderOf(places, SMS_DIR_SEND_FAIL), name)) return eSendState::GIVEN_UP;
    return eSendState::REFUSED;
}

std::vector<sReceivedMessage> receivedMessages(const sPlaces& places) {
    const std::string folder = folderOf(places, SMS_DIR_RECV);
    requireFolder(places.at(SMS_SPOOL_ROOT));
    requireFolder(folder);
    std::vector<sReceivedMessage> messages;
    for (const std::string& name : namesIn(folder)) {
        if (startsWith(name, cFileVector::TEMPORARY_NAME_PREFIX)) continue;  // half a message
        sReceivedMessage message;
        if (readMessage(folder, name, message)) messages.push_back(message);
    }
    std::sort(
        messages.begin(), messages.end(), [](const sReceivedMessage& a, const sReceivedMessage& b) {
            return a.receivedNs != b.receivedNs ? a.receivedNs < b.receivedNs : a.file < b.file;
        });
    return messages;
}

void deleteReceived(const sPlaces& places, const std::string& file) {
    const std::string path = folderOf(places, SMS_DIR_RECV) + "/" + file;
    if (unlink(path.c_str()) == 0 || errno == ENOENT) return;
    throw systemFailure("delete " + path, errno);
}
