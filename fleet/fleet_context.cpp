#include "fleet/fleet_context.h"

#include "cli/base/display_text.h"
#include "cli/base/failure.h"
#include "cli/base/printable_text.h"

void addBrokerOptions(const cSubcommand& command, sFleetContext& context) {
    command.option("--conf", context.choice.file, "configuration [see man cellslot-fleet]", "FILE");
    command.option("--broker", context.choice.broker, "instead of BROKER of the configuration",
                   "HOST[:PORT]");
}

std::vector<cDesk::sSubscription> stateSubscriptions() {
    return {{everyGateway(eTopic::AVAILABILITY)}, {everyGateway(eTopic::STATUS)}};
}

cFleet collectFleet(const sFleetContext& context) {
    cFleet fleet;
    cDesk desk(context.config(), context.cli.places, "", stateSubscriptions(),
               [&fleet](const sTopic& topic, const sIncomingMessage& message) {
                   fleet.take(topic, message.payload);
               });
    desk.collect();
    return fleet;
}

void requireKnown(const sFilter& filter, const cFleet& fleet) {
    const std::string problem = filterProblem(filter, fleet);
    if (!problem.empty()) throw cFailure(eExitStatus::USAGE, problem);
    std::vector<std::string> shown = unknownNames(filter, fleet);
    if (shown.empty()) return;
    for (std::string& name : shown)
        name = cutTo(printableLine(name), GATEWAY_NAME_MAX);
    throw cFailure(eExitStatus::USAGE, "the broker knows no gateway " + joined(shown));
}
