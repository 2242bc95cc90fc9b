#include "cli/at/at_command.h"

#include <memory>
#include <ostream>

#include "cli/at/at_request.h"
#include "cli/base/failure.h"
#include "cli/base/slot_option.h"

namespace {

struct sAtOptions {
    std::string command;
    unsigned timeoutS = AT_TIMEOUT_MIN_S;
    int slot = SLOT_NOT_GIVEN;
    bool raw = false;
};

void judge(eAtResult result, const sAtOptions& options) {
    switch (result) {
        case eAtResult::OK:
            return;
        case eAtResult::ERROR:
            throw cFailure(eExitStatus::FAILED, "the modem refused the command");
        case eAtResult::TIMEOUT:
            throw cFailure(eExitStatus::TIMED_OUT, "the modem gave no final answer within " +
                                                       std::to_string(options.timeoutS) +
                                                       " s; --timeout gives it longer");
    }
}

void run(sCliContext& context, const sAtOptions& options) {
    // What is wrong with the command line itself comes first.
    const std::string request = atRequest(options.command, options.timeoutS);
    const int slot = chooseSlot(context.places, options.slot);
    const std::string answer = askModem(context.places, slot, request, options.timeoutS);
    context.out << (options.raw ? answer : atOutput(answer, options.command)) << std::flush;
    judge(atResult(answer), options);
}

}  // namespace

void addAtCommand(CLI::App& app, sCliContext& context) {
    CLI::App* command = app.add_subcommand("at", "Send an AT command to the modem.");
    const auto options = std::make_shared<sAtOptions>();
    command->add_option("COMMAND", options->command, "the command, AT included")
        ->required()
        ->type_name("");
    command->add_option("-t,--timeout", options->timeoutS, "time for the answer, 1 to 31 s [1]")
        ->check(CLI::Range(AT_TIMEOUT_MIN_S, AT_TIMEOUT_MAX_S).description(""))
        ->type_name("S");
    command->add_flag("--raw", options->raw, "print what the modem sent, byte by byte");
    addSlotOption(*command, options->slot);
    command->footer(
        "Examples:\n"
        "  cellslot at AT+CSQ\n"
        "  cellslot at 'AT+COPS=?' --timeout 31\n"
        "Only the slot's own daemon takes it, and does nothing else until the answer is\n"
        "there. Commands and answers are in its log, PINs too. Exit status: 0 OK, 1 the\n"
        "modem refused, 6 silence.");
    command->callback([options, &context] { run(context, *options); });
}
