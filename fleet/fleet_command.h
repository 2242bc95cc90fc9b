#ifndef FLEET_FLEET_COMMAND_H
#define FLEET_FLEET_COMMAND_H

#include <iosfwd>

#include "cli/base/command.h"

// cellslot-fleet. Errors go to err as "cellslot-fleet: ..." on one line.
eExitStatus runFleet(int argc, const char* const* argv, sCliContext& context, std::ostream& err);

#endif
