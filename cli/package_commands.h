#ifndef CLI_PACKAGE_COMMANDS_H
#define CLI_PACKAGE_COMMANDS_H

#include <iosfwd>

#include "cli/base/command.h"

// Subcommands that are packages of their own, as `cellslot history`: their programs get the
// arguments as they are.

constexpr const char* HISTORY_COMMAND = "/usr/lib/cellslot/cellslot-history";
constexpr const char* AGENT_COMMAND = "/usr/lib/cellslot/cellslot-agent-command";

struct sPackageCommand {
    const char* name;
    const char* help;
    const char* footer;
    const char* program;
    const char* missing;  // what is said without the package
};
extern const sPackageCommand HISTORY_PACKAGE;
extern const sPackageCommand AGENT_PACKAGE;

// For the list of subcommands; a call never gets there.
void addPackageCommand(const cSubcommand& app, const sPackageCommand& package);

// The package that the call is for; nullptr if it is for none.
const sPackageCommand* calledPackage(int argc, const char* const* argv, const sPlaces& places);
// Does not return if the program is there. Otherwise says which package has it.
eExitStatus startPackageCommand(const sPackageCommand& package, int argc, const char* const* argv,
                                const sPlaces& places, std::ostream& err);

#endif
