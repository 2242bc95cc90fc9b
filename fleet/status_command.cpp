#include "fleet/status_command.h"

#include <ctime>
#include <memory>
#include <ostream>

#include "cli/base/failure.h"
#include "cli/base/printable_text.h"
#include "fleet/fleet_json.h"
#include "fleet/fleet_metrics.h"
#include "fleet/fleet_screen.h"

namespace {

struct sStatusOptions {
    sFilter filter;
    bool json = false;
    bool metrics = false;
};

void print(std::ostream& out, const tLines& lines) {
    for (const std::string& line : lines)
        out << line << "\n";
}

void status(sFleetContext& context, const sStatusOptions& options) {
    const cFleet fleet = collectFleet(context);
    requireKnown(options.filter, fleet);
    const time_t now = time(nullptr);
    const std::vector<sJudgement> chosen = filtered(options.filter, judgeAll(fleet, now));
    if (options.json)
        context.cli.out << fleetJson(chosen) << "\n";
    else if (options.metrics)
        context.cli.out << fleetMetrics(chosen, now);
    else
        print(context.cli.out, fleetScreen(chosen, fleet.gateways().size(), now));
    if (fleet.refused() > 0 && !options.json && !options.metrics)
        context.cli.out << "Not used: " << fleet.refused()
                        << " messages that no agent would send, or of more than "
                        << cFleet::GATEWAYS_MAX << " gateways\n";
}

struct sShowOptions {
    std::string name;
    bool json = false;
};

void show(sFleetContext& context, const sShowOptions& options) {
    if (!isGatewayName(options.name))
        throw cFailure(eExitStatus::USAGE, "'" + printableLine(options.name) +
                                               "' is not the name of a gateway; expected 1 to 48 "
                                               "letters, digits, '-' and '_'");
    const cFleet fleet = collectFleet(context);
    requireKnown({{options.name}, "", "", "", ""}, fleet);
    const time_t now = time(nullptr);
    const sJudgement judgement = judge(fleet.gateways().at(options.name), now);
    if (options.json)
        context.cli.out << gatewayJson(judgement) << "\n";
    else
        print(context.cli.out, gatewayScreen(judgement, now));
}

}  // namespace

void addStatusCommand(const cSubcommand& app, sFleetContext& context) {
    auto options = std::make_shared<sStatusOptions>();
    const cSubcommand command =
        app.add("status", "Show all gateways, the worst first, and what is wrong with them.");
    command.words("GATEWAY", options->filter.names, "only these; with * ? [...] [all]");
    addFilterOptions(command, options->filter);
    const cCommandOption json =
        command.flag("--json", options->json, "everything that is known, as JSON");
    command.flag("--metrics", options->metrics, "for Prometheus").excludes(json);
    addBrokerOptions(command, context);
    command.footer(
        "Examples:\n"
        "  cellslot-fleet status --state error\n"
        "  cellslot-fleet status 'pump-*' --signal poor");
    command.action([&context, options] { status(context, *options); });
}

void addShowCommand(const cSubcommand& app, sFleetContext& context) {
    auto options = std::make_shared<sShowOptions>();
    const cSubcommand command = app.add("show", "Show one gateway in full.");
    command.option("GATEWAY", options->name, "its name").required();
    command.flag("--json", options->json, "as JSON");
    addBrokerOptions(command, context);
    command.action([&context, options] { show(context, *options); });
}
