#ifndef CLI_REPORT_REPORT_COMMAND_H
#define CLI_REPORT_REPORT_COMMAND_H

#include "cli/base/command.h"

// Runs another subcommand, as if it had been called.
using tCommandRunner = eExitStatus (*)(int argc, const char* const* argv, sCliContext& context,
                                       std::ostream& err);

// cellslot report: one archive for a support case.
void addReportCommand(const cSubcommand& app, sCliContext& context, tCommandRunner runner);

#endif
