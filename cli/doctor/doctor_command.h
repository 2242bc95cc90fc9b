#ifndef CLI_DOCTOR_DOCTOR_COMMAND_H
#define CLI_DOCTOR_DOCTOR_COMMAND_H

#include "cli/base/command.h"

// doctor: what keeps the host from working
void addDoctorCommand(const cSubcommand& app, sCliContext& context);

#endif
