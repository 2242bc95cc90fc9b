#ifndef CLI_COMMAND_H
#define CLI_COMMAND_H

#include <CLI/CLI.hpp>
#include <iosfwd>

#include "cli/exit_status.h"
#include "cli/places.h"

// What every subcommand works with. Each adds itself to the application, with its options and a
// callback, which throws cFailure for what ends it early.
struct sCliContext {
    sPlaces places;
    std::istream& in;
    std::ostream& out;
    eExitStatus exitStatus = eExitStatus::OK;  // set by a subcommand that ran to its end
};

// Runs the command line; errors go to err as "cellslot: ..." on one line. Every subcommand adds
// itself to the application, with its options and a callback; a callback throws cFailure for what
// ends it early.
eExitStatus runCellslot(int argc, const char* const* argv, sCliContext& context, std::ostream& err);

#endif
