#include "cli/config/reload_command.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <memory>
#include <ostream>

#include "cli/base/config_place.h"
#include "cli/base/failure.h"
#include "cli/base/printable_text.h"
#include "cli/base/slot_name.h"
#include "cli/base/slot_option.h"
#include "cli/base/system_failure.h"
#include "cli/base/waiting.h"
#include "cli/status/no_daemon.h"
#include "config/config_look.h"
#include "published/paths.h"

namespace {

// The daemon looks once a pass, and a pass may hold a set-up of the modem.
constexpr unsigned WAIT_S = 60;

struct sReloadOptions {
    int slot = SLOT_NOT_GIVEN;
    unsigned timeoutS = WAIT_S;
};

// What the daemon published, and nothing that another one left.
sConfigLook lookOf(const sPlaces& places, int slot, int pid) {
    const sConfigLook look = readConfigLook(places.at(configLookPath(slot)));
    return look.pid == pid ? look : sConfigLook();
}

// Without a file the daemon would drop to its defaults at once, and stay there when the same
// content comes back.
void requireFile(const std::string& path) {
    if (access(path.c_str(), F_OK) == 0) return;
    throw cFailure(eExitStatus::FAILED, "there is no " + path +
                                            ", and the daemon would end the connection; not asked "
                                            "to read it");
}

const char* meaningOf(eConfigResult result) {
    switch (result) {
        case eCONFIG_APPLIED:
            return "is read, the modem is set up anew";
        case eCONFIG_UNCHANGED:
            return "is unchanged since it was read last, nothing to do";
        case eCONFIG_MISSING:
            break;
    }
    return "cannot be read: the daemon uses its defaults now, so there is no data. Write it, with "
           "a "
           "comment more or less than before, and reload again";
}

void run(sCliContext& context, const sReloadOptions& options) {
    const sPlaces& places = context.places;
    const int slot = chooseSlot(places, options.slot);
    const int pid = requireDaemon(places, slot);
    const sConfigLook before = lookOf(places, slot, pid);
    // A daemon that started on the file of an older installation stays there.
    requireFile(before.file.empty() ? configPlace(places, slot) : places.at(before.file));
    if (kill(pid, SIGUSR2) != 0) throw systemFailure("signal the daemon", errno);
    sConfigLook look;
    const auto hasLooked = [&] {
        look = lookOf(places, slot, pid);
        return look.pid != 0 && look.count != before.count;
    };
    if (!waitFor(options.timeoutS, hasLooked))
        throw cFailure(eExitStatus::TIMED_OUT,
                       "the daemon has not read the file within " +
                           std::to_string(options.timeoutS) +
                           " s; it does as soon as the modem's port answers: cellslot status");
    const std::string line = printableLine(look.file) + " " + meaningOf(look.result);
    if (look.result == eCONFIG_MISSING) throw cFailure(eExitStatus::FAILED, line);
    context.out << slotName(slot) << ": " << line << "\n";
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
