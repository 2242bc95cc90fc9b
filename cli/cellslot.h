#ifndef CLI_CELLSLOT_H
#define CLI_CELLSLOT_H

#include <iosfwd>

#include "cli/base/command.h"

// Runs the command line; errors go to err as "cellslot: ..." on one line.
eExitStatus runCellslot(int argc, const char* const* argv, sCliContext& context, std::ostream& err);

#endif
