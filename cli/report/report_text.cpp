#include "cli/report/report_text.h"

#include <sstream>
#include <string_view>

#include "platform/include/text_helpers.h"
#include "recording/characters.h"

namespace {

// What follows these words of the daemon's log is a secret.
constexpr std::string_view BEFORE_SECRETS[] = {
    "CM_USERNAME is '", "CM_USERNAME value'", "CM_PASSWORD is '", "CM_PASSWORD='", "PDP username '",
};

// A message, or a number.
constexpr std::string_view BEFORE_MESSAGES[] = {
    "Received SMS from ",
    ") from ",
    ": TO=",
    "SMS listing, not understood: ",
    "SMS PDU that was not decoded: ",
    "Decode message: from ",
    "Decode message: message ",
    "Enqueue message: ",
    ", Message '",
    " PDU: ",
    ", number '",
    "incoming SMS message to file ",
    // What the PDU decoder prints.
    "]:  from '",
    " octets: ",
    " characters to '",
};

// What follows is a command, up to the last of the other words.
struct sCommandWords {
    std::string_view before;
    std::string_view after;
};
constexpr sCommandWords COMMANDS[] = {
    {"Sending AT command ", ", extra timeout "},
    {"Returning string class : ", ""},
    {"'", "' TIMEOUT"},
    {"'", "' reported "},
    {"'", "' SUCCESS"},
    {"'", "' ERROR"},
    {"'", "'"},
};

struct sRange {
    size_t begin;
    size_t end;
};

bool findCommand(const std::string& line, sRange& range) {
    for (const sCommandWords& words : COMMANDS) {
        size_t begin = line.find(words.before);
        for (; begin != std::string::npos; begin = line.find(words.before, begin + 1)) {
            range.begin = begin + words.before.size();
            if (isCommandLine(line.data() + range.begin, line.size() - range.begin)) break;
        }
        if (begin == std::string::npos) continue;
        range.end = words.after.empty() ? line.size() : line.rfind(words.after);
        if (range.end != std::string::npos && range.end > range.begin) return true;
    }
    return false;
}

template <size_t count>
void hideAfter(const std::string_view (&words)[count], std::string& line) {
    for (const std::string_view before : words) {
        const size_t found = line.find(before);
        if (found == std::string::npos) continue;
        const size_t begin = found + before.size();
        hideText(&line[begin], line.size() - begin);
    }
}

}  // namespace

void cReportText::addIdentity(const std::string& number) {
    const size_t begin = startsWith(number, "+") ? 1 : 0;
    if (m_withIdentities || !isNumber(number.data() + begin, number.size() - begin)) return;
    std::string known = number;
    m_rules.hideInText(known.data(), known.size());
    if (known == number) m_secrets.add(number.substr(begin));
}

std::string cReportText::hidden(const std::string& text) {
    std::string clean;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line); clean += line + "\n")
        hideLine(line);
    return clean;
}

void cReportText::hideLine(std::string& line) {
    hideAfter(BEFORE_SECRETS, line);
    if (!m_withIdentities) hideAfter(BEFORE_MESSAGES, line);
    hidePins(line.data(), line.size());
    sRange command = {line.size(), line.size()};
    if (!findCommand(line, command)) command = {line.size(), line.size()};
    // Each by itself: what comes after a command is no argument of it.
    m_rules.hideInText(line.data(), command.begin);
    m_rules.hideInText(line.data() + command.begin, command.end - command.begin);
    m_rules.hideInText(line.data() + command.end, line.size() - command.end);
    m_rules.hideSecrets(line.data(), line.size());
}
