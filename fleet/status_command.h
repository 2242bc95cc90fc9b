#ifndef FLEET_STATUS_COMMAND_H
#define FLEET_STATUS_COMMAND_H

#include "fleet/fleet_context.h"

// cellslot-fleet status, show
void addStatusCommand(const cSubcommand& app, sFleetContext& context);
void addShowCommand(const cSubcommand& app, sFleetContext& context);

#endif
