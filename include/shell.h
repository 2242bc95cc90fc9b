#ifndef INCLUDE_SHELL_H
#define INCLUDE_SHELL_H

#include <string>

// Runs a command line through the shell and returns what system() returned. Nothing that came from
// outside may stand in it unchecked.
int runShellCommand(const std::string& command);

#endif
