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
                                                       " s; use --timeout to wait longer");
    }
}

void run(sCliContext& context, const sAtOptions& options) {
    // Errors of the command line come before those of the daemon.
    const std::string request = atRequest(options.command, options.timeoutS);
    const int slot = chooseSlot(context.places, options.slot);
    const std::string answer = askModem(context.places, slot, request, options.timeoutS);
    context.out << (options.raw ? answer : atOutput(answer, options.command)) << std::flush;
    judge(atResult(answer), options);
}

}  // namespace

void addAtCommand(const cSubcommand& app, sCliContext& context) {
    const cSubcommand command = app.add("at", "Send an AT command to the modem.");
    const auto options = std::make_shared<sAtOptions>();
    command.option("COMMAND", options->command, "the command, including AT").required();
    command
        .option("-t,--timeout", options->timeoutS, "seconds to wait for the answer, 1 to 31 [1]",
                "S")
        .range(AT_TIMEOUT_MIN_S, AT_TIMEOUT_MAX_S);
    command.flag("--raw", options->raw, "print the answer exactly as the modem sent it");
    addSlotOption(command, options->slot);
    command.footer(
        "Examples:\n"
        "  cellslot at AT+CSQ\n"
        "  cellslot at 'AT+COPS=?' --timeout 31\n"
        "The slot's daemon sends the command and does nothing else until the answer\n"
        "arrives. It logs commands and answers, including PINs.\n"
        "Exit status: 0 OK, 1 the modem refused the command, 6 no answer in time.");
    command.action([options, &context] { run(context, *options); });
}
