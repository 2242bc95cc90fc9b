#ifndef MAIN_COMMAND_LINE_H
#define MAIN_COMMAND_LINE_H

#include <string>

#include "include/options.h"
#include "include/program_version.h"

// The file name of the running program; empty if it cannot be found out.
std::string getProgramName();

// Fills options and g_i_debugMode from the command line. True if the daemon may start: all four
// mandatory options are given, and no -h after the last valid -p.
bool parseArgs(int argc, char* argv[], sOptionArgs& options);

// Whether --version is the only argument. Together with other options it counts as an unknown
// option, and the daemon starts.
bool isVersionRequest(int argc, char* argv[]);
void printVersion(const std::string& programName);

void usage(const std::string& programName);

#endif
