#ifndef CLI_DOCTOR_QUIET_RUN_H
#define CLI_DOCTOR_QUIET_RUN_H

#include <string>
#include <vector>

// Runs a program with its arguments and PATH, without input and with its output thrown away. Its
// exit status, or -1 when it could not be run or was ended by a signal.
int runQuietly(const std::vector<std::string>& command, const std::string& path);

#endif
