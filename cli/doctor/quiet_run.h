#ifndef CLI_DOCTOR_QUIET_RUN_H
#define CLI_DOCTOR_QUIET_RUN_H

#include <string>
#include <vector>

// Runs a program with its arguments and PATH, without input, and discards its output. Returns its
// exit status, or -1 if it could not be run or a signal ended it.
int runQuietly(const std::vector<std::string>& command, const std::string& path);

#endif
