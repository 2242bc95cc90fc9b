#ifndef INCLUDE_SHELL_H
#define INCLUDE_SHELL_H

#include <string>

// Runs a command line in the shell and returns what system() returned. It must not contain
// unchecked text from outside.
int runShellCommand(const std::string& command);

#endif
