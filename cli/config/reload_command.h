#ifndef CLI_CONFIG_RELOAD_COMMAND_H
#define CLI_CONFIG_RELOAD_COMMAND_H

#include "cli/base/command.h"

// reload: the daemon reads its configuration again
void addReloadCommand(const cSubcommand& app, sCliContext& context);

#endif
