#include "include/shell.h"

#include <cstdlib>

int runShellCommand(const std::string& command) {
    return system(command.c_str());
}
