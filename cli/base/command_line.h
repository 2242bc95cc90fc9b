#ifndef CLI_BASE_COMMAND_LINE_H
#define CLI_BASE_COMMAND_LINE_H

#include <iosfwd>

#include "cli/base/command.h"

namespace CLI {
class App;
}

// Parses the command line and runs its subcommand. Errors go to err on one line that begins with
// the program's name.
eExitStatus runCommandLine(CLI::App& app, int argc, const char* const* argv, sCliContext& context,
                           std::ostream& err);

#endif
