#ifndef CLI_STATUS_STATUS_COMMAND_H
#define CLI_STATUS_STATUS_COMMAND_H

#include "cli/base/command.h"

// cellslot status [-p N] [--json | --metrics]
void addStatusCommand(const cSubcommand& app, sCliContext& context);

#endif
