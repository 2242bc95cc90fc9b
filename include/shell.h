#ifndef INCLUDE_SHELL_H
#define INCLUDE_SHELL_H

#include <string>

// Runs a command line in the shell and returns what system() returned. It must not contain
// unchecked text from outside.
int runShellCommand(const std::string& command);

// Is called with each command that has ended and with what system() returned; null for nobody.
using tShellObserver = void (*)(const std::string& command, int status);
void setShellObserver(tShellObserver observer);

#endif
