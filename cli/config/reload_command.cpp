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

// The daemon looks once per pass, and a pass may include a set-up of the modem.
constexpr unsigned WAIT_S = 60;

struct sReloadOptions {
    int slot = SLOT_NOT_GIVEN;
    unsigned timeoutS = WAIT_S;
};

// What this daemon published; ignores what an earlier one left.
sConfigLook lookOf(const sPlaces& places, int slot, int pid) {
    const sConfigLook look = readConfigLook(places.at(configLookPath(slot)));
    return look.pid == pid ? look : sConfigLook();
}

// Without a file the daemon would fall back to its defaults at once, and keep them when the same
// content comes back.
void requireFile(const std::string& path) {
    if (access(path.c_str(), F_OK) == 0) return;
    throw cFailure(eExitStatus::FAILED, path +
                                            " does not exist; not reloaded, because without it the "
                                            "daemon would end the connection");
}

const char* meaningOf(eConfigResult result) {
    switch (result) {
        case eCONFIG_APPLIED:
            return "was read; the modem is set up again";
        case eCONFIG_UNCHANGED:
            return "has not changed since it was last read; nothing to do";
        case eCONFIG_MISSING:
            break;
    }
    return "cannot be read: the daemon now uses its defaults, so data is off. Write the file, "
           "change "
           "at least a comment in it, and reload again";
}

void run(sCliContext& context, const sReloadOptions& options) {
    const sPlaces& places = context.places;
    const int slot = chooseSlot(places, options.slot);
    const int pid = requireDaemon(places, slot);
    const sConfigLook before = lookOf(places, slot, pid);
    // A daemon that started with the file of an older installation keeps using it.
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
                           " s; it will when the modem's port answers, see cellslot status");
    const std::string line = printableLine(look.file) + " " + meaningOf(look.result);
    if (look.result == eCONFIG_MISSING) throw cFailure(eExitStatus::FAILED, line);
    context.out << slotName(slot) << ": " << line << "\n";
}

}  // namespace

void addReloadCommand(const cSubcommand& app, sCliContext& context) {
    const cSubcommand command = app.add("reload", "Make the daemon read its configuration again.");
    const auto options = std::make_shared<sReloadOptions>();
    addSlotOption(command, options->slot);
    command.option("-t,--timeout", options->timeoutS, "seconds to wait for the result [60]", "S");
    command.footer(
        "If the file has changed, the modem is set up again, which interrupts the\n"
        "connection; otherwise nothing happens. Example, with a check first:\n"
        "  cellslot config check && cellslot reload");
    command.action([options, &context] { run(context, *options); });
}
