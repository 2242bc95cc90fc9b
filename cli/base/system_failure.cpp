#include "cli/base/system_failure.h"

#include <cerrno>
#include <cstring>

namespace {

struct sErrnoRow {
    int error;
    eExitStatus status;
    const char* mend;
};

const sErrnoRow ERRNO_ROWS[] = {
    {EACCES, eExitStatus::NOT_PERMITTED, "; run it as root, for example with sudo"},
    {EPERM, eExitStatus::NOT_PERMITTED, "; run it as root, for example with sudo"},
    {ENOSPC, eExitStatus::FAILED, "; free some space there"},
    {EROFS, eExitStatus::FAILED, "; mount the file system writable"},
    {ESRCH, eExitStatus::NO_DAEMON, "; the daemon has just ended, see cellslot status"},
};

}  // namespace

cFailure systemFailure(const std::string& cannot, int error) {
    const std::string line = "cannot " + cannot + ": " + strerror(error);
    for (const sErrnoRow& row : ERRNO_ROWS)
        if (row.error == error) return {row.status, line + row.mend};
    return {eExitStatus::FAILED, line};
}
