#ifndef CLI_STATUS_WATCH_COMMAND_H
#define CLI_STATUS_WATCH_COMMAND_H

#include "cli/base/command.h"

// cellslot watch [-p N] [--interval S]
void addWatchCommand(const cSubcommand& app, sCliContext& context);

#endif
