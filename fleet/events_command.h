#ifndef FLEET_EVENTS_COMMAND_H
#define FLEET_EVENTS_COMMAND_H

#include "fleet/fleet_context.h"

// cellslot-fleet events
void addEventsCommand(const cSubcommand& app, sFleetContext& context);

#endif
