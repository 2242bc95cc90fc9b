#include "include/shell.h"

#include <cstdlib>

#include "include/service_manager.h"

int runShellCommand(const std::string& command) {
    // The daemon waits for the command; the watchdog period allows for one command.
    notifyAlive();
    const int status = system(command.c_str());
    notifyAlive();
    return status;
}
