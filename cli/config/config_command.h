#ifndef CLI_CONFIG_CONFIG_COMMAND_H
#define CLI_CONFIG_CONFIG_COMMAND_H

#include "cli/base/command.h"

// config check
void addConfigCommand(const cSubcommand& app, sCliContext& context);

#endif
