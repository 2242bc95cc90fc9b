#ifndef CLI_DATA_DATA_COMMAND_H
#define CLI_DATA_DATA_COMMAND_H

#include "cli/base/command.h"

// data on, off, auto, power-off
void addDataCommand(const cSubcommand& app, sCliContext& context);

#endif
