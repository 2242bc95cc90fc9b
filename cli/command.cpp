#include "cli/command.h"

#include <ostream>

#include "cli/at_command.h"
#include "cli/config_command.h"
#include "cli/data_command.h"
#include "cli/doctor_command.h"
#include "cli/failure.h"
#include "cli/pin_command.h"
#include "cli/reload_command.h"
#include "cli/sms_command.h"
#include "cli/status_command.h"
#include "cli/watch_command.h"

namespace {

eExitStatus usageError(const CLI::ParseError& error, const CLI::App& app, sCliContext& context,
                       std::ostream& err) {
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
        app.exit(error, context.out, err);
        return eExitStatus::OK;
    }
    err << "cellslot: " << error.what() << " (see cellslot --help)\n";
    return eExitStatus::USAGE;
}

}  // namespace

eExitStatus runCellslot(int argc, const char* const* argv, sCliContext& context,
                        std::ostream& err) {
    CLI::App app("Shows and steers the cellular modems of this gateway.", "cellslot");
    app.set_version_flag("--version", CELLSLOT_VERSION);
    app.require_subcommand(1);
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
        return context.exitStatus;
    } catch (const CLI::ParseError& error) {
        return usageError(error, app, context, err);
    } catch (const cFailure& failure) {
        err << "cellslot: " << failure.what() << "\n";
        return failure.status;
    }
}
