#ifndef CLI_SMS_SMS_COMMAND_H
#define CLI_SMS_SMS_COMMAND_H

#include "cli/base/command.h"

// sms send, list, read, wait
void addSmsCommand(const cSubcommand& app, sCliContext& context);

#endif
