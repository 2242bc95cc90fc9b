#ifndef FLEET_SEND_COMMAND_H
#define FLEET_SEND_COMMAND_H

#include "fleet/fleet_context.h"

// cellslot-fleet send
void addSendCommand(const cSubcommand& app, sFleetContext& context);

#endif
