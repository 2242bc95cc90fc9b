#ifndef CLI_BASE_SYSTEM_FAILURE_H
#define CLI_BASE_SYSTEM_FAILURE_H

#include <string>

#include "cli/base/failure.h"

// The failure for a system call that failed with an errno: what could not be done, why, and, if
// known, what to do. cannot: "read /etc/x".
cFailure systemFailure(const std::string& cannot, int error);

#endif
