#include "cli/reload_command.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <memory>
#include <ostream>

#include "cli/config_place.h"
#include "cli/daemon_log.h"
#include "cli/failure.h"
#include "cli/slot_option.h"
#include "cli/system_failure.h"
#include "cli/waiting.h"

namespace {

// The daemon looks once a pass, and a pass may hold a set-up of the modem.
constexpr unsigned WAIT_S = 60;

struct sReloadOptions {
    int slot = SLOT_NOT_GIVEN;
    unsigned timeoutS = WAIT_S;
};

// What the daemon says after the signal, and what it means.
struct sOutcome {
    const char* line;
    eExitStatus status;
    const char* meaning;
};

const sOutcome OUTCOMES[] = {
    {"Received USR2 and config changed", eExitStatus::OK, "read, the modem is set up anew"},
    {"MD5 did not change", eExitStatus::OK, "unchanged since it was read last, nothing to do"},
    {"is missing or not accessible", eExitStatus::FAILED,
     "the file cannot be read, the daemon dropped to its defaults: no data. Write the file, with a "
     "comment more or less than before, and reload again"},
};

const sOutcome* outcomeIn(const cDaemonLog& log) {
    for (const sOutcome& outcome : OUTCOMES)
        if (log.has(outcome.line)) return &outcome;
    return nullptr;
}

// Without a file the daemon would drop to its defaults at once, and stay there when the same
// content comes back.
void requireFile(const std::string& path) {
    if (access(path.c_str(), F_OK) == 0) return;
    throw cFailure(eExitStatus::FAILED, "there is no " + path +
                                            ", and the daemon would end the connection; not asked "
                                            "to read it");
}

void report(sCliContext& context, int slot, const sOutcome& outcome) {
    if (outcome.status != eExitStatus::OK) throw cFailure(outcome.status, outcome.meaning);
    context.out << slotName(slot) << ": configuration " << outcome.meaning << "\n";
}

void run(sCliContext& context, const sReloadOptions& options) {
    const int slot = chooseSlot(context.places, options.slot);
    const int pid = requireDaemon(context.places, slot);
    requireFile(configPlace(context.places, slot));
    const cDaemonLog log(context.places, pid);
    if (kill(pid, SIGUSR2) != 0) throw systemFailure("signal the daemon", errno);
    if (!log.isReadable()) {
        context.out << slotName(slot) << ": the daemon was told; its log, which tells what came of "
                    << "it, cannot be read here\n";
        return;
    }
    const sOutcome* outcome = nullptr;
    if (!waitFor(options.timeoutS, [&] { return (outcome = outcomeIn(log)) != nullptr; }))
        throw cFailure(
            eExitStatus::TIMED_OUT,
            "the daemon was told, but its log says nothing of it; it reads the file as soon "
            "as the modem's port answers, and where that does, the system log is at fault");
    report(context, slot, *outcome);
}

}  // namespace

void addReloadCommand(CLI::App& app, sCliContext& context) {
    CLI::App* command = app.add_subcommand("reload", "Have the configuration read again.");
    const auto options = std::make_shared<sReloadOptions>();
    addSlotOption(*command, options->slot);
    command->add_option("-t,--timeout", options->timeoutS, "wait for it, seconds [60]")
        ->type_name("S");
    command->footer(
        "A changed file interrupts the connection: the modem is set up anew. A file\n"
        "with the same content does nothing. Example, checked first:\n"
        "  cellslot config check && cellslot reload");
    command->callback([options, &context] { run(context, *options); });
}
