#include "agent/agent_config.h"

#include <algorithm>
#include <map>

#include "cli/base/failure.h"
#include "cli/base/printable_text.h"
#include "cli/base/settings_file.h"
#include "mqtt/command.h"
#include "mqtt/topics.h"
#include "platform/include/text_helpers.h"

namespace {

constexpr size_t LIST_MAX = 100;
constexpr size_t ENTRY_MAX = 100;

[[noreturn]] void refuse(const sSetting& setting, const std::string& what) {
    refuseSetting(AGENT_CONFIG_FILE, setting.line, what);
}

std::string quoted(const std::string& value) {
    return "'" + printableLine(value) + "'";
}

// Divided by blanks. An AT command contains commas.
std::vector<std::string> wordsOf(const sSetting& setting, const char* separators) {
    std::vector<std::string> words;
    const std::string& value = setting.value;
    for (size_t start = 0; start < value.size();) {
        const size_t end = std::min(value.find_first_of(separators, start), value.size());
        const std::string word = value.substr(start, end - start);
        start = end + 1;
        if (word.empty()) continue;
        if (word.size() > ENTRY_MAX)
            refuse(setting, setting.name + " has an entry of more than 100 characters");
        if (words.size() == LIST_MAX) refuse(setting, setting.name + " has more than 100 entries");
        words.push_back(word);
    }
    return words;
}

void setGateway(const sSetting& setting, sAgentConfig& config) {
    if (!isGatewayName(setting.value))
        refuse(setting, "GATEWAY is " + quoted(setting.value) +
                            "; expected 1 to 48 letters, digits, '-' and '_'");
    config.gateway = setting.value;
}

void setCommands(const sSetting& setting, sAgentConfig& config) {
    config.commands = wordsOf(setting, " ,");
    for (const std::string& name : config.commands)
        if (!isCommandName(name))
            refuse(setting, "COMMANDS has the unknown command " + quoted(name) + "; known are " +
                                commandNames());
}

// A star alone would be all commands, among them those that cut the line or lock the SIM.
void setAtCommands(const sSetting& setting, sAgentConfig& config) {
    config.atCommands.clear();
    for (const std::string& word : wordsOf(setting, " ")) {
        const std::string command = stringUpper(word);
        const size_t star = command.find('*');
        if (!startsWith(command, "AT") || (star != std::string::npos && star + 1 != command.size()))
            refuse(setting, "AT_COMMANDS has " + quoted(word) +
                                "; expected commands as AT+CSQ, or a beginning as AT#RFSTS*, "
                                "separated by blanks");
        if (command == "AT*")
            refuse(setting,
                   "AT_COMMANDS has 'AT*', which is every command; name those that are "
                   "needed");
        config.atCommands.push_back(command);
    }
}

void setSmsNumbers(const sSetting& setting, sAgentConfig& config) {
    config.smsNumbers = wordsOf(setting, " ,");
    for (const std::string& number : config.smsNumbers) {
        const std::string digits = number.substr(number[0] == '+' ? 1 : 0);
        const std::string bare =
            digits.empty() || digits.back() != '*' ? digits : digits.substr(0, digits.size() - 1);
        if (!isStringNumeric(bare))
            refuse(setting, "SMS_NUMBERS has " + quoted(number) +
                                "; expected numbers as +12025550123, or a beginning as +1202*");
    }
}

void setSendsMessages(const sSetting& setting, sAgentConfig& config) {
    if (setting.value != "yes" && setting.value != "no")
        refuse(setting, "RECEIVED_SMS is " + quoted(setting.value) + "; expected yes or no");
    config.sendsMessages = setting.value == "yes";
}

struct sKey {
    const char* name;
    void (*set)(const sSetting& setting, sAgentConfig& config);
};

constexpr sKey KEYS[] = {
    {"GATEWAY", setGateway},
    {"COMMANDS", setCommands},
    {"AT_COMMANDS", setAtCommands},
    {"SMS_NUMBERS", setSmsNumbers},
    {"RECEIVED_SMS", setSendsMessages},
};

void take(const sSetting& setting, sAgentConfig& config) {
    for (const sKey& key : KEYS)
        if (setting.name == key.name) return key.set(setting, config);
    if (setBrokerOption(setting, AGENT_CONFIG_FILE, config.broker)) return;
    std::string known = brokerSettingNames();
    for (const sKey& key : KEYS)
        known += std::string(", ") + key.name;
    refuse(setting, "unknown key " + quoted(setting.name) + "; known are " + known);
}

// A later line would silently take back or add what an earlier one allows. With problems each is
// said there, without an exception.
void takeAll(const std::vector<sSetting>& settings, sAgentConfig& config,
             std::vector<std::string>* problems) {
    std::map<std::string, int> lines;
    for (const sSetting& setting : settings) {
        try {
            const auto [first, isFirst] = lines.try_emplace(setting.name, setting.line);
            if (!isFirst)
                refuse(setting, printableLine(setting.name) + " is in line " +
                                    std::to_string(first->second) + " already; remove one");
            take(setting, config);
        } catch (const cFailure& failure) {
            if (problems == nullptr) throw;
            problems->emplace_back(failure.what());
        }
    }
}

// "FILE line N: what".
bool isOfAnEarlierLine(const std::string& one, const std::string& other) {
    const auto lineOf = [](const std::string& problem) {
        return textToInt(findNeedleString(problem, " line ", ":"));
    };
    return lineOf(one) < lineOf(other);
}

std::string inFile(const std::string& sentence) {
    return std::string(AGENT_CONFIG_FILE) + ": " + sentence;
}

bool has(const std::vector<std::string>& names, const char* name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

// What the settings are together.
void judgeWhole(const sPlaces& places, const sAgentConfig& config,
                std::vector<std::string>& problems) {
    if (config.gateway.empty())
        problems.push_back(inFile("GATEWAY is missing; expected the gateway's name at the broker"));
    for (const std::string& problem : brokerProblems(config.broker, places))
        problems.push_back(inFile(problem));
    if (has(config.commands, COMMAND_AT) && config.atCommands.empty())
        problems.push_back(
            inFile("COMMANDS allows at, but AT_COMMANDS is empty, so that none is "
                   "executed; name them or leave at out"));
    if (!has(config.commands, COMMAND_AT) && !config.atCommands.empty())
        problems.push_back(inFile("AT_COMMANDS names commands, but COMMANDS does not allow at"));
    if (!has(config.commands, COMMAND_SMS) && !config.smsNumbers.empty())
        problems.push_back(inFile("SMS_NUMBERS names numbers, but COMMANDS does not allow sms"));
}

}  // namespace

sAgentConfig parseAgentConfig(const std::string& text) {
    sAgentConfig config;
    takeAll(parseSettings(text, AGENT_CONFIG_FILE), config, nullptr);
    return config;
}

sAgentConfig readAgentConfig(const sPlaces& places) {
    sAgentConfig config;
    takeAll(readSettings(places, AGENT_CONFIG_FILE), config, nullptr);
    return config;
}

std::vector<std::string> checkAgentConfig(const sPlaces& places, sAgentConfig& config) {
    std::vector<std::string> problems;
    config = {};
    try {
        takeAll(readSettings(places, AGENT_CONFIG_FILE, &problems), config, &problems);
        std::stable_sort(problems.begin(), problems.end(), isOfAnEarlierLine);
    } catch (const cFailure& failure) {
        problems.emplace_back(failure.what());
    }
    try {
        if (problems.empty()) judgeWhole(places, config, problems);
    } catch (const cFailure& failure) {
        problems.emplace_back(failure.what());
    }
    return problems;
}
