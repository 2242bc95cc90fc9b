#include "include/shell.h"

#include <cstdlib>

#include "include/service_manager.h"

namespace {

tShellObserver g_shellObserver = nullptr;

}  // namespace

int runShellCommand(const std::string& command) {
    // The daemon waits for the command; the watchdog period allows for one command.
    notifyAlive();
    const int status = system(command.c_str());
    notifyAlive();
    if (g_shellObserver != nullptr) g_shellObserver(command, status);
    return status;
}

void setShellObserver(tShellObserver observer) {
    g_shellObserver = observer;
}
