#ifndef CLI_BASE_EXIT_STATUS_H
#define CLI_BASE_EXIT_STATUS_H

// What `cellslot` leaves with. Scripts rely on the numbers; the manual lists them.
enum class eExitStatus {
    OK = 0,
    FAILED = 1,         // what was asked for was tried and did not work, or a check found something
    USAGE = 2,          // the command line cannot be understood
    NO_DAEMON = 3,      // no daemon runs for the slot, or it has not published anything
    STALE = 4,          // the data are too old, cut short or damaged
    NOT_PERMITTED = 5,  // the rights of the caller do not suffice
    TIMED_OUT = 6,      // no answer in time
};

#endif
