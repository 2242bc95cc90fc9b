#ifndef FLEET_SERVE_COMMAND_H
#define FLEET_SERVE_COMMAND_H

#include "fleet/fleet_context.h"

// cellslot-fleet serve, password
void addServeCommand(const cSubcommand& app, sFleetContext& context);
void addPasswordCommand(const cSubcommand& app, sFleetContext& context);

#endif
