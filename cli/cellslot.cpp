#include "cli/cellslot.h"

#include <ostream>

#include "cli/at/at_command.h"
#include "cli/base/failure.h"
#include "cli/base/misspelling.h"
#include "cli/base/printable_text.h"
#include "cli/config/config_command.h"
#include "cli/config/reload_command.h"
#include "cli/data/data_command.h"
#include "cli/doctor/doctor_command.h"
#include "cli/pin/pin_command.h"
#include "cli/sms/sms_command.h"
#include "cli/status/status_command.h"
#include "cli/status/watch_command.h"

namespace {

// "cellslot sms send": as far as the words of the command line could be followed.
std::string nameOf(const CLI::App& command) {
    const CLI::App* parent = command.get_parent();
    return (parent == nullptr ? "" : nameOf(*parent) + " ") + command.get_name();
}

const CLI::App& lastFollowed(const CLI::App& command) {
    const std::vector<CLI::App*> followed = command.get_subcommands();
    return followed.empty() ? command : lastFollowed(*followed.front());
}

// The parser says of a subcommand that it does not know that one is missing.
std::string unknownSubcommand(const CLI::App& command) {
    const std::vector<std::string> words = command.remaining();
    if (words.empty() || command.get_require_subcommand_min() == 0) return "";
    std::vector<std::string> names;
    for (const CLI::App* subcommand : command.get_subcommands({}))
        names.push_back(subcommand->get_name());
    const std::string meant = likelyMeant(words.front(), names);
    return "there is no " + nameOf(command) + " " + printableLine(words.front()) +
           (meant.empty() ? "" : "; is " + meant + " meant?");
}

// What was asked for and could not be printed was not shown.
eExitStatus printed(sCliContext& context, std::ostream& err) {
    if (context.out.flush()) return context.exitStatus;
    err << "cellslot: the output cannot be written; is there room for it?\n";
    return eExitStatus::FAILED;
}

// Only the words before a subcommand were given.
bool isIncomplete(const CLI::App& command) {
    return command.get_require_subcommand_min() != 0 && command.remaining().empty() &&
           command.get_subcommands().empty();
}

eExitStatus usageError(const CLI::ParseError& error, const CLI::App& app, sCliContext& context,
                       std::ostream& err) {
    const CLI::App& command = lastFollowed(app);
    const std::string unknown = unknownSubcommand(command);
    if (isIncomplete(command) && dynamic_cast<const CLI::RequiredError*>(&error) != nullptr) {
        context.out << app.help();
        return printed(context, err) == eExitStatus::OK ? eExitStatus::USAGE : eExitStatus::FAILED;
    }
    err << "cellslot: " << (unknown.empty() ? error.what() : unknown) << " (see " << nameOf(command)
        << " --help)\n";
    return eExitStatus::USAGE;
}

}  // namespace

eExitStatus runCellslot(int argc, const char* const* argv, sCliContext& context,
                        std::ostream& err) {
    CLI::App app("Shows and steers the cellular modems of this gateway.", "cellslot");
    app.set_version_flag("--version", CELLSLOT_VERSION);
    app.require_subcommand(1);
    app.footer(
        "Each has a --help of its own; the manual: man cellslot\n"
        "Examples:\n"
        "  cellslot status\n"
        "  cellslot doctor -q");
    addStatusCommand(app, context);
    addWatchCommand(app, context);
    addSmsCommand(app, context);
    addAtCommand(app, context);
    addDataCommand(app, context);
    addPinCommand(app, context);
    addReloadCommand(app, context);
    addConfigCommand(app, context);
    addDoctorCommand(app, context);
    try {
        app.parse(argc, argv);
        return printed(context, err);
    } catch (const CLI::Success& help) {
        if (!unknownSubcommand(lastFollowed(app)).empty())
            return usageError(help, app, context, err);
        app.exit(help, context.out, err);
        return printed(context, err);
    } catch (const CLI::ParseError& error) {
        return usageError(error, app, context, err);
    } catch (const cFailure& failure) {
        err << "cellslot: " << failure.what() << "\n";
        return failure.status;
    }
}
