#include "cli/at/at_request.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "cli/base/draft_file.h"
#include "cli/base/failure.h"
#include "cli/base/printable_text.h"
#include "cli/base/slot_option.h"
#include "cli/base/system_failure.h"
#include "cli/base/waiting.h"
#include "cli/status/no_daemon.h"
#include "platform/include/text_helpers.h"
#include "platform/include/tokenstr.h"
#include "published/paths.h"

namespace {

// The longest poll: the daemon looks for requests at its end.
constexpr unsigned PICK_UP_S = 45;
// Commands of the poll may come first.
constexpr unsigned ANSWER_MARGIN_S = 5;

constexpr size_t ANSWER_MAX = 1 << 20;  // the modem's longest lists have some ten thousand bytes
constexpr mode_t REQUEST_MODE = 0600;   // a command may hold a PIN

[[noreturn]] void refuse(const std::string& line) {
    throw cFailure(eExitStatus::USAGE, line);
}

bool isSameFile(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_mtim.tv_sec == b.st_mtim.tv_sec &&
           a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

bool isPrintable(char c) {
    return c >= 0x20 && c < 0x7F;
}

std::vector<std::string> answerLines(const std::string& answer) {
    std::vector<std::string> lines;
    for (const std::string& line : tokenstr(answer, '\n', eEmptyTokens::DROP)) {
        const std::string text = cleanBeginEndWhiteSpace(line);
        if (!text.empty()) lines.push_back(text);
    }
    return lines;
}

void requireNoRequest(const std::string& path) {
    struct stat info {};
    if (lstat(path.c_str(), &info) != 0) return;
    if (S_ISDIR(info.st_mode))
        throw cFailure(eExitStatus::FAILED, path + " is a folder, but must be a file; remove it");
    throw cFailure(eExitStatus::FAILED, "the request of another program is waiting in " + path +
                                            "; try again later, or remove it if nobody needs it");
}

uid_t userOf(const sPlaces& places, int pid) {
    struct stat info {};
    const std::string path = places.at("/proc/" + std::to_string(pid));
    if (stat(path.c_str(), &info) != 0) throw systemFailure("access " + path, errno);
    return info.st_uid;
}

cFailure noAnswer(bool isTaken) {
    if (cInterruption::signalSeen() != 0)
        return {eExitStatus::FAILED, isTaken
                                         ? "interrupted; the daemon had already taken the command"
                                         : "interrupted; the command was not sent"};
    if (isTaken)
        return {eExitStatus::TIMED_OUT, "the daemon took the command, but did not answer in time"};
    return {
        eExitStatus::TIMED_OUT,
        "the command was not sent: the daemon takes commands only while the modem is set up; see "
        "cellslot status"};
}

}  // namespace

std::string atRequest(const std::string& command, unsigned timeoutS) {
    const std::string text = cleanBeginEndWhiteSpace(command);
    if (!std::all_of(text.begin(), text.end(), isPrintable))
        refuse("the command contains characters other than printable ASCII");
    if (!isAtCommand(text)) refuse("'" + text + "' is not an AT command: it must begin with AT");
    if (text.find(AT_TIMEOUT_SEPARATOR) != std::string::npos)
        refuse("the command contains ::, which the daemon reads as a time; use --timeout");
    std::string request =
        atRequestLine(text, timeoutS > AT_TIMEOUT_MIN_S ? timeoutS - AT_TIMEOUT_MIN_S : 0);
    if (request.size() > AT_REQUEST_MAX)
        refuse("the command is too long: the daemon reads at most " +
               std::to_string(AT_REQUEST_MAX) + " bytes");
    return request;
}

cAtRequest::cAtRequest(const sPlaces& places, int slot, const std::string& request,
                       uid_t daemonUser)
    : m_requestPath(atRequestFile(places.at(SHARED_FOLDER), atSlotSuffix(slot))),
      m_answerPath(atRawAnswerFile(places.at(SHARED_FOLDER), atSlotSuffix(slot))),
      m_daemonUser(daemonUser) {
    requireNoRequest(m_requestPath);
    lstat(m_answerPath.c_str(), &m_oldAnswer);
    cDraftFile draft(places.at(SHARED_FOLDER), REQUEST_MODE);
    draft.write(request);
    draft.describe(m_request);
    // A request that appeared meanwhile is not overwritten.
    if (!draft.putWhereFree(m_requestPath)) requireNoRequest(m_requestPath);
}

cAtRequest::~cAtRequest() {
    if (!isTaken()) unlink(m_requestPath.c_str());
}

bool cAtRequest::isTaken() const {
    struct stat info {};
    return lstat(m_requestPath.c_str(), &info) != 0 || !isSameFile(info, m_request);
}

bool cAtRequest::readAnswer(std::string& answer) const {
    struct stat info {};
    // The daemon deletes the old answer when it takes a request; the new one appears whole.
    if (!isTaken() || lstat(m_answerPath.c_str(), &info) != 0) return false;
    if (!S_ISREG(info.st_mode) || info.st_uid != m_daemonUser) return false;
    if (isSameFile(info, m_oldAnswer)) return false;
    return readFile2StringNoFollow(m_answerPath, answer, ANSWER_MAX);
}

std::string askModem(const sPlaces& places, int slot, const std::string& request,
                     unsigned answerS) {
    const int pid = requireDaemon(places, slot);
    const cInterruption interruption;
    const cAtRequest waiting(places, slot, request, userOf(places, pid));
    waitFor(PICK_UP_S, [&] { return waiting.isTaken(); });
    std::string answer;
    const unsigned restS = waiting.isTaken() ? answerS + ANSWER_MARGIN_S : 0;
    if (!waitFor(restS, [&] { return waiting.readAnswer(answer); }))
        throw noAnswer(waiting.isTaken());
    return answer;
}

std::string atOutput(const std::string& answer, const std::string& command) {
    std::string output;
    const std::string echo = cleanBeginEndWhiteSpace(command);
    bool first = true;
    for (const std::string& line : answerLines(answer)) {
        if (!(first && line == echo)) output += printableLine(line) + "\n";
        first = false;
    }
    return output;
}

eAtResult atResult(const std::string& answer) {
    for (const std::string& line : answerLines(answer)) {
        const bool isError =
            line == "ERROR" || startsWith(line, "+CME ERROR:") || startsWith(line, "+CMS ERROR:");
        if (isError) return eAtResult::ERROR;
    }
    const std::vector<std::string> lines = answerLines(answer);
    if (!lines.empty() && lines.back() == "OK") return eAtResult::OK;
    return eAtResult::TIMEOUT;
}
