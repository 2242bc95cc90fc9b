#ifndef CLI_PIN_PIN_COMMAND_H
#define CLI_PIN_PIN_COMMAND_H

#include "cli/base/command.h"

// pin set, change, enable, disable, puk
void addPinCommand(const cSubcommand& app, sCliContext& context);

#endif
