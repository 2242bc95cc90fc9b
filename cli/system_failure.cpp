#include "cli/system_failure.h"

#include <cerrno>
#include <cstring>

cFailure systemFailure(const std::string& cannot, int error) {
    const std::string line = "cannot " + cannot + ": " + strerror(error);
    if (error != EACCES && error != EPERM) return {eExitStatus::FAILED, line};
    return {eExitStatus::NOT_PERMITTED, line + "; run it as root, with sudo for instance"};
}
