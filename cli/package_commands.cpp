#include "cli/package_commands.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ostream>
#include <vector>

const sPackageCommand HISTORY_PACKAGE = {
    "history", "Show what was: outages, signal, data used.",
    "Needs the package cellslot-history.\n"
    "Example:\n"
    "  cellslot history --since 7d",
    HISTORY_COMMAND,
    "no history is kept on this gateway: it is a package of its own, cellslot-history (apt install "
    "./cellslot-history_*.deb)"};

const sPackageCommand AGENT_PACKAGE = {
    "agent", "Show the connection to the operator's broker.",
    "Needs the package cellslot-agent.\n"
    "Example:\n"
    "  cellslot agent status",
    AGENT_COMMAND,
    "this gateway reports to no broker: what does is a package of its own, cellslot-agent (apt "
    "install ./cellslot-agent_*.deb)"};

void addPackageCommand(const cSubcommand& app, const sPackageCommand& package) {
    app.add(package.name, package.help).footer(package.footer);
}

// Without the package, help still says what there would be.
const sPackageCommand* calledPackage(int argc, const char* const* argv, const sPlaces& places) {
    const bool isHelp = argc == 3 && (strcmp(argv[2], "-h") == 0 || strcmp(argv[2], "--help") == 0);
    for (const sPackageCommand* package : {&HISTORY_PACKAGE, &AGENT_PACKAGE}) {
        if (argc < 2 || strcmp(argv[1], package->name) != 0) continue;
        return !isHelp || places.have(package->program) ? package : nullptr;
    }
    return nullptr;
}

eExitStatus startPackageCommand(const sPackageCommand& package, int argc, const char* const* argv,
                                const sPlaces& places, std::ostream& err) {
    const std::string program = places.at(package.program);
    // execv does not change the texts, but its declaration says that it may.
    std::vector<char*> arguments;
    for (int i = 1; i < argc; ++i)
        arguments.push_back(const_cast<char*>(argv[i]));
    arguments.push_back(nullptr);
    execv(program.c_str(), arguments.data());
    if (errno == ENOENT)
        err << "cellslot: " << package.missing << "\n";
    else
        err << "cellslot: cannot start " << program << ": " << strerror(errno) << "\n";
    return eExitStatus::FAILED;
}
