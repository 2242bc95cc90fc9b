#ifndef CLI_BASE_EXIT_STATUS_H
#define CLI_BASE_EXIT_STATUS_H

// The exit statuses of `cellslot`. Scripts rely on the numbers; the manual page lists them.
enum class eExitStatus {
    OK = 0,
    FAILED = 1,         // the operation failed, or a check found something
    USAGE = 2,          // the command line is not valid
    NO_DAEMON = 3,      // no daemon runs for the slot, or it has not published anything
    STALE = 4,          // the status is too old, truncated or damaged
    NOT_PERMITTED = 5,  // the caller does not have permission
    TIMED_OUT = 6,      // no answer in time
};

#endif
