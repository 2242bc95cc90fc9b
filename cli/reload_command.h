#ifndef CLI_RELOAD_COMMAND_H
#define CLI_RELOAD_COMMAND_H

#include "cli/command.h"

// reload: the daemon reads its configuration again
void addReloadCommand(CLI::App& app, sCliContext& context);

#endif
