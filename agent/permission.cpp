#include "agent/permission.h"

#include <algorithm>

#include "cli/base/printable_text.h"
#include "platform/include/text_helpers.h"

namespace {

bool matches(const std::string& entry, const std::string& text) {
    return entry.back() == '*' ? startsWith(text, entry.substr(0, entry.size() - 1))
                               : entry == text;
}

// A basic command (V.250, 5.3: a letter, or '&' or a backslash and a letter) that stands alone:
// only its number, or a register's question or value, may follow. Another command needs no
// semicolon.
bool isAlone(const std::string& command) {
    size_t at = 2;
    const auto is = [&](const char* characters) {
        return at < command.size() &&
               std::string(characters).find(command[at]) != std::string::npos;
    };
    if (is("&\\")) ++at;
    const bool isBasic = at < command.size() && command[at] >= 'A' && command[at] <= 'Z';
    if (!isBasic) return at == 2;
    ++at;
    const auto skipDigits = [&] {
        while (is("0123456789"))
            ++at;
    };
    skipDigits();
    if (is("=")) {
        ++at;
        skipDigits();
    }
    if (is("?")) ++at;
    return at == command.size();
}

bool isAtListed(const std::vector<std::string>& list, const std::string& command) {
    return std::any_of(list.begin(), list.end(), [&command](const std::string& entry) {
        return matches(entry, command) && (entry == command || isAlone(command));
    });
}

// A modem executes everything after a semicolon too: "AT+CSQ;+CFUN=0".
std::string whyNotAt(const sAgentConfig& config, const std::string& command) {
    if (command.find_first_of(";\r\n") != std::string::npos || printableLine(command) != command)
        return "an AT command with ';' or control characters is not executed";
    if (!isAtListed(config.atCommands, stringUpper(command)))
        return "AT_COMMANDS in " + std::string(AGENT_CONFIG_FILE) + " does not list this command";
    return "";
}

}  // namespace

std::string whyNotAllowed(const sAgentConfig& config, const sCommand& command) {
    const auto& names = config.commands;
    if (std::find(names.begin(), names.end(), command.name) == names.end())
        return "COMMANDS in " + std::string(AGENT_CONFIG_FILE) + " does not list " +
               printableLine(command.name);
    if (command.name == COMMAND_AT) return whyNotAt(config, command.at);
    const auto& numbers = config.smsNumbers;
    const auto isForIt = [&command](const std::string& entry) {
        return matches(entry, command.to);
    };
    if (command.name == COMMAND_SMS && !numbers.empty() &&
        std::none_of(numbers.begin(), numbers.end(), isForIt))
        return "SMS_NUMBERS in " + std::string(AGENT_CONFIG_FILE) + " does not list this number";
    return "";
}
