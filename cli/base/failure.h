#ifndef CLI_BASE_FAILURE_H
#define CLI_BASE_FAILURE_H

#include <stdexcept>
#include <string>

#include "cli/base/exit_status.h"

// Ends a subcommand: one line for standard error that says what to do, and the exit status.
class cFailure : public std::runtime_error {
  public:
    cFailure(eExitStatus exitStatus, const std::string& line)
        : std::runtime_error(line), status(exitStatus) {}

    const eExitStatus status;
};

#endif
