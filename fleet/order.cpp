#include "fleet/order.h"

#include <cerrno>

#include "cli/base/failure.h"
#include "cli/base/printable_text.h"
#include "cli/base/slot_name.h"
#include "cli/base/system_failure.h"
#include "cli/base/utc_time.h"
#include "platform/include/text_helpers.h"
#include "published/slot.h"

namespace {

using tWords = std::vector<std::string>;

[[noreturn]] void refuse(const std::string& what) {
    throw cFailure(eExitStatus::USAGE, what);
}

void setWant(const tWords& words, sCommand& command) {
    command.want = words[1];
}

void setMessage(const tWords& words, sCommand& command) {
    command.to = words[1];
    command.text = words[2];
}

void setAt(const tWords& words, sCommand& command) {
    command.at = words[1];
}

void setFile(const tWords& words, sCommand& command) {
    if (!readFile2String(words[1], command.file, CONFIG_FILE_MAX + 1))
        throw systemFailure("read " + printableLine(words[1]), errno);
    if (command.file.size() > CONFIG_FILE_MAX)
        refuse(printableLine(words[1]) + " is longer than 32 kB; expected a configuration file");
}

struct sForm {
    const char* name;
    const char* usage;
    size_t words;
    bool needsSlot;
    void (*set)(const tWords& words, sCommand& command);
};

// clang-format off
const sForm FORMS[] = {
    {COMMAND_DATA,    "data on|off|auto", 2, true,  setWant},
    {COMMAND_RELOAD,  "reload",           1, true,  nullptr},
    {COMMAND_SMS,     "sms NUMBER TEXT",  3, true,  setMessage},
    {COMMAND_AT,      "at COMMAND",       2, true,  setAt},
    {COMMAND_DOCTOR,  "doctor",           1, false, nullptr},
    {COMMAND_HISTORY, "history",          1, false, nullptr},
    {COMMAND_REPORT,  "report",           1, true,  nullptr},
    {COMMAND_CONFIG,  "config FILE",      2, true,  setFile},
};
// clang-format on

const sForm& formOf(const std::string& name) {
    for (const sForm& form : FORMS)
        if (name == form.name) return form;
    refuse("'" + printableLine(name) + "' is not a command; expected " + commandNames());
}

// Only a gateway's own check says whether it would take the command.
void requireGood(sCommand command, const sForm& form) {
    command.id = "check";
    command.by = "check";
    command.deadline = EARLIEST_TIME;
    if (form.needsSlot && !command.slot) command.slot = FIRST_SLOT;
    const sParsedCommand parsed = parseCommand(commandText(command));
    if (parsed.use != eCommandUse::GOOD)
        refuse(std::string(form.usage) + ": " + printableLine(parsed.why));
}

// An option that the command does not have would not do what was asked.
void requireOwnOptions(const std::string& name, const sOrderOptions& options) {
    if (name != COMMAND_HISTORY && !(options.since.empty() && options.view.empty()))
        refuse("--since and --view are for history only");
    if (name != COMMAND_CONFIG && options.confirmS != 0) refuse("--confirm is for config only");
}

}  // namespace

sSendWords splitWords(const std::vector<std::string>& words) {
    sSendWords split;
    for (const std::string& word : words) {
        const bool isName = split.command.empty() && !isCommandName(word);
        (isName ? split.names : split.command).push_back(word);
    }
    return split;
}

sCommand readOrder(const std::vector<std::string>& words, const sOrderOptions& options) {
    if (words.empty()) refuse("the command is missing; expected " + commandNames());
    const sForm& form = formOf(words.front());
    if (words.size() != form.words)
        refuse(std::string("expected: ") + form.usage +
               (words.size() > form.words ? " (a text with blanks needs quotes)" : ""));
    requireOwnOptions(form.name, options);
    sCommand command;
    command.name = form.name;
    if (options.slot != 0) command.slot = options.slot;
    command.since = options.since;
    command.view = options.view;
    if (options.confirmS != 0) command.confirmS = static_cast<int>(options.confirmS);
    if (form.set != nullptr) form.set(words, command);
    requireGood(command, form);
    return command;
}

sCommand commandFor(const sGateway& gateway, const sCommand& order, const std::string& id) {
    sCommand command = order;
    command.id = id;
    if (command.slot || !formOf(command.name).needsSlot) return command;
    if (gateway.slots.size() > 1) {
        std::vector<int> slots;
        for (const auto& [number, slot] : gateway.slots)
            slots.push_back(number);
        refuse(gateway.name + " has " + slotNames(slots) + ": choose one with -p");
    }
    command.slot = gateway.slots.empty() ? FIRST_SLOT : gateway.slots.begin()->first;
    return command;
}
