#include "cli/base/system_failure.h"

#include <cerrno>
#include <cstring>

namespace {

struct sRow {
    int error;
    eExitStatus status;
    const char* mend;
};

const sRow ROWS[] = {
    {EACCES, eExitStatus::NOT_PERMITTED, "; run it as root, with sudo for instance"},
    {EPERM, eExitStatus::NOT_PERMITTED, "; run it as root, with sudo for instance"},
    {ENOSPC, eExitStatus::FAILED, "; make room there"},
    {EROFS, eExitStatus::FAILED, "; mount it writable"},
    {ESRCH, eExitStatus::NO_DAEMON, "; it has just ended, cellslot status shows more"},
};

}  // namespace

cFailure systemFailure(const std::string& cannot, int error) {
    const std::string line = "cannot " + cannot + ": " + strerror(error);
    for (const sRow& row : ROWS)
        if (row.error == error) return {row.status, line + row.mend};
    return {eExitStatus::FAILED, line};
}
