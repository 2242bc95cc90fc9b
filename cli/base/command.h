#ifndef CLI_BASE_COMMAND_H
#define CLI_BASE_COMMAND_H

#include <iosfwd>

#include "cli/base/exit_status.h"
#include "cli/base/places.h"
#include "cli/base/subcommand.h"

// What every subcommand works with. Each adds itself to the application, with its options and a
// callback; the callback throws cFailure to end early.
struct sCliContext {
    sPlaces places;
    std::istream& in;
    std::ostream& out;
    eExitStatus exitStatus = eExitStatus::OK;  // set by a subcommand that did not throw
};

#endif
