#include "cli/history_package.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ostream>
#include <vector>

namespace {

constexpr const char* NAME = "history";

}  // namespace

void addHistoryCommand(const cSubcommand& app) {
    app.add(NAME, "Show what was: outages, signal, data used.")
        .footer(
            "Needs the package cellslot-history.\n"
            "Example:\n"
            "  cellslot history --since 7d");
}

// Without the package, help still says what there would be.
bool isHistoryCall(int argc, const char* const* argv, const sPlaces& places) {
    if (argc < 2 || strcmp(argv[1], NAME) != 0) return false;
    const bool isHelp = argc == 3 && (strcmp(argv[2], "-h") == 0 || strcmp(argv[2], "--help") == 0);
    return !isHelp || places.have(HISTORY_COMMAND);
}

eExitStatus startHistoryCommand(int argc, const char* const* argv, const sPlaces& places,
                                std::ostream& err) {
    const std::string program = places.at(HISTORY_COMMAND);
    // execv does not change the texts, but its declaration says that it may.
    std::vector<char*> arguments;
    for (int i = 1; i < argc; ++i)
        arguments.push_back(const_cast<char*>(argv[i]));
    arguments.push_back(nullptr);
    execv(program.c_str(), arguments.data());
    if (errno == ENOENT)
        err << "cellslot: no history is kept on this gateway: it is a package of its own, "
               "cellslot-history (apt install ./cellslot-history_*.deb)\n";
    else
        err << "cellslot: cannot start " << program << ": " << strerror(errno) << "\n";
    return eExitStatus::FAILED;
}
