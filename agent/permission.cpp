#include "agent/permission.h"

#include <algorithm>

#include "cli/base/printable_text.h"
#include "platform/include/text_helpers.h"

namespace {

bool matches(const std::vector<std::string>& list, const std::string& text) {
    return std::any_of(list.begin(), list.end(), [&text](const std::string& entry) {
        return entry.back() == '*' ? startsWith(text, entry.substr(0, entry.size() - 1))
                                   : entry == text;
    });
}

// A modem executes everything after a semicolon too: "AT+CSQ;+CFUN=0".
std::string whyNotAt(const sAgentConfig& config, const std::string& command) {
    if (command.find_first_of(";\r\n") != std::string::npos || printableLine(command) != command)
        return "an AT command with ';' or control characters is not executed";
    if (!matches(config.atCommands, stringUpper(command)))
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
    if (command.name == COMMAND_SMS && !config.smsNumbers.empty() &&
        !matches(config.smsNumbers, command.to))
        return "SMS_NUMBERS in " + std::string(AGENT_CONFIG_FILE) + " does not list this number";
    return "";
}
