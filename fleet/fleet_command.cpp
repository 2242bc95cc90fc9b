#include "fleet/fleet_command.h"

#include <CLI/CLI.hpp>
#include <cstring>
#include <ostream>

#include "cli/base/command_line.h"
#include "fleet/events_command.h"
#include "fleet/send_command.h"
#include "fleet/serve_command.h"
#include "fleet/status_command.h"
#include "fleet/watch_command.h"

namespace {

// Whether the configuration is right and the broker lets us read.
void check(const sFleetContext& context) {
    const sFleetConfig config = context.config();
    std::ostream& out = context.cli.out;
    out << (config.file.empty() ? "command line" : config.file) << " is correct; asks as "
        << config.by << "\n";
    cDesk desk(config, context.cli.places, "", stateSubscriptions(),
               [](const sTopic&, const sIncomingMessage&) {});
    desk.open();
    out << desk.broker() << " lets this user read the gateways' states\n";
}

void addCheckCommand(const cSubcommand& app, sFleetContext& context) {
    const cSubcommand command = app.add("check", "Check the configuration and the broker.");
    addBrokerOptions(command, context);
    command.action([&context] { check(context); });
}

// "--stop-on 3 failures" is read as "--stop-on 3".
std::vector<const char*> withoutUnit(int argc, const char* const* argv) {
    std::vector<const char*> words;
    for (int i = 0; i < argc; ++i) {
        const bool isUnit = i >= 2 && strcmp(argv[i - 2], "--stop-on") == 0 &&
                            strncmp(argv[i], "failure", strlen("failure")) == 0;
        if (!isUnit) words.push_back(argv[i]);
    }
    return words;
}

}  // namespace

eExitStatus runFleet(int argc, const char* const* argv, sCliContext& context, std::ostream& err) {
    CLI::App app("Show and control many gateways over an MQTT broker.", "cellslot-fleet");
    app.set_version_flag("--version", CELLSLOT_VERSION);
    app.require_subcommand(1);
    app.footer(
        "Example (details: cellslot-fleet SUBCOMMAND --help, man cellslot-fleet):\n"
        "  cellslot-fleet status");
    sFleetContext fleet{context, {}};
    const cSubcommand all(&app);
    addStatusCommand(all, fleet);
    addShowCommand(all, fleet);
    addWatchCommand(all, fleet);
    addEventsCommand(all, fleet);
    addSendCommand(all, fleet);
    addServeCommand(all, fleet);
    addPasswordCommand(all, fleet);
    addCheckCommand(all, fleet);
    const std::vector<const char*> words = withoutUnit(argc, argv);
    return runCommandLine(app, static_cast<int>(words.size()), words.data(), context, err);
}
