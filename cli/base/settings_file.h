#ifndef CLI_BASE_SETTINGS_FILE_H
#define CLI_BASE_SETTINGS_FILE_H

#include <string>
#include <vector>

#include "cli/base/places.h"

// A file of KEY=value lines, with which an operator sets up a program beside the daemon. An empty
// line or one that begins with '#' is a comment; blanks around key and value do not count.

struct sSetting {
    int line = 0;  // from 1
    std::string name;
    std::string value;
};

constexpr size_t SETTINGS_FILE_MAX = 16 * 1024;

// Throws a cFailure: "FILE line N: what".
[[noreturn]] void refuseSetting(const std::string& file, int line, const std::string& what);

// Throws for a line without '='; with problems it is said there instead, and left out. file is for
// the messages.
std::vector<sSetting> parseSettings(const std::string& text, const std::string& file,
                                    std::vector<std::string>* problems = nullptr);

// A missing file has no settings. Throws if it cannot be read or is too long.
std::vector<sSetting> readSettings(const sPlaces& places, const std::string& file,
                                   std::vector<std::string>* problems = nullptr);

#endif
