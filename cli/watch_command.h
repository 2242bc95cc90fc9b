#ifndef CLI_WATCH_COMMAND_H
#define CLI_WATCH_COMMAND_H

#include "cli/command.h"

// cellslot watch [-p N] [--interval S]
void addWatchCommand(CLI::App& app, sCliContext& context);

#endif
