#include "mqtt/command.h"

#include <algorithm>

#include "cli/base/printable_text.h"
#include "cli/base/utc_time.h"
#include "mqtt/base64.h"
#include "mqtt/message_json.h"
#include "platform/include/text_helpers.h"
#include "published/slot.h"

namespace {

using tJson = nlohmann::ordered_json;

constexpr size_t ID_MAX = 64;
constexpr size_t BY_MAX = 64;
constexpr size_t NAME_MAX_BYTES = 20;
constexpr const char* ID_LETTERS =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._-";

// One argument: a text, or a number if it has no text.
struct sArgument {
    const char* name;
    std::string sCommand::*text;
    std::optional<int> sCommand::*number;
    size_t longest;       // of a text, octets
    int least, greatest;  // of a number
    const char* oneOf;    // the texts that it may be, each between blanks; nullptr: any
};

constexpr sArgument text(const char* name, std::string sCommand::*field, size_t longest,
                         const char* oneOf = nullptr) {
    return {name, field, nullptr, longest, 0, 0, oneOf};
}

constexpr sArgument number(const char* name, std::optional<int> sCommand::*field, int least,
                           int greatest) {
    return {name, nullptr, field, 0, least, greatest, nullptr};
}

constexpr sArgument SLOT = number("slot", &sCommand::slot, FIRST_SLOT, LAST_SLOT);

struct sUse {
    sArgument argument;
    bool isNeeded;
};

struct sCommandForm {
    const char* name;
    sUse uses[3];
};

constexpr sCommandForm FORMS[] = {
    {COMMAND_DATA, {{SLOT, true}, {text("want", &sCommand::want, 4, " on off auto "), true}}},
    {COMMAND_RELOAD, {{SLOT, true}}},
    {COMMAND_SMS,
     {{SLOT, true},
      {text("to", &sCommand::to, 40), true},
      {text("text", &sCommand::text, 8192), true}}},
    {COMMAND_AT, {{SLOT, true}, {text("command", &sCommand::at, 400), true}}},
    {COMMAND_DOCTOR, {{SLOT, false}}},
    {COMMAND_HISTORY,
     {{SLOT, false},
      {text("since", &sCommand::since, 20), false},
      {text("view", &sCommand::view, 10, " summary outages events usage "), false}}},
    {COMMAND_REPORT, {{SLOT, true}}},
    {COMMAND_CONFIG,
     {{SLOT, true},
      {text("file", &sCommand::file, CONFIG_FILE_MAX), true},
      {number("confirm_seconds", &sCommand::confirmS, CONFIRM_LEAST_S, CONFIRM_GREATEST_S),
       false}}},
};

const sCommandForm* formOf(const std::string& name) {
    const auto* form =
        std::find_if(std::begin(FORMS), std::end(FORMS),
                     [&name](const sCommandForm& entry) { return name == entry.name; });
    return form == std::end(FORMS) ? nullptr : form;
}

bool isOneOf(const std::string& value, const char* values) {
    return value.find(' ') == std::string::npos &&
           std::string(values).find(" " + value + " ") != std::string::npos;
}

std::string named(const std::string& name) {
    return "the argument '" + printableLine(name) + "' ";
}

// Why the value is not what the argument takes; empty if it was taken.
std::string takeText(const sArgument& argument, const nlohmann::json& value, sCommand& command) {
    if (!value.is_string()) return named(argument.name) + "is not a text";
    const std::string text = value.get<std::string>();
    if (text.empty()) return named(argument.name) + "is empty";
    if (text.size() > argument.longest)
        return named(argument.name) + "is longer than " + std::to_string(argument.longest) +
               " octets";
    if (text.find('\0') != std::string::npos) return named(argument.name) + "has a zero octet";
    if (argument.oneOf && !isOneOf(text, argument.oneOf))
        return named(argument.name) + "is '" + printableLine(text) +
               "'; expected one of:" + cleanEndWhiteSpace(argument.oneOf);
    command.*argument.text = text;
    return "";
}

std::string takeNumber(const sArgument& argument, const nlohmann::json& args, sCommand& command) {
    const std::optional<long long> value =
        numberField(args, argument.name, argument.least, argument.greatest);
    if (!value)
        return named(argument.name) + "is not a number from " + itos(argument.least) + " to " +
               itos(argument.greatest);
    command.*argument.number = static_cast<int>(*value);
    return "";
}

std::string takeArgument(const sCommandForm& form, const nlohmann::json& args,
                         const std::string& name, sCommand& command) {
    for (const sUse& use : form.uses)
        if (use.argument.name && name == use.argument.name)
            return use.argument.text ? takeText(use.argument, args.at(name), command)
                                     : takeNumber(use.argument, args, command);
    return std::string("the command ") + form.name + " has no argument '" +
           printableLine(name.substr(0, NAME_MAX_BYTES)) + "'";
}

bool isGiven(const sArgument& argument, const sCommand& command) {
    return argument.text ? !(command.*argument.text).empty()
                         : (command.*argument.number).has_value();
}

std::string takeArguments(const sCommandForm& form, const nlohmann::json& args, sCommand& command) {
    for (const auto& [name, value] : args.items()) {
        std::string why = takeArgument(form, args, name, command);
        if (!why.empty()) return why;
    }
    for (const sUse& use : form.uses)
        if (use.isNeeded && !isGiven(use.argument, command))
            return named(use.argument.name) + "is missing";
    return "";
}

tJson argumentsJson(const sCommandForm& form, const sCommand& command) {
    tJson args = tJson::object();
    for (const sUse& use : form.uses) {
        if (!use.argument.name || !isGiven(use.argument, command)) continue;
        if (use.argument.text)
            args[use.argument.name] = command.*use.argument.text;
        else
            args[use.argument.name] = *(command.*use.argument.number);
    }
    return args;
}

bool isCommandId(const std::string& id) {
    return !id.empty() && id.find_first_not_of(ID_LETTERS) == std::string::npos;
}

// Why it cannot be executed; empty if it can.
std::string readCommand(const nlohmann::json& object, sCommand& command) {
    command.by = textField(object, "by", BY_MAX);
    command.name = textField(object, "do", NAME_MAX_BYTES);
    const std::optional<time_t> deadline = timeField(object, "deadline");
    if (command.by.empty() || printableLine(command.by) != command.by)
        return "'by' is not a name of 1 to 64 printable characters";
    const sCommandForm* form = formOf(command.name);
    if (!form)
        return "unknown command '" + printableLine(command.name) + "'; known are " + commandNames();
    if (!deadline) return "'deadline' is not a time as 2026-11-22T19:30:00Z";
    command.deadline = *deadline;
    const auto args = object.find("args");
    if (args == object.end()) return takeArguments(*form, nlohmann::json::object(), command);
    if (!args->is_object()) return "'args' is not an object";
    return takeArguments(*form, *args, command);
}

struct sResultWord {
    eResult result;
    const char* word;
};

constexpr sResultWord RESULT_WORDS[] = {
    {eResult::DONE, "done"},
    {eResult::FAILED, "failed"},
    {eResult::REFUSED, "refused"},
    {eResult::EXPIRED, "expired"},
    {eResult::REPEATED, "repeated"},
    {eResult::INTERRUPTED, "interrupted"},
    {eResult::STARTED, "started"},
    {eResult::CONFIRMED, "confirmed"},
    {eResult::ROLLED_BACK, "rolled_back"},
};

std::optional<eResult> resultOf(const std::string& word) {
    for (const sResultWord& entry : RESULT_WORDS)
        if (word == entry.word) return entry.result;
    return std::nullopt;
}

constexpr size_t RESULT_TEXT_MAX = 400;
constexpr int PARTS_MAX = 100;

void readOutput(const nlohmann::json& object, sResult& result) {
    result.output = textField(object, "output", MESSAGE_MAX_BYTES);
    result.isBinary = textField(object, "encoding", NAME_MAX_BYTES) == "base64";
    if (result.isBinary) result.output = base64Bytes(result.output).value_or("");
}

}  // namespace

