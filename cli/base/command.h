#ifndef CLI_BASE_COMMAND_H
#define CLI_BASE_COMMAND_H

#include <CLI/CLI.hpp>
#include <iosfwd>

#include "cli/base/exit_status.h"
#include "cli/base/places.h"

// What every subcommand works with. Each adds itself to the application, with its options and a
// callback; a callback throws cFailure for what ends it early. Each adds itself to the application,
// with its options and a callback, which throws cFailure for what ends it early.
struct sCliContext {
    sPlaces places;
    std::istream& in;
    std::ostream& out;
    eExitStatus exitStatus = eExitStatus::OK;  // set by a subcommand that ran to its end
};

#endif
