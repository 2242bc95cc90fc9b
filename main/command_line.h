#ifndef MAIN_COMMAND_LINE_H
#define MAIN_COMMAND_LINE_H

#include <string>

#include "include/options.h"

constexpr const char* PROGRAM_VERSION = "1.0.17";

// The file name of the running program; empty when it cannot be told.
std::string getProgramName();

// Fills options and g_i_debugMode from the command line. True when the daemon may start: all four
// mandatory options are there and -h was not given after the last valid -p.
bool parseArgs(int argc, char* argv[], sOptionArgs& options);

// Whether --version is all that is asked. Beside other options it is one that is not known, and the
// daemon starts.
bool isVersionRequest(int argc, char* argv[]);
void printVersion(const std::string& programName);

void usage(const std::string& programName);

#endif
