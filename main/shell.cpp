#include "include/shell.h"

#include <cstdlib>

#include "include/service_manager.h"

int runShellCommand(const std::string& command) {
    // The daemon waits for the command, and the watchdog's patience is sized to one of them.
    notifyAlive();
    const int status = system(command.c_str());
    notifyAlive();
    return status;
}
