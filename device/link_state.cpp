#include "device/link_state.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <optional>

#include "platform/include/text_helpers.h"
#include "platform/include/timer_clock.h"
#include "platform/include/tokenstr.h"

namespace {

constexpr size_t LINE_START_MAX = 256;  // of a line that is dropped; a final code is shorter

constexpr char CTRL_Z = '\x1a';
constexpr char ESC = '\x1b';

struct sLink {
    int owed = 0;  // answers that may still come
    // The last final code came while an answer was owed and none had been dropped, so it may have
    // been the late one. The next command shows which.
    bool doubtful = false;
    bool echoes = false;  // the modem echoes commands
    int echoMisses = 0;   // commands in a row whose answers had no echo
    uint64_t lateUntilMs = 0;
};

// By port: only open ones that have had a command.
struct sLinkState {
    std::map<int, sLink> links;
    std::optional<bool> isTestPolling;  // the environment is searched once
};

sLinkState g_linkState;

// A test bench answers at any time, even before the command.
bool isBench(int port) {
    struct stat info;
    return isTestPolling() || (fstat(port, &info) == 0 && S_ISFIFO(info.st_mode));
}

bool endsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

bool isFinalLine(const std::string& line) {
    return endsWith(line, "OK") || endsWith(line, "ERROR") || startsWith(line, "+CME ERROR:") ||
           startsWith(line, "+CMS ERROR:");
}

template <typename tTest>
bool anyLine(const std::string& response, tTest test) {
    const tokenstr lines(response, '\n', eEmptyTokens::DROP);
    return std::any_of(lines.begin(), lines.end(), [&](const std::string& line) {
        return test(cleanBeginEndWhiteSpace(line));
    });
}

// CONNECT and the prompt take the place of a final code.
bool isAnsweredOtherwise(const std::string& response) {
    return holdsPrompt(response) || anyLine(response, [](const std::string& line) {
               return line == "CONNECT" || startsWith(line, "CONNECT ");
           });
}

std::string echoOf(const std::string& command) {
    return command + '\r';
}

// An answer begins with the echo, unless an unsolicited line comes first.
bool holdsEcho(const std::string& response, const std::string& command) {
    const size_t size = command.size();
    if (response.size() > size && response[size] == '\r' && startsWith(response, command))
        return true;
    return response.find(echoOf(command)) != std::string::npos;
}

bool repeatsCommands(const std::string& text) {
    return anyLine(text,
                   [](const std::string& line) { return startsWith(stringUpper(line), "AT"); });
}

// late: what came instead of an answer with the required echo. The modem may have echoed the owed
// commands when they were sent, so their late answers need not have an echo. If more answers than
// those come without one, the modem has stopped echoing.
void noteMissedEcho(sLink& link, const std::string& late, int finalCodes) {
    if (finalCodes == 0) return;
    link.echoMisses = repeatsCommands(late) ? 0 : link.echoMisses + 1;
    if (link.echoMisses <= link.owed) return;
    link.echoes = false;
    link.echoMisses = 0;
}

// The time counts from the first owed answer: a silent modem must not cost a wait per command.
void owe(sLink& link) {
    if (link.owed++ == 0) link.lateUntilMs = timerClockMs() + LATE_ANSWER_MS;
    link.doubtful = false;
}

void settle(sLink& link, int answers) {
    link.owed -= std::min(link.owed, answers);
    if (link.owed == 0) link.doubtful = false;
}

void doubt(sLink& link) {
    link.owed = 1;
    link.doubtful = true;
    link.lateUntilMs = timerClockMs() + LATE_ANSWER_MS;
}

}  // namespace

bool isTestPolling() {
    std::optional<bool>& known = g_linkState.isTestPolling;
    if (!known) known = getenv(TEST_POLL_VARIABLE) != nullptr;
    return *known;
}

void cFinalCodes::add(const std::string& piece) {
    for (const char byte : piece) {
        if (byte != '\r' && byte != '\n') {
            m_line += byte;
            if (m_line.size() > LINE_START_MAX) m_line.erase(0, LINE_START_MAX / 2);
            continue;
        }
        if (isFinalLine(m_line)) ++m_count;
        m_line.clear();
    }
}

void forgetLink(int port) {
    g_linkState.links.erase(port);
}

void noteOwedAnswer(int port) {
    if (!isBench(port)) owe(g_linkState.links[port]);
}

bool isAnswerOwed(int port) {
    return g_linkState.links[port].owed != 0;
}

bool isLateInputOver(int port, int finalCodes) {
    const sLink& link = g_linkState.links[port];
    return finalCodes >= link.owed || timerClockMs() >= link.lateUntilMs;
}

void noteDroppedAnswers(int port, int finalCodes) {
    sLink& link = g_linkState.links[port];
    // By now it is known which command the doubtful answer belonged to.
    settle(link, link.doubtful ? link.owed : finalCodes);
}

std::string requiredEcho(int port, const std::string& command) {
    const sLink& link = g_linkState.links[port];
    return link.owed != 0 && link.echoes && !isPromptText(command) ? echoOf(command) : "";
}

void noteAnswer(int port, const std::string& command, const std::string& response,
                const std::string& late, ePortReturn result) {
    sLink& link = g_linkState.links[port];
    const bool isAnswered = result != ePORT_NO_FINAL_RESULT;
    if (isPromptText(command)) {
        if (isAnswered)
            settle(link, link.owed);
        else if (link.owed == 0)
            noteOwedAnswer(port);
        return;
    }
    const bool hasEcho = holdsEcho(response, command);
    const bool isInStep = isAnswered && link.owed == 0;
    if (hasEcho || isInStep) {
        link.echoes = hasEcho;
        link.echoMisses = 0;
    }
    if (isInStep) return;
    cFinalCodes finals;
    finals.add(late);
    if (!isAnswered) noteMissedEcho(link, late, finals.count());
    settle(link, finals.count());
    if (!isAnswered && !isAnsweredOtherwise(response))
        noteOwedAnswer(port);
    else if (link.owed != 0)
        doubt(link);
}

void noteLateAnswer(int port) {
    settle(g_linkState.links[port], 1);
}

bool isPromptText(const std::string& command) {
    return !command.empty() && (command.back() == CTRL_Z || command.back() == ESC);
}

bool holdsPrompt(const std::string& response) {
    return anyLine(response, [](const std::string& line) { return line == ">"; });
}

void resetLinkState() {
    g_linkState = {};
}
