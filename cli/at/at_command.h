#ifndef CLI_AT_AT_COMMAND_H
#define CLI_AT_AT_COMMAND_H

#include "cli/base/command.h"

// at COMMAND: an AT command through the daemon
void addAtCommand(const cSubcommand& app, sCliContext& context);

#endif
