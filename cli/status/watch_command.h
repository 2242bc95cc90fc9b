#ifndef CLI_STATUS_WATCH_COMMAND_H
#define CLI_STATUS_WATCH_COMMAND_H

#include "cli/base/command.h"

// cellslot watch [-p N] [--interval S]
void addWatchCommand(CLI::App& app, sCliContext& context);

#endif
