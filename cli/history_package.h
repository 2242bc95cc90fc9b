#ifndef CLI_HISTORY_PACKAGE_H
#define CLI_HISTORY_PACKAGE_H

#include <iosfwd>

#include "cli/base/command.h"

// `cellslot history`: a package of its own, whose program gets the arguments as they are.

constexpr const char* HISTORY_COMMAND = "/usr/lib/cellslot/cellslot-history";

// For the list of subcommands; a call never gets there.
void addHistoryCommand(const cSubcommand& app);

bool isHistoryCall(int argc, const char* const* argv, const sPlaces& places);
// Does not return if the program is there. Otherwise says which package has it.
eExitStatus startHistoryCommand(int argc, const char* const* argv, const sPlaces& places,
                                std::ostream& err);

#endif
