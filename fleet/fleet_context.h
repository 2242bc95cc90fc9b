#ifndef FLEET_FLEET_CONTEXT_H
#define FLEET_FLEET_CONTEXT_H

#include "cli/base/command.h"
#include "fleet/desk.h"
#include "fleet/filter.h"
#include "fleet/fleet_config.h"

// What the subcommands share.
struct sFleetContext {
    sCliContext& cli;
    sConfigChoice choice;

    sFleetConfig config() const { return readFleetConfig(cli.places, choice); }
};

// --conf and --broker.
void addBrokerOptions(const cSubcommand& command, sFleetContext& context);

// All states that the broker keeps. Throws a cFailure.
cFleet collectFleet(const sFleetContext& context);
std::vector<cDesk::sSubscription> stateSubscriptions();

// Throws a cFailure for a name that no gateway has, and for a value that no filter knows.
void requireKnown(const sFilter& filter, const cFleet& fleet);

#endif
