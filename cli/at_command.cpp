#include "cli/at_command.h"

#include <sys/stat.h>

#include <cerrno>
#include <memory>
#include <ostream>

#include "cli/at_request.h"
#include "cli/daemon_process.h"
#include "cli/failure.h"
#include "cli/printable_text.h"
#include "cli/slot_option.h"
#include "cli/system_failure.h"
#include "cli/waiting.h"

namespace {

// A poll of the modem and everything that it does before it looks for requests.
constexpr unsigned PICK_UP_S = 45;
// The commands of the poll that may come between.
constexpr unsigned ANSWER_MARGIN_S = 5;

struct sAtOptions {
    std::string command;
    unsigned timeoutS = AT_TIMEOUT_MIN_S;
    int slot = SLOT_NOT_GIVEN;
    bool raw = false;
};

// The daemons share the one request file, and whichever polls first takes what is in it.
int chooseOnlySlot(const sPlaces& places, int given) {
    const std::vector<int> slots = runningSlots(places);
    if (slots.size() > 1)
        throw cFailure(eExitStatus::FAILED,
                       "daemons of " + slotNames(slots) +
                           " run, and any of them would take the request; stop the others first");
    return chooseSlot(places, given);
}

uid_t userOf(const sPlaces& places, int pid) {
    struct stat info {};
    const std::string path = places.at("/proc/" + std::to_string(pid));
    if (stat(path.c_str(), &info) != 0) throw systemFailure("look at " + path, errno);
    return info.st_uid;
}

cFailure noAnswer(bool isTaken) {
    if (cInterruption::signalSeen() != 0)
        return {eExitStatus::FAILED, isTaken ? "interrupted; the command was sent nevertheless"
                                             : "interrupted; the command was not sent"};
    if (isTaken)
        return {eExitStatus::TIMED_OUT, "the daemon took the command, but does not answer"};
    return {eExitStatus::TIMED_OUT,
            "the daemon did not take the command, and it was not sent; it looks for commands only "
            "while the modem is set up, cellslot status tells"};
}

std::string ask(const sPlaces& places, const sAtOptions& options, int pid) {
    const cInterruption interruption;
    const cAtRequest request(places, atRequest(options.command, options.timeoutS),
                             userOf(places, pid));
    waitFor(PICK_UP_S, [&] { return request.isTaken(); });
    std::string answer;
    if (!waitFor(request.isTaken() ? options.timeoutS + ANSWER_MARGIN_S : 0,
                 [&] { return request.readAnswer(answer); }))
        throw noAnswer(request.isTaken());
    return answer;
}

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
    // What the command line alone tells comes first.
    atRequest(options.command, options.timeoutS);
    const int slot = chooseOnlySlot(context.places, options.slot);
    const std::string answer = ask(context.places, options, requireDaemon(context.places, slot));
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
        "The daemon does nothing else until the answer is there. Commands and answers\n"
        "stand in its log, PINs too. Exit status: 0 OK, 1 the modem refused, 6 silence.");
    command->callback([options, &context] { run(context, *options); });
}
