#include "platform/store/skvs_command.h"

#include <lmdb.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "platform/include/key_value_store.h"

namespace {

using tArguments = std::vector<std::string>;

const char USAGE[] =
    "Usage: skvs get KEY          prints the value of a key\n"
    "       skvs set KEY VALUE    stores a value\n"
    "       skvs list [PREFIX]    prints KEY=VALUE for each key that starts with PREFIX\n"
    "       skvs --help\n"
    "\n"
    "The store exists until the host restarts.\n"
    "Exit status: 0 done; 1 the key is missing; 2 wrong usage, or the store or the output "
    "failed.\n";

int fail(const std::string& message) {
    fprintf(stderr, "skvs: %s\n", message.c_str());
    return SKVS_FAILED;
}

// errno is set if a system call failed.
int failToRead() {
    return fail(std::string("cannot read the store") +
                (errno != 0 ? std::string(": ") + strerror(errno) : ""));
}

int wrongUsage() {
    fputs(USAGE, stderr);
    return SKVS_FAILED;
}

// Output that was not accepted is a failure too.
int printed() {
    return fflush(stdout) == 0 && ferror(stdout) == 0 ? SKVS_OK : fail("cannot write the output");
}

// The list, whose first entry would be the key, distinguishes a missing key from an unreadable
// store.
int getKey(const tArguments& arguments) {
    const std::string& key = arguments[0];
    std::vector<std::pair<std::string, std::string>> entries;
    if (!skvs_list(key, entries)) return failToRead();
    if (entries.empty() || entries.front().first != key) {
        fprintf(stderr, "skvs: no key '%s'\n", key.c_str());
        return SKVS_MISSING_KEY;
    }
    const std::string line = entries.front().second + "\n";
    fwrite(line.data(), 1, line.size(), stdout);
    return printed();
}

int setKey(const tArguments& arguments) {
    const int result = skvs_set(arguments[0].c_str(), arguments[1].c_str());
    if (result == 0) return SKVS_OK;
    return fail("cannot store key '" + arguments[0] + "': " + mdb_strerror(result));
}

int listKeys(const tArguments& arguments) {
    std::vector<std::pair<std::string, std::string>> entries;
    if (!skvs_list(arguments.empty() ? "" : arguments[0], entries)) {
        return failToRead();
    }
    for (const auto& [key, value] : entries) {
        const std::string line = key + "=" + value + "\n";
        fwrite(line.data(), 1, line.size(), stdout);
    }
    return printed();
}

struct sCommand {
    const char* name;
    size_t fewestArguments;
    size_t mostArguments;
    int (*run)(const tArguments&);
};

const sCommand COMMANDS[] = {
    {"get", 1, 1, getKey},
    {"set", 2, 2, setKey},
    {"list", 0, 1, listKeys},
};

}  // namespace

int runSkvsCommand(int argc, const char* const argv[]) {
    if (argc < 2) return wrongUsage();
    const std::string name = argv[1];
    if (name == "--help" || name == "-h") {
        fputs(USAGE, stdout);
        return printed();
    }
    const tArguments arguments(argv + 2, argv + argc);
    for (const sCommand& command : COMMANDS) {
        if (name != command.name) continue;
        const bool isCountRight = arguments.size() >= command.fewestArguments &&
                                  arguments.size() <= command.mostArguments;
        return isCountRight ? command.run(arguments) : wrongUsage();
    }
    return wrongUsage();
}
