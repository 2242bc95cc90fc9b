#ifndef CLI_RECORD_RECORD_COMMAND_H
#define CLI_RECORD_RECORD_COMMAND_H

#include "cli/base/command.h"

// cellslot record: recordings of what passes on the modem's ports.
void addRecordCommand(const cSubcommand& app, sCliContext& context);

#endif
