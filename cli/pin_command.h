#ifndef CLI_PIN_COMMAND_H
#define CLI_PIN_COMMAND_H

#include "cli/command.h"

// pin set, change, enable, disable, puk
void addPinCommand(CLI::App& app, sCliContext& context);

#endif
