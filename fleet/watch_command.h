#ifndef FLEET_WATCH_COMMAND_H
#define FLEET_WATCH_COMMAND_H

#include "fleet/fleet_context.h"

// cellslot-fleet watch
void addWatchCommand(const cSubcommand& app, sFleetContext& context);

#endif