bool isCommandName(const std::string& name) {
    return formOf(name) != nullptr;
}

std::string commandNames() {
    std::string names;
    for (const sCommandForm& form : FORMS)
        names += (names.empty() ? "" : ", ") + std::string(form.name);
    return names;
}

std::string commandText(const sCommand& command) {
    const sCommandForm* form = formOf(command.name);
    return jsonText(tJson{{"id", command.id},
                          {"by", command.by},
                          {"deadline", utcText(command.deadline)},
                          {"do", command.name},
                          {"args", form ? argumentsJson(*form, command) : tJson::object()}});
}

sParsedCommand parseCommand(const std::string& text) {
    sParsedCommand parsed;
    const std::optional<nlohmann::json> object = parseObject(text);
    if (!object) {
        parsed.why = "not a JSON object of at most 64 kB";
        return parsed;
    }
    parsed.command.id = textField(*object, "id", ID_MAX);
    if (!isCommandId(parsed.command.id)) {
        parsed.why = "no 'id' of 1 to 64 letters, digits, '.', '_' and '-'";
        return parsed;
    }
    parsed.why = readCommand(*object, parsed.command);
    parsed.use = parsed.why.empty() ? eCommandUse::GOOD : eCommandUse::REFUSED;
    return parsed;
}

const char* resultWord(eResult result) {
    for (const sResultWord& entry : RESULT_WORDS)
        if (entry.result == result) return entry.word;
    return "failed";
}

std::string resultText(const sResult& result) {
    tJson object{{"id", messageIdText(result.id)},
                 {"time", utcText(result.time)},
                 {"command", result.command},
                 {"do", result.name},
                 {"by", result.by},
                 {"status", resultWord(result.status)},
                 {"text", beginningOf(result.text, RESULT_TEXT_MAX)}};
    if (result.exit) object["exit"] = *result.exit;
    if (!result.output.empty())
        object["output"] = result.isBinary ? base64Text(result.output) : result.output;
    if (result.isBinary) object["encoding"] = "base64";
    if (result.parts > 1) {
        object["part"] = result.part;
        object["parts"] = result.parts;
    }
    return jsonText(object);
}

std::optional<sResult> parseResult(const std::string& text) {
    const std::optional<nlohmann::json> object = parseObject(text);
    if (!object) return std::nullopt;
    const std::optional<sMessageId> id = parseMessageId(textField(*object, "id", ID_MAX));
    const std::optional<time_t> time = timeField(*object, "time");
    const std::optional<eResult> status = resultOf(textField(*object, "status", NAME_MAX_BYTES));
    sResult result;
    result.command = textField(*object, "command", ID_MAX);
    if (!id || !time || !status || !isCommandId(result.command)) return std::nullopt;
    result.id = *id;
    result.time = *time;
    result.status = *status;
    result.name = textField(*object, "do", NAME_MAX_BYTES);
    result.by = textField(*object, "by", BY_MAX);
    result.text = textField(*object, "text", RESULT_TEXT_MAX);
    if (const auto exit = numberField(*object, "exit", 0, 255))
        result.exit = static_cast<int>(*exit);
    readOutput(*object, result);
    result.parts = static_cast<int>(numberField(*object, "parts", 1, PARTS_MAX).value_or(1));
    result.part = static_cast<int>(numberField(*object, "part", 1, result.parts).value_or(1));
    return result;
}
