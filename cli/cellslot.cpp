#include "cli/cellslot.h"

#include <CLI/CLI.hpp>

#include "cli/at/at_command.h"
#include "cli/base/command_line.h"
#include "cli/config/config_command.h"
#include "cli/config/reload_command.h"
#include "cli/data/data_command.h"
#include "cli/doctor/doctor_command.h"
#include "cli/package_commands.h"
#include "cli/pin/pin_command.h"
#include "cli/record/record_command.h"
#include "cli/report/report_command.h"
#include "cli/sms/sms_command.h"
#include "cli/status/status_command.h"
#include "cli/status/watch_command.h"

eExitStatus runCellslot(int argc, const char* const* argv, sCliContext& context,
                        std::ostream& err) {
    if (const sPackageCommand* package = calledPackage(argc, argv, context.places))
        return startPackageCommand(*package, argc, argv, context.places, err);
    // Without a line about itself: its help has to fit on a screen of 24 lines.
    CLI::App app("", "cellslot");
    app.set_version_flag("--version", CELLSLOT_VERSION);
    app.require_subcommand(1);
    // On one line, so that the whole help fits on a screen of 24.
    app.footer("Example (details: cellslot SUBCOMMAND --help, man cellslot): cellslot status");
    const cSubcommand all(&app);
    addStatusCommand(all, context);
    addWatchCommand(all, context);
    addPackageCommand(all, HISTORY_PACKAGE);
    addSmsCommand(all, context);
    addAtCommand(all, context);
    addDataCommand(all, context);
    addPinCommand(all, context);
    addReloadCommand(all, context);
    addConfigCommand(all, context);
    addDoctorCommand(all, context);
    addRecordCommand(all, context);
    addReportCommand(all, context, runCellslot);
    addPackageCommand(all, AGENT_PACKAGE);
    return runCommandLine(app, argc, argv, context, err);
}
